#pragma once

// Objective-C++ only: included by the Mac adapters.
#import <Foundation/Foundation.h>

#include <functional>
#include <memory>

#include "base/observable.hpp"

namespace kolvo::platform {

// Observes a notification on the main queue for as long as the subscription lives.
inline base::Subscription observe_notification(NSNotificationCenter* center, NSNotificationName name,
                                               std::function<void()> callback) {
  auto shared = std::make_shared<std::function<void()>>(std::move(callback));
  id token = [center addObserverForName:name
                                 object:nil
                                  queue:NSOperationQueue.mainQueue
                             usingBlock:^(NSNotification*) {
                               (*shared)();
                             }];
  return base::Subscription([center, token] { [center removeObserver:token]; });
}

}  // namespace kolvo::platform
