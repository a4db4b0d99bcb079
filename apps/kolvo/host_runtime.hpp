#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "controls/control_services.hpp"
#include "core/asio_main_loop.hpp"
#include "core/date_time.hpp"
#include "core/diagnostics_log.hpp"
#include "core/diagnostics_report.hpp"
#include "core/launch_at_login_manager.hpp"
#include "core/notification_center.hpp"
#include "core/settings.hpp"
#include "geometry/dock_services.hpp"
#include "hidden_dock/hidden_dock_services.hpp"
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

  core::AsioMainLoop& loop() { return loop_; }
  core::DiagnosticsLog& log() { return log_; }
  core::NotificationCenter& center() { return center_; }
  core::Settings& settings() { return settings_; }
  platform::HostPorts& ports() { return ports_; }
  core::PreferenceStore& prefs() { return *prefs_; }
  core::LaunchAtLoginManager& launch_at_login() { return launch_at_login_; }
  geometry::DockServices& dock() { return dock_; }
  // Created on first use: loading the app stores reads the installed applications.
  hidden_dock::HiddenDockServices& hidden_dock();
  const core::WallClock& clock() const { return wall_clock_; }
  // Created on first use: the timer restores itself from the preferences when made.
  controls::ControlServices& controls();

  core::DiagnosticsInput diagnostics_input();

 private:
  HostRuntime(Mode mode, platform::HostPorts ports);

  core::SystemWallClock wall_clock_;
  core::AsioMainLoop loop_;
  core::DiagnosticsLog log_;
  core::NotificationCenter center_;
  platform::HostPorts ports_;
  std::unique_ptr<core::PreferenceStore> overlay_;
  core::PreferenceStore* prefs_;
  core::Settings settings_;
  core::LaunchAtLoginManager launch_at_login_;
  geometry::DockServices dock_;
  std::unique_ptr<hidden_dock::HiddenDockServices> hidden_dock_;
  std::unique_ptr<controls::ControlServices> controls_;
};

// Takes "--sim FILE" out of the arguments and builds the runtime; null after printing a
// sentence when that fails.
std::unique_ptr<HostRuntime> open_runtime(std::vector<std::string>& arguments, HostRuntime::Mode mode);

// Takes "--sim FILE" and "--frontmost BUNDLE_ID" out of the arguments. False, with `error` set, when FILE is missing.
bool take_host_options(std::vector<std::string>& arguments, platform::HostOptions& options, std::string& error);

}  // namespace kolvo::host
