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

// An application named by the user standing in for the frontmost one, for the command-line
// tools that replay what the zones would do while that application is in front. It has no
// process, so nothing moves a window through it.
class StandInFrontmostApplication final : public FocusedApplicationMonitor {
 public:
  explicit StandInFrontmostApplication(std::optional<std::string> bundle_id) : bundle_id_(std::move(bundle_id)) {}

  std::optional<std::string> frontmost_bundle_id() const override { return bundle_id_; }
  std::optional<std::string> frontmost_name() const override { return bundle_id_; }
  std::optional<std::int64_t> frontmost_pid() const override { return std::nullopt; }

  void bring_to_front(std::optional<std::string> bundle_id) {
    if (bundle_id == bundle_id_) return;
    bundle_id_ = std::move(bundle_id);
    frontmost_changed();
  }

 private:
  std::optional<std::string> bundle_id_;
};

}  // namespace kolvo::catalog
