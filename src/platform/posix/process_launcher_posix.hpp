#pragma once

#include "controls/control_ports.hpp"

namespace kolvo::platform {

// Child processes through posix_spawn, the same on the Mac and on Linux. The child leads a
// process group of its own, so the watchdog ends whatever it started along with it: a program
// that hands its work to a helper would otherwise leave the helper holding the pipe open.
class PosixProcessLauncher final : public controls::ProcessLauncherPort {
 public:
  // After the watchdog's SIGTERM, how long the group has to go before SIGKILL follows.
  static constexpr std::chrono::milliseconds kTerminationGrace{2000};

  explicit PosixProcessLauncher(std::chrono::steady_clock::duration termination_grace = kTerminationGrace)
      : termination_grace_(termination_grace) {}

  controls::ProcessOutcome run_process(const controls::ProcessRequest& request) override;

 private:
  std::chrono::steady_clock::duration termination_grace_;
};

}  // namespace kolvo::platform
