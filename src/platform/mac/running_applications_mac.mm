#import <AppKit/AppKit.h>
#include <unistd.h>

#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/notification_subscription.hpp"

namespace kolvo::platform {

std::vector<dock::RunningApplication> MacRunningApplications::running_applications() const {
  std::vector<dock::RunningApplication> apps;
  for (NSRunningApplication* app in NSWorkspace.sharedWorkspace.runningApplications) {
    dock::RunningApplication entry;
    if (app.bundleIdentifier) entry.bundle_id = std::string(app.bundleIdentifier.UTF8String);
    entry.regular = app.activationPolicy == NSApplicationActivationPolicyRegular;
    entry.pid = app.processIdentifier;
    apps.push_back(std::move(entry));
  }
  return apps;
}

std::int64_t MacRunningApplications::own_pid() const { return ::getpid(); }

base::Subscription MacRunningApplications::observe_launches(std::function<void()> launched) const {
  return observe_notification(NSWorkspace.sharedWorkspace.notificationCenter, NSWorkspaceDidLaunchApplicationNotification,
                              std::move(launched));
}

base::Subscription MacRunningApplications::observe_terminations(std::function<void()> terminated) const {
  return observe_notification(NSWorkspace.sharedWorkspace.notificationCenter,
                              NSWorkspaceDidTerminateApplicationNotification, std::move(terminated));
}

}  // namespace kolvo::platform
