#pragma once

#include <functional>
#include <string>

#include "base/diagnostics_log.hpp"
#include "base/observable.hpp"
#include "dock/dock_calibration.hpp"
#include "dock/screens_port.hpp"

namespace kolvo::dock {

enum class Side { left, right };

// The box the user aligns with the Dock. While it is active, every display's Dock rectangle
// is the box, so the preview follows the user's hand.
class DockCalibrationSession {
 public:
  // Builds the record to save from the box (the store captures the baseline and saves it).
  using Saver = std::function<void(const DockCalibration&, const ScreenInfo&)>;

  DockCalibrationSession(base::DiagnosticsLog& log, Saver saver) : log_(log), saver_(std::move(saver)) {}

  bool is_active() const { return active_.get(); }
  const Rect& dock_rect() const { return dock_rect_.get(); }
  DockPosition dock_position() const { return dock_position_.get(); }
  Side preview_side() const { return preview_side_.get(); }
  const Rect& screen_frame() const { return screen_.frame; }

  base::Observable<bool>& active_observable() { return active_; }
  base::Observable<Rect>& dock_rect_observable() { return dock_rect_; }

  // `start` is the display's saved calibration or the current estimate.
  void begin(const ScreenInfo& screen, const Rect& start, DockPosition position);
  void set_dock_rect(const Rect& rect) { dock_rect_.set(rect); }
  void set_dock_position(DockPosition position) { dock_position_.set(position); }
  void set_preview_side(Side side) { preview_side_.set(side); }
  void reset_to_estimate(const Rect& estimate);
  // `now` is seconds since 2001.
  void save(double now);
  void cancel();

 private:
  void end();
  std::string details() const;

  base::DiagnosticsLog& log_;
  Saver saver_;
  ScreenInfo screen_;
  base::Observable<bool> active_{false};
  base::Observable<Rect> dock_rect_;
  base::Observable<DockPosition> dock_position_{DockPosition::bottom};
  base::Observable<Side> preview_side_{Side::left};
};

}  // namespace kolvo::dock
