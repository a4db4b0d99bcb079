#include "headless_components.hpp"

namespace kolvo::host {

void HeadlessShell::create_status_item(const std::vector<app::StatusMenuItem>& menu,
                                       std::function<void(app::MenuAction)> chosen,
                                       std::shared_ptr<app::StatusItemMenuDelegate> menu_delegate) {
  chosen_ = std::move(chosen);
  menu_delegate_ = std::move(menu_delegate);
  std::string titles;
  for (const auto& item : menu) {
    if (item.is_separator) continue;
    if (!titles.empty()) titles += " | ";
    titles += item.title;
  }
  sink_("status item: " + titles);
}

void HeadlessShell::show_settings_window(ui::SettingsPage page) {
  settings_visible_ = true;
  sink_("settings window: " + std::string(ui::to_string(page)));
}

void HeadlessShell::show_onboarding_window() {
  onboarding_visible_ = true;
  sink_("onboarding window: " + std::string(ui::OnboardingWindowSpec::kTitle));
}

std::shared_ptr<overlay::OverlayWindowManager> HeadlessComponents::make_overlay_window_manager() {
  overlay_ = std::make_shared<sim::SimulatedOverlayWindowManager>(overlay_sink_);
  return overlay_;
}

std::shared_ptr<overlay::HoverMonitorControl> HeadlessComponents::make_hover_monitor(
    std::weak_ptr<overlay::OverlayWindowManager> manager) {
  auto monitor = std::make_shared<overlay::HoverMonitor>(main_, std::move(manager), *overlay_, hidden_dock_.zones());
  std::weak_ptr<overlay::HoverMonitor> weak = monitor;
  overlay_->set_recompute_hook([weak] {
    if (auto m = weak.lock()) m->rebuild_zones();
  });
  return monitor;
}

std::shared_ptr<dock::DockRectRefreshControl> HeadlessComponents::make_dock_rect_refresh_controller(
    std::weak_ptr<overlay::OverlayWindowManager> manager) {
  std::shared_ptr<dock::DockRectRefreshController> controller =
      dock_.make_refresh_controller(std::weak_ptr<dock::DockGeometryClient>(manager.lock()));
  controller->start();
  return controller;
}

void HeadlessShell::choose(app::MenuAction action) {
  if (menu_delegate_) menu_delegate_->menu_will_open();
  if (menu_delegate_) menu_delegate_->menu_did_close();
  if (chosen_) chosen_(action);
}

}  // namespace kolvo::host
