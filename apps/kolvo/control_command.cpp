#include <algorithm>
#include <iostream>

#include "cli.hpp"
#include "control_requests.hpp"
#include "control_socket.hpp"
#include "host_runtime.hpp"

namespace kolvo::host {
namespace {

int print(const ControlReply& reply) {
  std::cout << reply.output << std::flush;
  std::cerr << reply.error << std::flush;
  return reply.exit_code;
}

// Sends the request to a running host when there is one, so that it acts on the Mac that
// host serves and the state it keeps (the simulated Mac's volume, a timer's ticking).
// Otherwise runs it here, on this machine's Mac, or on a fresh simulated one.
int run_request(std::string command, Arguments arguments) {
  platform::HostOptions options;
  std::string error;
  if (!take_host_options(arguments, options, error)) return fail(kExitUsage, error);
  std::vector<std::string> words{std::move(command)};
  words.insert(words.end(), arguments.begin(), arguments.end());

  const bool here_only = options.sim_layout || options.frontmost;
  if (!here_only) {
    if (auto reply = send_control_request(platform::control_socket_path(), words)) return print(*reply);
  }
  // Reading the timer's state runs its loading rules over a copy, so looking never writes.
  const bool only_reads = words.front() == "timer" && std::none_of(words.begin() + 1, words.end(), [](const auto& w) {
                            return w != "status" && w != "--json";
                          });
  auto runtime = HostRuntime::create(only_reads ? HostRuntime::Mode::read_only : HostRuntime::Mode::live, options, error);
  if (!runtime) return fail(kExitFailure, error);
  if (runtime->ports().report_simulated_changes && words.front() == "control") {
    std::cerr << "kolvo: no kolvo serve is running; this ran on a fresh simulated Mac.\n";
  }
  ControlContext context{runtime->controls(), runtime->ports().focused_application, runtime->ports().audio,
                         runtime->clock()};
  std::optional<ControlReply> result;
  handle_control_request(context, std::move(words), [&](ControlReply reply) {
    result = std::move(reply);
    runtime->loop().stop();
  });
  if (!result) runtime->loop().run();  // a Space switch answers from its own queue
  return print(*result);
}

}  // namespace

int run_control(Arguments arguments) { return run_request("control", std::move(arguments)); }
int run_timer(Arguments arguments) { return run_request("timer", std::move(arguments)); }

}  // namespace kolvo::host
