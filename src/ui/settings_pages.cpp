#include "ui/settings_pages.hpp"

#include "base/date_time.hpp"

#include <array>
#include <charconv>
#include <cmath>

#include "base/number_text.hpp"
#include "shelf/claude_code/claude_code_hooks.hpp"
#include "ui/activation_texts.hpp"
#include "ui/control_choices.hpp"
#include "ui/general_page_model.hpp"

namespace kolvo::ui {
namespace {

using prefs::Corner;
using prefs::CornerControlMode;
using prefs::EdgeMode;

constexpr std::array kCorners{Corner::topLeft, Corner::topRight, Corner::bottomLeft, Corner::bottomRight};

constexpr std::string_view kInherit = "inherit";
constexpr std::string_view kCustom = "custom";
constexpr std::string_view kInheritTitle = "Inherit from Default";
constexpr std::string_view kSelectedDisplayPrefix = "selectedDisplay:";
constexpr std::string_view kProfilePrefix = "profile.";
constexpr std::string_view kCornerPrefix = "corner.";
constexpr std::string_view kStatPrefix = "stat.";
constexpr std::string_view kShelfSlotPrefix = "shelfSlot.";
constexpr std::string_view kEmptySlot = "none";
constexpr std::string_view kToolGridPrefix = "toolGrid.";
constexpr std::string_view kResetToolGridPrefix = "resetToolGrid.";
constexpr std::string_view kEmptyCell = "empty";
constexpr std::string_view kPhotoshopGroupsNote =
    "Photoshop shares one shortcut across each group of tools, so these buttons select the group and Photoshop "
    "decides which member becomes active.";

// The widgets by the names of the applications that feed them.
std::string widget_title(deck::ShelfSurfaceIdentity identity) {
  using I = deck::ShelfSurfaceIdentity;
  switch (identity) {
    case I::spotify: return "Spotify";
    case I::claudeCode: return "Claude Code";
    case I::codex: return "Codex";
    case I::timer: return "Timer";
    case I::afterEffects: return "After Effects";
    case I::illustrator: return "Illustrator";
    case I::photoshop: return "Photoshop";
    case I::premiere: return "Premiere Pro";
    case I::blender: return "Blender";
  }
  return {};
}

std::string widget_value(std::optional<deck::ShelfSurfaceIdentity> identity) {
  return identity ? std::string(deck::kShelfSurfaceIdentityTable.to_string(*identity)) : std::string(kEmptySlot);
}

std::string corner_title(Corner corner) {
  switch (corner) {
    case Corner::topLeft: return "Top left";
    case Corner::topRight: return "Top right";
    case Corner::bottomLeft: return "Bottom left";
    case Corner::bottomRight: return "Bottom right";
  }
  return {};
}

std::string stat_title(prefs::KolvoDeckStatKind kind) {
  switch (kind) {
    case prefs::KolvoDeckStatKind::cpu: return "CPU";
    case prefs::KolvoDeckStatKind::ram: return "Memory";
    case prefs::KolvoDeckStatKind::storage: return "Storage";
    case prefs::KolvoDeckStatKind::battery: return "Battery";
    case prefs::KolvoDeckStatKind::unknown: break;
  }
  return {};
}

ChoiceRow corner_choice(std::string id, Corner corner, CornerControlMode mode, std::optional<std::string> note) {
  return control_choice(std::move(id), corner_title(corner), mode, std::move(note));
}

ChoiceRow inherit_choice(std::string id, std::string title, bool overrides) {
  return {std::move(id), std::move(title),
          {{std::string(kInherit), std::string(kInheritTitle)}, {std::string(kCustom), "Custom"}},
          std::string(overrides ? kCustom : kInherit)};
}

std::string edge_offset_text(double offset) {
  const double rounded = std::round(offset);
  if (rounded == 0) return "0 pt";
  return (rounded > 0 ? "+" : "\xE2\x88\x92") + base::shortest_real_text(std::fabs(rounded)) + " pt";
}

const std::string* text_of(const ControlEvent& e) { return std::get_if<std::string>(&e.value); }
const bool* flag_of(const ControlEvent& e) { return std::get_if<bool>(&e.value); }

EventOutcome done() { return {true, {}}; }
EventOutcome refused(std::string message) { return {false, std::move(message)}; }

std::optional<std::size_t> index_in(const ControlEvent& e, std::size_t count) {
  const std::string* text = text_of(e);
  if (!text) return std::nullopt;
  std::size_t index = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), index);
  if (error != std::errc() || end != text->data() + text->size() || index >= count) return std::nullopt;
  return index;
}

// The Default's zone settings, which the status texts describe.
overlay::ZoneSettings default_zone_settings(const SettingsPageStores& s) {
  overlay::ZoneSettings z;
  z.activation_side = s.activation.activation_side();
  z.pressure_mode = s.pressure_zone.use_pressure_zone();
  z.left_edge_mode = s.edge_modes.left_edge_mode();
  z.right_edge_mode = s.edge_modes.right_edge_mode();
  for (std::size_t i = 0; i < kCorners.size(); ++i) z.corner_modes[i] = s.corner_controls.mode(kCorners[i]);
  return z;
}

