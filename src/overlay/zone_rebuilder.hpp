#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "base/executor.hpp"
#include "base/observable.hpp"
#include "catalog/app_stores.hpp"
#include "catalog/focused_application_monitor.hpp"
#include "catalog/profile_store.hpp"
#include "overlay/zone_provider.hpp"

namespace kolvo::overlay {

// Rebuilds the pointer zones whenever something they are built from changes: the frontmost
// application (whose profile applies), an edge mode, a corner dial, the activation side,
// Pressure Point, the Dock's edge offset, the Hidden Dock's apps or a profile. The pointer
// path then only reads zones that are already current. Changes that arrive together cost one
// rebuild, on the main executor.
class ZoneRebuilder {
 public:
  ZoneRebuilder(base::Executor& main, ActivationSettings settings, catalog::KolvoAppStore& apps,
                catalog::ProfileStore& profiles, catalog::FocusedApplicationMonitor* frontmost,
                std::function<void()> rebuild);
  ZoneRebuilder(const ZoneRebuilder&) = delete;
  ZoneRebuilder& operator=(const ZoneRebuilder&) = delete;

 private:
  void schedule();

  base::Executor& main_;
  std::function<void()> rebuild_;
  std::vector<base::Subscription> subscriptions_;
  // Shared with the posted rebuild, so one that outlives this object does nothing.
  std::shared_ptr<bool> pending_ = std::make_shared<bool>(false);
};

}  // namespace kolvo::overlay
