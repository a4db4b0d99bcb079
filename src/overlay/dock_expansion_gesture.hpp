#pragma once

#include <functional>
#include <optional>
#include <variant>

#include "dock/rect.hpp"

namespace kolvo::overlay {

// The launcher's expansion: a progress while a gesture runs, or settled.
struct InteractiveExpansion {
  double progress = 0;
  friend bool operator==(const InteractiveExpansion&, const InteractiveExpansion&) = default;
};
struct Collapsed {
  friend bool operator==(const Collapsed&, const Collapsed&) = default;
};
struct Expanded {
  friend bool operator==(const Expanded&, const Expanded&) = default;
};
using DockExpansionState = std::variant<InteractiveExpansion, Collapsed, Expanded>;

// The host view's side of the gesture.
struct DockExpansionGesture {
  std::function<void(double progress)> on_progress;
  // Settle expanded or collapsed; velocity in points per second, upward positive.
  std::function<void(bool expand, double velocity)> on_commit;
  std::function<double()> current_progress;
  std::function<bool()> scroll_expansion_allowed;
  // Whether a press at this point (global coordinates) lands on something that takes its own
  // drags, such as an app in the open launcher that the user can pick up and move. Such a press
  // is left alone from down to up. Absent, every press may become the gesture.
  std::function<bool(dock::Point)> press_taken_by_content;
};

// One event of the application-local monitor (left down, dragged, up, scroll wheel).
struct GestureEvent {
  enum class Kind { mouse_down, mouse_dragged, mouse_up, scroll };
  Kind kind = Kind::mouse_down;
  bool in_anchor_window = true;
  // In global screen coordinates, so a panel that moves or grows under the drag does not shift it.
  dock::Point location;
  double timestamp = 0;  // seconds
  // Scroll deltas with fingers-up positive; `precise` for trackpads.
  double scroll_dx = 0;
  double scroll_dy = 0;
  bool precise = false;
};

enum class EventDisposition { pass, consume };

// Pulls the Hidden Dock up into the App Launcher and pushes it back down. Clicks and small
// wobbles pass through to the apps under the pointer; only a drag past the slop belongs to the
// gesture.
class DockExpansionCoordinator {
 public:
  static constexpr double kSlop = 8;
  static constexpr double kFullPull = 100;
  static constexpr double kEasingExponent = 1.8;
  static constexpr double kFlickVelocity = 260;
  static constexpr double kExpandThreshold = 0.35;
  static constexpr double kScrollDeadZone = 16;
  static constexpr double kScrollPerProgress = 150;

  explicit DockExpansionCoordinator(DockExpansionGesture gesture) : gesture_(std::move(gesture)) {}

  EventDisposition handle(const GestureEvent& event);

  bool claimed() const { return claimed_; }
  double velocity() const { return velocity_; }

 private:
  EventDisposition mouse_dragged(const GestureEvent& event);
  EventDisposition mouse_up();
  EventDisposition scroll(const GestureEvent& event);
  void clear_drag();

  DockExpansionGesture gesture_;
  std::optional<dock::Point> drag_origin_;
  double drag_base_progress_ = 0;
  bool claimed_ = false;
  double scroll_accumulated_ = 0;
  std::optional<double> last_sample_y_;
  double last_sample_time_ = 0;
  double velocity_ = 0;
};

}  // namespace kolvo::overlay
