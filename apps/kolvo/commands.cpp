#include <iostream>

#include "app/diagnostics_report.hpp"
#include "app/settings.hpp"
#include "cli.hpp"
#include "host_runtime.hpp"

namespace kolvo::host {

int run_settings(Arguments arguments) {
  const bool json = take_flag(arguments, "--json");
  auto runtime = open_runtime(arguments, HostRuntime::Mode::read_only);
  if (!runtime) return kExitFailure;
  if (!arguments.empty()) return fail(kExitUsage, "'kolvo settings' takes no arguments besides --json.");
  const auto values = runtime->runtime().effective_settings();
  if (json) {
    std::cout << values.dump(2) << '\n';
    return 0;
  }
  for (const auto& [key, value] : values.items()) std::cout << key << " = " << value.dump() << '\n';
  return 0;
}

int run_diagnostics(Arguments arguments) {
  auto runtime = open_runtime(arguments, HostRuntime::Mode::read_only);
  if (!runtime) return kExitFailure;
  if (!arguments.empty()) return fail(kExitUsage, "'kolvo diagnostics' takes no arguments besides --sim.");
  std::cout << app::diagnostics_report(runtime->runtime().diagnostics_input()) << '\n';
  return 0;
}

}  // namespace kolvo::host
