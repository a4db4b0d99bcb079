#include "dock/dock_calibration_session.hpp"

namespace kolvo::dock {

std::string DockCalibrationSession::details() const {
  return "'" + screen_.identity.localized_name + "' dock " + describe(dock_rect_.get()) + " " +
         std::string(to_string(dock_position_.get())) + " screen " + describe(screen_.frame);
}

void DockCalibrationSession::begin(const ScreenInfo& screen, const Rect& start, DockPosition position) {
  screen_ = screen;
  log_.record("Calibration", "✅ Calibration window opened for '" + screen.identity.localized_name + "'");
  dock_rect_.set(start);
  dock_position_.set(position);
  active_.set(true);
  log_.record("Calibration", "✅ Calibration session began: " + details());
}

void DockCalibrationSession::reset_to_estimate(const Rect& estimate) {
  dock_rect_.set(estimate);
  log_.record("Calibration", "✅ Calibration reset to estimate: " + details());
}

void DockCalibrationSession::save(double now) {
  if (!active_.get()) return;
  const DockCalibration calibration{dock_rect_.get(), screen_.frame, dock_position_.get(), now, {}, {}, {}, {}, {}};
  // The session ends first, so the save's refresh sees the real Dock rather than the box.
  end();
  saver_(calibration, screen_);
  log_.record("Calibration", "✅ Saved calibration for '" + screen_.identity.localized_name + "'");
  log_.record("Calibration", "✅ Calibration saved and closed");
}

void DockCalibrationSession::cancel() {
  if (!active_.get()) return;
  log_.record("Calibration", "✅ Calibration cancelled");
  end();
}

void DockCalibrationSession::end() {
  active_.set(false);
  log_.record("Calibration", "✅ Calibration session ended");
}

}  // namespace kolvo::dock
