#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "controls/kolvo_timer_store.hpp"
#include "core/app_ports.hpp"
#include "geometry/dock_services.hpp"
#include "hidden_dock/hidden_dock_services.hpp"
#include "platform/sim/simulated_mac.hpp"
#include "platform/sim/simulated_overlay.hpp"

namespace kolvo::host {

using LineSink = std::function<void(std::string_view line)>;

// The application object without a screen: windows and the status item become lines saying
// what a Mac would show, so the start-up rules can be watched from a terminal.
class HeadlessShell final : public core::AppShell {
 public:
  HeadlessShell(LineSink sink, std::function<void()> quit) : sink_(std::move(sink)), quit_(std::move(quit)) {}

  void set_activation_policy_accessory() override { sink_("activation policy: accessory"); }
  bool set_application_icon(std::string_view) override { return false; }
  void create_status_item(const std::vector<core::StatusMenuItem>& menu, std::function<void(core::MenuAction)> chosen,
                          std::shared_ptr<core::StatusItemMenuDelegate> menu_delegate) override;
  bool has_visible_titled_window() const override { return settings_visible_ || onboarding_visible_; }
  void activate_ignoring_other_apps() override {}
  void create_settings_window(std::function<void()>, std::function<void()>) override {}
  void show_settings_window(ui::SettingsPage page) override;
  void create_onboarding_window(std::function<void()>, std::function<void()>) override {}
  void show_onboarding_window() override;
  void release_onboarding_window() override { onboarding_visible_ = false; }
  void terminate() override { quit_(); }

  // Chooses a status-menu item, as a click would.
  void choose(core::MenuAction action);

 private:
  LineSink sink_;
  std::function<void()> quit_;
  std::function<void(core::MenuAction)> chosen_;
  std::shared_ptr<core::StatusItemMenuDelegate> menu_delegate_;
  bool settings_visible_ = false;
  bool onboarding_visible_ = false;
};

// The services the headless host can run today. Subsystems not yet present here answer
// nullptr and the delegate runs without them.
class HeadlessComponents final : public core::AppComponents {
 public:
  HeadlessComponents(LineSink overlay_sink, core::Executor& main, geometry::DockServices& dock,
                     hidden_dock::HiddenDockServices& hidden_dock, controls::KolvoTimerStore& timer)
      : overlay_sink_(std::move(overlay_sink)), main_(main), dock_(dock), hidden_dock_(hidden_dock), timer_(timer) {}

  std::shared_ptr<core::FocusedApplicationMonitor> make_focused_application_monitor() override { return nullptr; }
  std::shared_ptr<hidden_dock::OverlayWindowManager> make_overlay_window_manager() override;
  std::shared_ptr<core::HoverMonitorControl> make_hover_monitor(
      std::weak_ptr<hidden_dock::OverlayWindowManager> manager) override;
  void install_pointer_monitors(std::weak_ptr<core::HoverMonitorControl>) override {}
  std::shared_ptr<core::DockRectRefreshControl> make_dock_rect_refresh_controller(
      std::weak_ptr<hidden_dock::OverlayWindowManager> manager) override;
  void set_timer_completion_reveal(std::function<void()> reveal) override {
    timer_.set_on_completion_reveal(std::move(reveal));
  }

 private:
  LineSink overlay_sink_;
  core::Executor& main_;
  geometry::DockServices& dock_;
  hidden_dock::HiddenDockServices& hidden_dock_;
  controls::KolvoTimerStore& timer_;
  std::shared_ptr<sim::SimulatedOverlayWindowManager> overlay_;
};

}  // namespace kolvo::host
