#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "base/observable.hpp"

namespace kolvo::catalog {

// Watches the frontmost application for profiles, tab stepping and window snapping.
class FocusedApplicationMonitor {
 public:
  virtual ~FocusedApplicationMonitor() = default;
  virtual std::optional<std::string> frontmost_bundle_id() const = 0;
  virtual std::optional<std::string> frontmost_name() const = 0;
  // Its process, for moving its windows.
  virtual std::optional<std::int64_t> frontmost_pid() const = 0;

  // Called on the main thread each time another application comes to the front, so whatever
  // depends on it (the profile in force) is redone then and not looked up on every move.
  [[nodiscard]] base::Subscription observe_changes(std::function<void()> changed) {
    return changes_.subscribe([changed = std::move(changed)](const bool&) { changed(); });
  }

 protected:
  // Implementations call this after the frontmost application changed.
  void frontmost_changed() { changes_.publish(); }

 private:
  base::Observable<bool> changes_{false};
};

}  // namespace kolvo::catalog
