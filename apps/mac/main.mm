#import <AppKit/AppKit.h>

#include <iostream>

#include "app_shell_mac.hpp"
#include "controls/control_services.hpp"
#include "core/app_delegate.hpp"
#include "core/date_time.hpp"
#include "core/diagnostics_log.hpp"
#include "core/notification_center.hpp"
#include "core/settings.hpp"
#include "geometry/dock_services.hpp"
#include "hidden_dock/hidden_dock_services.hpp"
#include "hidden_dock/panel_frames.hpp"
#include "platform/mac/mac_adapters.hpp"

namespace kolvo::mac {

// The services the menu-bar app creates at launch. Subsystems whose Mac side is not built yet
// answer nullptr.
class MacComponents final : public core::AppComponents {
 public:
  MacComponents(core::Executor& main, core::DiagnosticsLog& log, geometry::DockServices& dock,
                hidden_dock::HiddenDockServices& hidden_dock, controls::ControlServices& controls,
                core::FocusedApplicationMonitor* focused)
      : main_(main), log_(log), dock_(dock), hidden_dock_(hidden_dock), controls_(controls), focused_(focused) {}

  // The host's own monitor, watching since the ports were made; the delegate shares it
  // without owning it.
  std::shared_ptr<core::FocusedApplicationMonitor> make_focused_application_monitor() override {
    return std::shared_ptr<core::FocusedApplicationMonitor>(std::shared_ptr<void>(), focused_);
  }
  std::shared_ptr<hidden_dock::OverlayWindowManager> make_overlay_window_manager() override {
    overlay_ = std::make_shared<platform::MacOverlayWindowManager>(
        hidden_dock::PanelPlacement(dock_, hidden_dock_.zones()), log_);
    return overlay_;
  }
  std::shared_ptr<core::HoverMonitorControl> make_hover_monitor(
      std::weak_ptr<hidden_dock::OverlayWindowManager> manager) override {
    hidden_dock::HapticPerformer& haptics = overlay_ ? static_cast<hidden_dock::HapticPerformer&>(*overlay_) : haptics_;
    auto monitor = std::make_shared<hidden_dock::HoverMonitor>(main_, std::move(manager), haptics, hidden_dock_.zones());
    if (overlay_) {
      // The zones follow the panels when the displays or the Dock change.
      std::weak_ptr<hidden_dock::HoverMonitor> weak = monitor;
      overlay_->set_recompute_hook([weak] {
        if (auto m = weak.lock()) m->rebuild_zones();
      });
    }
    pointer_monitors_ = std::make_shared<platform::MacHoverMonitor>(std::move(monitor));
    return pointer_monitors_;
  }
  void install_pointer_monitors(std::weak_ptr<core::HoverMonitorControl>) override {
    if (pointer_monitors_) pointer_monitors_->install();
  }
  std::shared_ptr<core::DockRectRefreshControl> make_dock_rect_refresh_controller(
      std::weak_ptr<hidden_dock::OverlayWindowManager> manager) override {
    std::shared_ptr<geometry::DockRectRefreshController> controller =
        dock_.make_refresh_controller(std::weak_ptr<geometry::DockGeometryClient>(manager.lock()));
    controller->start();
    return controller;
  }
  // Making the timer here restores one left running at the last quit.
  void set_timer_completion_reveal(std::function<void()> reveal) override {
    controls_.timer().set_on_completion_reveal(std::move(reveal));
  }

 private:
  core::Executor& main_;
  core::DiagnosticsLog& log_;
  geometry::DockServices& dock_;
  hidden_dock::HiddenDockServices& hidden_dock_;
  controls::ControlServices& controls_;
  platform::MacHaptics haptics_;
  core::FocusedApplicationMonitor* focused_;
  std::shared_ptr<platform::MacOverlayWindowManager> overlay_;
  std::shared_ptr<platform::MacHoverMonitor> pointer_monitors_;
};

// Everything the application owns, created in dependency order.
struct MacRuntime {
  platform::MainQueueExecutor executor;
  core::SystemWallClock clock;
  core::DiagnosticsLog log{clock};
  core::NotificationCenter center;
  platform::HostPorts ports = platform::make_mac_host_ports({KOLVO_BUNDLE_ID, KOLVO_VERSION, KOLVO_BUILD_NUMBER});
  core::Settings settings{core::SettingsPorts{*ports.prefs, center, executor, log, *ports.accessibility,
                                              *ports.appearance, *ports.audio, *ports.sounds}};
  core::LaunchAtLoginManager launch_at_login{*ports.login_items};
  geometry::DockServices dock{geometry::DockEnvironment{*ports.screens, ports.dock_domain, *ports.running,
                                                        *ports.accessibility, *ports.elements},
                              *ports.prefs, center, executor, log, settings.alignment(), clock};
  core::FocusedApplicationMonitor* focused = ports.focused_application;
  hidden_dock::HiddenDockServices hidden_dock{*ports.prefs, *ports.applications, log, settings, dock,
                                              [this]() -> std::optional<std::string> {
                                                return focused ? focused->frontmost_bundle_id() : std::nullopt;
                                              }};
  controls::ControlServices controls{controls::ControlPorts{
      *ports.accessibility, *ports.core_audio, *ports.frameworks, *ports.events, *ports.scripts, *ports.processes,
      *ports.global_preferences, *ports.windows, *ports.screens, ports.running->own_pid(),
      [this]() -> std::optional<std::string> { return focused ? focused->frontmost_bundle_id() : std::nullopt; },
      *ports.prefs, executor, clock, log, &settings.sound_effects()}};
  MacAppShell shell;
  MacComponents components{executor, log, dock, hidden_dock, controls, focused};
  core::AppDelegate delegate{core::AppDelegatePorts{
      shell, components, launch_at_login, settings, center, executor, log, *ports.process,
      [](std::string_view line) { std::cout << line << std::endl; }, nullptr}};
};

}  // namespace kolvo::mac

@interface KolvoApplicationDelegate : NSObject <NSApplicationDelegate>
@end

@implementation KolvoApplicationDelegate {
  std::unique_ptr<kolvo::mac::MacRuntime> _runtime;
}

- (void)applicationDidFinishLaunching:(NSNotification*)notification {
  _runtime = std::make_unique<kolvo::mac::MacRuntime>();
  _runtime->settings.load_all();
  _runtime->delegate.did_finish_launching();
}

- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)sender {
  return NO;
}

- (BOOL)applicationShouldHandleReopen:(NSApplication*)sender hasVisibleWindows:(BOOL)flag {
  return _runtime ? _runtime->delegate.should_handle_reopen(flag) : YES;
}

- (void)applicationWillTerminate:(NSNotification*)notification {
  if (_runtime) _runtime->delegate.will_terminate();
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
