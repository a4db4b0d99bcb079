#import <Foundation/Foundation.h>

#include <mutex>

#include "base/utf8.hpp"
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

controls::ProcessOutcome MacProcessLauncher::run_process(const std::string& executable,
                                                         const std::vector<std::string>& arguments) {
  @autoreleasepool {
    NSTask* task = [[NSTask alloc] init];
    task.executableURL = [NSURL fileURLWithPath:ns_string(executable)];
    NSMutableArray<NSString*>* words = [NSMutableArray arrayWithCapacity:arguments.size()];
    for (const auto& argument : arguments) [words addObject:ns_string(argument)];
    task.arguments = words;
    // Nothing reads standard output, so it goes nowhere. With one pipe left there is no order of
    // reads that can deadlock against a child filling the other one first.
    task.standardOutput = [NSFileHandle fileHandleWithNullDevice];
    NSPipe* errors = [NSPipe pipe];
    task.standardError = errors;
    NSError* failure = nil;
    if (![task launchAndReturnError:&failure]) return {};
    // Drain to the end so the child never blocks, keeping only the first part for the log.
    NSMutableData* kept = [NSMutableData data];
    NSFileHandle* reading = errors.fileHandleForReading;
    for (NSData* chunk = reading.availableData; chunk.length > 0; chunk = reading.availableData) {
      const NSUInteger room = kept.length < controls::ProcessOutcome::kKeptErrorBytes
                                  ? controls::ProcessOutcome::kKeptErrorBytes - kept.length
                                  : 0;
      [kept appendBytes:chunk.bytes length:MIN(room, chunk.length)];
    }
    [task waitUntilExit];
    return {true, task.terminationStatus,
            base::repaired_utf8({static_cast<const char*>(kept.bytes), static_cast<std::size_t>(kept.length)})};
  }
}

}  // namespace kolvo::platform
