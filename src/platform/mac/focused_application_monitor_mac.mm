#import <AppKit/AppKit.h>

#include "platform/mac/mac_adapters.hpp"

namespace kolvo::platform {

struct MacFocusedApplicationMonitor::Observer {
  id token = nil;
};

MacFocusedApplicationMonitor::MacFocusedApplicationMonitor() : observer_(std::make_unique<Observer>()) {
  auto remember = [this](NSRunningApplication* app) {
    // Kolvo's own windows coming forward must not change which app's profile applies.
    if (app == nil || [app isEqual:NSRunningApplication.currentApplication]) return;
    bundle_id_ = app.bundleIdentifier ? std::optional<std::string>(app.bundleIdentifier.UTF8String) : std::nullopt;
    pid_ = static_cast<std::int64_t>(app.processIdentifier);
    name_ = app.localizedName ? std::optional<std::string>(app.localizedName.UTF8String) : std::nullopt;
  };
  remember(NSWorkspace.sharedWorkspace.frontmostApplication);
  observer_->token = [NSWorkspace.sharedWorkspace.notificationCenter
      addObserverForName:NSWorkspaceDidActivateApplicationNotification
                  object:nil
                   queue:NSOperationQueue.mainQueue
              usingBlock:^(NSNotification* note) {
                const auto before = bundle_id_;
                remember(note.userInfo[NSWorkspaceApplicationKey]);
                if (bundle_id_ != before) frontmost_changed();
              }];
}

MacFocusedApplicationMonitor::~MacFocusedApplicationMonitor() {
  if (observer_->token) [NSWorkspace.sharedWorkspace.notificationCenter removeObserver:observer_->token];
}

}  // namespace kolvo::platform
