#import <AppKit/AppKit.h>

#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/objc_text.hpp"

using kolvo::platform::ns_string;

// A borderless panel that still takes the keyboard, so Return saves and Escape cancels.
@interface KolvoCalibrationPanel : NSPanel
@property(nonatomic, copy) void (^onSave)(void);
@property(nonatomic, copy) void (^onCancel)(void);
@end

@implementation KolvoCalibrationPanel
- (BOOL)canBecomeKeyWindow {
  return YES;
}
- (void)keyDown:(NSEvent*)event {
  if (event.keyCode == 36 || event.keyCode == 76) {  // Return, Enter
    if (self.onSave) self.onSave();
  } else if (event.keyCode == 53) {  // Escape
    if (self.onCancel) self.onCancel();
  } else {
    [super keyDown:event];
  }
}
@end

// Draws the box over a dimmed display and turns drags into proposed boxes: a drag from the
// lower-right handle resizes, any other drag inside the box moves it.
@interface KolvoCalibrationBoxView : NSView
@property(nonatomic) kolvo::ui::CalibrationWindowModel* model;
@property(nonatomic) NSPoint screenOrigin;
@end

@implementation KolvoCalibrationBoxView {
  NSPoint _dragStart;
  NSRect _boxAtStart;
  BOOL _resizing;
  BOOL _dragging;
}

static constexpr CGFloat kHandle = 14;

- (NSRect)boxInView {
  const kolvo::dock::Rect box = self.model->box();
  return NSMakeRect(box.x - self.screenOrigin.x, box.y - self.screenOrigin.y, box.width, box.height);
}

- (void)drawRect:(NSRect)dirty {
  [[NSColor colorWithWhite:0 alpha:0.35] set];
  NSRectFillUsingOperation(self.bounds, NSCompositingOperationSourceOver);
  const NSRect box = [self boxInView];
  [[NSColor.controlAccentColor colorWithAlphaComponent:0.35] set];
  NSRectFillUsingOperation(box, NSCompositingOperationSourceOver);
  NSBezierPath* outline = [NSBezierPath bezierPathWithRect:NSInsetRect(box, 1, 1)];
  outline.lineWidth = 2;
  [NSColor.controlAccentColor set];
  [outline stroke];
  [[NSBezierPath bezierPathWithRect:NSMakeRect(NSMaxX(box) - kHandle, NSMinY(box), kHandle, kHandle)] fill];

  NSDictionary* title = @{NSFontAttributeName : [NSFont boldSystemFontOfSize:13], NSForegroundColorAttributeName : NSColor.whiteColor};
  NSDictionary* numbers = @{
    NSFontAttributeName : [NSFont monospacedDigitSystemFontOfSize:12 weight:NSFontWeightRegular],
    NSForegroundColorAttributeName : NSColor.whiteColor
  };
  const NSPoint above = NSMakePoint(NSMinX(box), NSMaxY(box) + 6);
  [ns_string(kolvo::ui::CalibrationWindowModel::kBoxLabel) drawAtPoint:NSMakePoint(above.x, above.y + 18) withAttributes:title];
  [ns_string(self.model->numbers_text()) drawAtPoint:above withAttributes:numbers];
}

- (void)mouseDown:(NSEvent*)event {
  const NSPoint p = [self convertPoint:event.locationInWindow fromView:nil];
  const NSRect box = [self boxInView];
  _resizing = NSPointInRect(p, NSMakeRect(NSMaxX(box) - kHandle, NSMinY(box), kHandle, kHandle));
  _dragging = _resizing || NSPointInRect(p, box);
  _dragStart = p;
  _boxAtStart = box;
}

- (void)mouseDragged:(NSEvent*)event {
  if (!_dragging) return;
  const NSPoint p = [self convertPoint:event.locationInWindow fromView:nil];
  const CGFloat dx = p.x - _dragStart.x;
  const CGFloat dy = p.y - _dragStart.y;
  NSRect proposed = _boxAtStart;
  if (_resizing) {
    // The handle is the lower-right corner: the top edge stays where it is.
    proposed.size.width += dx;
    proposed.size.height -= dy;
    proposed.origin.y += dy;
  } else {
    proposed.origin.x += dx;
    proposed.origin.y += dy;
  }
  self.model->propose_box({proposed.origin.x + self.screenOrigin.x, proposed.origin.y + self.screenOrigin.y,
                           proposed.size.width, proposed.size.height});
  self.needsDisplay = YES;
}

