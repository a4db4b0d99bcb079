#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "base/diagnostics_log.hpp"
#include "base/notification_center.hpp"
#include "base/timers.hpp"
#include "dock/alignment_settings_store.hpp"
#include "dock/dock_geometry_client.hpp"
#include "dock/dock_rect_cache.hpp"
#include "dock/dock_rect_refresh_control.hpp"

namespace kolvo::dock {

// Refreshes the Dock rectangle when something that can move the Dock happens, then asks the
// panels to rebuild.
class DockRectRefreshController final : public dock::DockRectRefreshControl {
 public:
  // The Dock keeps growing while a newly launched app starts.
  static constexpr std::array<double, 3> kLaunchedFromKolvoDelays{0.2, 0.5, 1.0};

  DockRectRefreshController(DockRectCache& cache, MultiDisplayCalibrationStore& store, const DockEnvironment& environment,
                            base::NotificationCenter& center, base::Executor& main, base::DiagnosticsLog& log,
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
  base::NotificationCenter& center_;
  base::Executor& main_;
  base::DiagnosticsLog& log_;
  std::weak_ptr<DockGeometryClient> client_;
  std::vector<base::Observation> observers_;
  std::vector<base::Subscription> platform_observers_;
  std::vector<std::unique_ptr<base::Timer>> launch_refreshes_;
};

}  // namespace kolvo::dock
