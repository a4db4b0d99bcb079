#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/observable.hpp"

namespace kolvo::app {

// SMAppService.Status of the main application.
enum class LoginItemStatus { notRegistered, enabled, requiresApproval, notFound, unknown };

class LoginItemService {
 public:
  virtual ~LoginItemService() = default;
  virtual LoginItemStatus status() const = 0;
  // Absent on success; otherwise the system's description of the failure.
  virtual std::optional<std::string> register_main_app() = 0;
  virtual std::optional<std::string> unregister_main_app() = 0;
};

// The words the diagnostics report uses for each status.
std::string_view describe(LoginItemStatus status);

class LaunchAtLoginManager {
 public:
  explicit LaunchAtLoginManager(LoginItemService& service);

  bool is_enabled() const { return is_enabled_.get(); }
  bool needs_approval() const { return needs_approval_.get(); }
  const std::optional<std::string>& last_error() const { return last_error_.get(); }
  LoginItemStatus status() const { return service_.status(); }

  void refresh();
  void set_enabled(bool enabled);

  base::Observable<bool>& enabled_observable() { return is_enabled_; }
  base::Observable<bool>& approval_observable() { return needs_approval_; }

 private:
  LoginItemService& service_;
  base::Observable<bool> is_enabled_{false};
  base::Observable<bool> needs_approval_{false};
  base::Observable<std::optional<std::string>> last_error_;
};

}  // namespace kolvo::app
