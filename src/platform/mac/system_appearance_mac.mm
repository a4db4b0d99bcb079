#import <Foundation/Foundation.h>

#include "platform/mac/mac_adapters.hpp"

namespace kolvo::platform {

bool MacSystemAppearance::is_dark() const {
  @autoreleasepool {
    id style = CFBridgingRelease(CFPreferencesCopyValue(CFSTR("AppleInterfaceStyle"), kCFPreferencesAnyApplication,
                                                        kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
    return [style isKindOfClass:NSString.class] && [style caseInsensitiveCompare:@"Dark"] == NSOrderedSame;
  }
}

core::Subscription MacSystemAppearance::observe_theme_changes(std::function<void()> changed) {
  auto callback = std::make_shared<std::function<void()>>(std::move(changed));
  id token = [NSDistributedNotificationCenter.defaultCenter
      addObserverForName:@"AppleInterfaceThemeChangedNotification"
                  object:nil
                   queue:NSOperationQueue.mainQueue
              usingBlock:^(NSNotification*) {
                (*callback)();
              }];
  return core::Subscription([token] { [NSDistributedNotificationCenter.defaultCenter removeObserver:token]; });
}

}  // namespace kolvo::platform
