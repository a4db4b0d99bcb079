#pragma once

#include <memory>

#include "app/app_ports.hpp"
#include "ui/onboarding_model.hpp"
#include "ui/settings_pages.hpp"

namespace kolvo::mac {

// NSApplication, the status item and the application's windows.
class MacAppShell final : public app::AppShell {
 public:
  // Makes the settings window's pages with the hooks only AppKit can serve.
  using PagesFactory = std::function<ui::SettingsPages(ui::SettingsPageHooks)>;
  // Makes the onboarding steps with the hooks only AppKit can serve, each time the window is made.
  using OnboardingFactory = std::function<ui::OnboardingModel(ui::OnboardingHooks)>;
  MacAppShell(PagesFactory make_pages, OnboardingFactory make_onboarding);
  ~MacAppShell() override;

  void set_activation_policy_accessory() override;
  bool set_application_icon(std::string_view image_name) override;
  void create_status_item(const std::vector<app::StatusMenuItem>& menu, std::function<void(app::MenuAction)> chosen,
                          std::shared_ptr<app::StatusItemMenuDelegate> menu_delegate) override;
  void set_status_menu(const std::vector<app::StatusMenuItem>& menu) override;
  void open_url(std::string_view url) override;
  bool has_visible_titled_window() const override;
  void activate_ignoring_other_apps() override;
  void create_settings_window(std::function<void()> on_calibrate, std::function<void()> on_replay_onboarding) override;
  void show_settings_window(ui::SettingsPage page) override;
  void create_onboarding_window(std::function<void()> on_calibrate, std::function<void()> on_finished) override;
  void show_onboarding_window() override;
  void release_onboarding_window() override;
  void terminate() override;

 private:
  struct Objects;
  PagesFactory make_pages_;
  OnboardingFactory make_onboarding_;
  std::unique_ptr<Objects> objects_;
};

}  // namespace kolvo::mac
