#include "host_runtime.hpp"

#include <algorithm>

#include "cli.hpp"

namespace kolvo::host {

platform::HostIdentity host_identity() { return {KOLVO_BUNDLE_ID, KOLVO_VERSION, KOLVO_BUILD_NUMBER}; }

namespace {

app::Settings make_settings(prefs::PreferenceStore& prefs, base::NotificationCenter& center, base::Executor& loop,
                             base::DiagnosticsLog& log, platform::HostPorts& ports) {
  return app::Settings(
      app::SettingsPorts{prefs, center, loop, log, *ports.accessibility, *ports.appearance, *ports.audio, *ports.sounds});
}

dock::DockEnvironment dock_environment(platform::HostPorts& ports) {
  return {*ports.screens, ports.dock_domain, *ports.running, *ports.accessibility, *ports.elements};
}

}  // namespace

std::unique_ptr<HostRuntime> HostRuntime::create(Mode mode, const platform::HostOptions& options, std::string& error) {
  auto result = platform::make_host_ports(host_identity(), options);
  if (!result.ports) {
    error = result.error;
    return nullptr;
  }
  return std::unique_ptr<HostRuntime>(new HostRuntime(mode, std::move(*result.ports)));
}

HostRuntime::HostRuntime(Mode mode, platform::HostPorts ports)
    : log_(wall_clock_, mode == Mode::read_only ? base::DiagnosticsLog::silent() : base::DiagnosticsLog::stderr_mirror()),
      ports_(std::move(ports)),
      overlay_(mode == Mode::read_only ? std::make_unique<prefs::MemoryPreferenceStore>(ports_.prefs->all()) : nullptr),
      prefs_(overlay_ ? overlay_.get() : ports_.prefs.get()),
      settings_(make_settings(*prefs_, center_, loop_, log_, ports_)),
      launch_at_login_(*ports_.login_items),
      dock_(dock_environment(ports_), *prefs_, center_, loop_, log_, settings_.alignment(), wall_clock_) {}

overlay::HiddenDockServices& HostRuntime::hidden_dock() {
  if (!hidden_dock_) {
    catalog::FocusedApplicationMonitor* focused = ports_.focused_application;
    hidden_dock_ = std::make_unique<overlay::HiddenDockServices>(
        *prefs_, *ports_.applications, log_, settings_.activation_settings(), dock_,
        [focused] { return focused ? focused->frontmost_bundle_id() : std::nullopt; });
  }
  return *hidden_dock_;
}

controls::ControlServices& HostRuntime::controls() {
  if (!controls_) {
    catalog::FocusedApplicationMonitor* focused = ports_.focused_application;
    controls_ = std::make_unique<controls::ControlServices>(controls::ControlPorts{
        *ports_.accessibility, *ports_.core_audio, *ports_.frameworks, *ports_.events, *ports_.scripts,
        *ports_.processes, *ports_.global_preferences, *ports_.windows, *ports_.screens, ports_.running->own_pid(),
        [focused] { return focused ? focused->frontmost_bundle_id() : std::nullopt; }, *prefs_, loop_, wall_clock_,
        log_, &settings_.sound_effects()});
  }
  return *controls_;
}

app::DiagnosticsInput HostRuntime::diagnostics_input() {
  const auto& process = *ports_.process;
  app::DiagnosticsInput input;
  input.short_version = process.short_version();
  input.build_version = process.build_version();
  input.os_version = process.os_version();
  input.bundle_path = process.bundle_path();
  input.launch_at_login = launch_at_login_.status();
  dock_.fill_diagnostics(input);
  input.lock_calibration = settings_.alignment().lock_calibration();
  input.follow_dock_changes = settings_.alignment().follow_dock_changes_automatically();
  return input;
}

bool take_host_options(std::vector<std::string>& arguments, platform::HostOptions& options, std::string& error) {
  auto take = [&](std::string_view flag, const char* what) -> std::optional<std::string> {
    const auto found = std::find(arguments.begin(), arguments.end(), flag);
    if (found == arguments.end()) return std::nullopt;
    if (found + 1 == arguments.end()) {
      error = std::string(flag) + " needs " + what + ".";
      arguments.erase(found);
      return std::nullopt;
    }
    std::string value = *(found + 1);
    arguments.erase(found, found + 2);
    return value;
  };
  if (auto layout = take("--sim", "a layout file")) options.sim_layout = *layout;
  if (auto frontmost = take("--frontmost", "a bundle identifier")) options.frontmost = *frontmost;
  return error.empty();
}

}  // namespace kolvo::host

namespace kolvo::host {

std::unique_ptr<HostRuntime> open_runtime(std::vector<std::string>& arguments, HostRuntime::Mode mode) {
  platform::HostOptions options;
  std::string error;
  if (!take_host_options(arguments, options, error)) {
    fail(kExitUsage, error);
    return nullptr;
  }
  auto runtime = HostRuntime::create(mode, options, error);
  if (!runtime) fail(kExitFailure, error);
  return runtime;
}

}  // namespace kolvo::host
