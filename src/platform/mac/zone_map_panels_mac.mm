#import <AppKit/AppKit.h>
#import <QuartzCore/QuartzCore.h>

#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/objc_text.hpp"
#include "platform/mac/overlay_panel_mac.hpp"

namespace kolvo::platform {
namespace {

NSColor* ns_color(const ui::ZoneMapColor& c, double alpha) {
  return [NSColor colorWithSRGBRed:c.red / 255.0 green:c.green / 255.0 blue:c.blue / 255.0 alpha:alpha];
}

// A rectangle of the global space in the coordinates of the panel over `frame`.
CGRect local(const dock::Rect& r, const dock::Rect& frame) {
  return CGRectMake(r.x - frame.x, r.y - frame.y, r.width, r.height);
}

// A click-through panel over a whole display, above normal windows and the Dock, so the zones
// around the Dock show; every click passes to whatever is under it.
NSPanel* make_zone_panel() {
  NSPanel* panel = make_overlay_panel(/*ignores_mouse=*/YES, /*has_shadow=*/NO);
  // A layer-hosting view: the layers below it are ours to replace at each redraw.
  NSView* view = [[NSView alloc] initWithFrame:NSMakeRect(0, 0, 1, 1)];
  view.layer = [CALayer layer];
  view.wantsLayer = YES;
  panel.contentView = view;
  return panel;
}

CAShapeLayer* rectangle_layer(CGRect rect, NSColor* fill, NSColor* stroke, CGFloat line_width, BOOL dashed) {
  CAShapeLayer* layer = [CAShapeLayer layer];
  layer.frame = rect;
  // The outline runs just inside the rectangle, so a zone at a display's edge keeps its border.
  const CGRect inside = CGRectInset(CGRectMake(0, 0, rect.size.width, rect.size.height), line_width / 2, line_width / 2);
  CGPathRef path = CGPathCreateWithRect(CGRectIsEmpty(inside) ? CGRectMake(0, 0, rect.size.width, rect.size.height)
                                                              : inside,
                                        nullptr);
  layer.path = path;
  CGPathRelease(path);
  layer.fillColor = fill.CGColor;
  layer.strokeColor = stroke.CGColor;
  layer.lineWidth = line_width;
  if (dashed) layer.lineDashPattern = @[ @8, @6 ];
  return layer;
}

CALayer* label_layer(const ui::ZoneMapLabel& label, const dock::Rect& frame, CGFloat scale) {
  CALayer* plate = [CALayer layer];
  plate.frame = local(label.box, frame);
  plate.backgroundColor = ns_color(ui::kZoneMapLabelPlate, ui::kZoneMapLabelPlateAlpha).CGColor;
  plate.cornerRadius = label.size * 0.3;

  CATextLayer* text = [CATextLayer layer];
  text.string = ns_string(label.text);
  text.font = (__bridge CFTypeRef)[NSFont systemFontOfSize:label.size];
  text.fontSize = label.size;
  text.foregroundColor = ns_color(ui::kZoneMapLabelText, 1).CGColor;
  text.contentsScale = scale;
  // One line, centred on the plate's height, starting a little in from its left.
  const CGFloat line = label.size * 1.25;
  text.frame = CGRectMake(label.size * 0.4, (label.box.height - line) / 2, label.box.width - label.size * 0.4, line);
  [plate addSublayer:text];
  return plate;
}

CAShapeLayer* leader_layer(const ui::ZoneMapLabel& label, const dock::Rect& frame) {
  CAShapeLayer* layer = [CAShapeLayer layer];
  CGMutablePathRef path = CGPathCreateMutable();
  CGPathMoveToPoint(path, nullptr, label.leader_from.x - frame.x, label.leader_from.y - frame.y);
  CGPathAddLineToPoint(path, nullptr, label.leader_to.x - frame.x, label.leader_to.y - frame.y);
  layer.path = path;
  CGPathRelease(path);
  layer.strokeColor = ns_color(ui::kZoneMapLabelText, 0.6).CGColor;
  layer.lineWidth = 1;
  return layer;
}

// Everything the map says for one display, on the panel over it.
void draw(NSPanel* panel, const ui::ZoneMapDisplay& display) {
  [panel setFrame:NSMakeRect(display.frame.x, display.frame.y, display.frame.width, display.frame.height) display:NO];
  NSView* view = panel.contentView;
  CALayer* root = [CALayer layer];
  root.frame = CGRectMake(0, 0, display.frame.width, display.frame.height);
  for (const ui::ZoneMapZone& zone : display.zones) {
    const ui::ZoneMapStyle& style = ui::style_of(zone.kind);
    const bool whole_display = zone.kind == ui::ZoneMapKind::display;
    [root addSublayer:rectangle_layer(local(zone.rect, display.frame), ns_color(style.colour, style.fill_alpha),
                                      ns_color(style.colour, style.stroke_alpha), whole_display ? 3 : 1,
                                      whole_display && !display.reacts)];
  }
  for (const ui::ZoneMapZone& zone : display.zones) {
    if (zone.label.has_leader) [root addSublayer:leader_layer(zone.label, display.frame)];
    [root addSublayer:label_layer(zone.label, display.frame, panel.backingScaleFactor)];
  }
  view.layer.sublayers = nil;
  [view.layer addSublayer:root];
}

}  // namespace

struct MacZoneMapPanels::Panels {
  NSMutableArray<NSPanel*>* panels = [NSMutableArray array];
};

MacZoneMapPanels::MacZoneMapPanels() : panels_(std::make_unique<Panels>()) {}

MacZoneMapPanels::~MacZoneMapPanels() { hide_zone_map(); }

void MacZoneMapPanels::show_zone_map(const ui::ZoneMap& map) {
  while (panels_->panels.count < map.displays.size()) [panels_->panels addObject:make_zone_panel()];
  for (std::size_t i = 0; i < panels_->panels.count; ++i) {
    NSPanel* panel = panels_->panels[i];
    if (i >= map.displays.size()) {
      [panel orderOut:nil];
      continue;
    }
    draw(panel, map.displays[i]);
    // Brought forward only when it appears, so it never covers a panel of Kolvo's opened since.
    if (!panel.visible) [panel orderFrontRegardless];
  }
}

void MacZoneMapPanels::hide_zone_map() {
  for (NSPanel* panel in panels_->panels) [panel orderOut:nil];
}

}  // namespace kolvo::platform
