#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "app/app_ports.hpp"
#include "app/launch_at_login_manager.hpp"
#include "app/settings.hpp"
#include "app/status_menu.hpp"
#include "base/diagnostics_log.hpp"
#include "base/executor.hpp"
#include "base/notification_center.hpp"
#include "base/timers.hpp"
#include "catalog/focused_application_monitor.hpp"
#include "deck/server/deck_service_control.hpp"
#include "dock/dock_rect_refresh_control.hpp"
#include "overlay/hover_monitor_control.hpp"
#include "update/update_notice_controller.hpp"

namespace kolvo::app {

struct AppDelegatePorts {
  AppShell& shell;
  AppComponents& components;
  LaunchAtLoginManager& launch_at_login;
  Settings& settings;
  base::NotificationCenter& center;
  base::Executor& main;
  base::DiagnosticsLog& log;
  const ProcessEnvironment& process;
  // Standard output, one line per call.
  std::function<void(std::string_view)> print_line;
  // The phone link's server once it exists; the switch and start-up reach it through here.
  deck::DeckServiceControl* deck = nullptr;
  // The update check, started at launch; its notice heads the status menu.
  update::UpdateNoticeController* update = nullptr;
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
  // Kolvo became active (the user may be back from granting Accessibility in System Settings),
  // or the system announced a change of trust. The announcement comes before the new trust
  // reads back, so the trust is looked at now and once more a moment later.
  void accessibility_may_have_changed();
  static constexpr base::Duration kTrustSettleDelay = std::chrono::seconds(1);
  void open_update();
  void dismiss_update();

  const std::shared_ptr<overlay::OverlayWindowManager>& overlay_window_manager() const { return overlay_; }
  const std::shared_ptr<overlay::HoverMonitorControl>& hover_monitor() const { return hover_monitor_; }
  const std::shared_ptr<app::StatusItemMenuDelegate>& menu_delegate() const { return menu_delegate_; }
  bool is_calibrating() const { return calibrating_; }
  bool has_onboarding_window() const { return onboarding_window_; }

 private:
  void register_observers();
  void create_onboarding_window();
  void post_launch_settings_check();
  void recompute_after(std::string_view event);
  std::vector<StatusMenuItem> current_menu() const;

  AppDelegatePorts ports_;
  std::shared_ptr<catalog::FocusedApplicationMonitor> focused_app_monitor_;
  std::shared_ptr<overlay::OverlayWindowManager> overlay_;
  std::shared_ptr<overlay::HoverMonitorControl> hover_monitor_;
  std::shared_ptr<dock::DockRectRefreshControl> dock_rect_refresh_;
  std::shared_ptr<app::StatusItemMenuDelegate> menu_delegate_;
  std::vector<base::Observation> menu_observers_;
  base::Subscription update_notice_subscription_;
  bool status_item_created_ = false;
  bool settings_window_created_ = false;
  bool onboarding_window_ = false;
  bool calibrating_ = false;
  // Declared after the ports it uses, so it is cancelled before they go.
  base::Timer trust_recheck_{ports_.main};
  // Delayed work holds the delegate weakly through this.
  std::shared_ptr<AppDelegate*> self_ = std::make_shared<AppDelegate*>(this);
};

}  // namespace kolvo::app
