#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace kolvo::base {

// Cancels its subscription when destroyed.
class Subscription {
 public:
  Subscription() = default;
  explicit Subscription(std::function<void()> cancel) : cancel_(std::move(cancel)) {}
  Subscription(Subscription&& other) noexcept : cancel_(std::exchange(other.cancel_, nullptr)) {}
  Subscription& operator=(Subscription&& other) noexcept {
    if (this != &other) {
      reset();
      cancel_ = std::exchange(other.cancel_, nullptr);
    }
    return *this;
  }
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;
  ~Subscription() { reset(); }

  void reset() {
    if (cancel_) std::exchange(cancel_, nullptr)();
  }

 private:
  std::function<void()> cancel_;
};

// A value that tells its subscribers every time it is assigned or re-published, on the thread
// that assigned it. Subscribers are held by the property; subscriptions hold the property
// weakly, so either may outlive the other.
template <typename T>
class Observable {
 public:
  using Listener = std::function<void(const T&)>;

  Observable() = default;
  explicit Observable(T initial) : value_(std::move(initial)) {}
  Observable(const Observable&) = delete;
  Observable& operator=(const Observable&) = delete;

  const T& get() const { return value_; }
  operator const T&() const { return value_; }

  void set(T value) {
    value_ = std::move(value);
    publish();
  }

  // Tells subscribers again without a new value, for dependants that must redraw.
  void publish() {
    auto listeners = listeners_->entries;  // a listener may subscribe or cancel while we call
    for (auto& [id, listener] : listeners) {
      if (listeners_->entries.contains(id)) listener(value_);
    }
  }

  [[nodiscard]] Subscription subscribe(Listener listener) {
    const std::uint64_t id = listeners_->next_id++;
    listeners_->entries.emplace(id, std::move(listener));
    std::weak_ptr<Listeners> weak = listeners_;
    return Subscription([weak, id] {
      if (auto listeners = weak.lock()) listeners->entries.erase(id);
    });
  }

 private:
  struct Listeners {
    std::map<std::uint64_t, Listener> entries;
    std::uint64_t next_id = 1;
  };
  T value_{};
  std::shared_ptr<Listeners> listeners_ = std::make_shared<Listeners>();
};

}  // namespace kolvo::base
