#include <cmath>
#include <cstdio>
#include <iostream>
#include <sstream>

#include "base/manual_executor.hpp"
#include "base/number_text.hpp"
#include "cli.hpp"
#include "host_runtime.hpp"
#include "overlay/hover_monitor.hpp"
#include "overlay/zone_rebuilder.hpp"
#include "platform/sim/simulated_overlay.hpp"

namespace kolvo::host {
namespace {

// After the last move, pending hides and reveals still happen; this covers the longest.
constexpr double kSettleSeconds = 5.0;

// The virtual clock counts nanoseconds in 64 bits; a trace reaches at most this far, well
// within what it holds (about 292 years).
constexpr double kLatestTime = 1e9;

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
  app::Runtime& program = runtime->runtime();
  auto& hidden_dock = program.hidden_dock();
  overlay::HoverMonitor monitor(clock, overlay, *overlay, hidden_dock.zones());
  // As in the running program, the zones are rebuilt when the frontmost application changes.
  overlay::ZoneRebuilder rebuilder(clock, program.settings().activation_settings(), hidden_dock.apps(),
                                   hidden_dock.profiles(), program.ports().focused_application.get(),
                                   [&monitor] { monitor.rebuild_zones(); });

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
    const std::string at = "Line " + std::to_string(number);
    const bool switches_app = fields.size() == 3 && fields[0] == "app";
    std::optional<double> x, y, t;
    if (fields.size() == 3) {
      if (!switches_app) {
        x = base::parse_real(fields[0]);
        y = base::parse_real(fields[1]);
      }
      t = base::parse_real(fields[2]);
    }
    if (!t || (!switches_app && (!x || !y || !std::isfinite(*x) || !std::isfinite(*y)))) {
      return fail(kExitUsage, at + " is neither 'x y t' (three numbers) nor 'app BUNDLE_ID t': '" + line + "'.");
    }
    if (!std::isfinite(*t) || *t > kLatestTime) {
      return fail(kExitUsage, at + " is at " + fields[2] + " s; a trace runs from 0 to at most 1000000000 s.");
    }
    if (*t < previous) {
      return fail(kExitUsage, at + " goes back in time (" + fields[2] + " after " + base::shortest_real_text(previous) +
                                  ").");
    }
    if (switches_app && !program.ports().simulate_frontmost) {
      return fail(kExitUsage, at + " switches the frontmost application, which needs a simulated desktop (--sim FILE) or --frontmost BUNDLE_ID.");
    }
    clock.advance(base::seconds(*t - previous));
    previous = *t;
    if (switches_app) {
      program.ports().simulate_frontmost(fields[1]);
      clock.run_pending();
    } else {
      monitor.pointer_moved({*x, *y});
    }
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
