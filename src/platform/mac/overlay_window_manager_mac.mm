#import <AppKit/AppKit.h>
#import <objc/runtime.h>

#include "platform/mac/mac_adapters.hpp"

#include "platform/mac/objc_text.hpp"
#include "platform/mac/overlay_panel_mac.hpp"

// Hands a control's tag to a block: the tray's icons, and the slider's and dial's controls.
@interface KolvoTrayClickTarget : NSObject
@property(nonatomic, copy) void (^clicked)(NSInteger tag);
@end

@implementation KolvoTrayClickTarget
- (void)click:(NSButton*)sender {
  if (self.clicked) self.clicked(sender.tag);
}
@end

// The launcher's grid: it takes every press over its cells and hands the press, the drag and
// the release to blocks, in its own points (origin at its lower-left corner).
@interface KolvoLauncherGridView : NSView
@property(nonatomic, copy) void (^pressed)(NSPoint point);
@property(nonatomic, copy) void (^dragged)(NSPoint point);
@property(nonatomic, copy) void (^released)(NSPoint point);
@end

@implementation KolvoLauncherGridView
- (NSView*)hitTest:(NSPoint)point {
  // The cells are pictures; the grid answers for all of them.
  return !self.hidden && NSPointInRect(point, self.frame) ? self : nil;
}
- (BOOL)acceptsFirstMouse:(NSEvent*)event {
  // The panel never makes Kolvo active, so the first press is the one that counts.
  return YES;
}
- (NSPoint)pointOf:(NSEvent*)event {
  return [self convertPoint:event.locationInWindow fromView:nil];
}
- (void)mouseDown:(NSEvent*)event {
  if (self.pressed) self.pressed([self pointOf:event]);
}
- (void)mouseDragged:(NSEvent*)event {
  if (self.dragged) self.dragged([self pointOf:event]);
}
- (void)mouseUp:(NSEvent*)event {
  if (self.released) self.released([self pointOf:event]);
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

NSImage* app_icon(const std::string& location) {
  return location.empty() ? [NSImage imageNamed:NSImageNameAddTemplate]
                          : [NSWorkspace.sharedWorkspace iconForFile:ns_string(location)];
}

// An app that is gone is drawn faint.
constexpr CGFloat kMissingAppAlpha = 0.45;
// The icon sits this far inside its cell; the gap around it still belongs to the cell.
constexpr CGFloat kCellIconInset = 8;

NSButton* app_button(const std::string& location, const std::string& title, bool present, KolvoTrayClickTarget* target,
                     NSInteger tag) {
  NSButton* button = [NSButton buttonWithImage:app_icon(location) target:target action:@selector(click:)];
  button.bordered = NO;
  button.imageScaling = NSImageScaleProportionallyUpOrDown;
  button.toolTip = ns_string(title);
  button.alphaValue = present ? 1.0 : kMissingAppAlpha;
  button.tag = tag;
  return button;
}

void show_cell(NSImageView* view, const ui::LauncherCell& cell) {
  view.image = app_icon(cell.location);
  view.toolTip = ns_string(cell.title);
  view.alphaValue = !cell.filled || cell.installed ? 1.0 : kMissingAppAlpha;
}

NSImageView* picture() {
  NSImageView* view = [NSImageView imageViewWithImage:[NSImage imageNamed:NSImageNameAddTemplate]];
  view.imageScaling = NSImageScaleProportionallyUpOrDown;
  view.editable = NO;
  return view;
}

NSRect ns_rect(const dock::Rect& r) { return NSMakeRect(r.x, r.y, r.width, r.height); }

NSColor* ns_color(const ui::RGBColor& c, CGFloat alpha = 1) {
  return [NSColor colorWithSRGBRed:c.red green:c.green blue:c.blue alpha:alpha];
}
NSColor* ns_color(const ui::RGBAColor& c) { return ns_color(ui::RGBColor{c.red, c.green, c.blue}, c.alpha); }

NSView* layer_view(CGFloat corner_radius) {
  NSView* view = [[NSView alloc] initWithFrame:NSMakeRect(0, 0, 1, 1)];
  view.wantsLayer = YES;
  view.layer.cornerRadius = corner_radius;
  view.autoresizingMask = NSViewWidthSizable | NSViewHeightSizable;
  return view;
}

// An overlay panel drawn as glass: the blurred desktop, the frost and tint laid over it with a
// rim of light, and the stage that holds whatever the panel shows.
struct GlassPanel {
  NSPanel* panel = nil;
  NSView* frost = nil;
  NSView* tint = nil;
  NSView* stage = nil;
  // The level a slider or dial shows, for its accent.
  __weak NSSlider* level = nil;

  GlassPanel(CGFloat corner_radius, BOOL ignores_mouse) {
    panel = kolvo::platform::make_overlay_panel(ignores_mouse, /*has_shadow=*/YES);
    NSVisualEffectView* glass = [[NSVisualEffectView alloc] initWithFrame:NSMakeRect(0, 0, 1, 1)];
    glass.material = NSVisualEffectMaterialHUDWindow;
    glass.blendingMode = NSVisualEffectBlendingModeBehindWindow;
    glass.state = NSVisualEffectStateActive;
    glass.autoresizingMask = NSViewWidthSizable | NSViewHeightSizable;
    glass.wantsLayer = YES;
    glass.layer.cornerRadius = corner_radius;
    glass.layer.masksToBounds = YES;
    panel.contentView = glass;
    frost = layer_view(corner_radius);
    tint = layer_view(corner_radius);
    tint.layer.borderWidth = 1;
    stage = [[NSView alloc] initWithFrame:NSMakeRect(0, 0, 1, 1)];
    stage.autoresizingMask = NSViewWidthSizable | NSViewHeightSizable;
    for (NSView* view in @[ frost, tint, stage ]) {
      view.frame = glass.bounds;
      [glass addSubview:view];
    }
  }

  void apply(const ui::PanelGlassStyle& style) const {
    panel.appearance = [NSAppearance appearanceNamed:style.dark ? NSAppearanceNameDarkAqua : NSAppearanceNameAqua];
    frost.layer.backgroundColor = ns_color(style.fill).CGColor;
    tint.layer.backgroundColor = ns_color(style.tint).CGColor;
    tint.layer.borderColor = ns_color(style.rim).CGColor;
    level.trackFillColor = ns_color(style.accent);
  }

  // Takes away what the stage showed.
  NSView* cleared_stage() const {
    for (NSView* view in [stage.subviews copy]) [view removeFromSuperview];
    return stage;
  }
};

}  // namespace

