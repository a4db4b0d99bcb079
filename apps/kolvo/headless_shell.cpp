#include "headless_shell.hpp"

namespace kolvo::host {
namespace {

// "Open Kolvo | Settings… | …"; an item that cannot be chosen is in parentheses.
std::string titles_of(const std::vector<app::StatusMenuItem>& menu) {
  std::string titles;
  for (const auto& item : menu) {
    if (item.is_separator) continue;
    if (!titles.empty()) titles += " | ";
    titles += item.enabled ? item.title : "(" + item.title + ")";
  }
  return titles;
}

}  // namespace

void HeadlessShell::create_status_item(const std::vector<app::StatusMenuItem>& menu,
                                       std::function<void(app::MenuAction)> chosen,
                                       std::shared_ptr<app::StatusItemMenuDelegate> menu_delegate) {
  chosen_ = std::move(chosen);
  menu_delegate_ = std::move(menu_delegate);
  sink_("status item: " + titles_of(menu));
}

void HeadlessShell::set_status_menu(const std::vector<app::StatusMenuItem>& menu) {
  sink_("status menu: " + titles_of(menu));
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