std::string display_mode_value(const dock::KolvoDisplayMode& mode) {
  if (const auto* selected = std::get_if<dock::SelectedDisplay>(&mode)) {
    return std::string(kSelectedDisplayPrefix) + selected->key;
  }
  return std::holds_alternative<dock::AllCalibratedDisplays>(mode) ? "allCalibratedDisplays" : "automatic";
}

std::string app_detail(const catalog::KolvoAppItem& item, const catalog::ApplicationCatalog& catalog) {
  return catalog::is_installed(item, catalog) ? item.bundle_identifier.value_or(item.path()) : "not installed";
}

}  // namespace

base::Subscription SettingsPages::observe_changes(std::function<void()> changed) {
  // The install's progress and the bridge client's status both change the Blender section.
  auto section = stores_.blender_bridge ? std::make_shared<base::Subscription>(stores_.blender_bridge->observe(changed))
                                        : nullptr;
  auto client = stores_.blender_client ? std::make_shared<base::Subscription>(stores_.blender_client->add_observer(changed))
                                       : nullptr;
  if (!section && !client) return {};
  return base::Subscription([section, client] {
    if (section) section->reset();
    if (client) client->reset();
  });
}

std::string_view page_title(SettingsPage page) {
  switch (page) {
    case SettingsPage::general: return "General";
    case SettingsPage::controls: return "Controls";
    case SettingsPage::profiles: return "Profiles";
    case SettingsPage::apps: return "Apps";
    case SettingsPage::deck: return "Kolvo Deck";
    case SettingsPage::corvane: return "Corvane";
    case SettingsPage::advanced: return "Advanced";
  }
  return {};
}

PageContent SettingsPages::content(SettingsPage page) const {
  switch (page) {
    case SettingsPage::general: return general();
    case SettingsPage::controls: return controls();
    case SettingsPage::profiles: return profiles();
    case SettingsPage::apps: return apps();
    case SettingsPage::deck: return deck();
    case SettingsPage::corvane: return corvane();
    case SettingsPage::advanced: return advanced();
  }
  return {};
}

PageContent SettingsPages::general() const {
  PageContent page{std::string(to_string(SettingsPage::general)), std::string(page_title(SettingsPage::general)), {}};
  if (hooks_.launch_at_login && hooks_.set_launch_at_login) {
    const LaunchAtLoginState state = hooks_.launch_at_login();
    const LaunchAtLoginSection login = launch_at_login_section(state.is_enabled, state.needs_approval, state.last_error);
    Section startup{"Startup", {ToggleRow{"launchAtLogin", std::string(LaunchAtLoginSection::kToggleTitle), login.toggle_on}}};
    if (login.approval_note) {
      startup.rows.push_back(TextRow{std::string(*login.approval_note), TextStyle::note});
      if (hooks_.open_login_items_settings) {
        startup.rows.push_back(ButtonRow{"openLoginItems", std::string(LaunchAtLoginSection::kApprovalButton)});
      }
    }
    if (login.error) startup.rows.push_back(TextRow{*login.error, TextStyle::warning});
    page.sections.push_back(std::move(startup));
  }

  const overlay::ZoneSettings zones = default_zone_settings(stores_);
  Section hidden_dock{"Hidden Dock", {TextRow{hidden_dock_status(zones)}}};
  hidden_dock.rows.push_back(ChoiceRow{"activationSide",
                                       "Open from",
                                       {{"both", "Both edges"},
                                        {"leftOnly", "Left edge only"},
                                        {"rightOnly", "Right edge only"},
                                        {"none", "Off"}},
                                       std::string(prefs::to_string(zones.activation_side))});
  hidden_dock.rows.push_back(ToggleRow{"usePressureZone", "Pressure Point", zones.pressure_mode});
  hidden_dock.rows.push_back(TextRow{
      "Opens Hidden Dock from the bottom screen corners after a short hold, instead of on hover beside the Dock.",
      TextStyle::note});
  if (auto advice = pressure_point_advice(zones)) hidden_dock.rows.push_back(TextRow{*advice, TextStyle::warning});
  page.sections.push_back(std::move(hidden_dock));

  page.sections.push_back({"Sound", {ToggleRow{"soundEffects", "Play sound effects", stores_.sounds.is_enabled()}}});

  Section setup{"Setup", {}};
  if (hooks_.calibrate) setup.rows.push_back(ButtonRow{"calibrate", "Calibrate Kolvo\xE2\x80\xA6"});
  if (hooks_.replay_onboarding) setup.rows.push_back(ButtonRow{"replayOnboarding", "Replay Onboarding"});
  if (!setup.rows.empty()) page.sections.push_back(std::move(setup));
  return page;
}

