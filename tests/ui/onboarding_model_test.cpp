#include <gtest/gtest.h>

#include "overlay/hidden_dock_services.hpp"
#include "support/dock_fixture.hpp"
#include "ui/activation_texts.hpp"
#include "ui/onboarding_model.hpp"

namespace kolvo::ui {
namespace {

using prefs::EdgeMode;
using prefs::KolvoActivationSide;
using testing::laptop_screen;

constexpr std::size_t kInstalled = 10;

std::string app_path(std::size_t n) { return "/Applications/Tool" + std::to_string(n) + ".app"; }

sim::SimulatedLayout desk() {
  sim::SimulatedLayout layout = testing::layout_of({laptop_screen()});
  for (std::size_t n = 0; n < kInstalled; ++n) {
    layout.installed_applications.push_back({app_path(n), "com.example.tool" + std::to_string(n),
                                             "Tool" + std::to_string(n) + ".app"});
  }
  return layout;
}

// The steps over a simulated laptop with ten installed tools; every hook is recorded.
struct OnboardingHarness {
  explicit OnboardingHarness(std::size_t apps = 1, bool with_calibrate = true)
      : geometry(desk()),
        hidden(geometry.settings.prefs, geometry.desktop, geometry.settings.log,
               geometry.settings.settings->activation_settings(), *geometry.services,
               [] { return std::optional<std::string>(); }),
        model(OnboardingStores{hidden.apps(), geometry.desktop, geometry.settings.settings->edge_modes(),
                               geometry.settings.settings->activation()},
              hooks(with_calibrate)) {
    set_apps(apps);
  }

  OnboardingHooks hooks(bool with_calibrate) {
    OnboardingHooks h{.choose_app_location =
                          [this] {
                            calls.push_back("chooser");
                            return chosen;
                          },
                      .calibrate = {},
                      .mark_completed =
                          [this] {
                            calls.push_back("completed");
                            geometry.settings.settings->set_onboarding_completed(true);
                          },
                      .finished = [this] { calls.push_back("finished"); }};
    if (with_calibrate) h.calibrate = [this] { calls.push_back("calibrate"); };
    return h;
  }

  void set_apps(std::size_t count) {
    std::vector<catalog::KolvoAppItem> items;
    for (std::size_t n = 0; n < count; ++n) items.push_back(*catalog::make_app_item(app_path(n), geometry.desktop));
    hidden.apps().set_apps(std::move(items));
  }
  std::vector<std::string> app_names() {
    std::vector<std::string> names;
    for (const auto& item : hidden.apps().apps()) names.push_back(item.name);
    return names;
  }

  EventOutcome send(std::string id, ControlValue value = std::monostate()) {
    return model.handle({std::move(id), std::move(value)});
  }
  // Walks forward to `step`, failing the test if any Continue on the way is refused.
  void go_to(OnboardingStep step) {
    while (model.step() != step) {
      const EventOutcome outcome = send("continue");
      ASSERT_TRUE(outcome.done) << outcome.message;
    }
  }
  std::vector<std::string> texts() const {
    std::vector<std::string> out;
    for (const auto& section : model.content().sections) {
      for (const auto& r : section.rows) {
        if (const auto* t = std::get_if<TextRow>(&r)) out.push_back(t->text);
      }
    }
    return out;
  }
  bool shows(std::string_view text) const {
    const auto all = texts();
    return std::find(all.begin(), all.end(), text) != all.end();
  }
  std::vector<std::string> buttons() const {
    std::vector<std::string> out;
    for (const auto& section : model.content().sections) {
      for (const auto& r : section.rows) {
        if (const auto* b = std::get_if<ButtonRow>(&r)) out.push_back(b->id);
      }
    }
    return out;
  }

