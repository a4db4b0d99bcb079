#import <AppKit/AppKit.h>

#include "app_shell_mac.hpp"
#include "platform/mac/objc_text.hpp"
#include "platform/mac/page_view_mac.hpp"

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

// Forwards a click to a block, for controls that need no state of their own.
@interface KolvoClickTarget : NSObject
@property(nonatomic, copy) void (^clicked)(NSButton*);
@end

@implementation KolvoClickTarget
- (void)click:(NSButton*)sender {
  if (self.clicked) self.clicked(sender);
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

void open_system_settings(NSString* pane) { [NSWorkspace.sharedWorkspace openURL:[NSURL URLWithString:pane]]; }

std::optional<std::string> choose_application_location() {
  NSOpenPanel* panel = [NSOpenPanel openPanel];
  panel.title = @"Choose Apps for Kolvo";
  panel.prompt = @"Choose";
  panel.canChooseDirectories = NO;
  panel.allowsMultipleSelection = NO;
  panel.treatsFilePackagesAsDirectories = NO;
  panel.directoryURL = [NSURL fileURLWithPath:@"/Applications" isDirectory:YES];
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  panel.allowedFileTypes = @[ @"app" ];
#pragma clang diagnostic pop
  if ([panel runModal] != NSModalResponseOK || panel.URL == nil) return std::nullopt;
  return platform::utf8(panel.URL.path);
}

bool confirm(const std::string& title, const std::string& explanation, const std::string& button) {
  NSAlert* alert = [NSAlert new];
  alert.messageText = ns_string(title);
  alert.informativeText = ns_string(explanation);
  [alert addButtonWithTitle:ns_string(button)];
  [alert addButtonWithTitle:@"Cancel"];
  return [alert runModal] == NSAlertFirstButtonReturn;
}

void tell(const std::string& message) {
  NSAlert* alert = [NSAlert new];
  alert.messageText = ns_string(message);
  [alert runModal];
}

constexpr ui::SettingsPage kPages[] = {ui::SettingsPage::general, ui::SettingsPage::controls, ui::SettingsPage::profiles,
                                       ui::SettingsPage::apps,    ui::SettingsPage::deck,     ui::SettingsPage::corvane,
                                       ui::SettingsPage::advanced};

}  // namespace

struct MacAppShell::Objects {
  NSStatusItem* status_item = nil;
  KolvoStatusMenuTarget* menu_target = nil;
  NSWindow* settings_window = nil;
  std::function<void()> settings_on_calibrate;
  std::function<void()> settings_on_replay;
  std::optional<ui::SettingsPages> pages;
  // Redraws the page when it changes on its own, as when an install ends.
  base::Subscription page_changes;
  ui::SettingsPage page = ui::SettingsPage::general;
  KolvoPageView* page_view = nil;
  KolvoClickTarget* sidebar_target = nil;
  NSMutableArray<NSButton*>* sidebar = nil;

  void show_page(ui::SettingsPage shown) {
    page = shown;
    for (NSButton* button in sidebar) {
      button.state = button.tag == static_cast<NSInteger>(shown) ? NSControlStateValueOn : NSControlStateValueOff;
    }
    settings_window.subtitle = ns_string(ui::page_title(shown));
    [page_view showContent:pages->content(shown)];
  }
  NSWindow* onboarding_window = nil;
  KolvoWindowCallbacks* onboarding_callbacks = nil;
  std::function<void()> onboarding_on_calibrate;
  std::optional<ui::OnboardingModel> onboarding;
  KolvoPageView* onboarding_view = nil;

  void show_onboarding_step() {
    if (onboarding && onboarding_view != nil) [onboarding_view showContent:onboarding->content()];
  }
};

namespace {

// A page view in a vertical scroller as wide as the window, for a page taller than it.
NSScrollView* scrolling(KolvoPageView* view) {
  NSScrollView* scroll = [NSScrollView new];
  scroll.hasVerticalScroller = YES;
  scroll.drawsBackground = NO;
  scroll.documentView = view;
  view.translatesAutoresizingMaskIntoConstraints = NO;
  [view.widthAnchor constraintEqualToAnchor:scroll.contentView.widthAnchor].active = YES;
  return scroll;
}

}  // namespace

