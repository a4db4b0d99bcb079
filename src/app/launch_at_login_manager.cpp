#include "app/launch_at_login_manager.hpp"

namespace kolvo::app {

std::string_view describe(LoginItemStatus status) {
  switch (status) {
    case LoginItemStatus::enabled: return "enabled";
    case LoginItemStatus::requiresApproval: return "requires approval in System Settings";
    case LoginItemStatus::notRegistered: return "not registered";
    case LoginItemStatus::notFound: return "not found";
    case LoginItemStatus::unknown: break;
  }
  return "unknown";
}

LaunchAtLoginManager::LaunchAtLoginManager(LoginItemService& service) : service_(service) { refresh(); }

void LaunchAtLoginManager::refresh() {
  const LoginItemStatus status = service_.status();
  is_enabled_.set(status == LoginItemStatus::enabled);
  needs_approval_.set(status == LoginItemStatus::requiresApproval);
}

void LaunchAtLoginManager::set_enabled(bool enabled) {
  last_error_.set(enabled ? service_.register_main_app() : service_.unregister_main_app());
  refresh();
}

}  // namespace kolvo::app
