#pragma once

#include "base/executor.hpp"

namespace kolvo::base {

// A one-shot timer. Starting it again replaces the pending shot; destroying it cancels it, so
// a callback never runs after its owner is gone.
class Timer {
 public:
  explicit Timer(Executor& executor) : executor_(executor) {}
  ~Timer() { cancel(); }
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  void start(Duration delay, Task task);
  void cancel();
  bool is_pending() const { return pending_ != 0; }

 private:
  Executor& executor_;
  TaskId pending_ = 0;
};

// Fires every `interval` until stopped or destroyed. The next shot is scheduled before the
// callback runs, so a slow callback does not stretch the period, and a callback may stop it.
class RepeatingTimer {
 public:
  explicit RepeatingTimer(Executor& executor) : executor_(executor) {}
  ~RepeatingTimer() { stop(); }
  RepeatingTimer(const RepeatingTimer&) = delete;
  RepeatingTimer& operator=(const RepeatingTimer&) = delete;

  void start(Duration interval, Task task);
  void stop();
  bool is_running() const { return pending_ != 0; }

 private:
  void schedule();

  Executor& executor_;
  Duration interval_{};
  Task task_;
  TaskId pending_ = 0;
};

// Runs the last submitted task once no new one has arrived for `delay`.
class Debouncer {
 public:
  Debouncer(Executor& executor, Duration delay) : timer_(executor), delay_(delay) {}

  void submit(Task task) { timer_.start(delay_, std::move(task)); }
  void cancel() { timer_.cancel(); }
  bool is_pending() const { return timer_.is_pending(); }

 private:
  Timer timer_;
  Duration delay_;
};

}  // namespace kolvo::base
