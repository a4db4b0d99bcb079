#include "base/notification_center.hpp"

#include <algorithm>
#include <utility>

namespace kolvo::base {

struct Observation::Registry {
  struct Entry {
    std::uint64_t id;
    std::string name;
    std::shared_ptr<NotificationCenter::Observer> observer;
  };
  std::mutex mutex;
  std::vector<Entry> entries;
  std::uint64_t next_id = 1;

  void remove(std::uint64_t id) {
    std::lock_guard lock(mutex);
    std::erase_if(entries, [id](const Entry& entry) { return entry.id == id; });
  }
};

Observation::Observation(Observation&& other) noexcept
    : registry_(std::move(other.registry_)), id_(std::exchange(other.id_, 0)) {}

Observation& Observation::operator=(Observation&& other) noexcept {
  if (this != &other) {
    reset();
    registry_ = std::move(other.registry_);
    id_ = std::exchange(other.id_, 0);
  }
  return *this;
}

void Observation::reset() {
  if (id_ == 0) return;
  if (auto registry = registry_.lock()) registry->remove(id_);
  id_ = 0;
  registry_.reset();
}

bool Observation::is_active() const { return id_ != 0 && !registry_.expired(); }

NotificationCenter::NotificationCenter() : registry_(std::make_shared<Observation::Registry>()) {}

Observation NotificationCenter::observe(std::string name, Observer observer) {
  std::lock_guard lock(registry_->mutex);
  const std::uint64_t id = registry_->next_id++;
  registry_->entries.push_back({id, std::move(name), std::make_shared<Observer>(std::move(observer))});
  return Observation(registry_, id);
}

void NotificationCenter::post(std::string_view name) {
  // Observers run outside the lock, so they may observe, post or remove themselves.
  std::vector<std::pair<std::uint64_t, std::shared_ptr<Observer>>> matching;
  {
    std::lock_guard lock(registry_->mutex);
    for (const auto& entry : registry_->entries) {
      if (entry.name == name) matching.emplace_back(entry.id, entry.observer);
    }
  }
  for (const auto& [id, observer] : matching) {
    bool still_registered = false;
    {
      std::lock_guard lock(registry_->mutex);
      still_registered = std::any_of(registry_->entries.begin(), registry_->entries.end(),
                                     [id = id](const auto& entry) { return entry.id == id; });
    }
    // An observer removed by an earlier one in this same post is not called.
    if (still_registered) (*observer)(name);
  }
}

}  // namespace kolvo::base
