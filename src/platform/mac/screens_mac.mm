#import <AppKit/AppKit.h>
#import <CoreGraphics/CoreGraphics.h>

#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/notification_subscription.hpp"
#include "platform/mac/objc_text.hpp"

namespace kolvo::platform {
namespace {

dock::Rect rect_of(NSRect r) { return {r.origin.x, r.origin.y, r.size.width, r.size.height}; }

dock::KolvoDisplayIdentity identity_of(NSScreen* screen) {
  dock::KolvoDisplayIdentity identity;
  id number = screen.deviceDescription[@"NSScreenNumber"];
  if ([number isKindOfClass:NSNumber.class]) identity.cg_direct_display_id = [number unsignedIntValue];
  identity.localized_name = utf8(screen.localizedName);
  identity.screen_frame = rect_of(screen.frame);
  identity.backing_scale_factor = screen.backingScaleFactor;
  if (identity.cg_direct_display_id != 0) {
    CFUUIDRef uuid = CGDisplayCreateUUIDFromDisplayID(identity.cg_direct_display_id);
    if (uuid) {
      NSString* text = CFBridgingRelease(CFUUIDCreateString(kCFAllocatorDefault, uuid));
      CFRelease(uuid);
      if (text) identity.display_uuid = text.UTF8String;
    }
  }
  return identity;
}

}  // namespace

std::vector<dock::ScreenInfo> MacScreens::screens() const {
  std::vector<dock::ScreenInfo> screens;
  for (NSScreen* screen in NSScreen.screens) {
    screens.push_back({rect_of(screen.frame), rect_of(screen.visibleFrame), identity_of(screen)});
  }
  return screens;
}

std::optional<std::size_t> MacScreens::main_screen_index() const {
  NSScreen* main = NSScreen.mainScreen;
  if (main == nil) return std::nullopt;
  const NSUInteger index = [NSScreen.screens indexOfObject:main];
  if (index == NSNotFound) return std::nullopt;
  return static_cast<std::size_t>(index);
}

base::Subscription MacScreens::observe_screen_parameters(std::function<void()> changed) const {
  return observe_notification(NSNotificationCenter.defaultCenter, NSApplicationDidChangeScreenParametersNotification,
                              std::move(changed));
}

}  // namespace kolvo::platform
