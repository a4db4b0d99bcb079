#import <AppKit/AppKit.h>
#import <ApplicationServices/ApplicationServices.h>

#include "platform/mac/ax_element_mac.hpp"
#include "platform/mac/mac_adapters.hpp"

namespace kolvo::platform {
namespace {

// Accessibility reports frames from the top-left of the primary display; the primary display
// is the first screen, never the one with the key window.
double primary_height() {
  NSArray<NSScreen*>* screens = NSScreen.screens;
  return screens.count > 0 ? NSMaxY(screens[0].frame) : 0;
}

class MacElement final : public dock::AccessibilityElement {
 public:
  // Takes ownership of a +1 reference.
  explicit MacElement(AXUIElementRef element) : element_(element) {}
  ~MacElement() override {
    if (element_) CFRelease(element_);
  }
  MacElement(const MacElement&) = delete;
  MacElement& operator=(const MacElement&) = delete;

  std::optional<std::string> role() const override { return string_attribute(kAXRoleAttribute); }
  std::optional<std::string> subrole() const override { return string_attribute(kAXSubroleAttribute); }
  std::optional<std::string> title() const override { return string_attribute(kAXTitleAttribute); }

  std::optional<dock::Rect> frame() const override {
    CGPoint origin{};
    CGSize size{};
    if (!value_attribute(kAXPositionAttribute, kAXValueTypeCGPoint, &origin) ||
        !value_attribute(kAXSizeAttribute, kAXValueTypeCGSize, &size)) {
      return std::nullopt;
    }
    return dock::from_accessibility_space(origin.x, origin.y, size.width, size.height, primary_height());
  }

  std::vector<std::unique_ptr<dock::AccessibilityElement>> children() const override {
    return elements(kAXChildrenAttribute);
  }
  std::vector<std::unique_ptr<dock::AccessibilityElement>> windows() const override {
    return elements(kAXWindowsAttribute);
  }

 private:
  std::optional<std::string> string_attribute(CFStringRef attribute) const {
    return ax::string_attribute(element_, attribute);
  }

  bool value_attribute(CFStringRef attribute, AXValueType type, void* out) const {
    return ax::value_attribute(element_, attribute, type, out);
  }

  std::vector<std::unique_ptr<dock::AccessibilityElement>> elements(CFStringRef attribute) const {
    std::vector<std::unique_ptr<dock::AccessibilityElement>> out;
    for (AXUIElementRef element : ax::copy_elements(element_, attribute)) out.push_back(std::make_unique<MacElement>(element));
    return out;
  }

  AXUIElementRef element_;
};

}  // namespace

std::unique_ptr<dock::AccessibilityElement> MacAccessibilityElements::application(std::int64_t pid) const {
  AXUIElementRef element = AXUIElementCreateApplication(static_cast<pid_t>(pid));
  if (!element) return nullptr;
  return std::make_unique<MacElement>(element);
}

}  // namespace kolvo::platform
