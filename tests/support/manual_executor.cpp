#include "support/manual_executor.hpp"

namespace kolvo::testing {

void ManualExecutor::post(core::Task task) { post_after(core::Duration::zero(), std::move(task)); }

core::TaskId ManualExecutor::post_after(core::Duration delay, core::Task task) {
  std::lock_guard lock(mutex_);
  const core::TaskId id = next_id_++;
  const core::TimePoint due = now_ + std::max(delay, core::Duration::zero());
  tasks_.emplace(Key{due, id}, std::move(task));
  due_by_id_.emplace(id, due);
  return id;
}

void ManualExecutor::cancel(core::TaskId id) {
  std::lock_guard lock(mutex_);
  const auto found = due_by_id_.find(id);
  if (found == due_by_id_.end()) return;
  tasks_.erase(Key{found->second, id});
  due_by_id_.erase(found);
}

core::TimePoint ManualExecutor::now() const {
  std::lock_guard lock(mutex_);
  return now_;
}

bool ManualExecutor::run_one_due_by(core::TimePoint limit) {
  core::Task task;
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

void ManualExecutor::advance(core::Duration by) {
  const core::TimePoint target = now() + by;
  while (run_one_due_by(target)) {
  }
  std::lock_guard lock(mutex_);
  now_ = target;
}

std::size_t ManualExecutor::pending_count() const {
  std::lock_guard lock(mutex_);
  return tasks_.size();
}

}  // namespace kolvo::testing
