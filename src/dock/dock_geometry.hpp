#pragma once

#include "dock/dock_calibration_session.hpp"
#include "dock/dock_detection.hpp"

namespace kolvo::dock {

// The Dock on one display and the areas around it that open the Hidden Dock.
struct DockGeometry {
  Rect screen_frame;
  Rect dock_rect;
  DockDetectionResult detection;
  Rect left_trigger_rect;
  Rect right_trigger_rect;
};

inline constexpr double kTriggerWidth = 54;
inline constexpr double kTriggerOverhang = 9;

DockGeometry make_dock_geometry(const Rect& screen_frame, const DockDetectionResult& detection);

// `offset` is the alignment edge offset: positive moves both sides outward.
Rect trigger_strip(const DockGeometry& geometry, Side side, double offset);
Rect hover_band(const DockGeometry& geometry, Side side, double offset);

// The tray's width at rest for `items` icons of `icon_size` points.
double natural_tray_width(int items, double icon_size);
// Where the open Hidden Dock goes: beside the Dock, inside the screen, 150 to 360 points wide.
Rect tray_rect(const DockGeometry& geometry, Side side, int items, double offset);

}  // namespace kolvo::dock
