#include "ui/launcher_drag.hpp"

#include <cmath>

namespace kolvo::ui {

std::optional<std::size_t> launcher_cell_at(const std::vector<LauncherCell>& cells, dock::Point point) {
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (dock::contains_pointer(cells[i].frame, point)) return i;
  }
  return std::nullopt;
}

bool launcher_press_picks_up(const std::vector<LauncherCell>& cells, dock::Point point) {
  const auto cell = launcher_cell_at(cells, point);
  return cell && cells[*cell].filled;
}

std::optional<LauncherDrag> LauncherDrag::press(std::vector<LauncherCell> cells, dock::Point point) {
  const auto cell = launcher_cell_at(cells, point);
  if (!cell) return std::nullopt;
  return LauncherDrag(std::move(cells), *cell, point);
}

void LauncherDrag::move_to(dock::Point point) {
  point_ = point;
  // Only an app can be carried; an empty cell's press stays a click however far it wanders.
  if (dragging_ || !cells_[pressed_].filled) return;
  dragging_ = std::hypot(point.x - press_point_.x, point.y - press_point_.y) > kLauncherDragThreshold;
}

LauncherRelease LauncherDrag::release(dock::Point point) {
  move_to(point);
  if (dragging_) return {std::nullopt, drop()};
  if (launcher_cell_at(cells_, point) == pressed_) return {cells_[pressed_].slot, {}};
  return {};
}

std::optional<std::size_t> LauncherDrag::target() const {
  if (!dragging_) return std::nullopt;
  const auto cell = launcher_cell_at(cells_, point_);
  if (!cell || *cell == pressed_) return std::nullopt;
  return cell;
}

LauncherDrop LauncherDrag::drop() const {
  const auto to = target();
  if (!to) return {};
  return {cells_[*to].filled ? LauncherDrop::Kind::swap : LauncherDrop::Kind::move, cells_[pressed_].slot,
          cells_[*to].slot};
}

dock::Rect LauncherDrag::floating_frame() const {
  dock::Rect frame = cells_[pressed_].frame;
  frame.x += point_.x - press_point_.x;
  frame.y += point_.y - press_point_.y;
  return frame;
}

}  // namespace kolvo::ui