struct MacOverlayWindowManager::Panels {
  KolvoTrayClickTarget* tray_target = nil;
  // The launcher's grid while the tray holds it: its cells in slot order, the highlight under
  // the cell a carried app would land in, and the carried app's icon.
  KolvoLauncherGridView* grid = nil;
  NSMutableArray<NSImageView*>* grid_cells = nil;
  NSView* drop_highlight = nil;
  NSImageView* carried = nil;
  // The tray, slider and dial take the pointer; the cue only shows and lets it through to the
  // corner it marks.
  GlassPanel tray{18, NO};
  GlassPanel slider{overlay::kEdgeSliderWidth / 2, NO};
  GlassPanel dial{overlay::kCornerDialSize / 2, NO};
  GlassPanel cue{overlay::kCornerStripHeight / 2, YES};

  GlassPanel& of(Kind kind) {
    switch (kind) {
      case Kind::tray: return tray;
      case Kind::slider: return slider;
      case Kind::dial: return dial;
      case Kind::cue: return cue;
    }
    return tray;
  }
};

MacOverlayWindowManager::MacOverlayWindowManager(overlay::PanelPlacement placement, dock::DockServices& dock,
                                                 const base::WallClock& clock, base::DiagnosticsLog& log,
                                                 std::unique_ptr<ui::TrayModel> tray_model,
                                                 std::unique_ptr<ui::ControlPanelModel> controls,
                                                 std::unique_ptr<ui::PanelLook> look)
    : placement_(placement),
      dock_(dock),
      clock_(clock),
      log_(log),
      tray_model_(std::move(tray_model)),
      controls_(std::move(controls)),
      look_(std::move(look)),
      panels_(std::make_unique<Panels>()) {
  panels_->tray_target = [KolvoTrayClickTarget new];
  panels_->tray_target.clicked = ^(NSInteger tag) {
    clicked_tray_icon(static_cast<std::size_t>(tag));
  };
  // Dragging the tray upward pulls the launcher out of it.
  expansion_ = std::make_unique<MacExpansionGestureMonitor>(
      (__bridge void*)panels_->tray.panel.contentView,
      overlay::DockExpansionGesture{
          .on_progress = [this](double progress) { set_expansion(progress); },
          .on_commit = [this](bool expand, double) { set_expansion(expand ? 1 : 0); },
          .current_progress = [this] { return expansion_progress_; },
          .scroll_expansion_allowed = [this] { return tray_.has_value(); },
          .press_taken_by_content = [this](dock::Point p) { return launcher_takes_press(p); },
      });
  // Open panels change with the settings while they are shown; closed ones are ready when shown.
  apply_look(look_->style());
  look_subscription_ = look_->observable().subscribe([this](const ui::PanelGlassStyle& style) { apply_look(style); });
  // A drop, a chosen app or the settings window: the open grid shows the slots as they are now.
  launcher_subscription_ = tray_model_->observe_launcher([this] { refresh_grid(); });
}

