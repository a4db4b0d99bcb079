#import <AppKit/AppKit.h>

#include "platform/mac/mac_adapters.hpp"

namespace kolvo::platform {

void MacHaptics::perform_alignment() {
  [NSHapticFeedbackManager.defaultPerformer performFeedbackPattern:NSHapticFeedbackPatternAlignment
                                                   performanceTime:NSHapticFeedbackPerformanceTimeNow];
}

struct MacHoverMonitor::Monitors {
  id global = nil;
  id local = nil;
};

MacHoverMonitor::MacHoverMonitor(std::shared_ptr<overlay::HoverMonitor> monitor)
    : monitor_(std::move(monitor)), monitors_(std::make_unique<Monitors>()) {}

void MacHoverMonitor::install() {
  if (monitors_->global || monitors_->local) return;
  std::weak_ptr<overlay::HoverMonitor> weak = monitor_;
  const NSEventMask mask = NSEventMaskMouseMoved | NSEventMaskLeftMouseDragged;
  // mouseLocation is already in the bottom-left global space the zones use.
  monitors_->global = [NSEvent addGlobalMonitorForEventsMatchingMask:mask
                                                             handler:^(NSEvent*) {
                                                               if (auto m = weak.lock()) {
                                                                 const NSPoint p = NSEvent.mouseLocation;
                                                                 m->pointer_moved({p.x, p.y});
                                                               }
                                                             }];
  monitors_->local = [NSEvent addLocalMonitorForEventsMatchingMask:mask
                                                           handler:^NSEvent*(NSEvent* event) {
                                                             if (auto m = weak.lock()) {
                                                               const NSPoint p = NSEvent.mouseLocation;
                                                               m->pointer_moved({p.x, p.y});
                                                             }
                                                             return event;
                                                           }];
}

MacHoverMonitor::~MacHoverMonitor() { stop(); }

void MacHoverMonitor::stop() {
  if (monitors_->global) [NSEvent removeMonitor:monitors_->global];
  if (monitors_->local) [NSEvent removeMonitor:monitors_->local];
  monitors_->global = nil;
  monitors_->local = nil;
  monitor_->stop();
}

struct MacExpansionGestureMonitor::State {
  __weak NSView* anchor = nil;
  id monitor = nil;
  std::unique_ptr<overlay::DockExpansionCoordinator> coordinator;
};

MacExpansionGestureMonitor::MacExpansionGestureMonitor(void* anchor_view, overlay::DockExpansionGesture gesture)
    : state_(std::make_unique<State>()) {
  state_->anchor = (__bridge NSView*)anchor_view;
  state_->coordinator = std::make_unique<overlay::DockExpansionCoordinator>(std::move(gesture));
  State* state = state_.get();
  // Left down, left up, left dragged and scroll wheel.
  const NSEventMask mask = static_cast<NSEventMask>(0x400046);
  state_->monitor = [NSEvent
      addLocalMonitorForEventsMatchingMask:mask
                                   handler:^NSEvent*(NSEvent* event) {
                                     NSView* anchor = state->anchor;
                                     overlay::GestureEvent e;
                                     e.in_anchor_window = anchor != nil && event.window == anchor.window;
                                     e.timestamp = event.timestamp;
                                     if (e.in_anchor_window) {
                                       const NSPoint p = [event.window convertPointToScreen:event.locationInWindow];
                                       e.location = {p.x, p.y};
                                     }
                                     switch (event.type) {
                                       case NSEventTypeLeftMouseDown: e.kind = overlay::GestureEvent::Kind::mouse_down; break;
                                       case NSEventTypeLeftMouseDragged: e.kind = overlay::GestureEvent::Kind::mouse_dragged; break;
                                       case NSEventTypeLeftMouseUp: e.kind = overlay::GestureEvent::Kind::mouse_up; break;
                                       case NSEventTypeScrollWheel: {
                                         e.kind = overlay::GestureEvent::Kind::scroll;
                                         e.precise = event.hasPreciseScrollingDeltas;
                                         // Fingers up is positive, whatever the natural-scrolling setting.
                                         const double sign = event.isDirectionInvertedFromDevice ? -1.0 : 1.0;
                                         e.scroll_dy = sign * event.scrollingDeltaY;
                                         e.scroll_dx = event.scrollingDeltaX;
                                         break;
                                       }
                                       default: return event;
                                     }
                                     return state->coordinator->handle(e) == overlay::EventDisposition::consume
                                                ? nil
                                                : event;
                                   }];
}

MacExpansionGestureMonitor::~MacExpansionGestureMonitor() {
  if (state_->monitor) [NSEvent removeMonitor:state_->monitor];
}

}  // namespace kolvo::platform
