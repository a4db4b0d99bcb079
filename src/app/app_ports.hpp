#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/status_menu.hpp"
#include "catalog/focused_application_monitor.hpp"
#include "dock/dock_rect_refresh_control.hpp"
#include "overlay/hover_monitor_control.hpp"
#include "overlay/overlay_window_manager.hpp"
#include "ui/settings_page.hpp"

// What the application delegate needs from the platform and from the subsystems it wires.
namespace kolvo::app {

// The application object and its windows. The Mac shell implements it with AppKit; the
// headless host with a log of what it would show.
class AppShell {
 public:
  virtual ~AppShell() = default;

  virtual void set_activation_policy_accessory() = 0;
  // Loads a named image from the resources and makes it the application icon; false when
  // there is no such image (the default icon stays).
  virtual bool set_application_icon(std::string_view image_name) = 0;
  // A square status item showing the menu-bar glyph, with the menu built once. Choosing an
  // item calls `chosen` with its action; the menu delegate hears the menu open and close.
  virtual void create_status_item(const std::vector<app::StatusMenuItem>& menu, std::function<void(app::MenuAction)> chosen,
                                  std::shared_ptr<app::StatusItemMenuDelegate> menu_delegate) = 0;
  // Replaces the status item's menu, keeping the item, its choice callback and its delegate.
  virtual void set_status_menu(const std::vector<app::StatusMenuItem>& menu) = 0;
  // Opens a web page in the user's browser.
  virtual void open_url(std::string_view url) = 0;

  // Visible windows that have a title bar. The status item's own window does not count.
  virtual bool has_visible_titled_window() const = 0;
  virtual void activate_ignoring_other_apps() = 0;

  // The settings window is created once, with its two callbacks, and kept.
  virtual void create_settings_window(std::function<void()> on_calibrate, std::function<void()> on_replay_onboarding) = 0;
  virtual void show_settings_window(ui::SettingsPage page) = 0;

  // The onboarding window exists from launch until onboarding finishes.
  virtual void create_onboarding_window(std::function<void()> on_calibrate, std::function<void()> on_finished) = 0;
  // Centred, made key and brought to the front.
  virtual void show_onboarding_window() = 0;
  virtual void release_onboarding_window() = 0;

  virtual void terminate() = 0;
};

// Creates the long-lived services in the order launch asks for them. A subsystem that does
// not exist on a platform answers nullptr, and the delegate carries on without it.
class AppComponents {
 public:
  virtual ~AppComponents() = default;
  virtual std::shared_ptr<catalog::FocusedApplicationMonitor> make_focused_application_monitor() = 0;
  virtual std::shared_ptr<overlay::OverlayWindowManager> make_overlay_window_manager() = 0;
  virtual std::shared_ptr<overlay::HoverMonitorControl> make_hover_monitor(
      std::weak_ptr<overlay::OverlayWindowManager> manager) = 0;
  // Global and local monitors for pointer moves and left drags, delivering to the monitor.
  virtual void install_pointer_monitors(std::weak_ptr<overlay::HoverMonitorControl> monitor) = 0;
  // Made with no owner and no observers, then attached to the overlay manager.
  virtual std::shared_ptr<dock::DockRectRefreshControl> make_dock_rect_refresh_controller(
      std::weak_ptr<overlay::OverlayWindowManager> manager) = 0;
  // Gives the timer its completion callback.
  virtual void set_timer_completion_reveal(std::function<void()> reveal) = 0;
};

// The running program and its siblings, for the single-instance report.
struct RunningInstance {
  std::int64_t pid = 0;
  std::string bundle_path;
};

class ProcessEnvironment {
 public:
  virtual ~ProcessEnvironment() = default;
  virtual std::int64_t pid() const = 0;
  virtual std::string bundle_path() const = 0;
  virtual std::string bundle_identifier() const = 0;
  virtual std::string short_version() const = 0;
  virtual std::string build_version() const = 0;
  virtual std::string os_version() const = 0;
  // The macOS release as dotted numbers ("14.5"), what an update's minimum is compared with.
  virtual std::string system_version() const = 0;
  // Every running application with this bundle identifier, this process included.
  virtual std::vector<RunningInstance> running_instances(std::string_view bundle_identifier) const = 0;
};

}  // namespace kolvo::app
