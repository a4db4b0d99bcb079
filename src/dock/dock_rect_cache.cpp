#include "dock/dock_rect_cache.hpp"

#include <array>
#include <cmath>

#include "dock/display_targeting.hpp"

namespace kolvo::dock {
namespace {

// These change what the answer must be, so they are never throttled.
constexpr std::array<std::string_view, 10> kUnthrottledReasons = {
    "calibration-saved", "post-calibration", "app-launch",          "app-terminate",         "launched from Kolvo",
    "startup",           "accessibility-granted", "follow-dock-changed", "lock-calibration-changed", "recompute"};

bool is_unthrottled(std::string_view reason) {
  for (const auto candidate : kUnthrottledReasons) {
    if (candidate == reason) return true;
  }
  return false;
}

}  // namespace

DockRectCache::DockRectCache(const DockEnvironment& environment, MultiDisplayCalibrationStore& store,
                             dock::AlignmentSettingsStore& alignment, const DockCalibrationSession& session,
                             const base::Executor& clock)
    : environment_(environment), store_(store), alignment_(alignment), session_(session), clock_(clock) {}

bool DockRectCache::live_follow() const {
  return alignment_.follow_dock_changes_automatically() && !alignment_.lock_calibration() &&
         alignment_.is_accessibility_trusted();
}

std::optional<ScreenInfo> DockRectCache::target_screen() const {
  return dock::target_screen(environment_.screens.screens(), environment_.screens.main_screen_index(), store_,
                                 environment_.dock_preferences());
}

std::string DockRectCache::entry_key(const ScreenInfo& screen) const {
  return store_.calibration_key(screen.identity).value_or(primary_key(screen.identity));
}

const DockRectCache::Entry* DockRectCache::entry(const ScreenInfo& screen) const {
  const auto found = entries_.find(entry_key(screen));
  return found == entries_.end() ? nullptr : &found->second;
}

DockDetectionResult DockRectCache::detect_with_calibration(const ScreenInfo& screen, bool rebaseline, Entry& entry) {
  if (session_.is_active()) {
    return {session_.dock_rect(), DockRectSource::calibration, session_.dock_position(), false};
  }
  const auto calibration = store_.calibration_for_screen(screen);
  if (!calibration) return detect_uncalibrated(screen, environment_.dock_preferences());
  entry.baseline_calibration = calibration;
  if (!rebaseline && live_follow()) {
    if (const auto live = live_dock_frame(screen, calibration, environment_)) {
      if (const auto adapted = adapt_live_rect(*calibration, screen.frame, *live)) {
        const DockRectSource source =
            *adapted == calibration->dock_rect ? DockRectSource::calibration : DockRectSource::liveAccessibilityBounds;
        return {*adapted, source, calibration->dock_position, false};
      }
    }
  }
  return {calibration->dock_rect, DockRectSource::calibration, calibration->dock_position, false};
}

void DockRectCache::refresh(const std::optional<ScreenInfo>& requested, std::string_view reason, bool force) {
  const std::optional<ScreenInfo> screen = requested ? requested : target_screen();
  if (!screen) return;
  Entry& entry = entries_[entry_key(*screen)];
  const base::TimePoint now = clock_.now();
  if (!force && live_follow() && !is_unthrottled(reason) && entry.last_refresh &&
      now - *entry.last_refresh < base::seconds(kThrottleSeconds)) {
    return;
  }
  const bool rebaseline = force || reason == "calibration-saved" || reason == "post-calibration";
  DockDetectionResult result = detect_with_calibration(*screen, rebaseline, entry);
  if (rebaseline) {
    std::optional<DockCalibration> known = entry.baseline_calibration;
    if (!known) known = store_.calibration_for_screen(*screen);
    if (known) result = {known->dock_rect, DockRectSource::calibration, known->dock_position, false};
  }
  // A live reading that barely changed, or that jumped far from the calibrated length, is
  // noise: keep the previous extent along the Dock.
  if (!rebaseline && result.source == DockRectSource::liveAccessibilityBounds && entry.baseline_calibration &&
      live_follow() && entry.current_rect) {
    const Rect& previous = *entry.current_rect;
    const Rect& fresh = result.dock_rect;
    const double baseline_width = entry.baseline_calibration->dock_rect.width;
    const double change = std::fabs(fresh.width - previous.width);
    if (change < 12 ||
        (change > 0.4 * baseline_width && std::fabs(fresh.width - baseline_width) > 0.5 * baseline_width)) {
      result.dock_rect = {previous.min_x(), fresh.min_y(), previous.width, fresh.height};
    }
  }
  entry.current_rect = result.dock_rect;
  entry.current_source = result.source;
  entry.last_refresh = now;
  entry.last_refresh_reason = std::string(reason);
}

DockDetectionResult DockRectCache::detect(const ScreenInfo& screen) {
  const auto calibration = store_.calibration_for_screen(screen);
  if (!calibration) return detect_uncalibrated(screen, environment_.dock_preferences());
  const Entry* current = entry(screen);
  if (!current || !current->current_rect) {
    refresh(screen, "detector-bootstrap", /*force=*/false);
    current = entry(screen);
  }
  const Rect rect = current && current->current_rect ? *current->current_rect : calibration->dock_rect;
  const DockRectSource source = current ? current->current_source : DockRectSource::calibration;
  return {rect, source, calibration->dock_position, false};
}

}  // namespace kolvo::dock
