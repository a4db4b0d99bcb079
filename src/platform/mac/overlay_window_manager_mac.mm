#import <AppKit/AppKit.h>
#import <objc/runtime.h>

#include "platform/mac/mac_adapters.hpp"

#include "platform/mac/objc_text.hpp"
#include "platform/mac/overlay_panel_mac.hpp"

// Hands a button's tag to a block: the tray's icons and the launcher's cells.
@interface KolvoTrayClickTarget : NSObject
@property(nonatomic, copy) void (^clicked)(NSInteger tag);
@end

@implementation KolvoTrayClickTarget
- (void)click:(NSButton*)sender {
  if (self.clicked) self.clicked(sender.tag);
}
@end

namespace kolvo::platform {

NSPanel* make_overlay_panel(BOOL ignores_mouse, BOOL has_shadow) {
  NSPanel* panel = [[NSPanel alloc] initWithContentRect:NSMakeRect(0, 0, 1, 1)
                                              styleMask:NSWindowStyleMaskNonactivatingPanel | NSWindowStyleMaskBorderless
                                                backing:NSBackingStoreBuffered
                                                  defer:YES];
  panel.level = NSStatusWindowLevel;
  panel.collectionBehavior = NSWindowCollectionBehaviorCanJoinAllSpaces |
                             NSWindowCollectionBehaviorFullScreenAuxiliary | NSWindowCollectionBehaviorStationary |
                             NSWindowCollectionBehaviorIgnoresCycle;
  panel.hidesOnDeactivate = NO;
  panel.floatingPanel = YES;
  panel.becomesKeyOnlyIfNeeded = YES;
  panel.releasedWhenClosed = NO;
  panel.opaque = NO;
  panel.backgroundColor = NSColor.clearColor;
  panel.hasShadow = has_shadow;
  panel.ignoresMouseEvents = ignores_mouse;
  panel.animationBehavior = NSWindowAnimationBehaviorNone;
  return panel;
}

namespace {

// Launcher cells carry their slot above the tray icons' indexes.
constexpr NSInteger kLauncherTagBase = 1000;

NSButton* app_button(const std::string& location, const std::string& title, bool present, KolvoTrayClickTarget* target,
                     NSInteger tag) {
  NSImage* image = location.empty() ? [NSImage imageNamed:NSImageNameAddTemplate]
                                    : [NSWorkspace.sharedWorkspace iconForFile:ns_string(location)];
  NSButton* button = [NSButton buttonWithImage:image target:target action:@selector(click:)];
  button.bordered = NO;
  button.imageScaling = NSImageScaleProportionallyUpOrDown;
  button.toolTip = ns_string(title);
  button.alphaValue = present ? 1.0 : 0.45;
  button.tag = tag;
  return button;
}

NSRect ns_rect(const dock::Rect& r) { return NSMakeRect(r.x, r.y, r.width, r.height); }

// An overlay panel with glass behind whatever it will draw.
NSPanel* make_panel(CGFloat corner_radius, BOOL ignores_mouse) {
  NSPanel* panel = make_overlay_panel(ignores_mouse, /*has_shadow=*/YES);

  // Glass behind whatever the panel will draw.
  NSVisualEffectView* glass = [[NSVisualEffectView alloc] initWithFrame:NSMakeRect(0, 0, 1, 1)];
  glass.material = NSVisualEffectMaterialHUDWindow;
  glass.blendingMode = NSVisualEffectBlendingModeBehindWindow;
  glass.state = NSVisualEffectStateActive;
  glass.autoresizingMask = NSViewWidthSizable | NSViewHeightSizable;
  glass.wantsLayer = YES;
  glass.layer.cornerRadius = corner_radius;
  glass.layer.masksToBounds = YES;
  panel.contentView = glass;
  return panel;
}

}  // namespace

struct MacOverlayWindowManager::Panels {
  KolvoTrayClickTarget* tray_target = nil;
  // The launcher's cells while the tray holds them, in slot order.
  NSMutableArray<NSButton*>* grid_buttons = nil;
  // The tray, slider and dial take the pointer; the cue only shows and lets it through to the
  // corner it marks.
  NSPanel* tray = make_panel(18, NO);
  NSPanel* slider = make_panel(overlay::kEdgeSliderWidth / 2, NO);
  NSPanel* dial = make_panel(overlay::kCornerDialSize / 2, NO);
  NSPanel* cue = make_panel(overlay::kCornerStripHeight / 2, YES);