PageContent SettingsPages::controls() const {
  PageContent page{std::string(to_string(SettingsPage::controls)), std::string(page_title(SettingsPage::controls)), {}};
  const overlay::ZoneSettings zones = default_zone_settings(stores_);
  page.sections.push_back({"Edges",
                           {TextRow{std::string(kEdgeExplanation), TextStyle::note},
                            edge_choice("leftEdgeMode", "Left edge", zones.left_edge_mode),
                            edge_choice("rightEdgeMode", "Right edge", zones.right_edge_mode),
                            TextRow{hidden_dock_status(zones)}}});
  Section dials{"Corner Dials", {}};
  for (std::size_t i = 0; i < kCorners.size(); ++i) {
    dials.rows.push_back(corner_choice(std::string(kCornerPrefix) + std::string(prefs::to_string(kCorners[i])), kCorners[i],
                                       zones.corner_modes[i], dial_conflict(kCorners[i], zones)));
  }
  if (auto advice = pressure_point_advice(zones)) dials.rows.push_back(TextRow{*advice, TextStyle::warning});
  page.sections.push_back(std::move(dials));

  const auto& look = stores_.appearance;
  page.sections.push_back(
      {"Appearance",
       {ChoiceRow{"controlAppearance",
                  "Controls",
                  {{"auto", "Match System"}, {"light", "Light"}, {"dark", "Dark"}},
                  std::string(prefs::to_string(look.mode()))},
        ChoiceRow{"knobStyle",
                  "Dial knob",
                  {{"classic", "Classic"}, {"minimal", "Minimal"}},
                  std::string(prefs::to_string(look.knob_style()))},
        ToggleRow{"liquidGlass", "Liquid glass controls", look.liquid_glass_enabled()}}});
  return page;
}

PageContent SettingsPages::profiles() const {
  PageContent page{std::string(to_string(SettingsPage::profiles)), std::string(page_title(SettingsPage::profiles)), {}};
  ListRow list{"profiles", {}, "No profiles yet. Every app uses the Default."};
  for (const auto& profile : stores_.profiles.profiles()) {
    list.items.push_back({profile.id, profile.app_name, profile.bundle_id, {ButtonRow{"removeProfile", "Remove"}}});
  }
  Section overview{"Profiles",
                   {TextRow{"While its app is frontmost, a profile replaces any of the Default's Dock apps, edge modes "
                            "and corner dials.",
                            TextStyle::note},
                    std::move(list)}};
  if (hooks_.choose_app_location) overview.rows.push_back(ButtonRow{"addProfile", "Add Profile\xE2\x80\xA6"});
  page.sections.push_back(std::move(overview));

  for (const auto& profile : stores_.profiles.profiles()) {
    const std::string prefix = std::string(kProfilePrefix) + profile.id + ".";
    Section section{profile.app_name, {}};
    section.rows.push_back(inherit_choice(prefix + "dockApps", "Dock apps", profile.overrides_dock_apps));
    if (profile.overrides_dock_apps) {
      std::string names;
      for (const auto& app : profile.dock_apps) names += (names.empty() ? "" : ", ") + app.name;
      section.rows.push_back(TextRow{names.empty() ? "No Dock apps." : names, TextStyle::note});
    }
    section.rows.push_back(inherit_choice(prefix + "edges", "Edge modes", profile.overrides_sliders));
    if (profile.overrides_sliders) {
      section.rows.push_back(edge_choice(prefix + "leftEdgeMode", "Left edge", profile.left_edge_mode));
      section.rows.push_back(edge_choice(prefix + "rightEdgeMode", "Right edge", profile.right_edge_mode));
    }
    section.rows.push_back(inherit_choice(prefix + "dials", "Corner dials", profile.overrides_dials));
    if (profile.overrides_dials) {
      // The conflicts as they are while this profile's app is in front.
      overlay::ZoneSettings zones = default_zone_settings(stores_);
      if (profile.overrides_sliders) {
        zones.left_edge_mode = profile.left_edge_mode;
        zones.right_edge_mode = profile.right_edge_mode;
      }
      for (std::size_t i = 0; i < kCorners.size(); ++i) zones.corner_modes[i] = profile.corner(kCorners[i]);
      for (std::size_t i = 0; i < kCorners.size(); ++i) {
        section.rows.push_back(corner_choice(prefix + std::string(kCornerPrefix) + std::string(prefs::to_string(kCorners[i])),
                                             kCorners[i], zones.corner_modes[i], dial_conflict(kCorners[i], zones)));
      }
    }
    page.sections.push_back(std::move(section));
  }
  return page;
}

