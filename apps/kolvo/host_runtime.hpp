#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/runtime.hpp"
#include "base/asio_main_loop.hpp"
#include "base/date_time.hpp"
#include "platform/host_ports.hpp"

namespace kolvo::host {

platform::HostIdentity host_identity();

// The `kolvo` command's main loop and clock, and the program's runtime over the machine's ports.
class HostRuntime {
 public:
  using Mode = app::Runtime::Mode;

  // Null, with `error` set, when the machine's ports cannot be made.
  static std::unique_ptr<HostRuntime> create(Mode mode, const platform::HostOptions& options, std::string& error);

  base::AsioMainLoop& loop() { return loop_; }
  app::Runtime& runtime() { return runtime_; }
  const app::PlatformPorts& ports() const { return runtime_.ports(); }

 private:
  HostRuntime(Mode mode, app::PlatformPorts ports);

  base::SystemWallClock wall_clock_;
  base::AsioMainLoop loop_;
  app::Runtime runtime_;
};

// Takes "--sim FILE" out of the arguments and builds the runtime, with `options` for the rest;
// null after printing a sentence when that fails.
std::unique_ptr<HostRuntime> open_runtime(std::vector<std::string>& arguments, HostRuntime::Mode mode,
                                          platform::HostOptions options = {});

// Takes "--sim FILE" and "--frontmost BUNDLE_ID" out of the arguments. False, with `error` set, when FILE is missing.
bool take_host_options(std::vector<std::string>& arguments, platform::HostOptions& options, std::string& error);

}  // namespace kolvo::host
