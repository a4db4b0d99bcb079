#import <Foundation/Foundation.h>

#include "controls/appearance_controller.hpp"
#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/notification_subscription.hpp"

namespace kolvo::platform {

bool MacSystemAppearance::is_dark() const {
  return controls::is_dark_interface_style(
      MacGlobalPreferences().global_domain_value(controls::AppearanceController::kInterfaceStyleKey));
}

base::Subscription MacSystemAppearance::observe_theme_changes(std::function<void()> changed) {
  return observe_notification(NSDistributedNotificationCenter.defaultCenter, @"AppleInterfaceThemeChangedNotification",
                              std::move(changed));
}

}  // namespace kolvo::platform
