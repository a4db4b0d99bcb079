#pragma once

#include "overlay/hidden_dock_services.hpp"
#include "support/dock_fixture.hpp"
#include "ui/tray_model.hpp"

namespace kolvo::testing {

// The Hidden Dock's stores and the tray's model over the laptop display, on a simulated desktop
// where Safari is installed.
struct TrayFixture {
  TrayFixture()
      : geometry([] {
          sim::SimulatedLayout layout = layout_of({laptop_screen()});
          layout.installed_applications.push_back({"/Applications/Safari.app", "com.apple.Safari", "Safari.app"});
          return layout;
        }()),
        hidden(geometry.settings.prefs, geometry.desktop, geometry.settings.log,
               geometry.settings.settings->activation_settings(), *geometry.services,
               [this] { return geometry.desktop.frontmost_bundle_id(); }),
        tray(hidden.zones(), hidden.launcher(), geometry.desktop, geometry.desktop, geometry.settings.center,
             geometry.settings.settings->sound_effects()) {}

  GeometryFixture geometry;
  overlay::HiddenDockServices hidden;
  ui::TrayModel tray;
};

}  // namespace kolvo::testing
