#include "app/status_menu.hpp"

#include "app/app_ports.hpp"
#include "overlay/hover_monitor_control.hpp"

namespace kolvo::app {

std::vector<StatusMenuItem> status_menu_items() {
  return {
      {false, "Open Kolvo", MenuAction::showKolvo, ""},
      {false, "Settings…", MenuAction::openSettings, ","},
      {false, "Calibrate Kolvo…", MenuAction::calibrateKolvo, ""},
      {false, "Replay Onboarding", MenuAction::replayOnboardingAction, ""},
      {true, "", MenuAction::showKolvo, ""},
      {false, "Quit Kolvo", MenuAction::quitKolvo, "q"},
  };
}

void StatusItemMenuDelegate::menu_will_open() {
  if (auto monitor = hover_monitor_.lock()) monitor->set_menu_open(true);
  if (auto manager = overlay_manager_.lock()) manager->close_all_panels();
}

void StatusItemMenuDelegate::menu_did_close() {
  if (auto monitor = hover_monitor_.lock()) monitor->set_menu_open(false);
}

}  // namespace kolvo::app
