#include "ui/tray_model.hpp"

#include <algorithm>

#include "prefs/settings_keys.hpp"

namespace kolvo::ui {

std::vector<dock::Rect> tray_icon_frames(double tray_width, double tray_height, double dock_height, std::size_t count) {
  std::vector<dock::Rect> frames;
  if (count == 0) return frames;
  const double n = static_cast<double>(count);
  const double natural = std::clamp(dock_height * 0.62, 42.0, 58.0);
  const double fitting = (tray_width - 2 * kTrayPadding - (n - 1) * kTrayIconSpacing) / n;
  const double side = std::max(kSmallestTrayIcon, std::min({natural, fitting, tray_height}));
  // The row sits in the middle, so a tray held at its narrowest keeps its icons centred.
  const double row = n * side + (n - 1) * kTrayIconSpacing;
  const double x0 = (tray_width - row) / 2;
  const double y = (tray_height - side) / 2;
  for (std::size_t i = 0; i < count; ++i) {
    frames.push_back({x0 + static_cast<double>(i) * (side + kTrayIconSpacing), y, side, side});
  }
  return frames;
}

dock::Rect expanded_tray_frame(const dock::Rect& tray, dock::Side side, const dock::Rect& screen_frame, double progress) {
  const double p = std::clamp(progress, 0.0, 1.0);
  const double grid_width = static_cast<double>(kLauncherColumns) * kLauncherCellSide + 2 * kTrayPadding;
  const double grid_height = static_cast<double>(kLauncherRows) * kLauncherCellSide + kTrayPadding;
  const double width = std::min(tray.width + p * std::max(0.0, grid_width - tray.width), screen_frame.width);
  const double height = std::min(tray.height + p * grid_height, screen_frame.max_y() - tray.min_y());
  // The Dock end stays put: the right edge of a left tray, the left edge of a right one.
  double x = side == dock::Side::left ? tray.max_x() - width : tray.min_x();
  x = std::clamp(x, screen_frame.min_x(), screen_frame.max_x() - width);
  return {x, tray.y, width, height};
}

std::vector<TrayIcon> TrayModel::icons(double tray_width, double tray_height, double dock_height) const {
  const auto apps = zones_.effective().dock_apps;
  const auto frames = tray_icon_frames(tray_width, tray_height, dock_height, apps.size());
  std::vector<TrayIcon> icons;
  for (std::size_t i = 0; i < apps.size(); ++i) {
    icons.push_back({apps[i].name, apps[i].path(), catalog::is_installed(apps[i], catalog_), frames[i]});
  }
  return icons;
}

bool TrayModel::open(std::size_t index) {
  const auto apps = zones_.effective().dock_apps;
  return index < apps.size() && open_item(apps[index]);
}

bool TrayModel::open_item(const catalog::KolvoAppItem& item) {
  if (!opener_.open_application(item)) return false;
  center_.post(prefs::notifications::kAppLaunchedFromTray);
  sounds_.play(prefs::Sound::click, 1.0);
  return true;
}

std::vector<dock::Rect> launcher_cell_frames(double grid_width, double grid_height) {
  const double width = grid_width / static_cast<double>(kLauncherColumns);
  const double height = grid_height / static_cast<double>(kLauncherRows);
  std::vector<dock::Rect> frames;
  for (std::size_t i = 0; i < catalog::AppLauncherStore::kSlotCount; ++i) {
    const double column = static_cast<double>(i % kLauncherColumns);
    const double row_from_top = static_cast<double>(i / kLauncherColumns);
    frames.push_back({column * width, grid_height - (row_from_top + 1) * height, width, height});
  }
  return frames;
}

std::vector<LauncherCell> TrayModel::launcher_cells(double grid_width, double grid_height) const {
  const auto slots = launcher_.resolved_slots();
  const auto frames = launcher_cell_frames(grid_width, grid_height);
  std::vector<LauncherCell> cells;
  for (std::size_t i = 0; i < slots.size(); ++i) {
    cells.push_back({i, catalog::slot_text(slots[i]), slots[i].item ? slots[i].item->path() : std::string(),
                     slots[i].item.has_value(), slots[i].installed, frames[i]});
  }
  return cells;
}

bool TrayModel::open_launcher_slot(std::size_t slot) {
  if (slot >= launcher_.slots().size() || !launcher_.slots()[slot]) return false;
  return open_item(*launcher_.slots()[slot]);
}

bool TrayModel::assign_launcher_slot(std::size_t slot, const std::string& location) {
  if (slot >= catalog::AppLauncherStore::kSlotCount) return false;
  auto item = catalog::make_app_item(location, catalog_);
  if (!item) return false;
  launcher_.assign(slot, std::move(*item));
  return true;
}

bool TrayModel::drop_in_launcher(const LauncherDrop& drop) {
  const auto& slots = launcher_.slots();
  if (drop.kind == LauncherDrop::Kind::nothing || drop.from >= slots.size() || drop.to >= slots.size() ||
      drop.from == drop.to || !slots[drop.from]) {
    return false;
  }
  // The drop was decided on the grid as drawn, and the slots may have changed since (the settings
  // window edits them too). Trading places covers a move into an empty slot as well, and never
  // overwrites an app whatever is there now.
  launcher_.swap(drop.from, drop.to);
  return true;
}

}  // namespace kolvo::ui
