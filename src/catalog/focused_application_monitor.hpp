#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kolvo::catalog {

// Watches the frontmost application for profiles, tab stepping and window snapping.
class FocusedApplicationMonitor {
 public:
  virtual ~FocusedApplicationMonitor() = default;
  virtual std::optional<std::string> frontmost_bundle_id() const = 0;
  virtual std::optional<std::string> frontmost_name() const = 0;
  // Its process, for moving its windows.
  virtual std::optional<std::int64_t> frontmost_pid() const = 0;
};

}  // namespace kolvo::catalog
