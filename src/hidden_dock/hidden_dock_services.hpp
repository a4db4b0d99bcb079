#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/settings.hpp"
#include "geometry/dock_services.hpp"
#include "hidden_dock/app_stores.hpp"
#include "hidden_dock/hover_monitor.hpp"
#include "hidden_dock/profile_store.hpp"
#include "hidden_dock/zone_provider.hpp"

namespace kolvo::hidden_dock {

// The Hidden Dock's stores and the zones built from them, for one running program.
class HiddenDockServices {
 public:
  HiddenDockServices(core::PreferenceStore& prefs, const ApplicationCatalog& catalog, core::DiagnosticsLog& log,
                     core::Settings& settings, geometry::DockServices& dock,
                     LiveZoneProvider::Frontmost frontmost_bundle_id)
      : apps_(prefs, catalog, log),
        launcher_(prefs, catalog, log),
        profiles_(prefs, log),
        zones_(dock, settings, apps_, profiles_, std::move(frontmost_bundle_id)) {}

  KolvoAppStore& apps() { return apps_; }
  AppLauncherStore& launcher() { return launcher_; }
  ProfileStore& profiles() { return profiles_; }
  LiveZoneProvider& zones() { return zones_; }

 private:
  KolvoAppStore apps_;
  AppLauncherStore launcher_;
  ProfileStore profiles_;
  LiveZoneProvider zones_;
};

}  // namespace kolvo::hidden_dock
