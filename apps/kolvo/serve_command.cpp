#include <unistd.h>

#include <csignal>
#include <iostream>

#include <asio/signal_set.hpp>

#include "app/app_delegate.hpp"
#include "app/request_handlers.hpp"
#include "approval_prompt.hpp"
#include "base/number_text.hpp"
#include "cli.hpp"
#include "control_socket.hpp"
#include "headless_shell.hpp"
#include "host_runtime.hpp"
#include "platform/sim/simulated_overlay.hpp"
#include "request_words.hpp"

namespace kolvo::host {

int run_serve(Arguments arguments) {
  platform::HostOptions options;
  std::string missing;
  std::optional<std::string> port_text;
  if (!take_value(arguments, "--update-feed", "an address", options.update_feed_url, missing) ||
      !take_value(arguments, "--port", "a port number", port_text, missing)) {
    return fail(kExitUsage, missing);
  }
  std::uint16_t deck_port = 0;
  if (port_text) {
    const auto parsed = base::parse_integer(*port_text);
    if (!parsed || *parsed < 0 || *parsed > 65535) {
      return fail(kExitUsage, "--port takes a port number from 0 (any free port) to 65535; '" + *port_text + "' is not.");
    }
    deck_port = static_cast<std::uint16_t>(*parsed);
  }
  auto host = open_runtime(arguments, HostRuntime::Mode::live, std::move(options));
  if (!host) return kExitFailure;
  if (!arguments.empty()) {
    return fail(kExitUsage, "'kolvo serve' takes no arguments besides --sim, --port and --update-feed.");
  }
  app::Runtime& runtime = host->runtime();
  auto print = [](std::string_view line) { std::cout << line << std::endl; };
  auto report = [](std::string_view tag) {
    return [tag](std::string_view line) { std::cout << '[' << tag << "] " << line << std::endl; };
  };

  bool terminated = false;
  std::unique_ptr<app::AppDelegate> delegate;
  auto quit = [&] {
    if (terminated) return;
    terminated = true;
    delegate->will_terminate();
    std::cout << "[Host] stopped" << std::endl;
    host->loop().stop();
  };

  // The simulated Mac says what the program does to it; the timer says when it starts and
  // ends. A real Mac shows both on its own.
  if (runtime.ports().report_simulated_changes) runtime.ports().report_simulated_changes(report("Mac"));
  timer::KolvoTimerStore& timer = runtime.controls().timer();
  std::vector<base::Subscription> timer_reports;
  timer_reports.push_back(timer.is_running().subscribe([&timer, &host, say = report("Timer")](bool running) {
    if (running) return say("running, " + timer.dial_label() + " left");
    // A completion also stops the timer; it is told as "done" instead, once its sound has played.
    host->loop().post([&timer, say, pulse = timer.completion_pulse().get()] {
      if (timer.completion_pulse().get() == pulse) say("stopped");
    });
  }));
  if (timer.is_running().get()) report("Timer")("resumed, " + timer.dial_label() + " left");
  timer_reports.push_back(timer.completion_pulse().subscribe([say = report("Timer")](int) { say("done"); }));

  // The phone link. Approval is asked in this terminal when there is one, and can always be
  // given from another with `kolvo deck approve`.
  HostApprovalPrompt prompt(host->loop().context(), report("Deck"), STDIN_FILENO);
  deck::KolvoDeckServer& deck_server = runtime.make_deck_server(host->loop().context(), prompt);
  deck_server.set_requested_port(deck_port);
  // Stopped before the prompt goes, however this function ends.
  struct StopDeck {
    deck::KolvoDeckServer& server;
    ~StopDeck() { server.stop(); }
  } stop_deck{deck_server};
  std::vector<base::Subscription> deck_reports;
  deck_reports.push_back(deck_server.listening_port().subscribe([](const std::optional<std::uint16_t>& port) {
    if (port) std::cout << "Kolvo Deck listening on port " << *port << std::endl;
  }));
  deck_reports.push_back(deck_server.last_error().subscribe([say = report("Deck")](const std::optional<std::string>& error) {
    if (error) say(*error);
  }));
  deck_reports.push_back(deck_server.connected_device_names().subscribe(
      [say = report("Deck")](const std::vector<std::string>& names) {
        std::string list;
        for (const auto& name : names) list += (list.empty() ? "" : ", ") + name;
        say("connected: " + (list.empty() ? std::string("none") : list));
      }));

  HeadlessShell shell(report("Host"), quit);
  sim::SimulatedOverlayPlatform panels(report("Overlay"));
  const auto components = runtime.make_components(panels);
  delegate = std::make_unique<app::AppDelegate>(app::AppDelegatePorts{.shell = shell,
                                                                      .components = *components,
                                                                      .launch_at_login = runtime.launch_at_login(),
                                                                      .settings = runtime.settings(),
                                                                      .center = runtime.center(),
                                                                      .main = runtime.main(),
                                                                      .log = runtime.log(),
                                                                      .process = *runtime.ports().process,
                                                                      .print_line = print,
                                                                      .deck = &deck_server,
                                                                      .update = &runtime.update_notice()});

  // Every store loads its keys at start, as on the Mac.
  runtime.load_for_launch();
  delegate->did_finish_launching();
  if (runtime.update_notice().is_started()) {
    report("Update")("checking " + runtime.update_notice().feed_url() + " at start and every 24 hours");
  }

  app::RequestHandlers handlers(runtime);
  ControlSocketServer control_socket(
      host->loop().context(), platform::control_socket_path(),
      [&handlers, &runtime](std::vector<std::string> words, std::function<void(app::Reply)> reply) {
        if (!words.empty() && words[0] == "sim") {
          if (!runtime.ports().drive_simulation) {
            return reply({app::kExitFailure, {}, "kolvo: this host drives a real Mac; there is nothing to simulate.\n", {}});
          }
          return reply(runtime.ports().drive_simulation({words.begin() + 1, words.end()}));
        }
        auto parsed = parse_request_words(std::move(words));
        if (auto* malformed = std::get_if<app::Reply>(&parsed)) return reply(std::move(*malformed));
        handlers.handle(std::get<app::Request>(parsed), std::move(reply));
      });
  if (control_socket.is_listening()) {
    report("Control")("taking kolvo control and kolvo timer at " + control_socket.path().string());
  } else {
    report("Control")("not taking commands: " + control_socket.problem());
  }

  asio::signal_set signals(host->loop().context(), SIGINT, SIGTERM);
  signals.async_wait([&](const std::error_code& error, int) {
    if (!error) quit();
  });
  std::cout << "[Host] serving on the simulated Mac; preferences in " << runtime.ports().preferences_location
            << "; stop with Ctrl-C" << std::endl;
  host->loop().run();
  return 0;
}

}  // namespace kolvo::host