void MacOverlayWindowManager::apply_look(const ui::PanelGlassStyle& style) {
  for (const Kind kind : {Kind::tray, Kind::slider, Kind::dial, Kind::cue}) panels_->of(kind).apply(style);
  if (panels_->drop_highlight) {
    panels_->drop_highlight.layer.backgroundColor = ns_color(style.accent, 0.28).CGColor;
    panels_->drop_highlight.layer.borderColor = ns_color(style.accent).CGColor;
  }
}

void MacOverlayWindowManager::set_expansion(double progress) {
  expansion_progress_ = std::clamp(progress, 0.0, 1.0);
  if (!tray_) return;
  const dock::Rect tray = placement_.tray_frame(tray_->screen, tray_->side);
  const dock::Rect frame = ui::expanded_tray_frame(tray, tray_->side, tray_->screen.frame, expansion_progress_);
  [panels_->tray.panel setFrame:ns_rect(frame) display:YES];
  // Under a drag only the frames move: the cells and their icons are made once per opening.
  if (panels_->grid_cells.count == catalog::AppLauncherStore::kSlotCount) {
    layout_grid();
  } else {
    fill_tray();
  }
}

namespace {

// Where the launcher's grid sits in the tray's stage: above the tray's row, inside the padding.
dock::Rect grid_frame(NSSize stage, double tray_height) {
  return {ui::kTrayPadding, tray_height, stage.width - 2 * ui::kTrayPadding,
          stage.height - tray_height - ui::kTrayPadding};
}

}  // namespace

void MacOverlayWindowManager::layout_grid() {
  const dock::Rect tray = placement_.tray_frame(tray_->screen, tray_->side);
  const dock::Rect grid = grid_frame(panels_->tray.stage.bounds.size, tray.height);
  panels_->grid.hidden = !(expansion_progress_ > 0 && grid.height >= ui::kLauncherCellSide);
  panels_->grid.frame = ns_rect(grid);
  const auto frames = ui::launcher_cell_frames(grid.width, grid.height);
  for (NSUInteger i = 0; i < panels_->grid_cells.count && i < grid_cells_.size(); ++i) {
    grid_cells_[i].frame = frames[i];
    panels_->grid_cells[i].frame = NSInsetRect(ns_rect(frames[i]), kCellIconInset, kCellIconInset);
  }
}

void MacOverlayWindowManager::refresh_grid() {
  if (!tray_ || panels_->grid == nil) return;
  const NSSize size = panels_->grid.bounds.size;
  grid_cells_ = tray_model_->launcher_cells(size.width, size.height);
  for (NSUInteger i = 0; i < panels_->grid_cells.count && i < grid_cells_.size(); ++i) {
    show_cell(panels_->grid_cells[i], grid_cells_[i]);
  }
  layout_grid();
}

void MacOverlayWindowManager::fill_tray() {
  end_launcher_drag();
  NSView* content = panels_->tray.cleared_stage();
  panels_->grid = nil;
  panels_->grid_cells = [NSMutableArray array];
  panels_->drop_highlight = nil;
  panels_->carried = nil;
  grid_cells_.clear();
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
  const dock::Rect grid = grid_frame(size, tray.height);
  if (expansion_progress_ <= 0 || grid.height < ui::kLauncherCellSide) return;

  KolvoLauncherGridView* view = [[KolvoLauncherGridView alloc] initWithFrame:ns_rect(grid)];
  view.pressed = ^(NSPoint p) {
    grid_pressed({p.x, p.y});
  };
  view.dragged = ^(NSPoint p) {
    grid_dragged({p.x, p.y});
  };
  view.released = ^(NSPoint p) {
    grid_released({p.x, p.y});
  };
  // Under the cells, so the icon over it stays clear.
  NSView* highlight = [[NSView alloc] initWithFrame:NSZeroRect];
  highlight.wantsLayer = YES;
  highlight.layer.cornerRadius = 10;
  highlight.layer.borderWidth = 1.5;
  highlight.hidden = YES;
  [view addSubview:highlight];
  for (const ui::LauncherCell& cell : tray_model_->launcher_cells(grid.width, grid.height)) {
    NSImageView* picture_view = picture();
    show_cell(picture_view, cell);
    [view addSubview:picture_view];
    [panels_->grid_cells addObject:picture_view];
    grid_cells_.push_back(cell);
  }
  // Over everything: the app being carried.
  NSImageView* carried = picture();
  carried.hidden = YES;
  [view addSubview:carried];
  [content addSubview:view];
  panels_->grid = view;
  panels_->drop_highlight = highlight;
  panels_->carried = carried;
  apply_look(look_->style());
  layout_grid();
}