MacAppShell::MacAppShell(PagesFactory make_pages, OnboardingFactory make_onboarding)
    : make_pages_(std::move(make_pages)),
      make_onboarding_(std::move(make_onboarding)),
      objects_(std::make_unique<Objects>()) {}
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
  Objects& o = *objects_;
  o.settings_on_calibrate = std::move(on_calibrate);
  o.settings_on_replay = std::move(on_replay);
  o.pages.emplace(make_pages_(ui::SettingsPageHooks{
      .open_login_items_settings =
          [] { open_system_settings(@"x-apple.systempreferences:com.apple.LoginItems-Settings.extension"); },
      .open_accessibility_settings =
          [] { open_system_settings(@"x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility"); },
      .calibrate = [&o] { o.settings_on_calibrate(); },
      .replay_onboarding = [&o] { o.settings_on_replay(); },
      .copy_to_pasteboard =
          [](const std::string& text) {
            [NSPasteboard.generalPasteboard clearContents];
            [NSPasteboard.generalPasteboard setString:ns_string(text) forType:NSPasteboardTypeString];
          },
      .choose_app_location = [] { return choose_application_location(); },
      .confirm = [](const std::string& t, const std::string& e, const std::string& b) { return confirm(t, e, b); },
  }));
  o.settings_window = titled_window(@"Kolvo Settings", NSMakeSize(760, 600));

  // Every change goes through the page model; the page is then drawn again from the stores.
  o.page_view = [[KolvoPageView alloc] initWithEventHandler:[&o](const ui::ControlEvent& event) {
    const ui::EventOutcome outcome = o.pages->handle(o.page, event);
    if (!outcome.done && !outcome.message.empty()) tell(outcome.message);
    o.show_page(o.page);
  }];
  NSScrollView* scroll = scrolling(o.page_view);
  o.page_changes = o.pages->observe_changes([&o] { o.show_page(o.page); });

  o.sidebar_target = [KolvoClickTarget new];
  Objects* objects = &o;
  o.sidebar_target.clicked = ^(NSButton* button) {
    objects->show_page(static_cast<ui::SettingsPage>(button.tag));
  };
  o.sidebar = [NSMutableArray array];
  for (const ui::SettingsPage page : kPages) {
    NSButton* button = [NSButton buttonWithTitle:ns_string(ui::page_title(page))
                                          target:o.sidebar_target
                                          action:@selector(click:)];
    button.bezelStyle = NSBezelStyleRecessed;
    [button setButtonType:NSButtonTypePushOnPushOff];
    button.tag = static_cast<NSInteger>(page);
    [o.sidebar addObject:button];
  }
  NSStackView* sidebar = [NSStackView stackViewWithViews:o.sidebar];
  sidebar.orientation = NSUserInterfaceLayoutOrientationVertical;
  sidebar.alignment = NSLayoutAttributeLeading;
  sidebar.edgeInsets = NSEdgeInsetsMake(20, 12, 20, 12);
  NSStackView* content = [NSStackView stackViewWithViews:@[ sidebar, scroll ]];
  content.orientation = NSUserInterfaceLayoutOrientationHorizontal;
  content.alignment = NSLayoutAttributeTop;
  [sidebar setHuggingPriority:NSLayoutPriorityRequired forOrientation:NSLayoutConstraintOrientationHorizontal];
  [scroll.heightAnchor constraintEqualToAnchor:content.heightAnchor].active = YES;
  o.settings_window.contentView = content;
}

void MacAppShell::show_settings_window(ui::SettingsPage page) {
  if (objects_->settings_window == nil) return;
  objects_->show_page(page);
  [NSApp activateIgnoringOtherApps:YES];
  [objects_->settings_window makeKeyAndOrderFront:nil];
}

void MacAppShell::create_onboarding_window(std::function<void()> on_calibrate, std::function<void()> on_finished) {
  Objects& o = *objects_;
  o.onboarding_on_calibrate = std::move(on_calibrate);
  o.onboarding_window =
      titled_window(ns_string(ui::OnboardingWindowSpec::kTitle),
                    NSMakeSize(ui::OnboardingWindowSpec::kWidth_pt, ui::OnboardingWindowSpec::kHeight_pt));
  KolvoWindowCallbacks* callbacks = [KolvoWindowCallbacks new];
  callbacks.closed = std::move(on_finished);
  o.onboarding_callbacks = callbacks;
  o.onboarding_window.delegate = callbacks;

  // Finishing closes the window, so Finish and the close button end onboarding the same way.
  // The close waits for the click to return: it releases the view whose handler is running.
  o.onboarding.emplace(make_onboarding_(ui::OnboardingHooks{
      .choose_app_location = [] { return choose_application_location(); },
      .calibrate = [&o] { if (o.onboarding_on_calibrate) o.onboarding_on_calibrate(); },
      .mark_completed = {},
      .finished =
          [&o] {
            NSWindow* window = o.onboarding_window;
            dispatch_async(dispatch_get_main_queue(), ^{
              [window close];
            });
          },
  }));
  o.onboarding_view = [[KolvoPageView alloc] initWithEventHandler:[&o](const ui::ControlEvent& event) {
    if (!o.onboarding) return;
    const ui::EventOutcome outcome = o.onboarding->handle(event);
    if (!outcome.done && !outcome.message.empty()) tell(outcome.message);
    o.show_onboarding_step();
  }];
  o.onboarding_window.contentView = scrolling(o.onboarding_view);
  o.show_onboarding_step();
}

void MacAppShell::show_onboarding_window() {
  if (objects_->onboarding_window == nil) return;
  objects_->show_onboarding_step();
  [objects_->onboarding_window center];
  [objects_->onboarding_window makeKeyAndOrderFront:nil];
  [objects_->onboarding_window orderFrontRegardless];
}

void MacAppShell::release_onboarding_window() {
  objects_->onboarding_window.delegate = nil;
  objects_->onboarding_window = nil;
  objects_->onboarding_callbacks = nil;
  objects_->onboarding_view = nil;
  objects_->onboarding.reset();
}

void MacAppShell::terminate() { [NSApp terminate:nil]; }

}  // namespace kolvo::mac
