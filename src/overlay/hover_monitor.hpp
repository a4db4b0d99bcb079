#pragma once

#include <memory>
#include <optional>

#include "base/executor.hpp"
#include "base/timers.hpp"
#include "overlay/activation_zones.hpp"
#include "overlay/hover_monitor_control.hpp"
#include "overlay/overlay_window_manager.hpp"

namespace kolvo::overlay {

// Where the zones come from: the Dock geometry, the settings and the frontmost app's profile.
class ZoneProvider {
 public:
  virtual ~ZoneProvider() = default;
  virtual ZoneLayout zone_layout() = 0;
  // The Hidden Dock is about to open: the Dock's rectangle is refreshed for "hover-open".
  virtual void hidden_dock_opening() = 0;
};

// Turns pointer movement into the reveal and hiding of the Hidden Dock, the Edge Sliders and
// the Corner Dials. Every delay runs on the executor; at most one of each kind is pending.
class HoverMonitor final : public overlay::HoverMonitorControl {
 public:
  static constexpr double kEvaluationMinInterval = 0.03;
  static constexpr double kDialHideDelay = 1.2;
  static constexpr double kSliderHideDelay = 1.2;
  static constexpr double kPressureRevealDelay = 0.22;
  static constexpr double kTrayHideDelay = 0.55;

  HoverMonitor(base::Executor& main, std::weak_ptr<OverlayWindowManager> manager, HapticPerformer& haptic,
               ZoneProvider& zones);

  // One pointer move, in the global space, at the executor's current time.
  void pointer_moved(Point p);
  // The settings, the profile or the geometry changed: the zones are rebuilt.
  void rebuild_zones();

  void set_menu_open(bool open) override { suspended_ = open; }
  void stop() override;

  HoverZone last_zone() const { return last_zone_; }
  std::optional<Side> active_slider_side() const { return active_slider_; }
  std::optional<prefs::Corner> active_corner() const { return active_corner_; }
  const ZoneLayout& layout() const { return layout_; }

 private:
  bool handle_dials(const DisplayZones& display, Point p, OverlayWindowManager& manager);
  void handle_slider_leaving(Point p);
  // An open dial starts hiding once the pointer is off its square.
  void leave_dial();
  void open_side(Side side, const DisplayZones& display, OverlayWindowManager& manager);
  void cancel_pressure_reveal(OverlayWindowManager& manager);
  void leave_to_outside();

  base::Executor& main_;
  std::weak_ptr<OverlayWindowManager> manager_;
  HapticPerformer& haptic_;
  ZoneProvider& zones_;
  ZoneLayout layout_;

  base::Timer hide_work_;
  base::Timer pressure_reveal_;
  base::Timer slider_hide_;
  base::Timer corner_hide_;
  bool has_played_pressure_haptic_ = false;
  std::optional<Side> pressure_side_;
  std::optional<Side> active_slider_;
  Rect slider_strip_;
  std::optional<prefs::Corner> active_corner_;
  std::optional<Side> open_side_;
  bool suspended_ = false;
  HoverZone last_zone_ = HoverZone::outside;
  std::optional<base::TimePoint> last_evaluation_;
};

}  // namespace kolvo::overlay
