#pragma once

#include <chrono>
#include <functional>
#include <thread>

#include "base/manual_executor.hpp"

namespace kolvo::testing {

// Runs the main loop until `done` holds, for work a background thread posts to it (a serial
// queue, a watch); false when five seconds pass first.
inline bool run_until(base::ManualExecutor& main, const std::function<bool()>& done) {
  for (int spin = 0; spin < 5000; ++spin) {
    main.run_pending();
    if (done()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return false;
}

}  // namespace kolvo::testing
