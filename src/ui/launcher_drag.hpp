#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "dock/rect.hpp"
#include "ui/tray_model.hpp"

namespace kolvo::ui {

// How far the pointer must travel from a press on an app, in points, before the app is picked
// up. Nearer than that the press stays a click that opens the app, so a hand that trembles a
// little still clicks.
inline constexpr double kLauncherDragThreshold = 5;

// The index of the cell under a point of the grid's space. The cells tile the grid, so the gaps
// between the drawn icons belong to a cell too. A point on the line between two cells goes to the
// one on its right or below it, as AppKit's own hit test decides on an unflipped view. None
// outside the grid.
std::optional<std::size_t> launcher_cell_at(const std::vector<LauncherCell>& cells, dock::Point point);

// Whether a press at `point` lands on an app that a drag would pick up.
bool launcher_press_picks_up(const std::vector<LauncherCell>& cells, dock::Point point);

// The end of a press: a click on the pressed cell, or a drop of the app picked up, or neither.
struct LauncherRelease {
  std::optional<std::size_t> clicked;
  LauncherDrop drop;
  friend bool operator==(const LauncherRelease&, const LauncherRelease&) = default;
};

// One press in the launcher's grid, from the button going down to it coming up, over the cells
// as they were laid out at the press. Points are in the grid's space.
class LauncherDrag {
 public:
  // None when the press is on no cell.
  static std::optional<LauncherDrag> press(std::vector<LauncherCell> cells, dock::Point point);

  // The pointer is at `point`. Once past the threshold a pressed app is picked up, and stays
  // picked up until the release even if the pointer comes back.
  void move_to(dock::Point point);
  // The button came up at `point`. A press that picked nothing up clicks its cell, but only
  // when released over that same cell, as a button does.
  LauncherRelease release(dock::Point point);

  std::size_t pressed_slot() const { return cells_[pressed_].slot; }
  bool dragging() const { return dragging_; }
  // While dragging: the index of the cell the app would land in, or none over its own cell or
  // outside the grid.
  std::optional<std::size_t> target() const;
  LauncherDrop drop() const;
  // Where the picked-up icon is drawn: its cell's frame carried along with the pointer.
  dock::Rect floating_frame() const;

 private:
  LauncherDrag(std::vector<LauncherCell> cells, std::size_t pressed, dock::Point point)
      : cells_(std::move(cells)), pressed_(pressed), press_point_(point), point_(point) {}

  std::vector<LauncherCell> cells_;
  std::size_t pressed_;  // an index into cells_
  dock::Point press_point_;
  dock::Point point_;
  bool dragging_ = false;
};

}  // namespace kolvo::ui
