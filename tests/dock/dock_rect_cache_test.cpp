#include <gtest/gtest.h>

#include "prefs/settings_keys.hpp"
#include "support/dock_fixture.hpp"

namespace kolvo::dock {
namespace {

using testing::GeometryFixture;
using testing::laptop_screen;

const Rect kCalibrated{416, 0, 680, 70};

sim::SimulatedElement dock_list(Rect frame) {
  sim::SimulatedElement list;
  list.role = "AXList";
  list.frame = frame;
  sim::SimulatedElement app;
  app.role = "AXApplication";
  app.children = {list};
  return app;
}

// A calibrated laptop whose live Dock list the test moves.
struct LiveDock {
  explicit LiveDock(Rect live_frame) : fixture(layout(live_frame)) {
    fixture.services->store().save({kCalibrated, laptop_screen().frame, DockPosition::bottom, 0, {}, {}, {}, {}, {}},
                                   laptop_screen());
    fixture.settings.settings->alignment().set_follow_dock_changes_automatically(true);
    fixture.live_follow(true);
  }
  static sim::SimulatedLayout layout(Rect live_frame) {
    auto l = testing::layout_of({laptop_screen()});
    l.dock_accessibility = dock_list(live_frame);
    return l;
  }
  // A new reading of the live Dock, as a fresh layout would give it.
  void move_live_dock(Rect frame) { fixture.desktop.set_dock_accessibility(dock_list(frame)); }
  const DockRectCache::Entry& entry() { return *fixture.services->cache().entry(laptop_screen()); }
  void refresh(std::string_view reason, bool force = false) {
    fixture.services->cache().refresh(laptop_screen(), reason, force);
  }
  GeometryFixture fixture;
};

TEST(DockRectCache, LiveFollowAdaptsTheCalibrationAndNamesTheSource) {
  LiveDock dock({360, 4, 792, 62});
  dock.refresh("startup");
  EXPECT_EQ(dock.entry().current_rect, (Rect{360, 0, 792, 70}));
  EXPECT_EQ(dock.entry().current_source, DockRectSource::liveAccessibilityBounds);
  EXPECT_EQ(dock.entry().last_refresh_reason, "startup");

  // Within 12 points on all four measures: the calibration itself, and its source.
  LiveDock close({420, 4, 690, 62});
  close.refresh("startup");
  EXPECT_EQ(close.entry().current_rect, kCalibrated);
  EXPECT_EQ(close.entry().current_source, DockRectSource::calibration);

  // Locked: the live Dock is not consulted.
  LiveDock locked({360, 4, 792, 62});
  locked.fixture.settings.settings->alignment().set_lock_calibration(true);
  locked.refresh("startup");
  EXPECT_EQ(locked.entry().current_rect, kCalibrated);
}

TEST(DockRectCache, ThrottlesOnlyUnlistedReasonsWithinFourTenthsOfASecond) {
  struct Case {
    std::string reason;
    double after;
    bool force;
    bool runs;
  };
  const std::vector<Case> cases = {
      {"screen-parameters", 0.3, false, false}, {"screen-parameters", 0.4, false, true},
      {"startup", 0.3, false, true},            {"app-launch", 0.1, false, true},
      {"hover-open", 0.39, false, false},       {"hover-open", 0.39, true, true},
      {"launched from Kolvo", 0.0, false, true},
  };
  for (const Case& c : cases) {
    LiveDock dock({360, 4, 792, 62});
    dock.refresh("startup");
    dock.fixture.settings.executor.advance_seconds(c.after);
    dock.refresh(c.reason, c.force);
    EXPECT_EQ(dock.entry().last_refresh_reason == c.reason, c.runs) << c.reason << " after " << c.after;
  }
  // Without live follow nothing is throttled.
  LiveDock still({360, 4, 792, 62});
  still.fixture.live_follow(false);
  still.refresh("startup");
  still.refresh("screen-parameters");
  EXPECT_EQ(still.entry().last_refresh_reason, "screen-parameters");
}

TEST(DockRectCache, JitterFilterKeepsThePreviousExtentForSmallChangesAndOutliers) {
  struct Case {
    std::string name;
    Rect next_live;
    Rect expected;
  };
  // The previous reading is (360, 0, 792, 70); the calibrated width is 680.
  const std::vector<Case> cases = {
      {"a change under 12 points is noise", {364, 4, 800, 62}, {360, 0, 792, 70}},
      {"a real change is taken", {300, 4, 912, 62}, {300, 0, 912, 70}},
      {"a jump far from the calibrated length is an outlier", {150, 4, 1200, 62}, {360, 0, 792, 70}},
  };
  for (const Case& c : cases) {
    LiveDock dock({360, 4, 792, 62});
    dock.refresh("startup");
    ASSERT_EQ(dock.entry().current_rect, (Rect{360, 0, 792, 70}));
    dock.move_live_dock(c.next_live);
    dock.fixture.settings.executor.advance_seconds(1);
    dock.refresh("app-launch");
    EXPECT_EQ(dock.entry().current_rect, c.expected) << c.name;
  }
}

TEST(DockRectCache, RebaseliningAnswersTheCalibrationAndInvalidateEmptiesEveryEntry) {
  LiveDock dock({360, 4, 792, 62});
  dock.refresh("startup");
  dock.refresh("post-calibration");
  EXPECT_EQ(dock.entry().current_rect, kCalibrated);
  EXPECT_EQ(dock.entry().current_source, DockRectSource::calibration);
  dock.refresh("hover-open", /*force=*/true);
  EXPECT_EQ(dock.entry().current_rect, kCalibrated);
  dock.fixture.services->cache().invalidate();
  EXPECT_EQ(dock.fixture.services->cache().entry(laptop_screen()), nullptr);
  // detect() bootstraps an empty cache by itself.
  const auto detected = dock.fixture.services->cache().detect(laptop_screen());
  EXPECT_EQ(detected.dock_rect, (Rect{360, 0, 792, 70}));
  EXPECT_EQ(dock.entry().last_refresh_reason, "detector-bootstrap");
}

TEST(DockRectCache, EachCalibratedDisplayKeepsItsOwnDock) {
  auto layout = testing::layout_of({laptop_screen(), testing::external_right()});
  GeometryFixture f(layout);
  f.services->store().set_display_mode(AllCalibratedDisplays{});
  const Rect studio_dock{2400, -200, 900, 80};
  f.services->store().save({kCalibrated, laptop_screen().frame, DockPosition::bottom, 0, {}, {}, {}, {}, {}},
                           laptop_screen());
  f.services->store().save({studio_dock, testing::external_right().frame, DockPosition::bottom, 0, {}, {}, {}, {}, {}},
                           testing::external_right());
  EXPECT_EQ(f.services->geometry_for(laptop_screen()).dock_rect, kCalibrated);
  EXPECT_EQ(f.services->geometry_for(testing::external_right()).dock_rect, studio_dock);
}

TEST(DockRectCache, AnOpenCalibrationSessionIsTheDockOnEveryDisplay) {
  GeometryFixture f(testing::layout_of({laptop_screen(), testing::external_right()}));
  f.services->session().begin(laptop_screen(), {500, 0, 500, 60}, DockPosition::bottom);
  for (const auto& screen : {laptop_screen(), testing::external_right()}) {
    const auto g = f.services->geometry_for(screen);
    EXPECT_EQ(g.dock_rect, (Rect{500, 0, 500, 60}));
    EXPECT_EQ(g.detection.source, DockRectSource::calibration);
  }
  f.services->session().set_dock_rect({510, 0, 520, 64});
  f.services->session().save(720000000);
  EXPECT_FALSE(f.services->session().is_active());
  const auto saved = f.services->store().calibration_for_screen(laptop_screen());
  ASSERT_TRUE(saved);
  EXPECT_EQ(saved->dock_rect, (Rect{510, 0, 520, 64}));
  // The baseline was captured: 5 apps + 2 others kept, tile 48, show-recents on.
  EXPECT_EQ(saved->baseline_persistent_item_count, 7);
  EXPECT_EQ(saved->baseline_tile_size, 48);
  EXPECT_EQ(saved->baseline_show_recents, true);
  EXPECT_EQ(saved->baseline_estimated_dock_width, 56.0 * 10 + 80);
  std::vector<std::string> lines;
  for (const auto& line : f.settings.log.lines()) {
    if (line.find("✅") != std::string::npos) lines.push_back(line.substr(line.find("✅")));
  }
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[0], "✅ Calibration window opened for 'Built-in Retina Display'");
  EXPECT_EQ(lines[2], "✅ Calibration session ended");
  EXPECT_EQ(lines[4], "✅ Calibration saved and closed");
}

class RecordingClient final : public DockGeometryClient {
 public:
  std::optional<ScreenInfo> active_screen() const override { return std::nullopt; }
  void recompute_geometry() override { ++recomputes; }
  void selected_display_disconnected() override { ++disconnections; }
  int recomputes = 0;
  int disconnections = 0;
};

TEST(DockRectRefreshController, RefreshesOnEveryTriggerAndThriceAfterATrayLaunch) {
  LiveDock dock({360, 4, 792, 62});
  auto client = std::make_shared<RecordingClient>();
  auto controller = dock.fixture.services->make_refresh_controller(client);
  auto& executor = dock.fixture.settings.executor;
  auto reasons = [&] {
    std::vector<std::string> out;
    for (const auto& line : dock.fixture.settings.log.lines()) {
      const auto at = line.find("DockRectCache.refresh(");
      if (at != std::string::npos) out.push_back(line.substr(at + 22, line.size() - at - 23));
    }
    return out;
  };
  controller->start();
  dock.fixture.settings.center.post(prefs::notifications::kLockCalibrationChanged);
  dock.fixture.desktop.launch({"org.example.new", true, 900});
  dock.fixture.desktop.terminate(900);
  dock.fixture.settings.center.post(prefs::notifications::kAppLaunchedFromTray);
  executor.advance_seconds(0.2);
  EXPECT_EQ(reasons().back(), "launched from Kolvo");
  executor.advance_seconds(1.0);
  EXPECT_EQ(reasons(), (std::vector<std::string>{"startup", "lock-calibration-changed", "app-launch", "app-terminate",
                                                  "launched from Kolvo", "launched from Kolvo", "launched from Kolvo"}));
  EXPECT_EQ(client->recomputes, 7);

  // Losing the selected display tells the client and posts, instead of refreshing.
  dock.fixture.desktop.set_screens({testing::external_above()});
  EXPECT_EQ(client->disconnections, 1);
  EXPECT_EQ(dock.fixture.settings.count_posted("com.kolvo.selectedDisplayChanged"), 1);  // from the save only

  controller->stop();
  dock.fixture.settings.center.post(prefs::notifications::kAppLaunchedFromTray);
  executor.advance_seconds(2);
  EXPECT_EQ(reasons().size(), 7u);
}

TEST(DockRectRefreshController, NoDelayedRefreshesWithoutLiveFollowOrAfterDestruction) {
  LiveDock dock({360, 4, 792, 62});
  dock.fixture.live_follow(false);
  auto controller = dock.fixture.services->make_refresh_controller(std::weak_ptr<DockGeometryClient>{});
  controller->start();
  dock.fixture.settings.center.post(prefs::notifications::kAppLaunchedFromTray);
  dock.fixture.settings.executor.advance_seconds(2);
  dock.fixture.live_follow(true);
  dock.fixture.settings.center.post(prefs::notifications::kAppLaunchedFromTray);
  controller.reset();  // pending shots die with it
  dock.fixture.settings.executor.advance_seconds(2);
  int launched = 0;
  for (const auto& line : dock.fixture.settings.log.lines()) launched += line.find("launched from Kolvo") != std::string::npos;
  EXPECT_EQ(launched, 0);
}

TEST(DockGeometry, TriggersStripsBandsAndTrayPlacement) {
  const DockDetectionResult detection{{400, 0, 700, 70}, DockRectSource::calibration, DockPosition::bottom, false};
  const DockGeometry g = make_dock_geometry({0, 0, 1512, 982}, detection);
  EXPECT_EQ(g.left_trigger_rect, (Rect{346, -9, 54, 88}));
  EXPECT_EQ(g.right_trigger_rect, (Rect{1100, -9, 54, 88}));
  EXPECT_EQ(trigger_strip(g, Side::right, 4), (Rect{1098, 0, 8, 70}));
  EXPECT_EQ(trigger_strip(g, Side::left, 4), (Rect{394, 0, 8, 70}));
  EXPECT_EQ(hover_band(g, Side::left, 0), (Rect{26, 0, 380, 70}));
  EXPECT_EQ(natural_tray_width(4, 43.4), 24 + 4 * 43.4 + 3 * 8);

  struct Case {
    std::string name;
    Rect dock;
    Side side;
    int items;
    Rect expected;
  };
  // Icon size: 70 × 0.62 = 43.4.
  const std::vector<Case> cases = {
      {"right, natural width", {400, 0, 700, 70}, Side::right, 4, {1094, 0, 24 + 4 * 43.4 + 24, 70}},
      {"right, capped at 360", {400, 0, 700, 70}, Side::right, 8, {1094, 0, 360, 70}},
      {"right, squeezed by the screen edge", {400, 0, 1000, 70}, Side::right, 4, {1354, 0, 150, 70}},
      {"left, capped width stays attached to the Dock", {800, 0, 600, 70}, Side::left, 8, {446, 0, 360, 70}},
      {"left, squeezed by the screen edge", {100, 0, 600, 70}, Side::left, 4, {8, 0, 150, 70}},
      {"one item is still 150 wide", {400, 0, 700, 70}, Side::left, 1, {256, 0, 150, 70}},
  };
  for (const Case& c : cases) {
    const DockGeometry geometry = make_dock_geometry({0, 0, 1512, 982}, {c.dock, DockRectSource::calibration,
                                                                         DockPosition::bottom, false});
    const Rect tray = tray_rect(geometry, c.side, c.items, 0);
    EXPECT_NEAR(tray.x, c.expected.x, 1e-9) << c.name;
    EXPECT_NEAR(tray.width, c.expected.width, 1e-9) << c.name;
    EXPECT_EQ(tray.y, c.expected.y) << c.name;
  }
}

}  // namespace
}  // namespace kolvo::dock
