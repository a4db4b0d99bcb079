#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "base/date_time.hpp"
#include "dock/dock_services.hpp"

namespace kolvo::ui {

// The calibration window: a box the user drags and resizes over the Dock of one display, with
// its numbers, and the three ways out. Everything goes through the calibration session, so the
// zones follow the box while it moves and the log records each step.
class CalibrationWindowModel {
 public:
  static constexpr std::string_view kBoxLabel = "Dock calibration area";
  static constexpr std::string_view kSaveTitle = "Save Calibration";
  static constexpr std::string_view kCancelTitle = "Cancel";
  static constexpr std::string_view kResetTitle = "Reset to Estimate";
  // No Dock is thinner or shorter than this; a box dragged smaller stops here.
  static constexpr double kMinimumSide = 16;

  // `completed` runs once, when the window closes by saving or cancelling.
  CalibrationWindowModel(dock::DockServices& dock, const base::WallClock& clock, std::function<void()> completed);

  // Starts the session on `screen` from its saved calibration, or else from the estimate.
  void open(const dock::ScreenInfo& screen);
  bool is_open() const { return dock_.session().is_active(); }

  dock::Rect box() const { return dock_.session().dock_rect(); }
  // "x: %.0f  y: %.0f  w: %.0f  h: %.0f", in the C locale.
  std::string numbers_text() const;

  // The box the user's drag or resize proposes, kept whole on the display and no smaller than
  // the minimum. The Dock's edge follows the box's shape: wide is bottom, tall is the nearer side.
  void propose_box(const dock::Rect& proposed);
  void reset_to_estimate();
  // Saves, closes, and refreshes the Dock rectangle so the zones take the new calibration.
  void save();
  void cancel();

 private:
  void close();

  dock::DockServices& dock_;
  const base::WallClock& clock_;
  std::function<void()> completed_;
  dock::ScreenInfo screen_;
};

}  // namespace kolvo::ui
