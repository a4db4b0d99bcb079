#include <algorithm>
#include <iostream>

#include "app/request_handlers.hpp"
#include "cli.hpp"
#include "control_command.hpp"
#include "control_socket.hpp"
#include "host_runtime.hpp"
#include "request_words.hpp"

namespace kolvo::host {
namespace {

int print(const app::Reply& reply) {
  std::cout << reply.output << std::flush;
  std::cerr << reply.error << std::flush;
  return reply.exit_code;
}

}  // namespace

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
  auto parsed = parse_request_words(std::move(words));
  if (const auto* malformed = std::get_if<app::Reply>(&parsed)) return print(*malformed);
  const app::Request& request = std::get<app::Request>(parsed);

  // A request that only looks runs the loading rules over a copy, so looking never writes.
  auto host = HostRuntime::create(app::only_reads(request) ? HostRuntime::Mode::read_only : HostRuntime::Mode::live,
                                  options, error);
  if (!host) return fail(kExitFailure, error);
  if (host->ports().report_simulated_changes && !std::holds_alternative<app::TimerRequest>(request)) {
    std::cerr << "kolvo: no kolvo serve is running; this ran on a fresh simulated Mac.\n";
  }
  app::RequestHandlers handlers(host->runtime());
  std::optional<app::Reply> result;
  handlers.handle(request, [&](app::Reply reply) {
    result = std::move(reply);
    host->loop().stop();
  });
  if (!result) host->loop().run();  // a Space switch answers from its own queue
  return print(*result);
}

// The simulated applications belong to a running host: a fresh simulated Mac would forget
// each change as soon as it was made.
int run_sim(Arguments arguments) {
  std::vector<std::string> words{"sim"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  if (auto reply = send_control_request(platform::control_socket_path(), words)) return print(*reply);
  return fail(kExitFailure, "kolvo sim drives the simulated Mac of a running kolvo serve, and none is running.");
}

int run_control(Arguments arguments) { return run_request("control", std::move(arguments)); }
int run_timer(Arguments arguments) { return run_request("timer", std::move(arguments)); }

}  // namespace kolvo::host