- (void)mouseUp:(NSEvent*)event {
  _dragging = NO;
}
@end

// Routes the three buttons to blocks.
@interface KolvoCalibrationButtons : NSObject
@property(nonatomic, copy) void (^save)(void);
@property(nonatomic, copy) void (^cancel)(void);
@property(nonatomic, copy) void (^reset)(void);
@end

@implementation KolvoCalibrationButtons
- (void)save:(id)sender {
  self.save();
}
- (void)cancel:(id)sender {
  self.cancel();
}
- (void)reset:(id)sender {
  self.reset();
}
@end

namespace kolvo::platform {

struct MacCalibrationWindow::Objects {
  KolvoCalibrationPanel* panel = nil;
  KolvoCalibrationBoxView* box = nil;
  KolvoCalibrationButtons* buttons = nil;
};

MacCalibrationWindow::MacCalibrationWindow(dock::DockServices& dock, const base::WallClock& clock,
                                           std::function<void()> closed)
    : model_(dock, clock, std::move(closed)), objects_(std::make_unique<Objects>()) {}

// Only a save or a cancel releases the window, or the application quitting; nothing is left to
// report then.
MacCalibrationWindow::~MacCalibrationWindow() { [objects_->panel orderOut:nil]; }

void MacCalibrationWindow::show(const dock::ScreenInfo& screen) {
  model_.open(screen);
  const NSRect frame = NSMakeRect(screen.frame.x, screen.frame.y, screen.frame.width, screen.frame.height);
  KolvoCalibrationPanel* panel = [[KolvoCalibrationPanel alloc] initWithContentRect:frame
                                                                          styleMask:NSWindowStyleMaskBorderless
                                                                            backing:NSBackingStoreBuffered
                                                                              defer:NO];
  // Above the Dock and the menu bar, on the display being calibrated.
  panel.level = NSScreenSaverWindowLevel;
  panel.opaque = NO;
  panel.backgroundColor = NSColor.clearColor;
  panel.releasedWhenClosed = NO;
  panel.collectionBehavior = NSWindowCollectionBehaviorCanJoinAllSpaces | NSWindowCollectionBehaviorFullScreenAuxiliary;

  KolvoCalibrationBoxView* box = [[KolvoCalibrationBoxView alloc] initWithFrame:NSMakeRect(0, 0, frame.size.width, frame.size.height)];
  box.model = &model_;
  box.screenOrigin = frame.origin;
  panel.contentView = box;

  KolvoCalibrationButtons* buttons = [KolvoCalibrationButtons new];
  ui::CalibrationWindowModel* model = &model_;
  buttons.save = ^{
    model->save();
  };
  buttons.cancel = ^{
    model->cancel();
  };
  __weak KolvoCalibrationBoxView* weak_box = box;
  buttons.reset = ^{
    model->reset_to_estimate();
    weak_box.needsDisplay = YES;
  };
  panel.onSave = buttons.save;
  panel.onCancel = buttons.cancel;

  NSButton* save = [NSButton buttonWithTitle:ns_string(ui::CalibrationWindowModel::kSaveTitle) target:buttons action:@selector(save:)];
  save.keyEquivalent = @"\r";
  NSButton* cancel = [NSButton buttonWithTitle:ns_string(ui::CalibrationWindowModel::kCancelTitle) target:buttons action:@selector(cancel:)];
  NSButton* reset = [NSButton buttonWithTitle:ns_string(ui::CalibrationWindowModel::kResetTitle) target:buttons action:@selector(reset:)];
  NSStackView* row = [NSStackView stackViewWithViews:@[ reset, cancel, save ]];
  row.orientation = NSUserInterfaceLayoutOrientationHorizontal;
  row.translatesAutoresizingMaskIntoConstraints = NO;
  [box addSubview:row];
  [row.centerXAnchor constraintEqualToAnchor:box.centerXAnchor].active = YES;
  [row.centerYAnchor constraintEqualToAnchor:box.centerYAnchor].active = YES;

  objects_->panel = panel;
  objects_->box = box;
  objects_->buttons = buttons;
  [NSApp activateIgnoringOtherApps:YES];
  [panel makeKeyAndOrderFront:nil];
}

}  // namespace kolvo::platform
