#include <csignal>
#include <iostream>

#include <asio/signal_set.hpp>

#include "app/app_delegate.hpp"
#include "cli.hpp"
#include "control_requests.hpp"
#include "control_socket.hpp"
#include "headless_components.hpp"
#include "host_runtime.hpp"

namespace kolvo::host {

int run_serve(Arguments arguments) {
  auto owned = open_runtime(arguments, HostRuntime::Mode::live);
  if (!owned) return kExitFailure;
  if (!arguments.empty()) return fail(kExitUsage, "'kolvo serve' takes no arguments besides --sim.");
  HostRuntime& runtime = *owned;
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
    runtime.loop().stop();
  };

  // The simulated Mac says what the program does to it; the timer says when it starts and
  // ends. A real Mac shows both on its own.
  if (runtime.ports().report_simulated_changes) runtime.ports().report_simulated_changes(report("Mac"));
  timer::KolvoTimerStore& timer = runtime.controls().timer();
  std::vector<base::Subscription> timer_reports;
  timer_reports.push_back(timer.is_running().subscribe([&timer, &runtime, say = report("Timer")](bool running) {
    if (running) return say("running, " + timer.dial_label() + " left");
    // A completion also stops the timer; it is told as "done" instead, once its sound has played.
    runtime.loop().post([&timer, say, pulse = timer.completion_pulse().get()] {
      if (timer.completion_pulse().get() == pulse) say("stopped");
    });
  }));
  if (timer.is_running().get()) report("Timer")("resumed, " + timer.dial_label() + " left");
  timer_reports.push_back(timer.completion_pulse().subscribe([say = report("Timer")](int) { say("done"); }));

  HeadlessShell shell(report("Host"), quit);
  HeadlessComponents components(report("Overlay"), runtime.loop(), runtime.dock(), runtime.hidden_dock(), timer);
  delegate = std::make_unique<app::AppDelegate>(app::AppDelegatePorts{
      shell, components, runtime.launch_at_login(), runtime.settings(), runtime.center(), runtime.loop(),
      runtime.log(), *runtime.ports().process, print, nullptr});

  // Every store loads its keys at start, as on the Mac.
  runtime.settings().load_all();
  delegate->did_finish_launching();

  ControlContext control_context{runtime.controls(), runtime.ports().focused_application, runtime.ports().audio,
                                 runtime.clock()};
  ControlSocketServer control_socket(
      runtime.loop().context(), platform::control_socket_path(),
      [&control_context](std::vector<std::string> words, std::function<void(ControlReply)> reply) {
        handle_control_request(control_context, std::move(words), std::move(reply));
      });
  if (control_socket.is_listening()) {
    report("Control")("taking kolvo control and kolvo timer at " + control_socket.path().string());
  } else {
    report("Control")("not taking commands: " + control_socket.problem());
  }

  asio::signal_set signals(runtime.loop().context(), SIGINT, SIGTERM);
  signals.async_wait([&](const std::error_code& error, int) {
    if (!error) quit();
  });
  std::cout << "[Host] serving on the simulated Mac; preferences in " << runtime.ports().preferences_location
            << "; stop with Ctrl-C" << std::endl;
  runtime.loop().run();
  return 0;
}

}  // namespace kolvo::host
