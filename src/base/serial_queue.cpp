#include "base/serial_queue.hpp"

#include <pthread.h>

namespace kolvo::base {

SerialQueue::SerialQueue(std::string label, Executor& main, Priority priority)
    : label_(std::move(label)), main_(main), priority_(priority) {}

SerialQueue::~SerialQueue() {
  alive_.reset();
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
    pending_.clear();
  }
  wake_.notify_all();
  if (worker_.joinable()) worker_.join();
}

void SerialQueue::async(Task work) {
  {
    std::lock_guard lock(mutex_);
    if (stopping_) return;
    pending_.push_back(std::move(work));
    if (!worker_.joinable()) worker_ = std::thread([this] { run(); });
  }
  wake_.notify_one();
}

void SerialQueue::run() {
  // Thread names are limited to 15 characters on Linux; the tail of the label is the
  // distinctive part ("com.kolvo.spotify" -> "kolvo.spotify").
  const std::string name = label_.size() > 15 ? label_.substr(label_.size() - 15) : label_;
#if defined(__APPLE__)
  pthread_setname_np(name.c_str());
  pthread_set_qos_class_self_np(priority_ == Priority::user_initiated ? QOS_CLASS_USER_INITIATED : QOS_CLASS_UTILITY, 0);
#else
  pthread_setname_np(pthread_self(), name.c_str());
#endif
  for (;;) {
    Task task;
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [this] { return stopping_ || !pending_.empty(); });
      if (stopping_) return;
      task = std::move(pending_.front());
      pending_.pop_front();
    }
    task();
  }
}

}  // namespace kolvo::base
