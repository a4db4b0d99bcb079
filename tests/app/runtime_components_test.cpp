#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "app/runtime.hpp"
#include "base/manual_executor.hpp"
#include "platform/sim/simulated_desktop.hpp"
#include "platform/sim/simulated_mac.hpp"
#include "platform/sim/simulated_overlay.hpp"
#include "support/simulated_ports.hpp"
#include "support/settings_fixture.hpp"

namespace kolvo::app {
namespace {

using testing::simulated_ports;

// Zone-map panels that keep each map they are told to draw, and whether they are showing.
class RecordingZoneMap final : public ui::ZoneMapPanels {
 public:
  void show_zone_map(const ui::ZoneMap& map) override {
    maps.push_back(map);
    shown = true;
  }
  void hide_zone_map() override { shown = false; }
  std::vector<ui::ZoneMap> maps;
  bool shown = false;
};

// Panels that record what they are told, and a pointer monitor the test can move.
class RecordingOverlay final : public OverlayPlatform {
 public:
  std::shared_ptr<overlay::OverlayWindowManager> make_panels() override { return panels_; }
  overlay::HapticPerformer& haptics() override { return *panels_; }
  std::shared_ptr<overlay::HoverMonitorControl> attach_pointer_monitors(
      std::shared_ptr<overlay::HoverMonitor> monitor) override {
    monitor_ = monitor;
    return monitor;
  }
  void install_pointer_monitors() override {}
  std::shared_ptr<ui::ZoneMapPanels> make_zone_map_panels() override { return zone_map; }

  std::vector<std::string> actions;
  std::shared_ptr<overlay::HoverMonitor> monitor_;
  std::shared_ptr<RecordingZoneMap> zone_map = std::make_shared<RecordingZoneMap>();

