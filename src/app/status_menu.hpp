#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/enum_table.hpp"

namespace kolvo::overlay {
class HoverMonitorControl;
class OverlayWindowManager;
}  // namespace kolvo::overlay

namespace kolvo::app {

enum class MenuAction { showKolvo, openSettings, calibrateKolvo, replayOnboardingAction, quitKolvo };
inline constexpr auto kMenuActionTable = base::make_enum_table<MenuAction>(
    {{MenuAction::showKolvo, "showKolvo"}, {MenuAction::openSettings, "openSettings"},
     {MenuAction::calibrateKolvo, "calibrateKolvo"}, {MenuAction::replayOnboardingAction, "replayOnboardingAction"},
     {MenuAction::quitKolvo, "quitKolvo"}});

// One row of the status menu: a separator, or an item that is always enabled.
struct StatusMenuItem {
  bool is_separator = false;
  std::string title;
  MenuAction action = MenuAction::showKolvo;
  std::string key_equivalent;  // empty for none
};

// The menu, in order. It is built once.
std::vector<StatusMenuItem> status_menu_items();

// While the menu is open the pointer must not open panels under it, and panels already open
// would cover it.
class StatusItemMenuDelegate {
 public:
  StatusItemMenuDelegate(std::weak_ptr<overlay::HoverMonitorControl> hover_monitor,
                         std::weak_ptr<overlay::OverlayWindowManager> overlay_manager)
      : hover_monitor_(std::move(hover_monitor)), overlay_manager_(std::move(overlay_manager)) {}

  void menu_will_open();
  void menu_did_close();

 private:
  std::weak_ptr<overlay::HoverMonitorControl> hover_monitor_;
  std::weak_ptr<overlay::OverlayWindowManager> overlay_manager_;
};

}  // namespace kolvo::app
