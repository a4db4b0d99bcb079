#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "app/platform_ports.hpp"
#include "overlay/overlay_window_manager.hpp"

namespace kolvo::sim {

// The panels at the edges and corners, reduced to lines saying what would be shown:
// "open hidden dock left", "hide", "show slider right volume", "hide slider", "show dial topLeft",
// "hide dial", "pressure cue", "hide pressure cue", "haptic", "hide all".
class SimulatedOverlayWindowManager final : public overlay::OverlayWindowManager, public overlay::HapticPerformer {
 public:
  using Sink = std::function<void(std::string_view action)>;
  explicit SimulatedOverlayWindowManager(Sink sink) : sink_(std::move(sink)) {}

  void show_hidden_dock(overlay::DockSide side, bool pinned) override;
  void hide_hidden_dock() override;
  bool is_hidden_dock_visible() const override { return dock_visible_; }
  bool is_hidden_dock_pinned() const override { return dock_pinned_; }
  overlay::DockSide last_open_side() const override { return last_side_; }
  void show_slider(overlay::DockSide side, prefs::EdgeMode mode) override;
  void hide_slider() override { sink_("hide slider"); }
  void show_dial(prefs::Corner corner, prefs::CornerControlMode mode) override;
  void hide_dial() override { sink_("hide dial"); }
  void set_pressure_cue_visible(bool visible, overlay::DockSide side) override;
  void close_all_panels() override;
  void reveal_timer_control() override { sink_("reveal timer"); }
  void start_calibration(std::function<void()> completed) override;

  std::optional<dock::ScreenInfo> active_screen() const override { return std::nullopt; }
  void recompute_geometry() override { sink_("recompute geometry"); }
  void selected_display_disconnected() override { sink_("selected display disconnected"); }

  void perform_alignment() override { sink_("haptic"); }

 private:
  Sink sink_;
  bool dock_visible_ = false;
  bool dock_pinned_ = false;
  overlay::DockSide last_side_ = overlay::DockSide::left;
};

// The zone map reduced to one line per change: "show zone map: Built-in Retina Display 11
// rectangles (reacts)", "hide zone map".
class SimulatedZoneMapPanels final : public ui::ZoneMapPanels {
 public:
  explicit SimulatedZoneMapPanels(SimulatedOverlayWindowManager::Sink sink) : sink_(std::move(sink)) {}
  void show_zone_map(const ui::ZoneMap& map) override;
  void hide_zone_map() override { sink_("hide zone map"); }

 private:
  SimulatedOverlayWindowManager::Sink sink_;
};

// The headless host's panels and pointer: the panels are lines of text, and pointer moves
// arrive from a replayed trace rather than from event monitors.
class SimulatedOverlayPlatform final : public app::OverlayPlatform {
 public:
  explicit SimulatedOverlayPlatform(SimulatedOverlayWindowManager::Sink sink)
      : sink_(sink), panels_(std::make_shared<SimulatedOverlayWindowManager>(std::move(sink))) {}

  std::shared_ptr<overlay::OverlayWindowManager> make_panels() override { return panels_; }
  overlay::HapticPerformer& haptics() override { return *panels_; }
  std::shared_ptr<overlay::HoverMonitorControl> attach_pointer_monitors(
      std::shared_ptr<overlay::HoverMonitor> monitor) override {
    return monitor;
  }
  void install_pointer_monitors() override {}
  std::shared_ptr<ui::ZoneMapPanels> make_zone_map_panels() override {
    return std::make_shared<SimulatedZoneMapPanels>(sink_);
  }

 private:
  SimulatedOverlayWindowManager::Sink sink_;
  std::shared_ptr<SimulatedOverlayWindowManager> panels_;
};

}  // namespace kolvo::sim
