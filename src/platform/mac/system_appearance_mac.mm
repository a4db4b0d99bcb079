#import <Foundation/Foundation.h>

#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/notification_subscription.hpp"

namespace kolvo::platform {

bool MacSystemAppearance::is_dark() const {
  @autoreleasepool {
    id style = CFBridgingRelease(CFPreferencesCopyValue(CFSTR("AppleInterfaceStyle"), kCFPreferencesAnyApplication,
                                                        kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
    return [style isKindOfClass:NSString.class] && [style caseInsensitiveCompare:@"Dark"] == NSOrderedSame;
  }
}

core::Subscription MacSystemAppearance::observe_theme_changes(std::function<void()> changed) {
  return observe_notification(NSDistributedNotificationCenter.defaultCenter, @"AppleInterfaceThemeChangedNotification",
                              std::move(changed));
}

}  // namespace kolvo::platform