PageContent SettingsPages::apps() const {
  PageContent page{std::string(to_string(SettingsPage::apps)), std::string(page_title(SettingsPage::apps)), {}};
  const auto& dock_apps = stores_.apps.apps();
  ListRow dock{"dockApps", {}, "No apps in Hidden Dock."};
  for (std::size_t i = 0; i < dock_apps.size(); ++i) {
    ListItem item{std::to_string(i), dock_apps[i].name, app_detail(dock_apps[i], stores_.catalog), {}};
    if (i > 0) item.actions.push_back(ButtonRow{"moveDockAppUp", "Move Up"});
    item.actions.push_back(ButtonRow{"removeDockApp", "Remove"});
    dock.items.push_back(std::move(item));
  }
  Section hidden{"Hidden Dock",
                 {TextRow{"Choose up to 8 apps for instant access from the edge of your screen.", TextStyle::note},
                  std::move(dock)}};
  if (hooks_.choose_app_location) {
    hidden.rows.push_back(ButtonRow{"addDockApp", "Add App\xE2\x80\xA6",
                                    dock_apps.size() < catalog::KolvoAppStore::kMaximumApps});
  }
  page.sections.push_back(std::move(hidden));

  ListRow grid{"launcherSlots", {}, ""};
  const auto slots = stores_.launcher.resolved_slots();
  for (std::size_t i = 0; i < slots.size(); ++i) {
    ListItem item{std::to_string(i), catalog::slot_text(slots[i]), "slot " + std::to_string(i + 1), {}};
    if (hooks_.choose_app_location) item.actions.push_back(ButtonRow{"chooseLauncherApp", "Choose\xE2\x80\xA6"});
    if (slots[i].item) item.actions.push_back(ButtonRow{"clearLauncherSlot", "Clear"});
    grid.items.push_back(std::move(item));
  }
  Section launcher{"App Launcher", {TextRow{"Shared across every profile. Drag to move or swap.", TextStyle::note}, std::move(grid)}};
  if (hooks_.confirm) launcher.rows.push_back(ButtonRow{"restoreLauncher", "Restore Default Apps"});
  page.sections.push_back(std::move(launcher));
  return page;
}

PageContent SettingsPages::deck() const {
  PageContent page{std::string(to_string(SettingsPage::deck)), std::string(page_title(SettingsPage::deck)), {}};
  page.sections.push_back({"Kolvo Deck",
                           {ToggleRow{"deckEnabled", "Let Kolvo Deck on your iPhone connect to this Mac", stores_.deck.is_enabled()},
                            TextRow{"Each iPhone is approved once, on this Mac, the first time it connects.", TextStyle::note}}});
  if (auto* server = stores_.deck_server) {
    Section& link = page.sections.back();
    const auto& port = server->listening_port().get();
    link.rows.push_back(TextRow{port ? "Running on port " + std::to_string(*port) : std::string("Not running")});
    if (const auto& error = server->last_error().get()) link.rows.push_back(TextRow{*error, TextStyle::warning});
    ListRow connected{"connectedPhones", {}, "No iPhone is connected."};
    for (const auto& name : server->connected_device_names().get()) connected.items.push_back({name, name, "Connected", {}});
    page.sections.push_back({"Connected", {std::move(connected)}});
  }
  if (auto* trust = stores_.deck_trust) {
    ListRow trusted{"trustedPhones", {}, "No iPhone is trusted yet."};
    for (const auto& device : trust->devices()) {
      trusted.items.push_back({device.id, device.name, "Trusted since " + base::format_report_date(device.added_at),
                               {ButtonRow{"forgetPhone", "Remove"}}});
    }
    page.sections.push_back({"Trusted iPhones", {std::move(trusted)}});
  }
  Section stats{"Statistics on the phone", {}};
  const auto& enabled = stores_.deck_stats.enabled();
  for (const auto& [kind, name] : prefs::kKolvoDeckStatKindTable.entries) {
    if (kind == prefs::KolvoDeckStatKind::unknown) continue;
    const bool on = std::find(enabled.begin(), enabled.end(), kind) != enabled.end();
    stats.rows.push_back(ToggleRow{std::string(kStatPrefix) + std::string(name), stat_title(kind), on});
  }
  page.sections.push_back(std::move(stats));
  return page;
}

namespace {

// One Adobe application's grid: a choice of tool for each of the nine cells.
Section tool_grid_section(const shelf::AdobeToolGridStore& grids, shelf::AdobeApp app, bool trusted) {
  const std::string name(shelf::adobe_app_name(app));
  const std::string raw(shelf::kAdobeAppTable.to_string(app));
  Section section{name + " tools", {TextRow{std::string(shelf::AdobeToolGridStore::kCaption), TextStyle::note}}};
  if (app == shelf::AdobeApp::photoshop) section.rows.push_back(TextRow{std::string(kPhotoshopGroupsNote), TextStyle::note});
  if (!trusted) {
    section.rows.push_back(
        TextRow{name + " tool controls need Accessibility access \xE2\x80\x94 turn it on in Advanced.", TextStyle::warning});
  }
  std::vector<ChoiceOption> options{{std::string(kEmptyCell), "Empty"}};
  for (const auto tool : shelf::adobe_tools(app)) {
    options.push_back({std::string(deck::kAdobeToolIDTable.to_string(tool)), std::string(shelf::adobe_tool_title(tool))});
  }
  const auto& grid = grids.grid(app);
  for (std::size_t i = 0; i < grid.size(); ++i) {
    section.rows.push_back(ChoiceRow{std::string(kToolGridPrefix) + raw + "." + std::to_string(i),
                                     "Tool " + std::to_string(i + 1), options,
                                     grid[i] ? std::string(deck::kAdobeToolIDTable.to_string(*grid[i]))
                                             : std::string(kEmptyCell)});
  }
  section.rows.push_back(ButtonRow{std::string(kResetToolGridPrefix) + raw,
                                   std::string(shelf::AdobeToolGridStore::kResetTitle),
                                   grid != shelf::default_adobe_tool_grid(app)});
  return section;
}

}  // namespace

