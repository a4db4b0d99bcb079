#import <AppKit/AppKit.h>

#include "app_shell_mac.hpp"
#include "platform/mac/objc_text.hpp"

// Receives the status menu's clicks and open/close events and hands them to the core.
@interface KolvoStatusMenuTarget : NSObject <NSMenuDelegate>
@property(nonatomic) std::function<void(kolvo::app::MenuAction)> chosen;
@property(nonatomic) std::shared_ptr<kolvo::app::StatusItemMenuDelegate> menuDelegate;
@end

@implementation KolvoStatusMenuTarget
- (void)choose:(NSMenuItem*)item {
  if (self.chosen) self.chosen(static_cast<kolvo::app::MenuAction>(item.tag));
}
- (void)menuWillOpen:(NSMenu*)menu {
  if (self.menuDelegate) self.menuDelegate->menu_will_open();
}
- (void)menuDidClose:(NSMenu*)menu {
  if (self.menuDelegate) self.menuDelegate->menu_did_close();
}
@end

// The onboarding window's delegate: closing it by hand is the same as finishing.
@interface KolvoWindowCallbacks : NSObject <NSWindowDelegate>
@property(nonatomic) std::function<void()> closed;
@end

@implementation KolvoWindowCallbacks
- (void)windowWillClose:(NSNotification*)notification {
  if (self.closed) self.closed();
}
@end

