#include "headless_shell.hpp"

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

void HeadlessShell::choose(app::MenuAction action) {
  if (menu_delegate_) menu_delegate_->menu_will_open();
  if (menu_delegate_) menu_delegate_->menu_did_close();
  if (chosen_) chosen_(action);
}

}  // namespace kolvo::host
