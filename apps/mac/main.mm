#import <AppKit/AppKit.h>

#include <iostream>

#include "app/app_delegate.hpp"
#include "app/runtime.hpp"
#include "app_shell_mac.hpp"
#include "base/date_time.hpp"
#include "base/network_thread.hpp"
#include "platform/mac/deck_approval_prompt_mac.hpp"
#include "platform/mac/mac_adapters.hpp"

namespace kolvo::mac {

// Everything the application owns, created in dependency order: the same runtime as every
// host command, over the real Mac's ports, with AppKit panels and the menu-bar shell.
struct MacApplication {
  platform::MainQueueExecutor executor;
  base::SystemWallClock clock;
  // Before the runtime, so the phone link's sockets outlive the server that closes them.
  base::NetworkThread network;
  platform::MacDeckApprovalPrompt deck_prompt;
  app::Runtime runtime{platform::make_mac_platform_ports({KOLVO_BUNDLE_ID, KOLVO_VERSION, KOLVO_BUILD_NUMBER}),
                       executor, clock, {}};
  platform::MacOverlayPlatform panels{runtime};
  std::unique_ptr<app::AppComponents> components = runtime.make_components(panels);
  deck::KolvoDeckServer& deck_server = runtime.make_deck_server(network.context(), deck_prompt);
  MacAppShell shell{[this](ui::SettingsPageHooks hooks) { return runtime.settings_pages(std::move(hooks)); },
                    [this](ui::OnboardingHooks hooks) { return runtime.onboarding(std::move(hooks)); }};
  app::AppDelegate delegate{app::AppDelegatePorts{
      .shell = shell,
      .components = *components,
      .launch_at_login = runtime.launch_at_login(),
      .settings = runtime.settings(),
      .center = runtime.center(),
      .main = executor,
      .log = runtime.log(),
      .process = *runtime.ports().process,
      .print_line = [](std::string_view line) { std::cout << line << std::endl; },
      .deck = &deck_server,
      .update = &runtime.update_notice()}};
};

}  // namespace kolvo::mac

@interface KolvoApplicationDelegate : NSObject <NSApplicationDelegate>
@end

@implementation KolvoApplicationDelegate {
  std::unique_ptr<kolvo::mac::MacApplication> _application;
  id _trustObserver;
}

- (void)applicationDidFinishLaunching:(NSNotification*)notification {
  _application = std::make_unique<kolvo::mac::MacApplication>();
  _application->runtime.load_for_launch();
  _application->delegate.did_finish_launching();
  // The system announces every change of any application's Accessibility trust under this name.
  __weak KolvoApplicationDelegate* weakSelf = self;
  _trustObserver = [NSDistributedNotificationCenter.defaultCenter addObserverForName:@"com.apple.accessibility.api"
                                                                              object:nil
                                                                               queue:NSOperationQueue.mainQueue
                                                                          usingBlock:^(NSNotification*) {
                                                                            [weakSelf accessibilityMayHaveChanged];
                                                                          }];
}

- (void)accessibilityMayHaveChanged {
  if (_application) _application->delegate.accessibility_may_have_changed();
}

- (void)applicationDidBecomeActive:(NSNotification*)notification {
  [self accessibilityMayHaveChanged];
}

- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)sender {
  return NO;
}

- (BOOL)applicationShouldHandleReopen:(NSApplication*)sender hasVisibleWindows:(BOOL)flag {
  return _application ? _application->delegate.should_handle_reopen(flag) : YES;
}

- (void)applicationWillTerminate:(NSNotification*)notification {
  if (_trustObserver) [NSDistributedNotificationCenter.defaultCenter removeObserver:_trustObserver];
  _trustObserver = nil;
  if (_application) _application->delegate.will_terminate();
}

@end

int main() {
  @autoreleasepool {
    NSApplication* application = NSApplication.sharedApplication;
    KolvoApplicationDelegate* delegate = [KolvoApplicationDelegate new];
    application.delegate = delegate;
    [application run];
  }
  return 0;
}
