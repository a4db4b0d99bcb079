#include "host_runtime.hpp"

#include "core/settings_keys.hpp"

namespace kolvo::host {

platform::HostIdentity host_identity() { return {KOLVO_BUNDLE_ID, KOLVO_VERSION, KOLVO_BUILD_NUMBER}; }

namespace {

core::Settings make_settings(core::PreferenceStore& prefs, core::NotificationCenter& center, core::Executor& loop,
                             core::DiagnosticsLog& log, platform::HostPorts& ports) {
  return core::Settings(
      core::SettingsPorts{prefs, center, loop, log, *ports.accessibility, *ports.appearance, *ports.audio, *ports.sounds});
}

}  // namespace

HostRuntime::HostRuntime(Mode mode)
    : log_(wall_clock_, mode == Mode::read_only ? core::DiagnosticsLog::silent() : core::DiagnosticsLog::stderr_mirror()),
      ports_(platform::make_host_ports(host_identity())),
      overlay_(mode == Mode::read_only ? std::make_unique<core::MemoryPreferenceStore>(ports_.prefs->all()) : nullptr),
      prefs_(overlay_ ? overlay_.get() : ports_.prefs.get()),
      settings_(make_settings(*prefs_, center_, loop_, log_, ports_)),
      launch_at_login_(*ports_.login_items) {}

core::DiagnosticsInput HostRuntime::diagnostics_input() {
  const auto& process = *ports_.process;
  core::DiagnosticsInput input;
  input.short_version = process.short_version();
  input.build_version = process.build_version();
  input.os_version = process.os_version();
  input.bundle_path = process.bundle_path();
  input.launch_at_login = launch_at_login_.status();
  input.lock_calibration = settings_.alignment().lock_calibration();
  input.follow_dock_changes = settings_.alignment().follow_dock_changes_automatically();
  return input;
}

}  // namespace kolvo::host
