#include "base/timers.hpp"

#include <utility>

namespace kolvo::base {

void Timer::start(Duration delay, Task task) {
  cancel();
  pending_ = executor_.post_after(delay, [this, task = std::move(task)] {
    pending_ = 0;
    task();
  });
}

void Timer::cancel() {
  if (pending_ != 0) {
    executor_.cancel(std::exchange(pending_, 0));
  }
}

void RepeatingTimer::start(Duration interval, Task task) {
  stop();
  interval_ = interval;
  task_ = std::move(task);
  schedule();
}

void RepeatingTimer::stop() {
  if (pending_ != 0) {
    executor_.cancel(std::exchange(pending_, 0));
  }
}

void RepeatingTimer::schedule() {
  pending_ = executor_.post_after(interval_, [this] {
    schedule();
    // Copy: the callback may restart this timer with a different task.
    Task task = task_;
    task();
  });
}

}  // namespace kolvo::base
