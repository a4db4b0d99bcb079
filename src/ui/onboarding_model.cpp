#include "ui/onboarding_model.hpp"

#include <charconv>

#include "ui/activation_texts.hpp"
#include "ui/control_choices.hpp"

namespace kolvo::ui {
namespace {

using prefs::EdgeMode;

constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

overlay::ZoneSettings zones_of(const OnboardingStores& s) {
  overlay::ZoneSettings z;
  z.activation_side = s.activation.activation_side();
  z.left_edge_mode = s.edge_modes.left_edge_mode();
  z.right_edge_mode = s.edge_modes.right_edge_mode();
  return z;
}

// Hidden Dock needs an edge that is both turned on and not given to a slider.
bool hidden_dock_has_an_edge(const overlay::ZoneSettings& z) {
  return (z.side_active(dock::Side::left) && !z.has_slider(dock::Side::left)) ||
         (z.side_active(dock::Side::right) && !z.has_slider(dock::Side::right));
}

OnboardingStep next(OnboardingStep step) {
  return step == OnboardingStep::done ? step : static_cast<OnboardingStep>(static_cast<int>(step) + 1);
}
OnboardingStep previous(OnboardingStep step) {
  return step == OnboardingStep::welcome ? step : static_cast<OnboardingStep>(static_cast<int>(step) - 1);
}

// Back and Continue (or Finish) close every step, so the window's way forward is always in
// the same place.
Section navigation(OnboardingStep step, bool finished) {
  Section section{"", {}};
  if (step != OnboardingStep::welcome) section.rows.push_back(ButtonRow{"back", "Back", !finished});
  if (step == OnboardingStep::done) {
    section.rows.push_back(ButtonRow{"finish", "Finish", !finished});
  } else {
    section.rows.push_back(ButtonRow{"continue", "Continue"});
  }
  return section;
}

EventOutcome accepted() { return {true, {}}; }
EventOutcome refused(std::string message) { return {false, std::move(message)}; }

}  // namespace

std::string_view step_title(OnboardingStep step) {
  switch (step) {
    case OnboardingStep::welcome: return "Welcome to Kolvo";
    case OnboardingStep::apps: return "Choose Your Apps";
    case OnboardingStep::edges: return "Choose Your Edges";
    case OnboardingStep::calibration: return "Calibrate";
    case OnboardingStep::done: return "You're All Set";
  }
  return {};
}

PageContent OnboardingModel::content(OnboardingStep step) const {
  PageContent page;
  switch (step) {
    case OnboardingStep::welcome: page = welcome(); break;
    case OnboardingStep::apps: page = apps(); break;
    case OnboardingStep::edges: page = edges(); break;
    case OnboardingStep::calibration: page = calibration(); break;
    case OnboardingStep::done: page = done(); break;
  }
  page.id = std::string(kOnboardingStepTable.to_string(step));
  page.title = std::string(step_title(step));
  page.sections.push_back(navigation(step, finished_));
  return page;
}

PageContent OnboardingModel::welcome() const {
  return {{}, {}, {{"", {TextRow{"Kolvo keeps your favourite controls at the edges of your screen, out of sight until you reach for them."},
                         TextRow{"Hidden Dock: up to 8 apps that slide out from beside your Dock when the pointer rests at a "
                                 "screen edge."},
                         TextRow{"Edge Sliders: volume, brightness or appearance along the left or right edge, in place of "
                                 "Hidden Dock."},
                         TextRow{"Corner Dials: a control in each corner of the screen, turned by moving the pointer."},
                         TextRow{"The next steps choose your apps and edges. You can change everything later in Settings.",
                                 TextStyle::note}}}}};
}

PageContent OnboardingModel::apps() const {
  const auto& chosen = stores_.apps.apps();
  ListRow list{"dockApps", {}, "No apps in Hidden Dock."};
  for (std::size_t i = 0; i < chosen.size(); ++i) {
    list.items.push_back(ListItem{std::to_string(i), chosen[i].name,
                                  chosen[i].bundle_identifier.value_or(chosen[i].path()),
                                  {ButtonRow{"removeDockApp", "Remove"}}});
  }
  Section section{"Hidden Dock", {TextRow{std::string(kOnboardingAppsPrompt)}, std::move(list)}};
  if (hooks_.choose_app_location) {
    section.rows.push_back(ButtonRow{"addDockApp", "Add App" + std::string(kEllipsis),
                                     chosen.size() < catalog::KolvoAppStore::kMaximumApps});
  }
  if (chosen.empty()) section.rows.push_back(TextRow{std::string(kOnboardingNeedsAnApp), TextStyle::warning});
  return {{}, {}, {std::move(section)}};
}

PageContent OnboardingModel::edges() const {
  const overlay::ZoneSettings zones = zones_of(stores_);
  Section section{"Edges",
                  {TextRow{std::string(kEdgeExplanation), TextStyle::note},
                   edge_choice("leftEdgeMode", "Left edge", zones.left_edge_mode),
                   edge_choice("rightEdgeMode", "Right edge", zones.right_edge_mode),
                   ChoiceRow{"activationSide",
                             "Open Hidden Dock from",
                             {{"both", "Both edges"}, {"leftOnly", "Left edge only"}, {"rightOnly", "Right edge only"},
                              {"none", "Off"}},
                             std::string(prefs::to_string(zones.activation_side))},
                   TextRow{hidden_dock_status(zones)}}};
  if (!hidden_dock_has_an_edge(zones)) {
    section.rows.push_back(TextRow{std::string(kOnboardingEdgeWarning), TextStyle::warning});
  }
  return {{}, {}, {std::move(section)}};
}

PageContent OnboardingModel::calibration() const {
  Section section{"", {TextRow{"Kolvo finds your Dock by itself. If Hidden Dock opens a little beside it, draw a box "
                               "around your Dock once so Kolvo knows exactly where it is."}}};
  if (hooks_.calibrate) {
    section.rows.push_back(ButtonRow{"calibrate", "Calibrate Kolvo" + std::string(kEllipsis)});
  }
  section.rows.push_back(TextRow{"You can calibrate at any time from the Kolvo menu.", TextStyle::note});
  return {{}, {}, {std::move(section)}};
}

PageContent OnboardingModel::done() const {
  return {{}, {}, {{"", {TextRow{"Move the pointer to an edge beside your Dock to open Hidden Dock."},
                         TextRow{"Kolvo lives in the menu bar: open Settings from there to change apps, edges and dials, "
                                 "or to replay this introduction.",
                                 TextStyle::note}}}}};
}

std::optional<std::string> OnboardingModel::blocker() const {
  if (step_ == OnboardingStep::apps && stores_.apps.apps().empty()) return std::string(kOnboardingNeedsAnApp);
  if (step_ == OnboardingStep::edges && !hidden_dock_has_an_edge(zones_of(stores_))) {
    return std::string(kOnboardingEdgeWarning);
  }
  return std::nullopt;
}

EventOutcome OnboardingModel::handle(const ControlEvent& e) {
  const PageContent shown = content();
  const Row* row = find_row(shown, e.id);
  if (!offers_control(shown, e.id)) {
    return refused("The " + std::string(step_title(step_)) + " step has no control '" + e.id + "'.");
  }
  const auto bad_value = [&] { return refused("'" + e.id + "' cannot take that value."); };
  const std::string* text = std::get_if<std::string>(&e.value);
  if (const auto* button = std::get_if<ButtonRow>(row)) {
    if (!std::holds_alternative<std::monostate>(e.value)) return bad_value();
    if (!button->enabled && finished_) return refused("Onboarding is already finished.");
  }

  if (e.id == "back") {
    step_ = previous(step_);
    return accepted();
  }
  if (e.id == "continue") {
    if (auto reason = blocker()) return refused(std::move(*reason));
    step_ = next(step_);
    return accepted();
  }
  if (e.id == "finish") {
    finished_ = true;
    if (hooks_.mark_completed) hooks_.mark_completed();
    if (hooks_.finished) hooks_.finished();
    return accepted();
  }
  if (e.id == "calibrate") return hooks_.calibrate(), accepted();
  if (e.id == "addDockApp") return add_app();
  if (e.id == "removeDockApp") {
    const std::size_t count = stores_.apps.apps().size();
    std::size_t index = 0;
    if (!text) return bad_value();
    const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), index);
    if (error != std::errc() || end != text->data() + text->size() || index >= count) return bad_value();
    stores_.apps.remove(index);
    return accepted();
  }

  const auto choose = [&](const auto& table, auto&& apply) {
    const auto value = text ? table.parse(*text) : std::nullopt;
    if (!value) return bad_value();
    apply(*value);
    return accepted();
  };
  if (e.id == "leftEdgeMode") return choose(prefs::kEdgeModeTable, [&](auto v) { stores_.edge_modes.set_left_edge_mode(v); });
  if (e.id == "rightEdgeMode") {
    return choose(prefs::kEdgeModeTable, [&](auto v) { stores_.edge_modes.set_right_edge_mode(v); });
  }
  if (e.id == "activationSide") {
    return choose(prefs::kKolvoActivationSideTable, [&](auto v) { stores_.activation.set_activation_side(v); });
  }
  return refused("The " + std::string(step_title(step_)) + " step has no control '" + e.id + "'.");
}

EventOutcome OnboardingModel::add_app() {
  // Checked before the chooser opens, so the user is not asked for an app that cannot be kept.
  if (stores_.apps.apps().size() >= catalog::KolvoAppStore::kMaximumApps) {
    return refused("Hidden Dock holds up to 8 apps. Remove one to add another.");
  }
  const auto location = hooks_.choose_app_location();
  if (!location) return accepted();
  auto item = catalog::make_app_item(*location, stores_.catalog);
  if (!item) return refused(*location + " is not an application Kolvo can open.");
  const std::string name = item->name;
  if (!stores_.apps.add(std::move(*item))) return refused("Hidden Dock already holds " + name + ".");
  return accepted();
}

}  // namespace kolvo::ui
