#include "app/app_delegate.hpp"

#include "app/instance_report.hpp"
#include "prefs/settings_keys.hpp"

namespace kolvo::app {

AppDelegate::AppDelegate(AppDelegatePorts ports)
    : ports_(std::move(ports)), menu_delegate_(std::make_shared<app::StatusItemMenuDelegate>(
                                    std::weak_ptr<overlay::HoverMonitorControl>{},
                                    std::weak_ptr<overlay::OverlayWindowManager>{})) {}

AppDelegate::~AppDelegate() = default;

void AppDelegate::did_finish_launching() {
  // 1. Say which copy this is before anything else can go wrong.
  for (const std::string& line : instance_report(ports_.process)) ports_.print_line(line);
  // 2-3. A menu-bar agent: no Dock icon, no menu bar; the icon is still used by alerts.
  ports_.shell.set_activation_policy_accessory();
  ports_.shell.set_application_icon("AppIcon");
  // 4-8. The services, each bound to the one before.
  focused_app_monitor_ = ports_.components.make_focused_application_monitor();
  overlay_ = ports_.components.make_overlay_window_manager();
  hover_monitor_ = ports_.components.make_hover_monitor(overlay_);
  ports_.components.install_pointer_monitors(hover_monitor_);
  dock_rect_refresh_ = ports_.components.make_dock_rect_refresh_controller(overlay_);
  // 9. The status item; its menu delegate holds the monitor and the panels weakly.
  menu_delegate_ = std::make_shared<app::StatusItemMenuDelegate>(hover_monitor_, overlay_);
  std::weak_ptr<AppDelegate*> weak = self_;
  ports_.shell.create_status_item(
      current_menu(),
      [weak](MenuAction action) {
        if (auto self = weak.lock()) (*self)->perform(action);
      },
      menu_delegate_);
  status_item_created_ = true;
  // 10. The phone link, when the user turned it on.
  if (ports_.deck) ports_.settings.deck().attach_service(ports_.deck);
  if (ports_.settings.deck().is_enabled() && ports_.deck) ports_.deck->start();
  // The update check: now and daily, when a feed is configured. A newer version heads the menu.
  if (ports_.update) {
    update_notice_subscription_ = ports_.update->notice().subscribe([weak](const auto&) {
      if (auto self = weak.lock()) (*self)->ports_.shell.set_status_menu((*self)->current_menu());
    });
    ports_.update->start();
  }
  // 11.
  register_observers();
  // 12. A finished timer draws the eye to its control.
  ports_.components.set_timer_completion_reveal([weak] {
    if (auto self = weak.lock()) {
      if ((*self)->overlay_) (*self)->overlay_->reveal_timer_control();
    }
  });
  // 13. First run: onboarding, and nothing else.
  create_onboarding_window();
  if (!ports_.settings.onboarding_completed()) {
    show_onboarding();
    return;
  }
  // 14. After launch returns: someone who started Kolvo by hand sees Settings, while a start
  // at login stays silent.
  ports_.main.post([weak] {
    if (auto self = weak.lock()) (*self)->post_launch_settings_check();
  });
}

void AppDelegate::post_launch_settings_check() {
  if (ports_.shell.has_visible_titled_window()) return;
  ports_.launch_at_login.refresh();
  if (!ports_.launch_at_login.is_enabled()) open_settings(ui::SettingsPage::general);
}

void AppDelegate::register_observers() {
  // Panels are laid out from the edge modes, the activation side and the chosen display.
  for (const std::string_view name : {prefs::notifications::kEdgeModeChanged, prefs::notifications::kActivationSideChanged,
                                      prefs::notifications::kSelectedDisplayChanged}) {
    std::weak_ptr<AppDelegate*> weak = self_;
    menu_observers_.push_back(ports_.center.observe(std::string(name), [weak](std::string_view) {
      if (auto self = weak.lock()) {
        if ((*self)->overlay_) (*self)->overlay_->recompute_geometry();
      }
    }));
  }
}

bool AppDelegate::should_handle_reopen(bool has_visible_windows) {
  if (has_visible_windows) {
    ports_.shell.activate_ignoring_other_apps();
  } else if (!ports_.settings.onboarding_completed()) {
    if (onboarding_window_) show_onboarding();
  } else {
    open_settings(ui::SettingsPage::general);
  }
  return true;
}

void AppDelegate::will_terminate() {
  if (ports_.deck) ports_.deck->stop();
  if (ports_.update) ports_.update->stop();
  update_notice_subscription_.reset();
  if (hover_monitor_) hover_monitor_->stop();
  if (dock_rect_refresh_) dock_rect_refresh_->stop();
  menu_observers_.clear();
}

void AppDelegate::perform(app::MenuAction action) {
  switch (action) {
    case MenuAction::showKolvo: show_kolvo(); return;
    case MenuAction::openSettings: open_settings(ui::SettingsPage::general); return;
    case MenuAction::calibrateKolvo: calibrate_kolvo(); return;
    case MenuAction::replayOnboardingAction: show_onboarding(); return;
    case MenuAction::quitKolvo: quit_kolvo(); return;
    case MenuAction::openUpdate: open_update(); return;
    case MenuAction::dismissUpdate: dismiss_update(); return;
  }
}

std::vector<StatusMenuItem> AppDelegate::current_menu() const {
  return status_menu_items(ports_.update ? ports_.update->current_notice() : std::nullopt);
}

void AppDelegate::open_update() {
  if (!ports_.update) return;
  const auto& notice = ports_.update->current_notice();
  if (notice && !notice->link.empty()) ports_.shell.open_url(notice->link);
}

void AppDelegate::dismiss_update() {
  if (ports_.update) ports_.update->dismiss();
}

void AppDelegate::show_kolvo() {
  if (!overlay_) return;
  overlay::DockSide side = overlay_->last_open_side();
  switch (ports_.settings.activation().activation_side()) {
    case prefs::KolvoActivationSide::leftOnly: side = overlay::DockSide::left; break;
    case prefs::KolvoActivationSide::rightOnly: side = overlay::DockSide::right; break;
    case prefs::KolvoActivationSide::both:
    case prefs::KolvoActivationSide::none: break;
  }
  overlay_->show_hidden_dock(side, /*pinned=*/true);
}

void AppDelegate::open_settings(ui::SettingsPage page) {
  if (!settings_window_created_) {
    std::weak_ptr<AppDelegate*> weak = self_;
    ports_.shell.create_settings_window([weak] { if (auto self = weak.lock()) (*self)->calibrate_kolvo(); },
                                        [weak] { if (auto self = weak.lock()) (*self)->show_onboarding(); });
    settings_window_created_ = true;
  }
  ports_.shell.show_settings_window(page);
}

void AppDelegate::calibrate_kolvo() {
  if (calibrating_ || !overlay_) return;
  calibrating_ = true;
  std::weak_ptr<AppDelegate*> weak = self_;
  overlay_->start_calibration([weak] {
    if (auto self = weak.lock()) {
      (*self)->calibrating_ = false;
      (*self)->recompute_after("recompute");
    }
  });
}

void AppDelegate::accessibility_may_have_changed() {
  auto& alignment = ports_.settings.alignment();
  alignment.refresh_accessibility_if_changed();
  trust_recheck_.start(kTrustSettleDelay, [&alignment] { alignment.refresh_accessibility_if_changed(); });
}

void AppDelegate::show_onboarding() {
  if (!onboarding_window_) create_onboarding_window();
  ports_.shell.activate_ignoring_other_apps();
  ports_.shell.show_onboarding_window();
}

void AppDelegate::create_onboarding_window() {
  std::weak_ptr<AppDelegate*> weak = self_;
  ports_.shell.create_onboarding_window(
      [weak] {
        if (auto self = weak.lock()) (*self)->calibrate_kolvo();
      },
      [weak] {
        if (auto self = weak.lock()) {
          (*self)->ports_.shell.release_onboarding_window();
          (*self)->onboarding_window_ = false;
          (*self)->recompute_after("recompute");
        }
      });
  onboarding_window_ = true;
}

void AppDelegate::recompute_after(std::string_view event) {
  ports_.log.record("Kolvo", event);
  if (overlay_) overlay_->recompute_geometry();
}

}  // namespace kolvo::app
