#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "dock/accessibility_trust.hpp"
#include "dock/dock_calibration.hpp"
#include "dock/dock_preferences.hpp"
#include "dock/screens_port.hpp"

namespace kolvo::dock {

// Where a Dock rectangle came from. Every case keeps its raw string, including the three no
// rule produces today: diagnostics print whatever a cache holds.
enum class DockRectSource {
  accessibility,
  calibration,
  edgeAdaptedCalibration,
  liveWindowBounds,
  liveAccessibilityBounds,
  defaultsEstimate,
  visibleFrameEstimate,
};
inline constexpr auto kDockRectSourceTable = base::make_enum_table<DockRectSource>(
    {{DockRectSource::accessibility, "accessibility"},
     {DockRectSource::calibration, "calibration"},
     {DockRectSource::edgeAdaptedCalibration, "edgeAdaptedCalibration"},
     {DockRectSource::liveWindowBounds, "liveWindowBounds"},
     {DockRectSource::liveAccessibilityBounds, "liveAccessibilityBounds"},
     {DockRectSource::defaultsEstimate, "defaultsEstimate"},
     {DockRectSource::visibleFrameEstimate, "visibleFrameEstimate"}});
constexpr std::string_view to_string(DockRectSource s) { return kDockRectSourceTable.to_string(s); }

struct DockDetectionResult {
  Rect dock_rect;
  DockRectSource source = DockRectSource::defaultsEstimate;
  DockPosition dock_position = DockPosition::bottom;
  bool requires_accessibility_permission = false;

  friend bool operator==(const DockDetectionResult&, const DockDetectionResult&) = default;
};

// The platform readings detection needs, all replaceable.
struct DockEnvironment {
  const ScreensPort& screens;
  const prefs::PreferenceStore* dock_domain;  // "com.apple.dock"; null when it cannot be opened
  const RunningApplicationsPort& running;
  const dock::AccessibilityTrust& accessibility;
  const AccessibilityElementReader& elements;

  DockPreferences dock_preferences() const { return read_dock_preferences(dock_domain); }
  std::int64_t transient_count() const {
    return transient_running_count(running.running_applications(), running.own_pid(), persistent_bundle_ids(dock_domain));
  }
};

// Estimates from the Dock preferences and the visible frame, for a display with no calibration.
Rect defaults_estimate_rect(const ScreenInfo& screen, const DockPreferences& prefs);
Rect visible_frame_estimate_rect(const ScreenInfo& screen, const DockPreferences& prefs);
DockPosition nearest_edge(const Rect& screen_frame, const Rect& r);
bool is_plausible_edge_rect(const Rect& screen_frame, DockPosition position, const Rect& r);
DockDetectionResult detect_uncalibrated(const ScreenInfo& screen, const DockPreferences& prefs);

// Whether a live reading can be the calibrated Dock, now that apps have come and gone.
bool is_plausible_live_rect(const DockCalibration& calibration, const Rect& screen_frame, const Rect& r);
// Along the Dock the live reading wins, across it the calibration wins.
std::optional<Rect> adapt_live_rect(const DockCalibration& calibration, const Rect& screen_frame, const Rect& r);

// The Dock's frame as the accessibility interface shows it, for one display.
std::optional<Rect> live_dock_frame(const ScreenInfo& screen, const std::optional<DockCalibration>& calibration,
                                    const DockEnvironment& environment);

}  // namespace kolvo::dock