namespace kolvo::mac {
namespace {

using platform::ns_string;

// The menu-bar glyph: an 18 × 18 pt template image of a screen with a Dock at its foot and a
// slot opening beside it.
NSImage* menu_bar_glyph() {
  NSImage* image = [NSImage imageWithSize:NSMakeSize(18, 18)
                                  flipped:NO
                           drawingHandler:^BOOL(NSRect) {
                             [NSColor.blackColor set];
                             NSBezierPath* screen = [NSBezierPath bezierPathWithRoundedRect:NSMakeRect(1.5, 3.5, 15, 12)
                                                                                    xRadius:2.5
                                                                                    yRadius:2.5];
                             screen.lineWidth = 1.4;
                             [screen stroke];
                             [[NSBezierPath bezierPathWithRoundedRect:NSMakeRect(5, 5.2, 8, 2) xRadius:1 yRadius:1] fill];
                             [[NSBezierPath bezierPathWithRoundedRect:NSMakeRect(13.8, 5.2, 1.4, 2) xRadius:0.7 yRadius:0.7] fill];
                             return YES;
                           }];
  [image setTemplate:YES];
  return image;
}

void fill_menu(NSMenu* menu, const std::vector<app::StatusMenuItem>& items, KolvoStatusMenuTarget* target) {
  [menu removeAllItems];
  for (const app::StatusMenuItem& item : items) {
    if (item.is_separator) {
      [menu addItem:NSMenuItem.separatorItem];
      continue;
    }
    NSMenuItem* entry = [[NSMenuItem alloc] initWithTitle:ns_string(item.title)
                                                   action:@selector(choose:)
                                            keyEquivalent:ns_string(item.key_equivalent)];
    entry.target = target;
    entry.tag = static_cast<NSInteger>(item.action);
    entry.enabled = item.enabled;
    [menu addItem:entry];
  }
}

NSWindow* titled_window(NSString* title, NSSize size) {
  NSWindow* window = [[NSWindow alloc] initWithContentRect:NSMakeRect(0, 0, size.width, size.height)
                                                 styleMask:NSWindowStyleMaskTitled | NSWindowStyleMaskClosable
                                                   backing:NSBackingStoreBuffered
                                                     defer:YES];
  window.title = title;
  window.releasedWhenClosed = NO;
  [window center];
  return window;
}

}  // namespace

struct MacAppShell::Objects {
  NSStatusItem* status_item = nil;
  KolvoStatusMenuTarget* menu_target = nil;
  NSWindow* settings_window = nil;
  std::function<void()> settings_on_calibrate;
  std::function<void()> settings_on_replay;
  NSWindow* onboarding_window = nil;
  KolvoWindowCallbacks* onboarding_callbacks = nil;
  std::function<void()> onboarding_on_calibrate;
};

MacAppShell::MacAppShell() : objects_(std::make_unique<Objects>()) {}
MacAppShell::~MacAppShell() = default;

void MacAppShell::set_activation_policy_accessory() {
  [NSApp setActivationPolicy:NSApplicationActivationPolicyAccessory];
}

bool MacAppShell::set_application_icon(std::string_view image_name) {
  NSImage* icon = [NSImage imageNamed:ns_string(image_name)];
  if (icon == nil) return false;
  NSApp.applicationIconImage = icon;
  return true;
}

void MacAppShell::create_status_item(const std::vector<app::StatusMenuItem>& items,
                                     std::function<void(app::MenuAction)> chosen,
                                     std::shared_ptr<app::StatusItemMenuDelegate> menu_delegate) {
  objects_->status_item = [NSStatusBar.systemStatusBar statusItemWithLength:NSSquareStatusItemLength];
  if (NSStatusBarButton* button = objects_->status_item.button) {
    button.image = menu_bar_glyph();
    button.imagePosition = NSImageOnly;
  }
  KolvoStatusMenuTarget* target = [KolvoStatusMenuTarget new];
  target.chosen = std::move(chosen);
  target.menuDelegate = std::move(menu_delegate);
  objects_->menu_target = target;

  NSMenu* menu = [[NSMenu alloc] initWithTitle:@"Kolvo"];
  menu.autoenablesItems = NO;
  menu.delegate = target;
  fill_menu(menu, items, target);
  objects_->status_item.menu = menu;
}

void MacAppShell::set_status_menu(const std::vector<app::StatusMenuItem>& items) {
  NSMenu* menu = objects_->status_item.menu;
  if (menu == nil || objects_->menu_target == nil) return;
  fill_menu(menu, items, objects_->menu_target);
}

void MacAppShell::open_url(std::string_view url) {
  NSURL* address = [NSURL URLWithString:ns_string(url)];
  if (address != nil) [NSWorkspace.sharedWorkspace openURL:address];
}

bool MacAppShell::has_visible_titled_window() const {
  for (NSWindow* window in NSApp.windows) {
    if (window.visible && (window.styleMask & NSWindowStyleMaskTitled)) return true;
  }
  return false;
}

void MacAppShell::activate_ignoring_other_apps() { [NSApp activateIgnoringOtherApps:YES]; }

void MacAppShell::create_settings_window(std::function<void()> on_calibrate, std::function<void()> on_replay) {
  objects_->settings_on_calibrate = std::move(on_calibrate);
  objects_->settings_on_replay = std::move(on_replay);
  objects_->settings_window = titled_window(@"Kolvo Settings", NSMakeSize(720, 560));
}

void MacAppShell::show_settings_window(ui::SettingsPage page) {
  if (objects_->settings_window == nil) return;
  objects_->settings_window.subtitle = ns_string(ui::to_string(page)).capitalizedString;
  [NSApp activateIgnoringOtherApps:YES];
  [objects_->settings_window makeKeyAndOrderFront:nil];
}

void MacAppShell::create_onboarding_window(std::function<void()> on_calibrate, std::function<void()> on_finished) {
  objects_->onboarding_on_calibrate = std::move(on_calibrate);
  objects_->onboarding_window =
      titled_window(ns_string(ui::OnboardingWindowSpec::kTitle),
                    NSMakeSize(ui::OnboardingWindowSpec::kWidth_pt, ui::OnboardingWindowSpec::kHeight_pt));
  KolvoWindowCallbacks* callbacks = [KolvoWindowCallbacks new];
  callbacks.closed = std::move(on_finished);
  objects_->onboarding_callbacks = callbacks;
  objects_->onboarding_window.delegate = callbacks;
}

void MacAppShell::show_onboarding_window() {
  if (objects_->onboarding_window == nil) return;
  [objects_->onboarding_window center];
  [objects_->onboarding_window makeKeyAndOrderFront:nil];
  [objects_->onboarding_window orderFrontRegardless];
}

void MacAppShell::release_onboarding_window() {
  objects_->onboarding_window.delegate = nil;
  objects_->onboarding_window = nil;
  objects_->onboarding_callbacks = nil;
}

void MacAppShell::terminate() { [NSApp terminate:nil]; }

}  // namespace kolvo::mac
