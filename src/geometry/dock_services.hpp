#pragma once

#include <memory>
#include <optional>

#include "core/alignment_settings_store.hpp"
#include "core/date_time.hpp"
#include "core/diagnostics_report.hpp"
#include "geometry/display_targeting.hpp"
#include "geometry/dock_calibration_session.hpp"
#include "geometry/dock_geometry.hpp"
#include "geometry/dock_rect_cache.hpp"
#include "geometry/dock_rect_refresh_controller.hpp"
#include "geometry/multi_display_calibration_store.hpp"

namespace kolvo::geometry {

// The display and Dock geometry of one running program: the calibration store, the
// calibration session and the rectangle cache, wired to each other.
class DockServices {
 public:
  DockServices(DockEnvironment environment, core::PreferenceStore& prefs, core::NotificationCenter& center,
               core::Executor& main, core::DiagnosticsLog& log, core::AlignmentSettingsStore& alignment,
               const core::WallClock& clock);

  const DockEnvironment& environment() const { return environment_; }
  MultiDisplayCalibrationStore& store() { return store_; }
  DockCalibrationSession& session() { return session_; }
  DockRectCache& cache() { return cache_; }

  std::unique_ptr<DockRectRefreshController> make_refresh_controller(std::weak_ptr<DockGeometryClient> client);

  std::vector<ScreenInfo> screens() const { return environment_.screens.screens(); }
  std::optional<ScreenInfo> target_screen() const { return cache_.target_screen(); }
  std::optional<ScreenInfo> screen_for_point(Point point) const;
  // The Dock and its trigger areas on a display; the calibration box while one is open.
  DockGeometry geometry_for(const ScreenInfo& screen);

  // Captures the baseline and saves through the store, as the calibration window does.
  void save_calibration(const ScreenInfo& screen, const Rect& dock_rect, DockPosition position);

  // The display and calibration part of the diagnostics report.
  void fill_diagnostics(core::DiagnosticsInput& input) const;

 private:
  DockEnvironment environment_;
  const core::WallClock& clock_;
  MultiDisplayCalibrationStore store_;
  DockCalibrationSession session_;
  DockRectCache cache_;
  core::NotificationCenter& center_;
  core::Executor& main_;
  core::DiagnosticsLog& log_;
};

}  // namespace kolvo::geometry
