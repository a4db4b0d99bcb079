#pragma once

// Owned AXUIElement references and typed attribute reads, shared by the Dock walk and the
// window snapper.
#import <ApplicationServices/ApplicationServices.h>
#import <Foundation/Foundation.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/mac/objc_text.hpp"

namespace kolvo::platform::ax {

// The attribute's value with a +1 reference, or null on any error.
inline CFTypeRef copy_attribute(AXUIElementRef element, CFStringRef attribute) {
  CFTypeRef value = nullptr;
  if (AXUIElementCopyAttributeValue(element, attribute, &value) != kAXErrorSuccess) return nullptr;
  return value;
}

inline std::optional<std::string> string_attribute(AXUIElementRef element, CFStringRef attribute) {
  id value = CFBridgingRelease(copy_attribute(element, attribute));
  if (![value isKindOfClass:NSString.class]) return std::nullopt;
  return utf8(value);
}

inline std::optional<bool> bool_attribute(AXUIElementRef element, CFStringRef attribute) {
  CFTypeRef value = copy_attribute(element, attribute);
  if (!value) return std::nullopt;
  std::optional<bool> answer;
  if (CFGetTypeID(value) == CFBooleanGetTypeID()) answer = CFBooleanGetValue(static_cast<CFBooleanRef>(value));
  CFRelease(value);
  return answer;
}

// An AXValue of the given type (a CGPoint, a CGSize) into `out`.
inline bool value_attribute(AXUIElementRef element, CFStringRef attribute, AXValueType type, void* out) {
  CFTypeRef value = copy_attribute(element, attribute);
  if (!value) return false;
  const bool ok = CFGetTypeID(value) == AXValueGetTypeID() && AXValueGetValue(static_cast<AXValueRef>(value), type, out);
  CFRelease(value);
  return ok;
}

// Each element of an array attribute, retained once for the caller.
inline std::vector<AXUIElementRef> copy_elements(AXUIElementRef element, CFStringRef attribute) {
  std::vector<AXUIElementRef> out;
  CFTypeRef value = copy_attribute(element, attribute);
  if (!value) return out;
  if (CFGetTypeID(value) == CFArrayGetTypeID()) {
    CFArrayRef array = static_cast<CFArrayRef>(value);
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
      auto item = static_cast<AXUIElementRef>(const_cast<void*>(CFArrayGetValueAtIndex(array, i)));
      if (!item || CFGetTypeID(item) != AXUIElementGetTypeID()) continue;
      CFRetain(item);
      out.push_back(item);
    }
  }
  CFRelease(value);
  return out;
}

}  // namespace kolvo::platform::ax
