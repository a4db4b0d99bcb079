#include <cstdio>
#include <iostream>
#include <sstream>

#include "base/manual_executor.hpp"
#include "base/number_text.hpp"
#include "cli.hpp"
#include "host_runtime.hpp"
#include "overlay/hover_monitor.hpp"
#include "platform/sim/simulated_overlay.hpp"

namespace kolvo::host {
namespace {

// After the last move, pending hides and reveals still happen; this covers the longest.
constexpr double kSettleSeconds = 5.0;

struct Action {
  double time;
  std::string text;
};

std::string format_time(double seconds) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.3f", seconds);
  return buffer;
}

}  // namespace

int run_pointer(Arguments arguments) {
  const bool json = take_flag(arguments, "--json");
  auto runtime = open_runtime(arguments, HostRuntime::Mode::read_only);
  if (!runtime) return kExitFailure;
  if (!arguments.empty()) return fail(kExitUsage, "'kolvo pointer' takes --json, --sim FILE and --frontmost BUNDLE_ID; the trace comes on standard input.");

  // The real monitor on virtual time, so the same trace always gives the same actions.
  base::ManualExecutor clock;
  const base::TimePoint start = clock.now();
  std::vector<Action> actions;
  auto overlay = std::make_shared<sim::SimulatedOverlayWindowManager>([&](std::string_view action) {
    actions.push_back({std::chrono::duration<double>(clock.now() - start).count(), std::string(action)});
  });
  overlay::HoverMonitor monitor(clock, overlay, *overlay, runtime->runtime().hidden_dock().zones());

  std::string line;
  int number = 0;
  double previous = 0;
  while (std::getline(std::cin, line)) {
    ++number;
    const auto hash = line.find('#');
    if (hash != std::string::npos) line.erase(hash);
    std::istringstream words(line);
    std::vector<std::string> fields;
    for (std::string word; words >> word;) fields.push_back(word);
    if (fields.empty()) continue;
    std::optional<double> x, y, t;
    if (fields.size() == 3) {
      x = base::parse_real(fields[0]);
      y = base::parse_real(fields[1]);
      t = base::parse_real(fields[2]);
    }
    if (!x || !y || !t) {
      return fail(kExitUsage, "Line " + std::to_string(number) + " is not 'x y t' (three numbers): '" + line + "'.");
    }
    if (*t < previous) {
      return fail(kExitUsage, "Line " + std::to_string(number) + " goes back in time (" + fields[2] + " after " +
                                  base::shortest_real_text(previous) + ").");
    }
    clock.advance(base::seconds(*t - previous));
    previous = *t;
    monitor.pointer_moved({*x, *y});
  }
  clock.advance(base::seconds(kSettleSeconds));

  if (json) {
    auto out = nlohmann::ordered_json::array();
    for (const Action& action : actions) out.push_back({{"time", action.time}, {"action", action.text}});
    std::cout << out.dump(2) << '\n';
  } else {
    for (const Action& action : actions) std::cout << format_time(action.time) << ' ' << action.text << '\n';
  }
  return 0;
}

}  // namespace kolvo::host