PageContent SettingsPages::corvane() const {
  PageContent page{std::string(to_string(SettingsPage::corvane)), std::string(page_title(SettingsPage::corvane)), {}};
  auto* widgets = stores_.shelf_widgets;
  if (!widgets) return page;
  using Store = shelf::ShelfWidgetSettingsStore;
  Section shelf{"Shelf", {TextRow{std::string(Store::kHelpText), TextStyle::note}}};
  std::vector<ChoiceOption> options{{std::string(kEmptySlot), "None"}};
  for (const auto& [identity, value] : deck::kShelfSurfaceIdentityTable.entries) {
    options.push_back({std::string(value), widget_title(identity)});
  }
  for (std::size_t i = 0; i < Store::kSlotCount; ++i) {
    shelf.rows.push_back(ChoiceRow{std::string(kShelfSlotPrefix) + std::to_string(i), "Widget " + std::to_string(i + 1),
                                   options, widget_value(widgets->slot(i))});
  }
  shelf.rows.push_back(ChoiceRow{"shelfBackground",
                                 "Background",
                                 {{"liquidGlass", "Liquid Glass"}, {"solid", "Solid"}},
                                 std::string(deck::kShelfWidgetBackgroundTable.to_string(widgets->background()))});
  ListRow more{"moreShelfWidgets", {}, ""};
  const auto on_shelf = widgets->widgets();
  for (const auto& [identity, value] : deck::kShelfSurfaceIdentityTable.entries) {
    if (std::find(on_shelf.begin(), on_shelf.end(), identity) != on_shelf.end()) continue;
    more.items.push_back({std::string(value), widget_title(identity), {}, {ButtonRow{"addShelfWidget", "Add to Shelf"}}});
  }
  shelf.rows.push_back(std::move(more));
  page.sections.push_back(std::move(shelf));

  if (auto* grids = stores_.tool_grids) {
    const bool trusted = stores_.alignment.is_accessibility_trusted();
    for (const shelf::AdobeApp app : shelf::kAdobeApps) page.sections.push_back(tool_grid_section(*grids, app, trusted));
  }

  if (const auto* paths = stores_.agent_paths) {
    const auto report = shelf::claude_hook_status(*paths);
    const bool installed = report.status == shelf::ClaudeHookStatus::installed;
    Section claude{"Claude Code", {TextRow{report.sentence, installed ? TextStyle::body : TextStyle::warning}}};
    if (!report.problem.empty()) {
      claude.rows.push_back(TextRow{report.problem, TextStyle::warning});
    }
    claude.rows.push_back(ButtonRow{"setUpClaudeCode", "Set Up Claude Code Status",
                                    report.status != shelf::ClaudeHookStatus::claude_missing});
    if (claude_setup_outcome_) claude.rows.push_back(TextRow{*claude_setup_outcome_, TextStyle::note});
    page.sections.push_back(std::move(claude));
  }

  if (const auto* bridge = stores_.blender_bridge) {
    const blender::BridgeSectionView view = bridge->view(stores_.blender_client);
    Section section{view.title,
                    {TextRow{view.status_line}, TextRow{view.description, TextStyle::note},
                     ButtonRow{"installBlenderBridge", view.button_title, view.button_enabled}}};
    if (view.hint) section.rows.push_back(TextRow{*view.hint, TextStyle::note});
    if (view.note) section.rows.push_back(TextRow{*view.note, TextStyle::note});
    page.sections.push_back(std::move(section));
  }
  return page;
}

