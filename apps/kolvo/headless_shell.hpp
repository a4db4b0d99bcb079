#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "app/app_ports.hpp"
#include "catalog/focused_application_monitor.hpp"
#include "dock/dock_rect_refresh_control.hpp"
#include "overlay/hover_monitor_control.hpp"

namespace kolvo::host {

using LineSink = std::function<void(std::string_view line)>;

// The application object without a screen: windows and the status item become lines saying
// what a Mac would show, so the start-up rules can be watched from a terminal.
class HeadlessShell final : public app::AppShell {
 public:
  HeadlessShell(LineSink sink, std::function<void()> quit) : sink_(std::move(sink)), quit_(std::move(quit)) {}

  void set_activation_policy_accessory() override { sink_("activation policy: accessory"); }
  bool set_application_icon(std::string_view) override { return false; }
  void create_status_item(const std::vector<app::StatusMenuItem>& menu, std::function<void(app::MenuAction)> chosen,
                          std::shared_ptr<app::StatusItemMenuDelegate> menu_delegate) override;
  void set_status_menu(const std::vector<app::StatusMenuItem>& menu) override;
  void open_url(std::string_view url) override { sink_("open " + std::string(url)); }
  bool has_visible_titled_window() const override { return settings_visible_ || onboarding_visible_; }
  void activate_ignoring_other_apps() override {}
  void create_settings_window(std::function<void()>, std::function<void()>) override {}
  void show_settings_window(ui::SettingsPage page) override;
  void create_onboarding_window(std::function<void()>, std::function<void()>) override {}
  void show_onboarding_window() override;
  void release_onboarding_window() override { onboarding_visible_ = false; }
  void terminate() override { quit_(); }

  // Chooses a status-menu item, as a click would.
  void choose(app::MenuAction action);

 private:
  LineSink sink_;
  std::function<void()> quit_;
  std::function<void(app::MenuAction)> chosen_;
  std::shared_ptr<app::StatusItemMenuDelegate> menu_delegate_;
  bool settings_visible_ = false;
  bool onboarding_visible_ = false;
};

}  // namespace kolvo::host
