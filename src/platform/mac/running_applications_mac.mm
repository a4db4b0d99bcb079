#import <AppKit/AppKit.h>
#include <unistd.h>

#include "platform/mac/mac_adapters.hpp"

namespace kolvo::platform {
namespace {

core::Subscription observe_workspace(NSNotificationName name, std::function<void()> callback) {
  auto shared = std::make_shared<std::function<void()>>(std::move(callback));
  NSNotificationCenter* center = NSWorkspace.sharedWorkspace.notificationCenter;
  id token = [center addObserverForName:name
                                 object:nil
                                  queue:NSOperationQueue.mainQueue
                             usingBlock:^(NSNotification*) {
                               (*shared)();
                             }];
  return core::Subscription([center, token] { [center removeObserver:token]; });
}

}  // namespace

std::vector<geometry::RunningApplication> MacRunningApplications::running_applications() const {
  std::vector<geometry::RunningApplication> apps;
  for (NSRunningApplication* app in NSWorkspace.sharedWorkspace.runningApplications) {
    geometry::RunningApplication entry;
    if (app.bundleIdentifier) entry.bundle_id = std::string(app.bundleIdentifier.UTF8String);
    entry.regular = app.activationPolicy == NSApplicationActivationPolicyRegular;
    entry.pid = app.processIdentifier;
    apps.push_back(std::move(entry));
  }
  return apps;
}

std::int64_t MacRunningApplications::own_pid() const { return ::getpid(); }

core::Subscription MacRunningApplications::observe_launches(std::function<void()> launched) const {
  return observe_workspace(NSWorkspaceDidLaunchApplicationNotification, std::move(launched));
}

core::Subscription MacRunningApplications::observe_terminations(std::function<void()> terminated) const {
  return observe_workspace(NSWorkspaceDidTerminateApplicationNotification, std::move(terminated));
}

}  // namespace kolvo::platform
