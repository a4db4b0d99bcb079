#include "host_runtime.hpp"

#include <algorithm>

#include "cli.hpp"

namespace kolvo::host {

platform::HostIdentity host_identity() { return {KOLVO_BUNDLE_ID, KOLVO_VERSION, KOLVO_BUILD_NUMBER}; }

std::unique_ptr<HostRuntime> HostRuntime::create(Mode mode, const platform::HostOptions& options, std::string& error) {
  auto result = platform::make_host_ports(host_identity(), options);
  if (!result.ports) {
    error = result.error;
    return nullptr;
  }
  return std::unique_ptr<HostRuntime>(new HostRuntime(mode, std::move(*result.ports)));
}

HostRuntime::HostRuntime(Mode mode, app::PlatformPorts ports)
    : runtime_(std::move(ports), loop_, wall_clock_,
               {.mode = mode,
                .log_mirror = mode == Mode::read_only ? base::DiagnosticsLog::silent()
                                                      : base::DiagnosticsLog::stderr_mirror()}) {}

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

std::unique_ptr<HostRuntime> open_runtime(std::vector<std::string>& arguments, HostRuntime::Mode mode,
                                          platform::HostOptions options) {
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
