#include "base/manual_executor.hpp"

namespace kolvo::base {

void ManualExecutor::post(Task task) { post_after(Duration::zero(), std::move(task)); }

TaskId ManualExecutor::post_after(Duration delay, Task task) {
  std::lock_guard lock(mutex_);
  const TaskId id = next_id_++;
  const TimePoint due = now_ + std::max(delay, Duration::zero());
  tasks_.emplace(Key{due, id}, std::move(task));
  due_by_id_.emplace(id, due);
  return id;
}

void ManualExecutor::cancel(TaskId id) {
  std::lock_guard lock(mutex_);
  const auto found = due_by_id_.find(id);
  if (found == due_by_id_.end()) return;
  tasks_.erase(Key{found->second, id});
  due_by_id_.erase(found);
}

TimePoint ManualExecutor::now() const {
  std::lock_guard lock(mutex_);
  return now_;
}

bool ManualExecutor::run_one_due_by(TimePoint limit) {
  Task task;
  {
    std::lock_guard lock(mutex_);
    if (tasks_.empty() || tasks_.begin()->first.due > limit) return false;
    auto first = tasks_.begin();
    now_ = std::max(now_, first->first.due);
    task = std::move(first->second);
    due_by_id_.erase(first->first.id);
    tasks_.erase(first);
  }
  task();
  return true;
}

void ManualExecutor::run_pending() {
  while (run_one_due_by(now())) {
  }
}

void ManualExecutor::advance(Duration by) {
  const TimePoint target = now() + by;
  while (run_one_due_by(target)) {
  }
  std::lock_guard lock(mutex_);
  now_ = target;
}

std::size_t ManualExecutor::pending_count() const {
  std::lock_guard lock(mutex_);
  return tasks_.size();
}

}  // namespace kolvo::base
