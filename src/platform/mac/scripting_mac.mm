#import <Foundation/Foundation.h>

#include <mutex>

#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/objc_text.hpp"

namespace kolvo::platform {

controls::AppleScriptOutcome MacAppleScript::run_apple_script(const std::string& source) {
  // NSAppleScript is not safe to run concurrently; scripts from different queues take turns.
  static std::mutex running;
  std::lock_guard lock(running);
  @autoreleasepool {
    NSAppleScript* script = [[NSAppleScript alloc] initWithSource:ns_string(source)];
    if (!script) return {false, std::nullopt};
    NSDictionary<NSString*, id>* error = nil;
    [script executeAndReturnError:&error];
    if (!error) return {true, std::nullopt};
    id message = error[NSAppleScriptErrorMessage];
    return {true, [message isKindOfClass:NSString.class] ? utf8(message) : std::string("AppleScript error")};
  }
}

}  // namespace kolvo::platform
