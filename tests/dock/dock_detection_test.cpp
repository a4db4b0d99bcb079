#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "dock/dock_detection.hpp"
#include "support/dock_fixture.hpp"

namespace kolvo::dock {
namespace {

using testing::laptop_screen;

TEST(DockPreferences, SizesOutsideWhatTheDockAllowsTakeTheNearestBound) {
  struct Case {
    prefs::PreferenceValue stored;
    double tile;
  };
  const Case cases[] = {
      {1e308, 128}, {129, 128}, {128, 128}, {16, 16}, {3, 16}, {std::int64_t{64}, 64},
      {-1e308, 48}, {0, 48}, {std::numeric_limits<double>::infinity(), 48}, {std::nan(""), 48},
  };
  for (const Case& c : cases) {
    prefs::MemoryPreferenceStore stored({{"tilesize", c.stored}, {"largesize", c.stored}});
    const DockPreferences read = read_dock_preferences(&stored);
    EXPECT_EQ(read.tile_size, c.tile) << c.tile;
    EXPECT_EQ(read.large_size, c.tile == 48 ? 64 : c.tile) << c.tile;
  }
}

TEST(DockPreferences, DefaultsAndTheFormsTheDockReallyStores) {
  EXPECT_EQ(read_dock_preferences(nullptr), DockPreferences{});  // cannot be opened: show-recents true
  prefs::MemoryPreferenceStore empty;
  EXPECT_FALSE(read_dock_preferences(&empty).show_recents);      // opened, key missing: false

  prefs::MemoryPreferenceStore stored({{"orientation", "right"},
                                      {"tilesize", 47.5},
                                      {"largesize", 0},
                                      {"magnification", true},
                                      {"persistent-apps", prefs::PreferenceValue::Array{1, 2, 3}}});
  const DockPreferences prefs = read_dock_preferences(&stored);
  EXPECT_EQ(prefs.orientation, DockPosition::right);
  EXPECT_EQ(prefs.tile_size, 47.5);
  EXPECT_EQ(prefs.large_size, 64);
  EXPECT_EQ(effective_tile(prefs), 64);  // magnifying up to the large size
  EXPECT_EQ(prefs.persistent_app_count, 3);

  prefs::MemoryPreferenceStore odd({{"orientation", "top"}, {"tilesize", -3}});
  EXPECT_EQ(read_dock_preferences(&odd).orientation, DockPosition::bottom);
  EXPECT_EQ(read_dock_preferences(&odd).tile_size, 48);
}

TEST(DockPreferences, TransientRunningCountSkipsKeptHiddenOwnAndLoginApps) {
  const std::vector<RunningApplication> running = {
      {"com.apple.dock", false, 100},           // not regular
      {"com.example.app0", true, 101},          // kept in the Dock
      {"com.kolvo.Kolvo", true, 1},             // this program
      {"com.apple.loginwindow", true, 102},     // login window
      {std::nullopt, true, 103},                // no bundle identifier
      {"com.apple.Terminal", true, 104},        // counts
      {"org.mozilla.firefox", true, 105},       // counts
  };
  EXPECT_EQ(transient_running_count(running, 1, {"com.example.app0"}), 2);
}

TEST(DefaultsEstimate, MatchesTheWorkedExampleAndEachEdge) {
  prefs::MemoryPreferenceStore domain(
      {{"orientation", "bottom"}, {"tilesize", 0}, {"show-recents", true},
       {"persistent-apps", prefs::PreferenceValue::Array(5, prefs::PreferenceValue::Dictionary{})},
       {"persistent-others", prefs::PreferenceValue::Array(2, prefs::PreferenceValue::Dictionary{})}});
  DockPreferences prefs = read_dock_preferences(&domain);
  EXPECT_EQ(slot_count(prefs), 10);
  const ScreenInfo hidden = laptop_screen(0);
  // T = 72, L = 640; no inset: 72 high, 8 points above the bottom edge, centred.
  EXPECT_EQ(defaults_estimate_rect(hidden, prefs), (Rect{756 - 320, 8, 640, 72}));
  EXPECT_EQ(defaults_estimate_rect(laptop_screen(70), prefs), (Rect{436, 0, 640, 70}));

  // On a narrow screen the width is capped but the x still centres the full length.
  ScreenInfo narrow = hidden;
  narrow.frame = narrow.visible_frame = {0, 0, 600, 900};
  EXPECT_EQ(defaults_estimate_rect(narrow, prefs), (Rect{300 - 320, 8, 570, 72}));

  prefs.orientation = DockPosition::left;
  ScreenInfo left_dock = laptop_screen(0);
  left_dock.visible_frame = {66, 0, 1512 - 66, 945};
  EXPECT_EQ(defaults_estimate_rect(left_dock, prefs), (Rect{0, 491 - 320, 66, 640}));
  prefs.orientation = DockPosition::right;
  EXPECT_EQ(defaults_estimate_rect(laptop_screen(0), prefs), (Rect{1512 - 72, 491 - 320, 72, 640}));
}

TEST(VisibleFrameEstimate, TakesTheFirstInsetOverTwoPoints) {
  const DockPreferences prefs;
  ScreenInfo s = laptop_screen(0);
  struct Case {
    Rect visible;
    std::optional<Rect> expected;  // absent: the defaults estimate
  };
  const std::vector<Case> cases = {
      {{0, 70, 1512, 875}, Rect{0, 0, 1512, 70}},
      {{64, 0, 1448, 945}, Rect{0, 0, 64, 945}},
      {{0, 0, 1440, 945}, Rect{1440, 0, 72, 945}},
      {{0, 2, 1512, 943}, std::nullopt},  // auto-hidden: 2 points says nothing
  };
  for (const Case& c : cases) {
    s.visible_frame = c.visible;
    EXPECT_EQ(visible_frame_estimate_rect(s, prefs), c.expected.value_or(defaults_estimate_rect(s, prefs)));
  }
}

TEST(EdgeRules, NearestEdgeTiesAndPlausibility) {
  const Rect f{0, 0, 1000, 800};
  EXPECT_EQ(nearest_edge(f, {0, 0, 300, 60}), DockPosition::bottom);  // bottom and left tie: bottom
  EXPECT_EQ(nearest_edge(f, {0, 100, 60, 500}), DockPosition::left);
  EXPECT_EQ(nearest_edge(f, {940, 100, 60, 500}), DockPosition::right);
  struct Case {
    DockPosition position;
    Rect r;
    bool plausible;
  };
  const std::vector<Case> cases = {
      {DockPosition::bottom, {300, 0, 400, 70}, true},
      {DockPosition::bottom, {300, 48, 400, 70}, false},   // floating 48 points up
      {DockPosition::bottom, {300, 0, 100, 70}, false},    // too short
      {DockPosition::bottom, {0, 0, 950, 70}, false},      // 95 % of the width
      {DockPosition::left, {0, 200, 70, 400}, true},
      {DockPosition::left, {0, 200, 20, 400}, false},
      {DockPosition::right, {930, 200, 70, 400}, true},
      {DockPosition::right, {880, 200, 70, 400}, false},   // 50 points from the edge
  };
  for (const Case& c : cases) EXPECT_EQ(is_plausible_edge_rect(f, c.position, c.r), c.plausible) << describe(c.r);
}

TEST(LiveRect, AdaptingKeepsTheCalibrationAcrossTheDockAndFollowsAlongIt) {
  const Rect f{0, 0, 1512, 982};
  const DockCalibration bottom{{416, 0, 680, 70}, f, DockPosition::bottom, 0, {}, {}, {}, {}, {}};
  struct Case {
    std::string name;
    Rect live;
    std::optional<Rect> adapted;
  };
  const std::vector<Case> cases = {
      {"within 12 on all measures: the calibration itself", {420, 4, 690, 62}, Rect{416, 0, 680, 70}},
      {"grown by two apps, still centred", {360, 4, 792, 62}, Rect{360, 0, 792, 70}},
      {"shifted far off centre: recentred on the calibration", {100, 4, 700, 62}, Rect{406, 0, 700, 70}},
      {"shorter than 70 % of the calibration", {500, 4, 400, 62}, std::nullopt},
      {"floating above the bottom edge", {416, 90, 680, 62}, std::nullopt},
      {"thinner than 10", {416, 0, 680, 9}, std::nullopt},
  };
  for (const Case& c : cases) EXPECT_EQ(adapt_live_rect(bottom, f, c.live), c.adapted) << c.name;

  // A side Dock is tall and thin; its thickness, not its width, must be over 20.
  const DockCalibration left{{0, 300, 70, 400}, f, DockPosition::left, 0, {}, {}, {}, {}, {}};
  EXPECT_EQ(adapt_live_rect(left, f, {0, 250, 64, 500}), (Rect{0, 250, 70, 500}));
  const DockCalibration right{{1442, 300, 70, 400}, f, DockPosition::right, 0, {}, {}, {}, {}, {}};
  EXPECT_EQ(adapt_live_rect(right, f, {1446, 280, 66, 440}), (Rect{1446, 280, 70, 440}));
  EXPECT_EQ(adapt_live_rect(right, f, {1446, 280, 66, 250}), std::nullopt);  // under 70 % of the height
}

// `element` beneath `levels` plain wrappers, to reach past the walk's depth.
sim::SimulatedElement wrapped(sim::SimulatedElement element, int levels) {
  for (int i = 0; i < levels; ++i) {
    sim::SimulatedElement parent;
    parent.role = "AXUnknown";
    parent.children = {std::move(element)};
    element = std::move(parent);
  }
  return element;
}

// The Dock's accessibility tree as macOS presents it: an AXList of dock items under the Dock
// application, plus decoys that are not the Dock.
sim::SimulatedElement realistic_dock_tree(Rect list_frame) {
  sim::SimulatedElement item;
  item.role = "AXDockItem";
  item.subrole = "AXApplicationDockItem";
  item.frame = Rect{list_frame.x + 10, list_frame.y, 56, 56};  // one icon: implausible alone
  sim::SimulatedElement list;
  list.role = "AXList";
  list.frame = list_frame;
  list.children = {item, item};
  sim::SimulatedElement badge;  // a wide floating group far above the Dock
  badge.role = "AXGroup";
  badge.frame = Rect{200, 500, 800, 80};
  sim::SimulatedElement stripe;  // a plausible bottom group that is not the list
  stripe.role = "AXGroup";
  stripe.frame = Rect{0, 0, 250, 30};
  sim::SimulatedElement deep = stripe;  // beyond the walk's depth, whatever it looks like
  deep.role = "AXList";
  deep.frame = Rect{100, 0, 1300, 90};
  const sim::SimulatedElement chain = wrapped(deep, 12);
  sim::SimulatedElement app;
  app.role = "AXApplication";
  app.title = "Dock";
  app.children = {badge, list, stripe, chain};
  return app;
}

TEST(LiveDockFrame, FindsTheListAmongDecoysWithAndWithoutACalibration) {
  auto layout = testing::layout_of({laptop_screen()});
  layout.accessibility_trusted = true;
  layout.dock_accessibility = realistic_dock_tree({400, 4, 712, 62});
  testing::GeometryFixture f(layout);
  const auto& env = f.services->environment();
  EXPECT_EQ(live_dock_frame(laptop_screen(), std::nullopt, env), (Rect{400, 4, 712, 62}));

  const DockCalibration calibration{{416, 0, 680, 70}, laptop_screen().frame, DockPosition::bottom, 0, {}, {}, {}, {}, {}};
  EXPECT_EQ(live_dock_frame(laptop_screen(), calibration, env), (Rect{400, 4, 712, 62}));

  // With a calibration far from every candidate, nothing is plausible.
  const DockCalibration elsewhere{{1100, 0, 300, 70}, laptop_screen().frame, DockPosition::bottom, 0, {}, {}, {}, {}, {}};
  EXPECT_EQ(live_dock_frame(laptop_screen(), elsewhere, env), std::nullopt);

  f.settings.mac.set_accessibility_trusted(false);
  EXPECT_EQ(live_dock_frame(laptop_screen(), std::nullopt, env), std::nullopt);
}

TEST(LiveDockFrame, TheDeepestLevelVisitedIsEleven) {
  for (const auto& [levels, found] : std::vector<std::pair<int, bool>>{{11, true}, {12, false}}) {
    sim::SimulatedElement list;
    list.role = "AXList";
    list.frame = Rect{400, 0, 700, 70};
    sim::SimulatedElement app;
    app.role = "AXApplication";
    app.children = {wrapped(list, levels)};  // the children walk starts at depth 0
    auto layout = testing::layout_of({laptop_screen()});
    layout.accessibility_trusted = true;
    layout.dock_accessibility = app;
    testing::GeometryFixture f(layout);
    EXPECT_EQ(live_dock_frame(laptop_screen(), std::nullopt, f.services->environment()).has_value(), found) << levels;
  }
}

TEST(DetectUncalibrated, FallsBackToTheVisibleFrameWhenTheEstimateIsImplausible) {
  DockPreferences prefs;
  prefs.orientation = DockPosition::left;
  prefs.persistent_app_count = 60;  // a length over 95 % of the screen's height
  ScreenInfo s = laptop_screen(70);
  const auto result = detect_uncalibrated(s, prefs);
  EXPECT_EQ(result.source, DockRectSource::visibleFrameEstimate);
  EXPECT_EQ(result.dock_rect, (Rect{0, 0, 1512, 70}));
  EXPECT_EQ(result.dock_position, DockPosition::bottom);
  EXPECT_FALSE(result.requires_accessibility_permission);
}

}  // namespace
}  // namespace kolvo::dock
