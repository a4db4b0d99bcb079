#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "controls/control_ports.hpp"
#include "controls/window_layout.hpp"
#include "dock/accessibility_trust.hpp"
#include "dock/rect.hpp"
#include "dock/screens_port.hpp"

namespace kolvo::controls {


// Rectangles here are in the accessibility space (top-left origin, y downward), where window
// positions are read and written.
using TopLeftRect = dock::Rect;

// Where a layout puts a window within V, the visible frame of its screen. `center` restores
// the frame remembered from before the application's first snap when it still overlaps V.
TopLeftRect snap_target(WindowLayout layout, const TopLeftRect& visible,
                        const std::optional<TopLeftRect>& remembered);

// The visible frame of the screen a window is on, in the accessibility space: the screen
// holding the window's centre, else the one it overlaps most, else the primary. Absent only
// when there are no screens.
std::optional<TopLeftRect> visible_frame_for_window(const std::vector<dock::ScreenInfo>& screens,
                                                    const TopLeftRect& window);

// Moves the frontmost window into halves, quarters, the whole screen or back to the middle.
class WindowSnapController {
 public:
  // Within this many points of the target origin counts as placed. Size is not compared:
  // many windows have a minimum or fixed size and are still where the user wanted them.
  static constexpr double kPositionTolerance = 8.0;

  WindowSnapController(const dock::AccessibilityTrust& trust, const AXApplicationsPort& applications,
                       const dock::ScreensPort& screens, std::int64_t own_pid)
      : trust_(trust), applications_(applications), screens_(screens), own_pid_(own_pid) {}

  // Process ids are 32-bit on the Mac; the accessibility API takes nothing wider.
  static constexpr std::int64_t kLargestProcessId = 2147483647;

  // False when there was nothing to move, the window is in full screen, or it did not land.
  // A process id out of range never reaches the accessibility API, which would cut it down to
  // some other process (possibly this one).
  bool snap(WindowLayout layout, std::int64_t pid);

  // The frame each application's window had before its first snap.
  const std::map<std::int64_t, TopLeftRect>& pre_snap_frames() const { return pre_snap_frames_; }

 private:
  const dock::AccessibilityTrust& trust_;
  const AXApplicationsPort& applications_;
  const dock::ScreensPort& screens_;
  std::int64_t own_pid_;
  std::map<std::int64_t, TopLeftRect> pre_snap_frames_;
};

}  // namespace kolvo::controls