PageContent SettingsPages::advanced() const {
  PageContent page{std::string(to_string(SettingsPage::advanced)), std::string(page_title(SettingsPage::advanced)), {}};
  const auto& alignment = stores_.alignment;
  const bool trusted = alignment.is_accessibility_trusted();
  Section accessibility{"Accessibility",
                        {TextRow{trusted ? "Kolvo has Accessibility access."
                                         : "Kolvo needs Accessibility access to follow the Dock, step through tabs and "
                                           "snap windows.",
                                 trusted ? TextStyle::body : TextStyle::warning}}};
  if (!trusted && hooks_.open_accessibility_settings) {
    accessibility.rows.push_back(ButtonRow{"openAccessibilitySettings", "Open Accessibility Settings"});
  }
  page.sections.push_back(std::move(accessibility));

  Section dock{"Dock alignment",
               {ToggleRow{"lockCalibration", "Lock calibration", alignment.lock_calibration()},
                ToggleRow{"followDockChanges", "Follow Dock changes automatically",
                          alignment.follow_dock_changes_automatically(), trusted},
                SliderRow{"alignmentEdgeOffset", "Edge offset", -dock::AlignmentSettingsStore::kMaximumEdgeOffset,
                          dock::AlignmentSettingsStore::kMaximumEdgeOffset, alignment.alignment_edge_offset(),
                          edge_offset_text(alignment.alignment_edge_offset())}}};
  if (hooks_.calibrate) dock.rows.push_back(ButtonRow{"calibrate", "Calibrate Kolvo\xE2\x80\xA6"});
  page.sections.push_back(std::move(dock));

  page.sections.push_back(
      {"Activation zones",
       {ToggleRow{"showActivationZones", "Show activation zones", stores_.zone_map.show_activation_zones()},
        TextRow{"Tints every place at the screen's edges and corners that opens something, so you can see why an edge "
                "does or does not react, and calibrate again where the Dock has moved.",
                TextStyle::note}}});

  const auto& calibrations = stores_.calibrations;
  ChoiceRow displays{"displayMode",
                     "React on",
                     {{"automatic", "The display with the Dock"}, {"allCalibratedDisplays", "Every calibrated display"}},
                     display_mode_value(calibrations.display_mode())};
  for (const auto& [key, calibration] : calibrations.calibrations()) {
    const auto identity = calibrations.identities().find(key);
    const std::string name = identity != calibrations.identities().end() && !identity->second.localized_name.empty()
                                 ? identity->second.localized_name
                                 : key;
    displays.options.push_back({std::string(kSelectedDisplayPrefix) + key, "Only " + name});
  }
  if (calibrations.is_selected_display_missing()) {
    displays.note = "The chosen display is not connected; the display with the Dock reacts meanwhile.";
  }
  page.sections.push_back({"Displays", {std::move(displays)}});

  if (hooks_.diagnostics_report && hooks_.copy_to_pasteboard) {
    page.sections.push_back({"Diagnostics",
                             {TextRow{"A report of Kolvo's displays and calibrations, for a bug report.", TextStyle::note},
                              ButtonRow{"copyDiagnostics", "Copy Diagnostics Report"}}});
  }
  return page;
}

