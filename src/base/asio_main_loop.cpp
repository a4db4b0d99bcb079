#include "base/asio_main_loop.hpp"

#include <asio/executor_work_guard.hpp>
#include <asio/post.hpp>

namespace kolvo::base {

AsioMainLoop::AsioMainLoop() = default;

AsioMainLoop::~AsioMainLoop() {
  for (auto& [id, timer] : timers_) timer->cancel();
}

void AsioMainLoop::post(Task task) { asio::post(context_, std::move(task)); }

TaskId AsioMainLoop::post_after(Duration delay, Task task) {
  const TaskId id = next_id_++;
  auto timer = std::make_unique<asio::steady_timer>(context_, delay);
  timer->async_wait([this, id, task = std::move(task)](const std::error_code& error) {
    if (error) return;  // cancelled
    timers_.erase(id);
    task();
  });
  timers_.emplace(id, std::move(timer));
  return id;
}

void AsioMainLoop::cancel(TaskId id) {
  auto found = timers_.find(id);
  if (found == timers_.end()) return;
  // Destroying the timer cancels its wait; the handler then sees operation_aborted and
  // touches nothing.
  timers_.erase(found);
}

void AsioMainLoop::run() {
  auto guard = asio::make_work_guard(context_);
  context_.run();
}

void AsioMainLoop::stop() { context_.stop(); }

}  // namespace kolvo::base
