#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "core/alignment_settings_store.hpp"
#include "core/executor.hpp"
#include "geometry/dock_calibration_session.hpp"
#include "geometry/dock_detection.hpp"
#include "geometry/multi_display_calibration_store.hpp"

namespace kolvo::geometry {

// The Dock rectangle in use, per display, refreshed on named events and smoothed against the
// jitter of live readings. Each display keeps its own entry and throttle, so with several
// calibrated displays none is answered with another's Dock.
class DockRectCache final : public DockRectCacheControl {
 public:
  static constexpr double kThrottleSeconds = 0.4;

  struct Entry {
    std::optional<Rect> current_rect;
    DockRectSource current_source = DockRectSource::calibration;
    std::optional<core::TimePoint> last_refresh;
    std::optional<std::string> last_refresh_reason;
    std::optional<DockCalibration> baseline_calibration;
  };

  DockRectCache(const DockEnvironment& environment, MultiDisplayCalibrationStore& store,
                core::AlignmentSettingsStore& alignment, const DockCalibrationSession& session,
                const core::Executor& clock);

  void refresh(const std::optional<ScreenInfo>& screen, std::string_view reason, bool force) override;
  void invalidate() override { entries_.clear(); }

  // The entry point: the Dock on this display now.
  DockDetectionResult detect(const ScreenInfo& screen);

  const Entry* entry(const ScreenInfo& screen) const;
  // Following the live Dock is wanted, allowed and not locked out.
  bool live_follow() const;
  // The display the Hidden Dock lives on, by the current rules.
  std::optional<ScreenInfo> target_screen() const;

 private:
  std::string entry_key(const ScreenInfo& screen) const;
  DockDetectionResult detect_with_calibration(const ScreenInfo& screen, bool rebaseline, Entry& entry);

  const DockEnvironment& environment_;
  MultiDisplayCalibrationStore& store_;
  core::AlignmentSettingsStore& alignment_;
  const DockCalibrationSession& session_;
  const core::Executor& clock_;
  std::map<std::string, Entry> entries_;
};

}  // namespace kolvo::geometry
