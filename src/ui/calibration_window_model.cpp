#include "ui/calibration_window_model.hpp"

#include <algorithm>

#include "base/number_text.hpp"

namespace kolvo::ui {

CalibrationWindowModel::CalibrationWindowModel(dock::DockServices& dock, const base::WallClock& clock,
                                               std::function<void()> completed)
    : dock_(dock), clock_(clock), completed_(std::move(completed)) {}

void CalibrationWindowModel::open(const dock::ScreenInfo& screen) {
  screen_ = screen;
  if (const auto saved = dock_.store().calibration_for_screen(screen)) {
    dock_.session().begin(screen, saved->dock_rect, saved->dock_position);
    return;
  }
  const auto detected = dock::detect_uncalibrated(screen, dock_.environment().dock_preferences());
  dock_.session().begin(screen, detected.dock_rect, detected.dock_position);
}

std::string CalibrationWindowModel::numbers_text() const {
  const dock::Rect r = box();
  return "x: " + base::fixed_real_text(r.x, 0) + "  y: " + base::fixed_real_text(r.y, 0) +
         "  w: " + base::fixed_real_text(r.width, 0) + "  h: " + base::fixed_real_text(r.height, 0);
}

void CalibrationWindowModel::propose_box(const dock::Rect& proposed) {
  if (!is_open()) return;
  const dock::Rect& frame = screen_.frame;
  dock::Rect box = proposed;
  box.width = std::clamp(box.width, kMinimumSide, frame.width);
  box.height = std::clamp(box.height, kMinimumSide, frame.height);
  box.x = std::clamp(box.x, frame.min_x(), frame.max_x() - box.width);
  box.y = std::clamp(box.y, frame.min_y(), frame.max_y() - box.height);
  dock_.session().set_dock_rect(box);
  // A Dock lies along its edge: a wide box is a bottom Dock even when it touches a side, and a
  // tall one stands on the side its middle is nearer.
  const dock::DockPosition position = box.width >= box.height ? dock::DockPosition::bottom
                                      : box.mid_x() < frame.mid_x() ? dock::DockPosition::left
                                                                    : dock::DockPosition::right;
  dock_.session().set_dock_position(position);
}

void CalibrationWindowModel::reset_to_estimate() {
  if (!is_open()) return;
  const auto detected = dock::detect_uncalibrated(screen_, dock_.environment().dock_preferences());
  dock_.session().reset_to_estimate(detected.dock_rect);
  dock_.session().set_dock_position(detected.dock_position);
}

void CalibrationWindowModel::save() {
  if (!is_open()) return;
  dock_.session().save(base::seconds_since_2001(clock_.now()));
  // The store's save refreshed with the session still in mind; this one rebaselines the zones on
  // the Dock as it now stands.
  dock_.cache().refresh(screen_, "post-calibration", /*force=*/false);
  close();
}

void CalibrationWindowModel::cancel() {
  if (!is_open()) return;
  dock_.session().cancel();
  close();
}

void CalibrationWindowModel::close() {
  if (auto completed = std::move(completed_)) {
    completed_ = nullptr;
    completed();
  }
}

}  // namespace kolvo::ui
