#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "core/app_ports.hpp"
#include "core/diagnostics_log.hpp"
#include "core/executor.hpp"
#include "core/launch_at_login_manager.hpp"
#include "core/notification_center.hpp"
#include "core/settings.hpp"
#include "core/status_menu.hpp"
#include "core/system_ports.hpp"

namespace kolvo::core {

struct AppDelegatePorts {
  AppShell& shell;
  AppComponents& components;
  LaunchAtLoginManager& launch_at_login;
  Settings& settings;
  NotificationCenter& center;
  Executor& main;
  DiagnosticsLog& log;
  const ProcessEnvironment& process;
  // Standard output, one line per call.
  std::function<void(std::string_view)> print_line;
  // The phone link's server once it exists; the switch and start-up reach it through here.
  DeckServiceControl* deck = nullptr;
};

// The one place where the long-lived services are created and connected, where the status
// menu is built, where first-run onboarding is decided and where everything stops at exit.
class AppDelegate {
 public:
  explicit AppDelegate(AppDelegatePorts ports);
  ~AppDelegate();

  void did_finish_launching();
  // Closing the last window never quits a menu-bar agent.
  bool should_terminate_after_last_window_closed() const { return false; }
  bool should_handle_reopen(bool has_visible_windows);
  void will_terminate();

  void perform(MenuAction action);
  void show_kolvo();
  void open_settings(ui::SettingsPage page = ui::SettingsPage::general);
  void calibrate_kolvo();
  void show_onboarding();
  void quit_kolvo() { ports_.shell.terminate(); }

  const std::shared_ptr<hidden_dock::OverlayWindowManager>& overlay_window_manager() const { return overlay_; }
  const std::shared_ptr<HoverMonitorControl>& hover_monitor() const { return hover_monitor_; }
  const std::shared_ptr<StatusItemMenuDelegate>& menu_delegate() const { return menu_delegate_; }
  bool is_calibrating() const { return calibrating_; }
  bool has_onboarding_window() const { return onboarding_window_; }

 private:
  void register_observers();
  void create_onboarding_window();
  void post_launch_settings_check();
  void recompute_after(std::string_view event);

  AppDelegatePorts ports_;
  std::shared_ptr<FocusedApplicationMonitor> focused_app_monitor_;
  std::shared_ptr<hidden_dock::OverlayWindowManager> overlay_;
  std::shared_ptr<HoverMonitorControl> hover_monitor_;
  std::shared_ptr<DockRectRefreshControl> dock_rect_refresh_;
  std::shared_ptr<StatusItemMenuDelegate> menu_delegate_;
  std::vector<Observation> menu_observers_;
  bool status_item_created_ = false;
  bool settings_window_created_ = false;
  bool onboarding_window_ = false;
  bool calibrating_ = false;
  // Delayed work holds the delegate weakly through this.
  std::shared_ptr<AppDelegate*> self_ = std::make_shared<AppDelegate*>(this);
};

}  // namespace kolvo::core
