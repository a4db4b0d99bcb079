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

controls::ProcessOutcome MacProcessLauncher::run_process(const std::string& executable,
                                                         const std::vector<std::string>& arguments) {
  @autoreleasepool {
    NSTask* task = [[NSTask alloc] init];
    task.executableURL = [NSURL fileURLWithPath:ns_string(executable)];
    NSMutableArray<NSString*>* words = [NSMutableArray arrayWithCapacity:arguments.size()];
    for (const auto& argument : arguments) [words addObject:ns_string(argument)];
    task.arguments = words;
    NSPipe* output = [NSPipe pipe];
    NSPipe* errors = [NSPipe pipe];
    task.standardOutput = output;
    task.standardError = errors;
    NSError* failure = nil;
    if (![task launchAndReturnError:&failure]) return {};
    // Read both pipes to their ends before waiting, so a chatty child never blocks on a full pipe.
    [output.fileHandleForReading readDataToEndOfFile];
    NSData* error_bytes = [errors.fileHandleForReading readDataToEndOfFile];
    [task waitUntilExit];
    NSString* error_text = [[NSString alloc] initWithData:error_bytes encoding:NSUTF8StringEncoding];
    return {true, task.terminationStatus, utf8(error_text)};
  }
}

}  // namespace kolvo::platform