EventOutcome SettingsPages::handle(SettingsPage page, const ControlEvent& e) {
  const PageContent shown = content(page);
  if (!e.id.starts_with(kProfilePrefix) && !offers_control(shown, e.id)) {
    return refused("The " + std::string(page_title(page)) + " page has no control '" + e.id + "'.");
  }
  const std::string* text = text_of(e);
  const bool* flag = flag_of(e);
  const auto bad_value = [&] { return refused("'" + e.id + "' cannot take that value."); };

  if (e.id == "launchAtLogin") {
    if (!flag) return bad_value();
    hooks_.set_launch_at_login(*flag);
    return done();
  }
  if (e.id == "openLoginItems") return hooks_.open_login_items_settings(), done();
  if (e.id == "openAccessibilitySettings") return hooks_.open_accessibility_settings(), done();
  if (e.id == "calibrate") return hooks_.calibrate(), done();
  if (e.id == "replayOnboarding") return hooks_.replay_onboarding(), done();
  if (e.id == "copyDiagnostics") return hooks_.copy_to_pasteboard(hooks_.diagnostics_report()), done();

  const auto toggle = [&](auto&& apply) {
    if (!flag) return bad_value();
    apply(*flag);
    return done();
  };
  if (e.id == "usePressureZone") return toggle([&](bool on) { stores_.pressure_zone.set_use_pressure_zone(on); });
  if (e.id == "soundEffects") return toggle([&](bool on) { stores_.sounds.set_enabled(on); });
  if (e.id == "liquidGlass") return toggle([&](bool on) { stores_.appearance.set_liquid_glass_enabled(on); });
  if (e.id == "deckEnabled") return toggle([&](bool on) { stores_.deck.set_enabled(on); });
  if (e.id == "showActivationZones") {
    return toggle([&](bool on) { stores_.zone_map.set_show_activation_zones(on); });
  }
  if (e.id == "lockCalibration") return toggle([&](bool on) { stores_.alignment.set_lock_calibration(on); });
  if (e.id == "followDockChanges") {
    if (!stores_.alignment.is_accessibility_trusted()) return refused("Following the Dock needs Accessibility access.");
    return toggle([&](bool on) { stores_.alignment.set_follow_dock_changes_automatically(on); });
  }
  if (e.id.starts_with(kStatPrefix)) {
    const auto kind = prefs::kKolvoDeckStatKindTable.parse(std::string_view(e.id).substr(kStatPrefix.size()));
    return toggle([&](bool on) {
      std::vector<prefs::KolvoDeckStatKind> kinds = stores_.deck_stats.enabled();
      std::erase(kinds, *kind);
      if (on) kinds.push_back(*kind);
      stores_.deck_stats.set_enabled(std::move(kinds));
    });
  }

  const auto choose = [&](const auto& table, auto&& apply) {
    const auto value = text ? table.parse(*text) : std::nullopt;
    if (!value) return bad_value();
    apply(*value);
    return done();
  };
  if (e.id == "activationSide") {
    return choose(prefs::kKolvoActivationSideTable, [&](auto v) { stores_.activation.set_activation_side(v); });
  }
  if (e.id == "leftEdgeMode") return choose(prefs::kEdgeModeTable, [&](auto v) { stores_.edge_modes.set_left_edge_mode(v); });
  if (e.id == "rightEdgeMode") return choose(prefs::kEdgeModeTable, [&](auto v) { stores_.edge_modes.set_right_edge_mode(v); });
  if (e.id == "controlAppearance") {
    return choose(prefs::kControlAppearanceModeTable, [&](auto v) { stores_.appearance.set_mode(v); });
  }
  if (e.id == "knobStyle") return choose(prefs::kKnobStyleTable, [&](auto v) { stores_.appearance.set_knob_style(v); });
  if (e.id.starts_with(kCornerPrefix)) {
    const Corner corner = *prefs::kCornerTable.parse(std::string_view(e.id).substr(kCornerPrefix.size()));
    return choose(prefs::kCornerControlModeTable, [&](auto v) { stores_.corner_controls.set_mode(corner, v); });
  }
  if (e.id == "alignmentEdgeOffset") {
    const double* value = std::get_if<double>(&e.value);
    if (!value || !std::isfinite(*value)) return bad_value();
    stores_.alignment.set_alignment_edge_offset(*value);
    return done();
  }
  if (e.id == "displayMode") {
    if (!text) return bad_value();
    const auto* choice = std::get_if<ChoiceRow>(find_row(shown, e.id));
    const bool offered = std::any_of(choice->options.begin(), choice->options.end(),
                                     [&](const ChoiceOption& o) { return o.value == *text; });
    if (!offered) return bad_value();
    if (*text == "automatic") {
      stores_.calibrations.set_display_mode(dock::AutomaticDisplay{});
    } else if (*text == "allCalibratedDisplays") {
      stores_.calibrations.set_display_mode(dock::AllCalibratedDisplays{});
    } else {
      stores_.calibrations.set_display_mode(dock::SelectedDisplay{text->substr(kSelectedDisplayPrefix.size())});
    }
    return done();
  }

  if (e.id == "setUpClaudeCode") {
    const auto installed = shelf::install_claude_hooks(*stores_.agent_paths);
    claude_setup_outcome_ = installed.sentence;
    return installed.ok ? done() : refused(installed.sentence);
  }

  if (e.id == "installBlenderBridge") {
    // The result arrives later, as the section's note; observe_changes tells the shell.
    if (!stores_.blender_bridge->install()) return refused("The Blender Bridge is being installed.");
    return done();
  }

  // The Corvane page: the Shelf's two widgets.
  if (e.id.starts_with(kShelfSlotPrefix) || e.id == "addShelfWidget") {
    if (!text) return bad_value();
    const auto identity = deck::kShelfSurfaceIdentityTable.parse(*text);
    if (!identity && (e.id == "addShelfWidget" || *text != kEmptySlot)) return bad_value();
    if (e.id == "addShelfWidget") {
      if (!stores_.shelf_widgets->add(*identity)) return refused(std::string(shelf::ShelfWidgetSettingsStore::kSlotsFullText));
      return done();
    }
    stores_.shelf_widgets->setSlot(e.id.back() == '0' ? 0 : 1, identity);
    return done();
  }
  if (e.id == "shelfBackground") {
    return choose(deck::kShelfWidgetBackgroundTable, [&](auto v) { stores_.shelf_widgets->set_background(v); });
  }
  if (e.id.starts_with(kToolGridPrefix) || e.id.starts_with(kResetToolGridPrefix)) return handle_tool_grid(e);

  // The Apps page: the Hidden Dock's list and the launcher's slots.
  auto& dock_apps = stores_.apps;
  if (e.id == "addDockApp") {
    EventOutcome refusal = done();
    auto chosen = choose_app(refusal);
    if (!chosen) return refusal;
    if (!dock_apps.add(std::move(*chosen))) return refused("Hidden Dock is full or already holds that app.");
    return done();
  }
  if (e.id == "removeDockApp" || e.id == "moveDockAppUp") {
    const auto index = index_in(e, dock_apps.apps().size());
    if (!index || (e.id == "moveDockAppUp" && *index == 0)) return bad_value();
    if (e.id == "removeDockApp") {
      dock_apps.remove(*index);
    } else {
      dock_apps.move(*index, *index - 1);
    }
    return done();
  }
  if (e.id == "chooseLauncherApp" || e.id == "clearLauncherSlot") {
    const auto index = index_in(e, catalog::AppLauncherStore::kSlotCount);
    if (!index) return bad_value();
    if (e.id == "clearLauncherSlot") {
      stores_.launcher.clear(*index);
    } else {
      EventOutcome refusal = done();
      auto chosen = choose_app(refusal);
      if (!chosen) return refusal;
      stores_.launcher.assign(*index, std::move(*chosen));
    }
    return done();
  }
  if (e.id == "restoreLauncher") {
    if (hooks_.confirm("Restore the default App Launcher apps?",
                       "The 56 Launcher slots return to Kolvo's defaults. Your Hidden Dock apps are not changed.",
                       "Restore Defaults")) {
      stores_.launcher.restore_defaults();
    }
    return done();
  }
  return handle_profile(e);
}

