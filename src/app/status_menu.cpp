#include "app/status_menu.hpp"

#include "app/app_ports.hpp"
#include "overlay/hover_monitor_control.hpp"

namespace kolvo::app {

std::vector<StatusMenuItem> status_menu_items(const std::optional<update::UpdateNotice>& notice) {
  std::vector<StatusMenuItem> items;
  if (notice) {
    // The ellipsis promises a page to read; a feed that names none leaves a plain notice.
    const bool opens = !notice->link.empty();
    items.push_back({false, "Kolvo " + notice->display_version + " Is Available" + (opens ? "…" : ""),
                     MenuAction::openUpdate, "", opens});
    items.push_back({false, "Skip This Version", MenuAction::dismissUpdate, "", true});
    items.push_back({true, "", MenuAction::showKolvo, "", true});
  }
  const std::vector<StatusMenuItem> always = {
      {false, "Open Kolvo", MenuAction::showKolvo, "", true},
      {false, "Settings…", MenuAction::openSettings, ",", true},
      {false, "Calibrate Kolvo…", MenuAction::calibrateKolvo, "", true},
      {false, "Replay Onboarding", MenuAction::replayOnboardingAction, "", true},
      {true, "", MenuAction::showKolvo, "", true},
      {false, "Quit Kolvo", MenuAction::quitKolvo, "q", true},
  };
  items.insert(items.end(), always.begin(), always.end());
  return items;
}

void StatusItemMenuDelegate::menu_will_open() {
  if (auto monitor = hover_monitor_.lock()) monitor->set_menu_open(true);
  if (auto manager = overlay_manager_.lock()) manager->close_all_panels();
}

void StatusItemMenuDelegate::menu_did_close() {
  if (auto monitor = hover_monitor_.lock()) monitor->set_menu_open(false);
}

}  // namespace kolvo::app
