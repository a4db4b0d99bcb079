#import <ApplicationServices/ApplicationServices.h>

#include "platform/mac/ax_element_mac.hpp"
#include "platform/mac/mac_adapters.hpp"

namespace kolvo::platform {
namespace {

class MacAXElement final : public controls::AXElement {
 public:
  // Takes ownership of a +1 reference.
  explicit MacAXElement(AXUIElementRef element) : element_(element) {}
  ~MacAXElement() override { CFRelease(element_); }
  MacAXElement(const MacAXElement&) = delete;
  MacAXElement& operator=(const MacAXElement&) = delete;

  std::optional<std::string> string_attribute(std::string_view attribute) const override {
    return ax::string_attribute(element_, (__bridge CFStringRef)name(attribute));
  }
  std::optional<bool> bool_attribute(std::string_view attribute) const override {
    return ax::bool_attribute(element_, (__bridge CFStringRef)name(attribute));
  }
  std::optional<controls::AXPoint> point_attribute(std::string_view attribute) const override {
    CGPoint point{};
    if (!ax::value_attribute(element_, (__bridge CFStringRef)name(attribute), kAXValueTypeCGPoint, &point)) return std::nullopt;
    return controls::AXPoint{point.x, point.y};
  }
  std::optional<controls::AXSize> size_attribute(std::string_view attribute) const override {
    CGSize size{};
    if (!ax::value_attribute(element_, (__bridge CFStringRef)name(attribute), kAXValueTypeCGSize, &size)) return std::nullopt;
    return controls::AXSize{size.width, size.height};
  }
  std::unique_ptr<controls::AXElement> element_attribute(std::string_view attribute) const override {
    CFTypeRef value = ax::copy_attribute(element_, (__bridge CFStringRef)name(attribute));
    if (!value) return nullptr;
    if (CFGetTypeID(value) != AXUIElementGetTypeID()) {
      CFRelease(value);
      return nullptr;
    }
    return std::make_unique<MacAXElement>(static_cast<AXUIElementRef>(value));
  }
  std::vector<std::unique_ptr<controls::AXElement>> element_array_attribute(std::string_view attribute) const override {
    std::vector<std::unique_ptr<controls::AXElement>> out;
    for (AXUIElementRef element : ax::copy_elements(element_, (__bridge CFStringRef)name(attribute))) {
      out.push_back(std::make_unique<MacAXElement>(element));
    }
    return out;
  }
  bool set_bool_attribute(std::string_view attribute, bool value) override {
    return AXUIElementSetAttributeValue(element_, (__bridge CFStringRef)name(attribute), value ? kCFBooleanTrue : kCFBooleanFalse) ==
           kAXErrorSuccess;
  }
  bool set_point_attribute(std::string_view attribute, controls::AXPoint value) override {
    const CGPoint point{value.x, value.y};
    return set_value(attribute, AXValueCreate(kAXValueTypeCGPoint, &point));
  }
  bool set_size_attribute(std::string_view attribute, controls::AXSize value) override {
    const CGSize size{value.width, value.height};
    return set_value(attribute, AXValueCreate(kAXValueTypeCGSize, &size));
  }

 private:
  // Returned as an object so that it lives to the end of the caller's expression.
  static NSString* name(std::string_view attribute) { return ns_string(attribute); }

  // Takes ownership of `value`.
  bool set_value(std::string_view attribute, AXValueRef value) {
    if (!value) return false;
    const bool ok = AXUIElementSetAttributeValue(element_, (__bridge CFStringRef)name(attribute), value) == kAXErrorSuccess;
    CFRelease(value);
    return ok;
  }

  AXUIElementRef element_;
};

}  // namespace

std::unique_ptr<controls::AXElement> MacAXApplications::create_application(std::int64_t pid) const {
  AXUIElementRef element = AXUIElementCreateApplication(static_cast<pid_t>(pid));
  if (!element) return nullptr;
  return std::make_unique<MacAXElement>(element);
}

}  // namespace kolvo::platform
