#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "base/executor.hpp"

namespace kolvo::base {

// A named serial queue for work that must not block the main thread: scripts, file reads,
// child processes. Work runs in order on one background thread, started on first use; each
// result is handed back to the main executor before it can touch shared state. Destroying the
// queue drops work not yet started and suppresses completions not yet delivered, so a
// completion never reaches an owner that is gone.
class SerialQueue {
 public:
  // How the system should weigh the queue's thread against others. On the Mac this is the
  // thread's quality of service; elsewhere it changes nothing.
  enum class Priority { utility, user_initiated };

  SerialQueue(std::string label, Executor& main, Priority priority = Priority::utility);
  ~SerialQueue();
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  const std::string& label() const { return label_; }

  // Runs `work` on the queue.
  void async(Task work);

  // Runs `work` on the queue, then `done(result)` on the main executor.
  template <typename Work, typename Done>
  void async(Work work, Done done) {
    std::weak_ptr<bool> alive = alive_;
    Executor* main = &main_;
    async([work = std::move(work), done = std::move(done), alive, main]() mutable {
      auto result = work();
      main->post([done = std::move(done), result = std::move(result), alive]() mutable {
        if (alive.lock()) done(std::move(result));
      });
    });
  }

 private:
  void run();

  std::string label_;
  Executor& main_;
  [[maybe_unused]] Priority priority_;  // only the Mac has a use for it
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);

  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Task> pending_;
  bool stopping_ = false;
  std::thread worker_;
};

}  // namespace kolvo::base
