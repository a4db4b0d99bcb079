#pragma once

// Text between C++ and Foundation, for the Objective-C++ adapters only.
#import <Foundation/Foundation.h>

#include <string>
#include <string_view>

namespace kolvo::platform {

inline NSString* ns_string(std::string_view text) {
  return [[NSString alloc] initWithBytes:text.data() length:text.size() encoding:NSUTF8StringEncoding];
}

// Empty for nil; a string that is not valid UTF-8 also reads as empty.
inline std::string utf8(NSString* text) {
  const char* bytes = text.UTF8String;
  return bytes ? std::string(bytes) : std::string();
}

}  // namespace kolvo::platform