  NSPanel* of(Kind kind) const {
    switch (kind) {
      case Kind::tray: return tray;
      case Kind::slider: return slider;
      case Kind::dial: return dial;
      case Kind::cue: return cue;
    }
    return nil;
  }
};

MacOverlayWindowManager::MacOverlayWindowManager(overlay::PanelPlacement placement, dock::DockServices& dock,
                                                 const base::WallClock& clock, base::DiagnosticsLog& log,
                                                 std::unique_ptr<ui::TrayModel> tray_model,
                                                 std::unique_ptr<ui::ControlPanelModel> controls,
                                                 ui::ControlAppearanceStore& appearance, ui::AccentColorStore& accent)
    : placement_(placement),
      dock_(dock),
      clock_(clock),
      log_(log),
      tray_model_(std::move(tray_model)),
      controls_(std::move(controls)),
      appearance_(appearance),
      accent_(accent),
      panels_(std::make_unique<Panels>()) {
  panels_->tray_target = [KolvoTrayClickTarget new];
  panels_->tray_target.clicked = ^(NSInteger tag) {
    if (tag >= kLauncherTagBase) {
      clicked_launcher_cell(static_cast<std::size_t>(tag - kLauncherTagBase));
    } else {
      clicked_tray_icon(static_cast<std::size_t>(tag));
    }
  };
  // Dragging the tray upward pulls the launcher out of it.
  expansion_ = std::make_unique<MacExpansionGestureMonitor>(
      (__bridge void*)panels_->tray.contentView,
      overlay::DockExpansionGesture{
          .on_progress = [this](double progress) { set_expansion(progress); },
          .on_commit = [this](bool expand, double) { set_expansion(expand ? 1 : 0); },
          .current_progress = [this] { return expansion_progress_; },
          .scroll_expansion_allowed = [this] { return tray_.has_value(); },
      });
}

void MacOverlayWindowManager::set_expansion(double progress) {
  expansion_progress_ = std::clamp(progress, 0.0, 1.0);
  if (!tray_) return;
  const dock::Rect tray = placement_.tray_frame(tray_->screen, tray_->side);
  const dock::Rect frame = ui::expanded_tray_frame(tray, tray_->side, tray_->screen.frame, expansion_progress_);
  [panels_->tray setFrame:ns_rect(frame) display:YES];
  // Under a drag only the frames move: the buttons and their icons are made once per opening.
  if (panels_->grid_buttons.count == catalog::AppLauncherStore::kSlotCount) {
    layout_grid();
  } else {
    fill_tray();
  }
}

void MacOverlayWindowManager::layout_grid() {
  const dock::Rect tray = placement_.tray_frame(tray_->screen, tray_->side);
  const NSSize size = panels_->tray.contentView.bounds.size;
  const double grid_height = size.height - tray.height - ui::kTrayPadding;
  const double grid_width = size.width - 2 * ui::kTrayPadding;
  const bool shown = expansion_progress_ > 0 && grid_height >= ui::kLauncherCellSide;
  const auto frames = ui::launcher_cell_frames(grid_width, grid_height);
  for (NSUInteger i = 0; i < panels_->grid_buttons.count; ++i) {
    NSButton* button = panels_->grid_buttons[i];
    button.hidden = !shown;
    const dock::Rect& r = frames[i];
    button.frame = NSInsetRect(NSMakeRect(ui::kTrayPadding + r.x, tray.height + r.y, r.width, r.height), 8, 8);
  }
}

void MacOverlayWindowManager::fill_tray() {
  NSView* content = panels_->tray.contentView;
  for (NSView* view in [content.subviews copy]) [view removeFromSuperview];
  panels_->grid_buttons = [NSMutableArray array];
  if (!tray_) return;
  const dock::Rect tray = placement_.tray_frame(tray_->screen, tray_->side);
  const double dock_height = dock_.geometry_for(tray_->screen).dock_rect.height;
  const NSSize size = content.bounds.size;
  // The tray's row stays at the foot; the launcher's grid fills what the expansion added.
  const auto icons = tray_model_->icons(size.width, tray.height, dock_height);
  for (std::size_t i = 0; i < icons.size(); ++i) {
    NSButton* button = app_button(icons[i].location, icons[i].title, icons[i].installed, panels_->tray_target,
                                  static_cast<NSInteger>(i));
    button.frame = ns_rect(icons[i].frame);
    [content addSubview:button];
  }
  const double grid_height = size.height - tray.height - ui::kTrayPadding;
  if (expansion_progress_ <= 0 || grid_height < ui::kLauncherCellSide) return;
  for (const ui::LauncherCell& cell : tray_model_->launcher_cells(size.width - 2 * ui::kTrayPadding, grid_height)) {
    NSButton* button = app_button(cell.location, cell.title, !cell.filled || cell.installed, panels_->tray_target,
                                  kLauncherTagBase + static_cast<NSInteger>(cell.slot));
    [content addSubview:button];
    [panels_->grid_buttons addObject:button];
  }
  layout_grid();
}

void MacOverlayWindowManager::clicked_tray_icon(std::size_t index) {
  if (tray_model_->open(index) && !pinned_) hide_hidden_dock();
}

void MacOverlayWindowManager::clicked_launcher_cell(std::size_t slot) {
  if (tray_model_->open_launcher_slot(slot)) {
    if (!pinned_) hide_hidden_dock();
    return;
  }
  // An empty or missing app: let the user choose the app for this slot.
  NSOpenPanel* chooser = [NSOpenPanel openPanel];
  chooser.title = @"Choose Apps for Kolvo";
  chooser.directoryURL = [NSURL fileURLWithPath:@"/Applications" isDirectory:YES];
  chooser.canChooseDirectories = NO;
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  chooser.allowedFileTypes = @[ @"app" ];
#pragma clang diagnostic pop
  [NSApp activateIgnoringOtherApps:YES];
  if ([chooser runModal] == NSModalResponseOK && chooser.URL != nil) {
    tray_model_->assign_launcher_slot(slot, utf8(chooser.URL.path));
    fill_tray();
  }
}

MacOverlayWindowManager::~MacOverlayWindowManager() {
  for (const Kind kind : {Kind::tray, Kind::slider, Kind::dial, Kind::cue}) [panels_->of(kind) orderOut:nil];
}

std::optional<dock::ScreenInfo> MacOverlayWindowManager::pointer_screen() const {
  // Already in the bottom-left global space of the zones.
  const NSPoint p = NSEvent.mouseLocation;
  return placement_.screen_for_pointer({p.x, p.y});
}

dock::Rect MacOverlayWindowManager::frame_for(Kind kind, const Open& open) {
  switch (kind) {
    case Kind::tray: return placement_.tray_frame(open.screen, open.side);
    case Kind::slider: return placement_.slider_frame(open.screen, open.side);
    case Kind::dial: return placement_.dial_frame(open.screen, open.corner);
    case Kind::cue: return placement_.pressure_cue(open.screen, open.side);
  }
  return {};
}

void MacOverlayWindowManager::show(Kind kind, std::optional<Open>& slot, Open open) {
  const dock::Rect frame = frame_for(kind, open);
  NSPanel* panel = panels_->of(kind);
  // The panels draw light or dark as the control-appearance setting says, whatever the system does.
  panel.appearance = [NSAppearance appearanceNamed:appearance_.dark() ? NSAppearanceNameDarkAqua : NSAppearanceNameAqua];
  [panel setFrame:ns_rect(frame) display:YES];
  // Front without activating Kolvo: the panel is non-activating and the app stays inactive.
  [panel orderFrontRegardless];
  slot = std::move(open);
}

void MacOverlayWindowManager::hide(Kind kind, std::optional<Open>& slot) {
  [panels_->of(kind) orderOut:nil];
  slot.reset();
}

void MacOverlayWindowManager::replace(Kind kind, std::optional<Open>& slot) {
  if (!slot) return;
  if (auto now = placement_.same_display_now(slot->screen)) {
    Open open = *slot;
    open.screen = std::move(*now);
    show(kind, slot, std::move(open));
  } else {
    // Its display is gone.
    hide(kind, slot);
  }
}

void MacOverlayWindowManager::show_hidden_dock(overlay::DockSide side, bool pinned) {
  auto screen = pointer_screen();
  if (!screen) {
    log_.record("Overlay", "no display to open the Hidden Dock on");
    return;
  }
  expansion_progress_ = 0;
  show(Kind::tray, tray_, {std::move(*screen), side, {}});
  pinned_ = pinned;
  last_side_ = side;
  fill_tray();
}

void MacOverlayWindowManager::hide_hidden_dock() {
  hide(Kind::tray, tray_);
  pinned_ = false;
  expansion_progress_ = 0;
}

void MacOverlayWindowManager::show_slider(overlay::DockSide side, prefs::EdgeMode mode) {
  if (auto screen = pointer_screen()) {
    show(Kind::slider, slider_, {std::move(*screen), side, {}});
    fill_control(Kind::slider, ui::control_of(mode));
  }
}

void MacOverlayWindowManager::hide_slider() { hide(Kind::slider, slider_); }

void MacOverlayWindowManager::show_dial(prefs::Corner corner, prefs::CornerControlMode mode) {
  if (auto screen = pointer_screen()) {
    show(Kind::dial, dial_, {std::move(*screen), {}, corner});
    fill_control(Kind::dial, mode);
  }
}

void MacOverlayWindowManager::fill_control(Kind kind, prefs::CornerControlMode mode) {
  NSView* content = panels_->of(kind).contentView;
  for (NSView* view in [content.subviews copy]) [view removeFromSuperview];
  const ui::ControlFace face = controls_->face(mode);
  const NSRect bounds = content.bounds;
  NSTextField* label = [NSTextField labelWithString:ns_string(face.detail.empty() ? face.title : face.detail)];
  label.alignment = NSTextAlignmentCenter;
  label.font = [NSFont systemFontOfSize:11 weight:NSFontWeightMedium];
  label.frame = NSMakeRect(0, NSMaxY(bounds) - 22, NSWidth(bounds), 16);
  [content addSubview:label];
  const bool dial = kind == Kind::dial;
  auto* model = controls_.get();
  if (face.level) {
    NSSlider* slider = [NSSlider sliderWithValue:*face.level minValue:0 maxValue:1 target:nil action:nil];
    slider.vertical = !dial;
    if (dial) slider.sliderType = NSSliderTypeCircular;
    slider.continuous = YES;
    const ui::RGBColor& tint = accent_.color();
    slider.trackFillColor = [NSColor colorWithSRGBRed:tint.red green:tint.green blue:tint.blue alpha:1];
    slider.frame = dial ? NSInsetRect(bounds, 30, 30) : NSMakeRect(NSMidX(bounds) - 12, 12, 24, NSHeight(bounds) - 40);
    KolvoTrayClickTarget* target = [KolvoTrayClickTarget new];
    __weak NSSlider* weak_slider = slider;
    __weak NSTextField* weak_label = label;
    target.clicked = ^(NSInteger) {
      model->set_level(mode, weak_slider.doubleValue);
      weak_label.stringValue = ns_string(model->face(mode).detail);
    };
    slider.target = target;
    slider.action = @selector(click:);
    objc_setAssociatedObject(slider, "target", target, OBJC_ASSOCIATION_RETAIN_NONATOMIC);
    [content addSubview:slider];
  }
  const bool presses = !face.level || mode == prefs::CornerControlMode::timer || mode == prefs::CornerControlMode::appearance;
  if (dial && presses) {
    // Press-only controls, the timer's start and stop, and the appearance switch take a click.
    KolvoTrayClickTarget* target = [KolvoTrayClickTarget new];
    __weak NSTextField* weak_label = label;
    target.clicked = ^(NSInteger) {
      model->press(mode);
      const ui::ControlFace now = model->face(mode);
      weak_label.stringValue = ns_string(now.detail.empty() ? now.title : now.detail);
    };
    NSButton* button = [NSButton buttonWithTitle:ns_string(face.title) target:target action:@selector(click:)];
    button.bezelStyle = NSBezelStyleRounded;
    button.frame = NSMakeRect(NSMidX(bounds) - 50, 8, 100, 24);
    objc_setAssociatedObject(button, "target", target, OBJC_ASSOCIATION_RETAIN_NONATOMIC);
    [content addSubview:button];
  }
}

void MacOverlayWindowManager::hide_dial() { hide(Kind::dial, dial_); }

void MacOverlayWindowManager::set_pressure_cue_visible(bool visible, overlay::DockSide side) {
  if (!visible) {
    hide(Kind::cue, cue_);
    return;
  }
  if (auto screen = pointer_screen()) show(Kind::cue, cue_, {std::move(*screen), side, {}});
}

void MacOverlayWindowManager::close_all_panels() {
  hide(Kind::tray, tray_);
  hide(Kind::slider, slider_);
  hide(Kind::dial, dial_);
  hide(Kind::cue, cue_);
  pinned_ = false;
}

void MacOverlayWindowManager::reveal_timer_control() {
  const auto corner = placement_.timer_corner();
  if (!corner) {
    log_.record("Overlay", "the timer ended; no corner holds its dial");
    return;
  }
  show_dial(*corner, prefs::CornerControlMode::timer);
}

void MacOverlayWindowManager::start_calibration(std::function<void()> completed) {
  if (calibration_) return;
  // The display in use: an open panel's, else the pointer's, else the Dock's.
  std::optional<dock::ScreenInfo> screen = active_screen();
  if (!screen) screen = pointer_screen();
  if (!screen) screen = dock_.target_screen();
  if (!screen) {
    log_.record("Overlay", "no display to calibrate");
    if (completed) completed();
    return;
  }
  close_all_panels();
  calibration_ = std::make_unique<MacCalibrationWindow>(dock_, clock_, [this, completed = std::move(completed)] {
    // The window is still on the stack that reports its close; let it go afterwards.
    dispatch_async(dispatch_get_main_queue(), ^{
      calibration_.reset();
    });
    if (completed) completed();
  });
  calibration_->show(*screen);
}

std::optional<dock::ScreenInfo> MacOverlayWindowManager::active_screen() const {
  for (const auto* open : {&tray_, &slider_, &dial_, &cue_}) {
    if (*open) return (*open)->screen;
  }
  return std::nullopt;
}

void MacOverlayWindowManager::recompute_geometry() {
  replace(Kind::tray, tray_);
  if (!tray_) pinned_ = false;
  replace(Kind::slider, slider_);
  replace(Kind::dial, dial_);
  replace(Kind::cue, cue_);
}

void MacOverlayWindowManager::selected_display_disconnected() {
  // The display the panels open on is gone; they open again once the pointer finds the next.
  close_all_panels();
}

}  // namespace kolvo::platform
