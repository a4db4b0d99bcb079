#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/enum_table.hpp"
#include "update/update_check.hpp"

namespace kolvo::overlay {
class HoverMonitorControl;
class OverlayWindowManager;
}  // namespace kolvo::overlay

namespace kolvo::app {

enum class MenuAction {
  showKolvo,
  openSettings,
  calibrateKolvo,
  replayOnboardingAction,
  quitKolvo,
  openUpdate,
  dismissUpdate,
};
inline constexpr auto kMenuActionTable = base::make_enum_table<MenuAction>(
    {{MenuAction::showKolvo, "showKolvo"}, {MenuAction::openSettings, "openSettings"},
     {MenuAction::calibrateKolvo, "calibrateKolvo"}, {MenuAction::replayOnboardingAction, "replayOnboardingAction"},
     {MenuAction::quitKolvo, "quitKolvo"}, {MenuAction::openUpdate, "openUpdate"},
     {MenuAction::dismissUpdate, "dismissUpdate"}});

// One row of the status menu: a separator, or an item. Items are enabled unless they say
// otherwise; the menu never enables them by itself.
struct StatusMenuItem {
  bool is_separator = false;
  std::string title;
  MenuAction action = MenuAction::showKolvo;
  std::string key_equivalent;  // empty for none
  bool enabled = true;
};

// The menu, in order. While a newer version waits, its notice and the choice to skip it stand
// first, above a separator; the menu is built again when the notice comes or goes.
std::vector<StatusMenuItem> status_menu_items(const std::optional<update::UpdateNotice>& notice = std::nullopt);

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
