#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "core/alignment_settings_store.hpp"
#include "core/app_ports.hpp"
#include "core/diagnostics_log.hpp"
#include "core/notification_center.hpp"
#include "core/timers.hpp"
#include "geometry/dock_geometry_client.hpp"
#include "geometry/dock_rect_cache.hpp"

namespace kolvo::geometry {

// Refreshes the Dock rectangle when something that can move the Dock happens, then asks the
// panels to rebuild.
class DockRectRefreshController final : public core::DockRectRefreshControl {
 public:
  // The Dock keeps growing while a newly launched app starts.
  static constexpr std::array<double, 3> kLaunchedFromKolvoDelays{0.2, 0.5, 1.0};

  DockRectRefreshController(DockRectCache& cache, MultiDisplayCalibrationStore& store, const DockEnvironment& environment,
                            core::NotificationCenter& center, core::Executor& main, core::DiagnosticsLog& log,
                            std::weak_ptr<DockGeometryClient> client);
  ~DockRectRefreshController() override;

  // Registers every observer and refreshes once for "startup".
  void start();
  void stop() override;
  void refresh(std::string_view reason);

 private:
  void screen_parameters_changed();
  void launched_from_kolvo();

  DockRectCache& cache_;
  MultiDisplayCalibrationStore& store_;
  const DockEnvironment& environment_;
  core::NotificationCenter& center_;
  core::Executor& main_;
  core::DiagnosticsLog& log_;
  std::weak_ptr<DockGeometryClient> client_;
  std::vector<core::Observation> observers_;
  std::vector<core::Subscription> platform_observers_;
  std::vector<std::unique_ptr<core::Timer>> launch_refreshes_;
};

}  // namespace kolvo::geometry
