#include "overlay/dock_expansion_gesture.hpp"

#include <algorithm>
#include <cmath>

namespace kolvo::overlay {

EventDisposition DockExpansionCoordinator::handle(const GestureEvent& event) {
  if (!event.in_anchor_window) return EventDisposition::pass;
  switch (event.kind) {
    case GestureEvent::Kind::mouse_down:
      if (gesture_.press_taken_by_content && gesture_.press_taken_by_content(event.location)) {
        // Its drags move the thing under it; following them too would pull the launcher shut.
        clear_drag();
        return EventDisposition::pass;
      }
      drag_origin_ = event.location;
      claimed_ = false;
      drag_base_progress_ = gesture_.current_progress();
      velocity_ = 0;
      last_sample_y_ = event.location.y;
      last_sample_time_ = event.timestamp;
      return EventDisposition::pass;  // clicks on apps keep working
    case GestureEvent::Kind::mouse_dragged: return mouse_dragged(event);
    case GestureEvent::Kind::mouse_up: return mouse_up();
    case GestureEvent::Kind::scroll: return scroll(event);
  }
  return EventDisposition::pass;
}

EventDisposition DockExpansionCoordinator::mouse_dragged(const GestureEvent& event) {
  if (!drag_origin_) return EventDisposition::pass;
  const double dy = event.location.y - drag_origin_->y;
  if (last_sample_y_) {
    const double instantaneous = (event.location.y - *last_sample_y_) / std::max(event.timestamp - last_sample_time_, 0.001);
    velocity_ = 0.6 * velocity_ + 0.4 * instantaneous;
  }
  last_sample_y_ = event.location.y;
  last_sample_time_ = event.timestamp;

  if (!claimed_ && std::fabs(dy) <= kSlop) return EventDisposition::pass;
  claimed_ = true;
  // Fast at first, easing out: 108 points past the press covers the whole range.
  const double t = std::clamp((std::fabs(dy) - kSlop) / kFullPull, 0.0, 1.0);
  const double delta = std::copysign(1 - std::pow(1 - t, kEasingExponent), dy);
  gesture_.on_progress(std::clamp(drag_base_progress_ + delta, 0.0, 1.0));
  return EventDisposition::consume;
}

EventDisposition DockExpansionCoordinator::mouse_up() {
  if (!claimed_) {
    clear_drag();
    return EventDisposition::pass;
  }
  const double progress = gesture_.current_progress();
  // A flick decides whatever the progress; a slow release decides on the threshold.
  const bool expand = velocity_ >= kFlickVelocity || (velocity_ > -kFlickVelocity && progress >= kExpandThreshold);
  const double velocity = velocity_;
  clear_drag();
  gesture_.on_commit(expand, velocity);
  return EventDisposition::consume;
}

EventDisposition DockExpansionCoordinator::scroll(const GestureEvent& event) {
  if (!event.precise) return EventDisposition::pass;
  if (!(std::fabs(event.scroll_dy) > std::fabs(event.scroll_dx)) || event.scroll_dy == 0) return EventDisposition::pass;
  const double current = gesture_.current_progress();
  if (current <= 0.001 && !gesture_.scroll_expansion_allowed()) return EventDisposition::pass;
  scroll_accumulated_ += event.scroll_dy;
  if (std::fabs(scroll_accumulated_) <= kScrollDeadZone) return EventDisposition::consume;
  const double progress = std::clamp(
      current + (scroll_accumulated_ - std::copysign(kScrollDeadZone, scroll_accumulated_)) / kScrollPerProgress, 0.0, 1.0);
  scroll_accumulated_ = 0;
  gesture_.on_progress(progress);
  if (progress >= 0.999) {
    gesture_.on_commit(true, 0);
  } else if (progress <= 0.001) {
    gesture_.on_commit(false, 0);
  }
  return EventDisposition::consume;
}

void DockExpansionCoordinator::clear_drag() {
  drag_origin_.reset();
  claimed_ = false;
  last_sample_y_.reset();
  velocity_ = 0;
}

}  // namespace kolvo::overlay
