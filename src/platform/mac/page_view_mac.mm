#import "platform/mac/page_view_mac.hpp"

#include "platform/mac/objc_text.hpp"

using kolvo::platform::ns_string;
using kolvo::platform::utf8;
namespace ui = kolvo::ui;

namespace {

// A list item's button carries the item's id after the action's id.
constexpr char kItemSeparator = '\n';

NSTextField* label(const std::string& text, ui::TextStyle style) {
  NSTextField* field = [NSTextField wrappingLabelWithString:ns_string(text)];
  switch (style) {
    case ui::TextStyle::body: break;
    case ui::TextStyle::note:
      field.textColor = NSColor.secondaryLabelColor;
      field.font = [NSFont systemFontOfSize:NSFont.smallSystemFontSize];
      break;
    case ui::TextStyle::warning: field.textColor = NSColor.systemOrangeColor; break;
    case ui::TextStyle::monospaced:
      field.font = [NSFont monospacedSystemFontOfSize:NSFont.smallSystemFontSize weight:NSFontWeightRegular];
      field.selectable = YES;
      break;
  }
  return field;
}

NSStackView* line(NSArray<NSView*>* views) {
  NSStackView* row = [NSStackView stackViewWithViews:views];
  row.orientation = NSUserInterfaceLayoutOrientationHorizontal;
  row.spacing = 8;
  return row;
}

}  // namespace

@implementation KolvoPageView {
  std::function<void(const ui::ControlEvent&)> _handler;
}

- (instancetype)initWithEventHandler:(std::function<void(const ui::ControlEvent&)>)handler {
  if ((self = [super initWithFrame:NSZeroRect])) {
    _handler = std::move(handler);
    self.orientation = NSUserInterfaceLayoutOrientationVertical;
    self.alignment = NSLayoutAttributeLeading;
    self.spacing = 10;
    self.edgeInsets = NSEdgeInsetsMake(20, 24, 20, 24);
  }
  return self;
}

- (BOOL)isFlipped {
  return YES;
}

- (void)send:(std::string)identifier value:(ui::ControlValue)value {
  if (_handler) _handler(ui::ControlEvent{std::move(identifier), std::move(value)});
}

- (void)toggled:(NSButton*)sender {
  [self send:utf8(sender.identifier) value:sender.state == NSControlStateValueOn];
}

- (void)chose:(NSPopUpButton*)sender {
  NSString* value = sender.selectedItem.representedObject;
  [self send:utf8(sender.identifier) value:utf8(value)];
}

- (void)slid:(NSSlider*)sender {
  [self send:utf8(sender.identifier) value:sender.doubleValue];
}

- (void)pressed:(NSButton*)sender {
  const std::string identifier = utf8(sender.identifier);
  const auto separator = identifier.find(kItemSeparator);
  if (separator == std::string::npos) {
    [self send:identifier value:std::monostate()];
  } else {
    [self send:identifier.substr(0, separator) value:identifier.substr(separator + 1)];
  }
}

- (NSButton*)button:(const ui::ButtonRow&)row item:(const std::string*)item {
  NSButton* button = [NSButton buttonWithTitle:ns_string(row.title) target:self action:@selector(pressed:)];
  button.identifier = ns_string(item ? row.id + kItemSeparator + *item : row.id);
  button.enabled = row.enabled;
  return button;
}

- (NSView*)viewFor:(const ui::Row&)row {
  if (const auto* text = std::get_if<ui::TextRow>(&row)) return label(text->text, text->style);
  if (const auto* toggle = std::get_if<ui::ToggleRow>(&row)) {
    NSButton* box = [NSButton checkboxWithTitle:ns_string(toggle->title) target:self action:@selector(toggled:)];
    box.identifier = ns_string(toggle->id);
    box.state = toggle->on ? NSControlStateValueOn : NSControlStateValueOff;
    box.enabled = toggle->enabled;
    return box;
  }
  if (const auto* choice = std::get_if<ui::ChoiceRow>(&row)) {
    NSPopUpButton* popup = [[NSPopUpButton alloc] initWithFrame:NSZeroRect pullsDown:NO];
    for (const auto& option : choice->options) {
      NSMenuItem* item = [[NSMenuItem alloc] initWithTitle:ns_string(option.title) action:nil keyEquivalent:@""];
      item.representedObject = ns_string(option.value);
      [popup.menu addItem:item];
      if (option.value == choice->selected) [popup selectItem:item];
    }
    popup.identifier = ns_string(choice->id);
    popup.target = self;
    popup.action = @selector(chose:);
    popup.enabled = choice->enabled;
    NSStackView* stack = line(@[ label(choice->title, ui::TextStyle::body), popup ]);
    if (!choice->note) return stack;
    NSStackView* with_note = [NSStackView stackViewWithViews:@[ stack, label(*choice->note, ui::TextStyle::warning) ]];
    with_note.orientation = NSUserInterfaceLayoutOrientationVertical;
    with_note.alignment = NSLayoutAttributeLeading;
    return with_note;
  }
  if (const auto* slider = std::get_if<ui::SliderRow>(&row)) {
    NSSlider* control = [NSSlider sliderWithValue:slider->value
                                         minValue:slider->minimum
                                         maxValue:slider->maximum
                                           target:self
                                           action:@selector(slid:)];
    control.identifier = ns_string(slider->id);
    [control.widthAnchor constraintEqualToConstant:200].active = YES;
    return line(@[ label(slider->title, ui::TextStyle::body), control, label(slider->value_text, ui::TextStyle::note) ]);
  }
  if (const auto* button = std::get_if<ui::ButtonRow>(&row)) return [self button:*button item:nullptr];
  const auto& list = std::get<ui::ListRow>(row);
  NSStackView* stack = [NSStackView stackViewWithViews:@[]];
  stack.orientation = NSUserInterfaceLayoutOrientationVertical;
  stack.alignment = NSLayoutAttributeLeading;
  stack.spacing = 4;
  if (list.items.empty()) [stack addArrangedSubview:label(list.empty_text, ui::TextStyle::note)];
  for (const auto& item : list.items) {
    NSMutableArray<NSView*>* views = [NSMutableArray arrayWithObject:label(item.title, ui::TextStyle::body)];
    if (!item.detail.empty()) [views addObject:label(item.detail, ui::TextStyle::note)];
    for (const auto& action : item.actions) [views addObject:[self button:action item:&item.id]];
    [stack addArrangedSubview:line(views)];
  }
  return stack;
}

- (void)showContent:(const ui::PageContent&)content {
  for (NSView* view in [self.arrangedSubviews copy]) {
    [self removeArrangedSubview:view];
    [view removeFromSuperview];
  }
  NSTextField* title = [NSTextField labelWithString:ns_string(content.title)];
  title.font = [NSFont boldSystemFontOfSize:20];
  [self addArrangedSubview:title];
  for (const auto& section : content.sections) {
    NSTextField* heading = [NSTextField labelWithString:ns_string(section.title)];
    heading.font = [NSFont boldSystemFontOfSize:NSFont.systemFontSize];
    [self addArrangedSubview:heading];
    [self setCustomSpacing:14 afterView:title];
    for (const auto& row : section.rows) [self addArrangedSubview:[self viewFor:row]];
  }
}

@end
