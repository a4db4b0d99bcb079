#import <AppKit/AppKit.h>
#import <CoreGraphics/CoreGraphics.h>

#include "platform/mac/mac_adapters.hpp"

namespace kolvo::platform {
namespace {

struct Released {
  void operator()(CFTypeRef object) const {
    if (object) CFRelease(object);
  }
};
template <typename T>
using Owned = std::unique_ptr<std::remove_pointer_t<T>, Released>;

}  // namespace

bool MacHIDEvents::post_keyboard_events(const std::vector<controls::KeyboardEvent>& events) {
  Owned<CGEventSourceRef> source(CGEventSourceCreate(kCGEventSourceStateHIDSystemState));
  if (!source) return false;
  // Every event is made before any is posted, so a failure never leaves a key held down.
  std::vector<Owned<CGEventRef>> made;
  for (const auto& event : events) {
    Owned<CGEventRef> created(CGEventCreateKeyboardEvent(source.get(), event.key_code, event.key_down));
    if (!created) return false;
    if (event.flags) CGEventSetFlags(created.get(), static_cast<CGEventFlags>(*event.flags));
    made.push_back(std::move(created));
  }
  for (const auto& event : made) CGEventPost(kCGHIDEventTap, event.get());
  return true;
}

bool MacHIDEvents::post_system_defined(const controls::SystemDefinedEvent& event) {
  NSEvent* system_event = [NSEvent otherEventWithType:static_cast<NSEventType>(event.type)
                                             location:NSMakePoint(event.location_x, event.location_y)
                                        modifierFlags:static_cast<NSEventModifierFlags>(event.modifier_flags)
                                            timestamp:event.timestamp
                                         windowNumber:static_cast<NSInteger>(event.window_number)
                                              context:nil
                                              subtype:event.subtype
                                                data1:static_cast<NSInteger>(event.data1)
                                                data2:static_cast<NSInteger>(event.data2)];
  CGEventRef quartz = system_event.CGEvent;
  if (!quartz) return false;
  CGEventPost(kCGHIDEventTap, quartz);
  return true;
}

double MacHIDEvents::system_uptime() const { return NSProcessInfo.processInfo.systemUptime; }

}  // namespace kolvo::platform
