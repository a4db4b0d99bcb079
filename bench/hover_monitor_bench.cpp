// The pointer path: one evaluated pointer move through the real monitor, two displays, every
// feature on. The panels are a no-op, so only the monitor's own work is measured.
#include <benchmark/benchmark.h>

#include <vector>

#include "base/manual_executor.hpp"
#include "overlay/hover_monitor.hpp"

namespace {

using namespace kolvo;
using dock::Side;

class NoPanels final : public overlay::OverlayWindowManager, public overlay::HapticPerformer {
 public:
  void show_hidden_dock(Side side, bool) override { visible = true, side_ = side; }
  void hide_hidden_dock() override { visible = false; }
  bool is_hidden_dock_visible() const override { return visible; }
  bool is_hidden_dock_pinned() const override { return false; }
  Side last_open_side() const override { return side_; }
  void show_slider(Side, prefs::EdgeMode) override {}
  void hide_slider() override {}
  void show_dial(prefs::Corner, prefs::CornerControlMode) override {}
  void hide_dial() override {}
  void set_pressure_cue_visible(bool, Side) override {}
  void close_all_panels() override {}
  void reveal_timer_control() override {}
  void start_calibration(std::function<void()>) override {}
  std::optional<dock::ScreenInfo> active_screen() const override { return std::nullopt; }
  void recompute_geometry() override {}
  void selected_display_disconnected() override {}
  void perform_alignment() override {}
  bool visible = false;
  Side side_ = Side::left;
};

class TwoDisplays final : public overlay::ZoneProvider {
 public:
  overlay::ZoneLayout zone_layout() override {
    overlay::ZoneLayout layout;
    layout.settings.right_edge_mode = prefs::EdgeMode::volume;
    layout.settings.corner_modes = {prefs::CornerControlMode::volume, prefs::CornerControlMode::brightness,
                                    prefs::CornerControlMode::timer, prefs::CornerControlMode::playPause};
    layout.active_dials = {prefs::CornerControlMode::volume, prefs::CornerControlMode::brightness,
                           prefs::CornerControlMode::timer, prefs::CornerControlMode::off};
    layout.first_containing_decides = true;
    const dock::Rect laptop{0, 0, 1512, 982};
    const dock::Rect studio{1512, -200, 2560, 1440};
    for (const auto& [frame, dock] : {std::pair{laptop, dock::Rect{464, 0, 584, 70}},
                                      std::pair{studio, dock::Rect{2400, -200, 800, 80}}}) {
      auto zones = overlay::make_display_zones(
          frame, dock::make_dock_geometry(frame, {dock, dock::DockRectSource::calibration,
                                                      dock::DockPosition::bottom, false}),
          6, 0);
      zones.reacts = true;
      layout.displays.push_back(zones);
    }
    return layout;
  }
  void hidden_dock_opening() override {}
};

// A path through every zone of both displays: open space, each Dock trigger, the open tray,
// the slider strip, each corner square, and across to the second display and back.
std::vector<dock::Point> sweep() {
  std::vector<dock::Point> path;
  const std::vector<dock::Point> stops = {{700, 400}, {440, 30},   {600, 60},   {700, 400},  {1070, 30},
                                              {1470, 3},  {700, 400},  {5, 975},    {1505, 975}, {5, 5},
                                              {2000, 500}, {2380, -180}, {3220, -180}, {4060, 1230}, {700, 400}};
  for (std::size_t i = 0; i + 1 < stops.size(); ++i) {
    for (int step = 0; step < 16; ++step) {
      const double f = step / 16.0;
      path.push_back({stops[i].x + (stops[i + 1].x - stops[i].x) * f, stops[i].y + (stops[i + 1].y - stops[i].y) * f});
    }
  }
  return path;
}

void BM_HoverMonitorPointerMove(benchmark::State& state) {
  base::ManualExecutor clock;
  auto panels = std::make_shared<NoPanels>();
  TwoDisplays zones;
  overlay::HoverMonitor monitor(clock, panels, *panels, zones);
  const auto path = sweep();
  std::size_t i = 0;
  for (auto _ : state) {
    // Each move comes after the minimum interval, so every one is evaluated.
    clock.advance(std::chrono::milliseconds(31));
    monitor.pointer_moved(path[i]);
    if (++i == path.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_HoverMonitorPointerMove);

}  // namespace


BENCHMARK_MAIN();