bool MacOverlayWindowManager::launcher_takes_press(dock::Point point) const {
  KolvoLauncherGridView* grid = panels_->grid;
  if (!tray_ || grid == nil || grid.hidden) return false;
  const NSPoint in_window = [panels_->tray.panel convertPointFromScreen:NSMakePoint(point.x, point.y)];
  const NSPoint p = [grid convertPoint:in_window fromView:nil];
  return ui::launcher_press_picks_up(grid_cells_, {p.x, p.y});
}

void MacOverlayWindowManager::grid_pressed(dock::Point point) {
  end_launcher_drag();
  launcher_drag_ = ui::LauncherDrag::press(grid_cells_, point);
}

void MacOverlayWindowManager::grid_dragged(dock::Point point) {
  if (!launcher_drag_) return;
  const bool was_dragging = launcher_drag_->dragging();
  launcher_drag_->move_to(point);
  if (!launcher_drag_->dragging()) return;
  const std::size_t slot = launcher_drag_->pressed_slot();
  if (!was_dragging && slot < panels_->grid_cells.count) {
    // Picked up: the icon leaves a ghost in its cell and follows the pointer.
    NSImageView* source = panels_->grid_cells[slot];
    panels_->carried.image = source.image;
    panels_->carried.hidden = NO;
    source.alphaValue = 0.25;
  }
  panels_->carried.frame = NSInsetRect(ns_rect(launcher_drag_->floating_frame()), kCellIconInset, kCellIconInset);
  const auto target = launcher_drag_->target();
  panels_->drop_highlight.hidden = !target;
  if (target) {
    panels_->drop_highlight.frame = NSInsetRect(ns_rect(grid_cells_[*target].frame), 3, 3);
  }
}

void MacOverlayWindowManager::grid_released(dock::Point point) {
  if (!launcher_drag_) return;
  const ui::LauncherRelease release = launcher_drag_->release(point);
  end_launcher_drag();
  if (release.clicked) {
    clicked_launcher_cell(*release.clicked);
  } else {
    tray_model_->drop_in_launcher(release.drop);
  }
}

void MacOverlayWindowManager::end_launcher_drag() {
  if (launcher_drag_ && launcher_drag_->dragging()) {
    const std::size_t slot = launcher_drag_->pressed_slot();
    if (slot < panels_->grid_cells.count && slot < grid_cells_.size()) {
      show_cell(panels_->grid_cells[slot], grid_cells_[slot]);
    }
  }
  launcher_drag_.reset();
  panels_->carried.hidden = YES;
  panels_->drop_highlight.hidden = YES;
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
  }
}

MacOverlayWindowManager::~MacOverlayWindowManager() {
  look_subscription_.reset();
  launcher_subscription_.reset();
  for (const Kind kind : {Kind::tray, Kind::slider, Kind::dial, Kind::cue}) [panels_->of(kind).panel orderOut:nil];
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
  NSPanel* panel = panels_->of(kind).panel;
  [panel setFrame:ns_rect(frame) display:YES];
  // Front without activating Kolvo: the panel is non-activating and the app stays inactive.
  [panel orderFrontRegardless];
  slot = std::move(open);
}

void MacOverlayWindowManager::hide(Kind kind, std::optional<Open>& slot) {
  [panels_->of(kind).panel orderOut:nil];
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
  end_launcher_drag();
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
  GlassPanel& panel = panels_->of(kind);
  NSView* content = panel.cleared_stage();
  panel.level = nil;
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
    slider.trackFillColor = ns_color(look_->style().accent);
    panel.level = slider;
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