EventOutcome SettingsPages::handle_tool_grid(const ControlEvent& e) {
  const auto bad_value = [&] { return refused("'" + e.id + "' cannot take that value."); };
  // The page offered the control, so its id names an application (and a cell) it knows.
  if (e.id.starts_with(kResetToolGridPrefix)) {
    const auto app = shelf::kAdobeAppTable.parse(std::string_view(e.id).substr(kResetToolGridPrefix.size()));
    if (!app) return bad_value();
    stores_.tool_grids->reset(*app);
    return done();
  }
  const std::string_view rest = std::string_view(e.id).substr(kToolGridPrefix.size());
  const auto dot = rest.rfind('.');
  const auto app = dot == std::string_view::npos ? std::nullopt : shelf::kAdobeAppTable.parse(rest.substr(0, dot));
  const auto cell = app ? base::parse_integer(rest.substr(dot + 1)) : std::nullopt;
  const std::string* text = text_of(e);
  if (!app || !cell || *cell < 0 || !text) return bad_value();
  std::optional<deck::AdobeToolID> tool;
  if (*text != kEmptyCell) {
    tool = deck::kAdobeToolIDTable.parse(*text);
    if (!tool) return bad_value();
  }
  // The store refuses another application's tool.
  if (!stores_.tool_grids->set_cell(*app, static_cast<std::size_t>(*cell), tool)) return bad_value();
  return done();
}

std::optional<catalog::KolvoAppItem> SettingsPages::choose_app(EventOutcome& refusal) const {
  const auto location = hooks_.choose_app_location();
  if (!location) return std::nullopt;
  auto item = catalog::make_app_item(*location, stores_.catalog);
  if (!item) refusal = refused(*location + " is not an application Kolvo can open.");
  return item;
}

EventOutcome SettingsPages::handle_profile(const ControlEvent& e) {
  auto& profiles = stores_.profiles;
  const std::string* text = text_of(e);
  const auto bad_value = [&] { return refused("'" + e.id + "' cannot take that value."); };
  if (e.id == "addProfile") {
    EventOutcome refusal = done();
    const auto chosen = choose_app(refusal);
    if (!chosen) return refusal;
    if (!chosen->bundle_identifier) return refused(chosen->name + " has no bundle identifier, so no profile can follow it.");
    std::array<CornerControlMode, 4> corners{};
    for (std::size_t i = 0; i < kCorners.size(); ++i) corners[i] = stores_.corner_controls.mode(kCorners[i]);
    profiles.add(*chosen->bundle_identifier, chosen->name, stores_.edge_modes.left_edge_mode(),
                 stores_.edge_modes.right_edge_mode(), corners);
    return done();
  }
  if (e.id == "forgetPhone") {
    if (!text || !stores_.deck_trust || !stores_.deck_trust->remove(*text)) return bad_value();
    return done();
  }
  if (e.id == "removeProfile") {
    if (!text || !profiles.profile_with_id(*text)) return bad_value();
    profiles.remove(*text);
    return done();
  }
  // "profile.<id>.<field>": the id is a UUID, so the first dot after the prefix ends it.
  const std::string_view rest = std::string_view(e.id).substr(kProfilePrefix.size());
  const auto dot = rest.find('.');
  const catalog::KolvoProfile* found =
      dot == std::string_view::npos ? nullptr : profiles.profile_with_id(std::string(rest.substr(0, dot)));
  if (!e.id.starts_with(kProfilePrefix) || !found) return refused("There is no control '" + e.id + "'.");
  catalog::KolvoProfile profile = *found;
  const std::string_view field = rest.substr(dot + 1);
  if (!text) return bad_value();
  if (field == "dockApps" || field == "edges" || field == "dials") {
    if (*text != kInherit && *text != kCustom) return bad_value();
    const bool custom = *text == kCustom;
    if (field == "dockApps") {
      // A new override starts from the Default's apps, so turning it on changes nothing yet.
      if (custom && !profile.overrides_dock_apps && profile.dock_apps.empty()) profile.dock_apps = stores_.apps.apps();
      profile.overrides_dock_apps = custom;
    } else if (field == "edges") {
      profile.overrides_sliders = custom;
    } else {
      profile.overrides_dials = custom;
    }
  } else if (field == "leftEdgeMode" || field == "rightEdgeMode") {
    const auto mode = prefs::kEdgeModeTable.parse(*text);
    if (!mode || !profile.overrides_sliders) return bad_value();
    (field == "leftEdgeMode" ? profile.left_edge_mode : profile.right_edge_mode) = *mode;
  } else if (field.starts_with(kCornerPrefix)) {
    const auto corner = prefs::kCornerTable.parse(field.substr(kCornerPrefix.size()));
    const auto mode = prefs::kCornerControlModeTable.parse(*text);
    if (!corner || !mode || !profile.overrides_dials) return bad_value();
    profile.corners[std::string(prefs::to_string(*corner))] = *mode;
  } else {
    return refused("There is no control '" + e.id + "'.");
  }
  profiles.update(profile);
  return done();
}

}  // namespace kolvo::ui
