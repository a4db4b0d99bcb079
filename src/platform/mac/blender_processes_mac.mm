#import <AppKit/AppKit.h>

#include <memory>

#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/objc_text.hpp"

namespace kolvo::platform {
namespace {

NSString* blender_bundle_id() { return ns_string(blender::kBlenderBundleID); }

// The workspace's launch and quit notifications for Blender alone, each passed on through the
// main executor while the observation lives.
class MacBlenderLaunchObservation final : public blender::BlenderLaunchObservation {
 public:
  MacBlenderLaunchObservation(base::Executor& main, std::function<void()> changed) {
    auto shared = std::make_shared<std::function<void()>>(std::move(changed));
    std::weak_ptr<bool> alive = alive_;
    base::Executor* executor = &main;
    NSString* identifier = blender_bundle_id();
    for (NSNotificationName name in @[ NSWorkspaceDidLaunchApplicationNotification,
                                       NSWorkspaceDidTerminateApplicationNotification ]) {
      id token = [center_ addObserverForName:name
                                      object:nil
                                       queue:NSOperationQueue.mainQueue
                                  usingBlock:^(NSNotification* notification) {
                                    id application = notification.userInfo[NSWorkspaceApplicationKey];
                                    if (![application isKindOfClass:NSRunningApplication.class]) return;
                                    NSRunningApplication* running = application;
                                    if (![running.bundleIdentifier isEqualToString:identifier]) return;
                                    executor->post([alive, shared] {
                                      if (alive.lock()) (*shared)();
                                    });
                                  }];
      [tokens_ addObject:token];
    }
  }
  ~MacBlenderLaunchObservation() override {
    for (id token in tokens_) [center_ removeObserver:token];
  }
  MacBlenderLaunchObservation(const MacBlenderLaunchObservation&) = delete;
  MacBlenderLaunchObservation& operator=(const MacBlenderLaunchObservation&) = delete;

 private:
  NSNotificationCenter* center_ = NSWorkspace.sharedWorkspace.notificationCenter;
  NSMutableArray* tokens_ = [NSMutableArray array];
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace

std::optional<blender::BlenderApplication> MacBlenderProcesses::application() const {
  @autoreleasepool {
    NSURL* bundle = [NSWorkspace.sharedWorkspace URLForApplicationWithBundleIdentifier:blender_bundle_id()];
    if (bundle == nil) return std::nullopt;
    // Read from the file rather than through NSBundle, which keeps a bundle's first answer for
    // the life of the process: Blender may be updated while Kolvo runs.
    NSDictionary* info = [NSDictionary dictionaryWithContentsOfURL:[bundle URLByAppendingPathComponent:@"Contents/Info.plist"]];
    id version = info[@"CFBundleShortVersionString"];
    return blender::BlenderApplication{
        .executable = std::filesystem::path(utf8(bundle.path)) / "Contents" / "MacOS" / "Blender",
        .version = [version isKindOfClass:NSString.class] ? std::optional(utf8(version)) : std::nullopt};
  }
}

std::vector<std::int32_t> MacBlenderProcesses::running() const {
  std::vector<std::int32_t> pids;
  @autoreleasepool {
    for (NSRunningApplication* application in
         [NSRunningApplication runningApplicationsWithBundleIdentifier:blender_bundle_id()]) {
      if (!application.terminated) pids.push_back(application.processIdentifier);
    }
  }
  return pids;
}

std::unique_ptr<blender::BlenderLaunchObservation> MacBlenderProcesses::observe_launches(
    base::Executor& main, std::function<void()> changed) {
  return std::make_unique<MacBlenderLaunchObservation>(main, std::move(changed));
}

blender::BlenderPaths mac_blender_paths() {
  @autoreleasepool {
    NSArray<NSString*>* support =
        NSSearchPathForDirectoriesInDomains(NSApplicationSupportDirectory, NSUserDomainMask, YES);
    const std::filesystem::path home = utf8(NSHomeDirectory());
    const std::filesystem::path application_support =
        support.count > 0 ? std::filesystem::path(utf8(support.firstObject)) : home / "Library" / "Application Support";
    return {.home = home,
            .blender_user_files = application_support / "Blender",
            .temporary = utf8(NSTemporaryDirectory())};
  }
}

}  // namespace kolvo::platform