 private:
  std::shared_ptr<sim::SimulatedOverlayWindowManager> panels_ =
      std::make_shared<sim::SimulatedOverlayWindowManager>([this](std::string_view a) { actions.emplace_back(a); });
};

bool saw(const std::vector<std::string>& actions, std::string_view action) {
  return std::find(actions.begin(), actions.end(), action) != actions.end();
}

// The pointer zones are built from the settings and the Dock's geometry. Whatever platform
// draws the panels, and whoever asks them to recompute, the zones must follow; the app used to
// keep the zones it was launched with.
TEST(RuntimeComponents, TheZonesFollowEveryRecomputeOfThePanels) {
  base::ManualExecutor executor;
  testing::FixedWallClock clock;
  Runtime runtime(simulated_ports(), executor, clock, {.mode = Runtime::Mode::live, .log_mirror = {}});
  RecordingOverlay overlay;
  const auto components = runtime.make_components(overlay);
  const auto panels = components->make_overlay_window_manager();
  const auto control = components->make_hover_monitor(panels);
  const auto refresh = components->make_dock_rect_refresh_controller(panels);
  ASSERT_TRUE(overlay.monitor_);
  executor.advance_seconds(1);

  struct Case {
    prefs::EdgeMode left;
    const char* expected;
  };
  const Case cases[] = {
      {prefs::EdgeMode::volume, "show slider left volume"},
      {prefs::EdgeMode::brightness, "show slider left brightness"},
  };
  for (const auto& c : cases) {
    overlay.actions.clear();
    runtime.settings().edge_modes().set_left_edge_mode(c.left);
    // What the delegate does on the edge-mode notification.
    panels->recompute_geometry();
    executor.advance_seconds(0.5);
    // Away from every zone, then into the trigger beside the left end of the Dock (464 … 1048).
    for (const dock::Point p : {dock::Point{700, 500}, dock::Point{440, 30}, dock::Point{441, 30}}) {
      overlay.monitor_->pointer_moved(p);
      executor.advance_seconds(0.2);
    }
    executor.advance_seconds(1);
    EXPECT_TRUE(saw(overlay.actions, c.expected)) << c.expected << " in " << ::testing::PrintToString(overlay.actions);
    overlay.monitor_->pointer_moved({700, 500});
    executor.advance_seconds(3);
  }
  refresh->stop();
  control->stop();
}

// Without any recompute of the panels, a change to a setting the zones read, or another
// application coming to the front, takes effect at the next move.
TEST(RuntimeComponents, TheZonesFollowTheirSettingsAndTheFrontmostApplicationWithoutARefresh) {
  struct Case {
    const char* name;
    std::function<void(Runtime&)> change;
    dock::Point where;
    const char* expected;
  };
  const Case cases[] = {
      {"corner dial", [](Runtime& r) { r.settings().corner_controls().set_mode(prefs::Corner::topLeft,
                                                                              prefs::CornerControlMode::volume); },
       {5, 980}, "show dial topLeft"},
      {"edge mode", [](Runtime& r) { r.settings().edge_modes().set_right_edge_mode(prefs::EdgeMode::brightness); },
       {1070, 30}, "show slider right brightness"},
      {"profile of the frontmost app",
       [](Runtime& r) {
         auto& profiles = r.hidden_dock().profiles();
         auto profile = profiles.add("com.apple.Safari", "Safari", prefs::EdgeMode::volume, prefs::EdgeMode::dock, {});
         profile.overrides_sliders = true;
         profiles.update(profile);
       },
       {440, 30}, "show slider left volume"},
  };
  for (const Case& c : cases) {
    base::ManualExecutor executor;
    testing::FixedWallClock clock;
    Runtime runtime(simulated_ports(), executor, clock, {.mode = Runtime::Mode::live, .log_mirror = {}});
    RecordingOverlay overlay;
    const auto components = runtime.make_components(overlay);
    const auto panels = components->make_overlay_window_manager();
    const auto control = components->make_hover_monitor(panels);
    executor.advance_seconds(1);
    c.change(runtime);
    executor.advance_seconds(0.1);
    for (const dock::Point p : {dock::Point{700, 500}, c.where, dock::Point{c.where.x + 1, c.where.y}}) {
      overlay.monitor_->pointer_moved(p);
      executor.advance_seconds(0.2);
    }
    EXPECT_TRUE(saw(overlay.actions, c.expected)) << c.name << ": " << ::testing::PrintToString(overlay.actions);
    control->stop();
  }
}

int count(const ui::ZoneMap& map, ui::ZoneMapKind kind) {
  int n = 0;
  for (const auto& display : map.displays) {
    for (const auto& zone : display.zones) n += zone.kind == kind ? 1 : 0;
  }
  return n;
}

// The zone map is drawn only while its switch is on, and again after every rebuild of the zones
// that changed it, whether a setting's change or a recompute of the panels asked for it.
TEST(RuntimeComponents, TheZoneMapFollowsItsSwitchAndEveryRebuildOfTheZones) {
  base::ManualExecutor executor;
  testing::FixedWallClock clock;
  Runtime runtime(simulated_ports(), executor, clock, {.mode = Runtime::Mode::live, .log_mirror = {}});
  RecordingOverlay overlay;
  const auto components = runtime.make_components(overlay);
  const auto panels = components->make_overlay_window_manager();
  const auto control = components->make_hover_monitor(panels);
  const auto& drawn = overlay.zone_map->maps;

  struct Step {
    const char* name;
    std::function<void()> act;
    std::size_t maps_drawn;
    bool shown;
    int sliders;   // slider zones on the last map drawn
    int triggers;  // Hidden Dock triggers on it
  };
  const Step steps[] = {
      {"off by default", [] {}, 0, false, 0, 0},
      {"switched on", [&] { runtime.settings().zone_map().set_show_activation_zones(true); }, 1, true, 0, 2},
      {"a recompute that changes nothing", [&] { panels->recompute_geometry(); }, 1, true, 0, 2},
      {"the left edge becomes a slider",
       [&] { runtime.settings().edge_modes().set_left_edge_mode(prefs::EdgeMode::volume); }, 2, true, 2, 1},
      {"Pressure Point turns on", [&] { runtime.settings().pressure_zone().set_use_pressure_zone(true); }, 3, true, 1, 0},
      {"switched off", [&] { runtime.settings().zone_map().set_show_activation_zones(false); }, 3, false, 1, 0},
      {"a change while off draws nothing",
       [&] { runtime.settings().edge_modes().set_left_edge_mode(prefs::EdgeMode::dock); }, 3, false, 1, 0},
  };
  for (const Step& step : steps) {
    step.act();
    executor.advance_seconds(0.1);
    ASSERT_EQ(drawn.size(), step.maps_drawn) << step.name;
    EXPECT_EQ(overlay.zone_map->shown, step.shown) << step.name;
    if (drawn.empty()) continue;
    EXPECT_EQ(count(drawn.back(), ui::ZoneMapKind::sliderZone), step.sliders) << step.name;
    EXPECT_EQ(count(drawn.back(), ui::ZoneMapKind::dockTrigger), step.triggers) << step.name;
  }
  control->stop();
}

}  // namespace
}  // namespace kolvo::app