  testing::GeometryFixture geometry;
  overlay::HiddenDockServices hidden;
  std::vector<std::string> calls;
  std::optional<std::string> chosen;
  OnboardingModel model;
};

TEST(OnboardingModel, StepsGoForwardAndBackInOrder) {
  OnboardingHarness h;
  const std::vector<OnboardingStep> order = {OnboardingStep::welcome, OnboardingStep::apps, OnboardingStep::edges,
                                             OnboardingStep::calibration, OnboardingStep::done};
  for (std::size_t i = 0; i < order.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(h.model.step(), order[i]);
    EXPECT_EQ(h.model.content().id, kOnboardingStepTable.to_string(order[i]));
    const auto buttons = h.buttons();
    const bool has_back = std::find(buttons.begin(), buttons.end(), "back") != buttons.end();
    const bool has_continue = std::find(buttons.begin(), buttons.end(), "continue") != buttons.end();
    const bool has_finish = std::find(buttons.begin(), buttons.end(), "finish") != buttons.end();
    EXPECT_EQ(has_back, i > 0);
    EXPECT_EQ(has_continue, i + 1 < order.size());
    EXPECT_EQ(has_finish, i + 1 == order.size());
    if (i + 1 < order.size()) {
      ASSERT_TRUE(h.send("continue").done);
    }
  }
  for (std::size_t i = order.size() - 1; i > 0; --i) {
    ASSERT_TRUE(h.send("back").done);
    EXPECT_EQ(h.model.step(), order[i - 1]);
  }
  const EventOutcome no_back = h.send("back");
  EXPECT_FALSE(no_back.done);
  EXPECT_EQ(no_back.message, "The Welcome to Kolvo step has no control 'back'.");
  EXPECT_EQ(h.model.content().title, "Welcome to Kolvo");
}

TEST(OnboardingModel, ContinueIsRefusedWhileAStepIsIncomplete) {
  struct Case {
    const char* name;
    std::size_t apps;
    EdgeMode left;
    EdgeMode right;
    KolvoActivationSide side;
    OnboardingStep at;
    std::optional<std::string> refusal;  // absent: Continue goes on
  };
  const std::string no_app(kOnboardingNeedsAnApp);
  const std::string no_edge(kOnboardingEdgeWarning);
  const auto dock = EdgeMode::dock;
  const auto both = KolvoActivationSide::both;
  const Case cases[] = {
      {"no app", 0, dock, dock, both, OnboardingStep::apps, no_app},
      {"one app", 1, dock, dock, both, OnboardingStep::apps, std::nullopt},
      {"both edges on the Dock", 1, dock, dock, both, OnboardingStep::edges, std::nullopt},
      {"both edges sliders", 1, EdgeMode::volume, EdgeMode::brightness, both, OnboardingStep::edges, no_edge},
      {"activation side none", 1, dock, dock, KolvoActivationSide::none, OnboardingStep::edges, no_edge},
      {"left slider, right on the Dock", 1, EdgeMode::volume, dock, both, OnboardingStep::edges, std::nullopt},
      {"right slider, left on the Dock", 1, dock, EdgeMode::appearance, both, OnboardingStep::edges, std::nullopt},
      {"only the left edge, a slider", 1, EdgeMode::volume, dock, KolvoActivationSide::leftOnly,
       OnboardingStep::edges, no_edge},
      {"only the right edge, on the Dock", 1, EdgeMode::volume, dock, KolvoActivationSide::rightOnly,
       OnboardingStep::edges, std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    OnboardingHarness h(1);
    h.go_to(c.at);
    h.set_apps(c.apps);
    if (c.at == OnboardingStep::edges) {
      ASSERT_TRUE(h.send("leftEdgeMode", std::string(prefs::to_string(c.left))).done);
      ASSERT_TRUE(h.send("rightEdgeMode", std::string(prefs::to_string(c.right))).done);
      ASSERT_TRUE(h.send("activationSide", std::string(prefs::to_string(c.side))).done);
      EXPECT_EQ(h.shows(no_edge), c.refusal.has_value());
    } else {
      EXPECT_EQ(h.shows(no_app), c.refusal.has_value());
    }
    const EventOutcome outcome = h.send("continue");
    EXPECT_EQ(outcome.done, !c.refusal);
    EXPECT_EQ(outcome.message, c.refusal.value_or(""));
    EXPECT_EQ(h.model.step(), c.refusal ? c.at : static_cast<OnboardingStep>(static_cast<int>(c.at) + 1));
  }
}

TEST(OnboardingModel, EdgeStepShowsTheHiddenDockStatus) {
  OnboardingHarness h;
  h.go_to(OnboardingStep::edges);
  EXPECT_TRUE(h.shows("Hidden Dock opens from both edges of your Dock."));
  ASSERT_TRUE(h.send("leftEdgeMode", std::string("volume")).done);
  EXPECT_TRUE(h.shows("Hidden Dock opens from the right edge of your Dock."));
  EXPECT_EQ(h.geometry.settings.settings->edge_modes().left_edge_mode(), EdgeMode::volume);
  const PageContent edges = h.model.content();
  const auto* left = std::get_if<ChoiceRow>(find_row(edges, "leftEdgeMode"));
  ASSERT_NE(left, nullptr);
  EXPECT_EQ(left->selected, "volume");
}

TEST(OnboardingModel, AppsAreAddedUpToTheLimitAndRemoved) {
  struct Case {
    const char* name;
    std::size_t before;
    std::optional<std::string> chosen;
    bool chooser_opens;
    bool accepted;
    std::string message;
    std::size_t after;
  };
  const Case cases[] = {
      {"added", 2, app_path(5), true, true, "", 3},
      {"the eighth", 7, app_path(8), true, true, "", 8},
      {"a ninth", 8, app_path(9), false, false, "Hidden Dock holds up to 8 apps. Remove one to add another.", 8},
      {"cancelled", 2, std::nullopt, true, true, "", 2},
      {"not an app", 2, std::string("/Users/me/notes.txt"), true, false,
       "/Users/me/notes.txt is not an application Kolvo can open.", 2},
      {"already there", 2, app_path(1), true, false, "Hidden Dock already holds Tool1.", 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    OnboardingHarness h(c.before);
    h.go_to(OnboardingStep::apps);
    const auto names_before = h.app_names();
    h.chosen = c.chosen;
    const EventOutcome outcome = h.send("addDockApp");
    EXPECT_EQ(outcome.done, c.accepted) << outcome.message;
    EXPECT_EQ(outcome.message, c.message);
    EXPECT_EQ(h.calls, c.chooser_opens ? std::vector<std::string>{"chooser"} : std::vector<std::string>{});
    ASSERT_EQ(h.app_names().size(), c.after);
    if (c.after == c.before) {
      EXPECT_EQ(h.app_names(), names_before);
    }
    const PageContent apps = h.model.content();
    const auto* add = std::get_if<ButtonRow>(find_row(apps, "addDockApp"));
    ASSERT_NE(add, nullptr);
    EXPECT_EQ(add->enabled, c.after < catalog::KolvoAppStore::kMaximumApps);
  }

  OnboardingHarness h(3);
  h.go_to(OnboardingStep::apps);
  ASSERT_TRUE(h.send("removeDockApp", std::string("1")).done);
  EXPECT_EQ(h.app_names(), (std::vector<std::string>{"Tool0", "Tool2"}));
  for (const ControlValue& bad : {ControlValue(std::string("2")), ControlValue(std::string("-1")),
                                  ControlValue(std::string("1x")), ControlValue(1.0)}) {
    const EventOutcome outcome = h.send("removeDockApp", bad);
    EXPECT_FALSE(outcome.done);
    EXPECT_EQ(outcome.message, "'removeDockApp' cannot take that value.");
  }
  EXPECT_EQ(h.app_names(), (std::vector<std::string>{"Tool0", "Tool2"}));
}

TEST(OnboardingModel, UnknownControlsAndBadValuesChangeNothing) {
  struct Case {
    const char* name;
    OnboardingStep at;
    const char* id;
    ControlValue value;
    std::string message;
  };
  const Case cases[] = {
      {"unknown id", OnboardingStep::edges, "launchAtLogin", true, "The Choose Your Edges step has no control 'launchAtLogin'."},
      {"a control of another step", OnboardingStep::apps, "leftEdgeMode", std::string("volume"),
       "The Choose Your Apps step has no control 'leftEdgeMode'."},
      {"edge mode typo", OnboardingStep::edges, "leftEdgeMode", std::string("Volume"), "'leftEdgeMode' cannot take that value."},
      {"edge mode given a flag", OnboardingStep::edges, "rightEdgeMode", true, "'rightEdgeMode' cannot take that value."},
      {"side typo", OnboardingStep::edges, "activationSide", std::string("left"), "'activationSide' cannot take that value."},
      {"continue given text", OnboardingStep::edges, "continue", std::string("yes"), "'continue' cannot take that value."},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    OnboardingHarness h;
    h.go_to(c.at);
    const PageContent before = h.model.content();
    const EventOutcome outcome = h.send(c.id, c.value);
    EXPECT_FALSE(outcome.done);
    EXPECT_EQ(outcome.message, c.message);
    EXPECT_EQ(h.model.step(), c.at);
    EXPECT_EQ(h.model.content(), before);
    EXPECT_TRUE(h.calls.empty());
  }
}

TEST(OnboardingModel, CalibrationButtonOnlyWithItsHook) {
  for (const bool with_hook : {true, false}) {
    SCOPED_TRACE(with_hook);
    OnboardingHarness h(1, with_hook);
    h.go_to(OnboardingStep::calibration);
    const EventOutcome outcome = h.send("calibrate");
    EXPECT_EQ(outcome.done, with_hook) << outcome.message;
    EXPECT_EQ(h.calls, with_hook ? std::vector<std::string>{"calibrate"} : std::vector<std::string>{});
    EXPECT_EQ(h.model.step(), OnboardingStep::calibration);
  }
}

TEST(OnboardingModel, FinishRecordsCompletionOnceAndClosesTheWindow) {
  OnboardingHarness h;
  EXPECT_FALSE(h.geometry.settings.settings->onboarding_completed());
  h.go_to(OnboardingStep::done);
  EXPECT_FALSE(h.geometry.settings.settings->onboarding_completed());
  ASSERT_TRUE(h.send("finish").done);
  EXPECT_TRUE(h.model.is_finished());
  EXPECT_TRUE(h.geometry.settings.settings->onboarding_completed());
  EXPECT_EQ(h.calls, (std::vector<std::string>{"completed", "finished"}));

  for (const char* again : {"finish", "back"}) {
    SCOPED_TRACE(again);
    const EventOutcome outcome = h.send(again);
    EXPECT_FALSE(outcome.done);
    EXPECT_EQ(outcome.message, "Onboarding is already finished.");
  }
  EXPECT_EQ(h.calls, (std::vector<std::string>{"completed", "finished"}));
}

}  // namespace
}  // namespace kolvo::ui
