#pragma once

#include <memory>
#include <optional>

#include "base/date_time.hpp"
#include "dock/alignment_settings_store.hpp"
#include "dock/display_targeting.hpp"
#include "dock/dock_calibration_session.hpp"
#include "dock/dock_diagnostics.hpp"
#include "dock/dock_geometry.hpp"
#include "dock/dock_rect_cache.hpp"
#include "dock/dock_rect_refresh_controller.hpp"
#include "dock/multi_display_calibration_store.hpp"

namespace kolvo::dock {

// The display and Dock geometry of one running program: the calibration store, the
// calibration session and the rectangle cache, wired to each other.
class DockServices {
 public:
  DockServices(DockEnvironment environment, prefs::PreferenceStore& prefs, base::NotificationCenter& center,
               base::Executor& main, base::DiagnosticsLog& log, dock::AlignmentSettingsStore& alignment,
               const base::WallClock& clock);

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
  void fill_diagnostics(DockDiagnostics& input) const;

 private:
  DockEnvironment environment_;
  const base::WallClock& clock_;
  MultiDisplayCalibrationStore store_;
  DockCalibrationSession session_;
  DockRectCache cache_;
  base::NotificationCenter& center_;
  base::Executor& main_;
  base::DiagnosticsLog& log_;
};

}  // namespace kolvo::dock
