#pragma once

#include <atomic>
#include <map>
#include <memory>

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

#include "base/executor.hpp"

namespace kolvo::base {

// The headless host's main loop: an Asio io_context run on the main thread. Sockets share the
// same context, so network completions and timers arrive on one thread, as on the Mac.
class AsioMainLoop final : public Executor {
 public:
  AsioMainLoop();
  ~AsioMainLoop() override;

  void post(Task task) override;
  TaskId post_after(Duration delay, Task task) override;
  void cancel(TaskId id) override;
  TimePoint now() const override { return Clock::now(); }

  // Runs until stop(); returns at once if stop() was already called.
  void run();
  void stop();

  asio::io_context& context() { return context_; }

 private:
  asio::io_context context_;
  std::map<TaskId, std::unique_ptr<asio::steady_timer>> timers_;
  TaskId next_id_ = 1;
};

}  // namespace kolvo::base
