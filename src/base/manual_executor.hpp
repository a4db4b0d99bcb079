#pragma once

#include <map>
#include <mutex>
#include <utility>

#include "base/executor.hpp"

namespace kolvo::base {

// Virtual time: nothing runs until the clock is advanced. Tests use it, and so do the tools
// that replay recorded input deterministically. Tasks due at the
// same instant run in the order they were posted. `post` is safe from other threads, so a
// serial queue's completions can be collected with run_pending().
class ManualExecutor final : public Executor {
 public:
  ManualExecutor() : now_(TimePoint{} + std::chrono::hours(1)) {}

  void post(Task task) override;
  TaskId post_after(Duration delay, Task task) override;
  void cancel(TaskId id) override;
  TimePoint now() const override;

  // Runs everything due now, including tasks those tasks post for now.
  void run_pending();
  // Moves the clock forward, running each task at its own due time.
  void advance(Duration by);
  void advance_seconds(double s) { advance(seconds(s)); }

  std::size_t pending_count() const;

 private:
  struct Key {
    TimePoint due;
    TaskId id;
    bool operator<(const Key& other) const { return due != other.due ? due < other.due : id < other.id; }
  };
  bool run_one_due_by(TimePoint limit);

  mutable std::mutex mutex_;
  TimePoint now_;
  TaskId next_id_ = 1;
  std::map<Key, Task> tasks_;
  std::map<TaskId, TimePoint> due_by_id_;
};

}  // namespace kolvo::base
