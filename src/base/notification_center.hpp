#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace kolvo::base {

class NotificationCenter;

// Removes its observer when destroyed (or when reset), like a token handed back to the
// notification centre. Movable, so owners can keep a list of them.
class Observation {
 public:
  Observation() = default;
  Observation(Observation&& other) noexcept;
  Observation& operator=(Observation&& other) noexcept;
  ~Observation() { reset(); }

  void reset();
  bool is_active() const;

 private:
  friend class NotificationCenter;
  struct Registry;
  Observation(std::weak_ptr<Registry> registry, std::uint64_t id) : registry_(std::move(registry)), id_(id) {}

  std::weak_ptr<Registry> registry_;
  std::uint64_t id_ = 0;
};

// In-process named notifications. Posting is synchronous on the posting thread: every observer
// of the name runs before post() returns, in the order they were added.
class NotificationCenter {
 public:
  using Observer = std::function<void(std::string_view name)>;

  NotificationCenter();

  [[nodiscard]] Observation observe(std::string name, Observer observer);
  void post(std::string_view name);

 private:
  std::shared_ptr<Observation::Registry> registry_;
};

}  // namespace kolvo::base
