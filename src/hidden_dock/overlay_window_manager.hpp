#pragma once

#include <functional>

#include "geometry/dock_calibration_session.hpp"
#include "geometry/dock_geometry_client.hpp"

namespace kolvo::hidden_dock {

using DockSide = geometry::Side;

// The panels at the screen's edges and corners, as the rest of the program drives them. The
// Mac draws them with AppKit; the headless host logs what it would show.
class OverlayWindowManager : public geometry::DockGeometryClient {
 public:

  // Pinned: it stays open until dismissed, instead of hiding when the pointer leaves.
  virtual void show_hidden_dock(DockSide side, bool pinned) = 0;
  // The side the Hidden Dock was last open on.
  virtual DockSide last_open_side() const = 0;
  virtual void close_all_panels() = 0;
  // A finished timer draws the eye to its dial.
  virtual void reveal_timer_control() = 0;
  // Opens the calibration for the display in use; `completed` runs once when it closes.
  virtual void start_calibration(std::function<void()> completed) = 0;
};

}  // namespace kolvo::hidden_dock
