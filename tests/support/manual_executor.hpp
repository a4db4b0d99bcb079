#pragma once

#include <map>
#include <mutex>
#include <utility>

#include "core/executor.hpp"

namespace kolvo::testing {

// Virtual time for tests: nothing runs until the test advances the clock. Tasks due at the
// same instant run in the order they were posted. `post` is safe from other threads, so a
// serial queue's completions can be collected with run_pending().
class ManualExecutor final : public core::Executor {
 public:
  ManualExecutor() : now_(core::TimePoint{} + std::chrono::hours(1)) {}

  void post(core::Task task) override;
  core::TaskId post_after(core::Duration delay, core::Task task) override;
  void cancel(core::TaskId id) override;
  core::TimePoint now() const override;

  // Runs everything due now, including tasks those tasks post for now.
  void run_pending();
  // Moves the clock forward, running each task at its own due time.
  void advance(core::Duration by);
  void advance_seconds(double s) { advance(core::seconds(s)); }

  std::size_t pending_count() const;

 private:
  struct Key {
    core::TimePoint due;
    core::TaskId id;
    auto operator<=>(const Key&) const = default;
  };
  bool run_one_due_by(core::TimePoint limit);

  mutable std::mutex mutex_;
  core::TimePoint now_;
  core::TaskId next_id_ = 1;
  std::map<Key, core::Task> tasks_;
  std::map<core::TaskId, core::TimePoint> due_by_id_;
};

}  // namespace kolvo::testing
