#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "catalog/app_stores.hpp"
#include "catalog/profile_store.hpp"
#include "dock/dock_services.hpp"
#include "overlay/hover_monitor.hpp"
#include "overlay/zone_provider.hpp"

namespace kolvo::overlay {

// The Hidden Dock's stores and the zones built from them, for one running program.
class HiddenDockServices {
 public:
  HiddenDockServices(prefs::PreferenceStore& prefs, const catalog::ApplicationCatalog& catalog, base::DiagnosticsLog& log,
                     ActivationSettings settings, dock::DockServices& dock,
                     LiveZoneProvider::Frontmost frontmost_bundle_id)
      : apps_(prefs, catalog, log),
        launcher_(prefs, catalog, log),
        profiles_(prefs, log),
        zones_(dock, settings, apps_, profiles_, std::move(frontmost_bundle_id)) {}

  catalog::KolvoAppStore& apps() { return apps_; }
  catalog::AppLauncherStore& launcher() { return launcher_; }
  catalog::ProfileStore& profiles() { return profiles_; }
  LiveZoneProvider& zones() { return zones_; }

 private:
  catalog::KolvoAppStore apps_;
  catalog::AppLauncherStore launcher_;
  catalog::ProfileStore profiles_;
  LiveZoneProvider zones_;
};

}  // namespace kolvo::overlay
