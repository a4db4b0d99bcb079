#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "app/diagnostics_report.hpp"
#include "app/launch_at_login_manager.hpp"
#include "app/settings.hpp"
#include "base/asio_main_loop.hpp"
#include "base/date_time.hpp"
#include "base/diagnostics_log.hpp"
#include "base/notification_center.hpp"
#include "controls/control_services.hpp"
#include "dock/dock_services.hpp"
#include "overlay/hidden_dock_services.hpp"
#include "platform/host_environment.hpp"

namespace kolvo::host {

platform::HostIdentity host_identity();

// The objects every command shares: the main loop, the machine's ports, the settings and the
// Dock geometry. `read_only` runs the loading rules over a copy of the domain, so an
// inspecting command never writes to the user's preferences.
class HostRuntime {
 public:
  enum class Mode { live, read_only };

  // Null, with `error` set, when the machine's ports cannot be made.
  static std::unique_ptr<HostRuntime> create(Mode mode, const platform::HostOptions& options, std::string& error);

  base::AsioMainLoop& loop() { return loop_; }
  base::DiagnosticsLog& log() { return log_; }
  base::NotificationCenter& center() { return center_; }
  app::Settings& settings() { return settings_; }
  platform::HostPorts& ports() { return ports_; }
  prefs::PreferenceStore& prefs() { return *prefs_; }
  app::LaunchAtLoginManager& launch_at_login() { return launch_at_login_; }
  dock::DockServices& dock() { return dock_; }
  // Created on first use: loading the app stores reads the installed applications.
  overlay::HiddenDockServices& hidden_dock();
  const base::WallClock& clock() const { return wall_clock_; }
  // Created on first use: the timer restores itself from the preferences when made.
  controls::ControlServices& controls();

  app::DiagnosticsInput diagnostics_input();

 private:
  HostRuntime(Mode mode, platform::HostPorts ports);

  base::SystemWallClock wall_clock_;
  base::AsioMainLoop loop_;
  base::DiagnosticsLog log_;
  base::NotificationCenter center_;
  platform::HostPorts ports_;
  std::unique_ptr<prefs::PreferenceStore> overlay_;
  prefs::PreferenceStore* prefs_;
  app::Settings settings_;
  app::LaunchAtLoginManager launch_at_login_;
  dock::DockServices dock_;
  std::unique_ptr<overlay::HiddenDockServices> hidden_dock_;
  std::unique_ptr<controls::ControlServices> controls_;
};

// Takes "--sim FILE" out of the arguments and builds the runtime; null after printing a
// sentence when that fails.
std::unique_ptr<HostRuntime> open_runtime(std::vector<std::string>& arguments, HostRuntime::Mode mode);

// Takes "--sim FILE" and "--frontmost BUNDLE_ID" out of the arguments. False, with `error` set, when FILE is missing.
bool take_host_options(std::vector<std::string>& arguments, platform::HostOptions& options, std::string& error);

}  // namespace kolvo::host
