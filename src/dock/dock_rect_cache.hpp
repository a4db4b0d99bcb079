#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "base/executor.hpp"
#include "dock/alignment_settings_store.hpp"
#include "dock/dock_calibration_session.hpp"
#include "dock/dock_detection.hpp"
#include "dock/multi_display_calibration_store.hpp"

namespace kolvo::dock {

// The Dock rectangle in use, per display, refreshed on named events and smoothed against the
// jitter of live readings. Each display keeps its own entry and throttle, so with several
// calibrated displays none is answered with another's Dock.
class DockRectCache final : public DockRectCacheControl {
 public:
  static constexpr double kThrottleSeconds = 0.4;

  struct Entry {
    std::optional<Rect> current_rect;
    DockRectSource current_source = DockRectSource::calibration;
    std::optional<base::TimePoint> last_refresh;
    std::optional<std::string> last_refresh_reason;
    std::optional<DockCalibration> baseline_calibration;
  };

  DockRectCache(const DockEnvironment& environment, MultiDisplayCalibrationStore& store,
                dock::AlignmentSettingsStore& alignment, const DockCalibrationSession& session,
                const base::Executor& clock);

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
  dock::AlignmentSettingsStore& alignment_;
  const DockCalibrationSession& session_;
  const base::Executor& clock_;
  std::map<std::string, Entry> entries_;
};

}  // namespace kolvo::dock
