#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace kolvo::base {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;
using Duration = Clock::duration;
using Task = std::function<void()>;

// Identifies a delayed task so that it can be cancelled. Zero never names a task.
using TaskId = std::uint64_t;

// The main loop, as the rest of the program sees it. All state lives on the thread that runs it.
// `post` may be called from any thread: it is how serial queues hand their results back. The
// other operations belong to the main thread.
class Executor {
 public:
  virtual ~Executor() = default;

  virtual void post(Task task) = 0;
  virtual TaskId post_after(Duration delay, Task task) = 0;
  // Cancelling a task that already ran, or was already cancelled, does nothing.
  virtual void cancel(TaskId id) = 0;
  virtual TimePoint now() const = 0;
};

// Seconds as a duration, for the many delays that are written as fractions of a second.
constexpr Duration seconds(double s) {
  return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(s));
}

}  // namespace kolvo::base
