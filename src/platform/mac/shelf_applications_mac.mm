#import <AppKit/AppKit.h>
#import <ApplicationServices/ApplicationServices.h>
#import <Carbon/Carbon.h>
#import <CoreServices/CoreServices.h>

#include <array>
#include <map>
#include <memory>
#include <mutex>

#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/objc_text.hpp"

// What the media and creative widgets take from the Mac: AppleScript run in process, the
// running applications, keystrokes posted to one of them, and its accessibility notifications.
namespace kolvo::platform {
namespace {

// A compiled script kept for reuse. One instance is never run on two threads at once; separate
// instances run side by side, so Spotify's poll does not wait behind an Adobe script.
struct CompiledScript {
  NSAppleScript* script = nil;
  std::mutex running;
};

std::mutex& cache_mutex() {
  static std::mutex mutex;
  return mutex;
}

std::map<std::string, std::shared_ptr<CompiledScript>>& compiled_cache() {
  static auto* cache = new std::map<std::string, std::shared_ptr<CompiledScript>>();
  return *cache;
}

std::shared_ptr<CompiledScript> compile(const std::string& source) {
  auto compiled = std::make_shared<CompiledScript>();
  compiled->script = [[NSAppleScript alloc] initWithSource:ns_string(source)];
  NSDictionary<NSString*, id>* error = nil;
  if (!compiled->script || ![compiled->script compileAndReturnError:&error]) return nullptr;
  return compiled;
}

bool is_number(DescType type) {
  switch (type) {
    case typeSInt16:
    case typeSInt32:
    case typeSInt64:
    case typeUInt16:
    case typeUInt32:
    case typeUInt64:
    case typeIEEE32BitFloatingPoint:
    case typeIEEE64BitFloatingPoint: return true;
    default: return false;
  }
}

// Replies nest lists in lists at most a level or two; anything deeper is cut off here.
constexpr int kMaximumReplyDepth = 16;
constexpr NSInteger kMaximumReplyItems = 100000;

shelf::ScriptValue value_of(NSAppleEventDescriptor* descriptor, int depth) {
  shelf::ScriptValue value;
  if (!descriptor) return value;
  if (descriptor.descriptorType == typeAEList) {
    std::vector<shelf::ScriptValue> items;
    const NSInteger count = std::min(descriptor.numberOfItems, kMaximumReplyItems);
    for (NSInteger i = 1; i <= count && depth < kMaximumReplyDepth; ++i) {
      items.push_back(value_of([descriptor descriptorAtIndex:i], depth + 1));
    }
    value.list = std::move(items);
    return value;
  }
  if (is_number(descriptor.descriptorType)) value.number = descriptor.doubleValue;
  if (NSString* text = descriptor.stringValue) value.text = utf8(text);
  return value;
}

}  // namespace

shelf::ScriptRun MacScriptRunner::run_script(const std::string& source, const std::optional<std::string>& cache_key) {
  @autoreleasepool {
    std::shared_ptr<CompiledScript> compiled;
    if (cache_key) {
      std::lock_guard lock(cache_mutex());
      auto& cache = compiled_cache();
      if (auto found = cache.find(*cache_key); found != cache.end()) {
        compiled = found->second;
      } else {
        compiled = compile(source);
        if (compiled) cache.emplace(*cache_key, compiled);
      }
    } else {
      compiled = compile(source);
    }
    if (!compiled) return shelf::ScriptRun::not_compiled();

    std::lock_guard running(compiled->running);
    NSDictionary<NSString*, id>* error = nil;
    NSAppleEventDescriptor* reply = [compiled->script executeAndReturnError:&error];
    if (error) {
      id number = error[NSAppleScriptErrorNumber];
      id message = error[NSAppleScriptErrorMessage];
      return shelf::ScriptRun::error(
          [number isKindOfClass:NSNumber.class] ? [number longLongValue] : 0,
          [message isKindOfClass:NSString.class] ? std::optional(utf8(message)) : std::nullopt);
    }
    return shelf::ScriptRun::returned(value_of(reply, 0));
  }
}

std::vector<shelf::RunningProcess> MacApplicationProcesses::running() const {
  @autoreleasepool {
    std::vector<shelf::RunningProcess> result;
    for (NSRunningApplication* application in NSWorkspace.sharedWorkspace.runningApplications) {
      if (application.terminated || !application.bundleIdentifier) continue;
      result.push_back({utf8(application.bundleIdentifier), application.processIdentifier});
    }
    return result;
  }
}

std::optional<std::int64_t> MacApplicationProcesses::frontmost_pid() const {
  @autoreleasepool {
    NSRunningApplication* front = NSWorkspace.sharedWorkspace.frontmostApplication;
    return front ? std::optional<std::int64_t>(front.processIdentifier) : std::nullopt;
  }
}

bool MacApplicationProcesses::activate(std::int64_t pid) {
  @autoreleasepool {
    NSRunningApplication* application =
        [NSRunningApplication runningApplicationWithProcessIdentifier:static_cast<pid_t>(pid)];
    if (!application) return false;
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
    // Kolvo is an agent in the background: without this the request is ignored.
    return [application activateWithOptions:NSApplicationActivateIgnoringOtherApps];
#pragma clang diagnostic pop
  }
}

std::optional<std::uint16_t> MacApplicationProcesses::key_code_typing(char letter) const {
  @autoreleasepool {
    TISInputSourceRef source = TISCopyCurrentKeyboardLayoutInputSource();
    if (!source) return std::nullopt;
    std::optional<std::uint16_t> found;
    auto* data = static_cast<CFDataRef>(TISGetInputSourceProperty(source, kTISPropertyUnicodeKeyLayoutData));
    if (data) {
      const auto* layout = reinterpret_cast<const UCKeyboardLayout*>(CFDataGetBytePtr(data));
      for (UInt16 code = 0; code < 128 && !found; ++code) {
        UInt32 dead_keys = 0;
        UniChar typed[4] = {};
        UniCharCount length = 0;
        const OSStatus status =
            UCKeyTranslate(layout, code, kUCKeyActionDown, 0, LMGetKbdType(), kUCKeyTranslateNoDeadKeysBit,
                           &dead_keys, 4, &length, typed);
        if (status == noErr && length == 1 && typed[0] == static_cast<UniChar>(letter)) found = code;
      }
    }
    CFRelease(source);
    return found;
  }
}

bool MacApplicationProcesses::post_key_stroke(std::int64_t pid, shelf::KeyStroke stroke) {
  CGEventSourceRef source = CGEventSourceCreate(kCGEventSourceStatePrivate);
  if (!source) return false;
  bool posted = true;
  for (const bool down : {true, false}) {
    CGEventRef event = CGEventCreateKeyboardEvent(source, stroke.key_code, down);
    if (!event) {
      posted = false;
      break;
    }
    CGEventSetFlags(event, static_cast<CGEventFlags>(stroke.flags));
    CGEventPostToPid(static_cast<pid_t>(pid), event);
    CFRelease(event);
  }
  CFRelease(source);
  return posted;
}

namespace {

struct InteractionContext {
  base::Executor* main = nullptr;
  std::function<void()> interacted;
  std::shared_ptr<bool> alive = std::make_shared<bool>(true);
};

void interaction_callback(AXObserverRef, AXUIElementRef, CFStringRef, void* refcon) {
  auto* context = static_cast<InteractionContext*>(refcon);
  context->main->post([alive = std::weak_ptr<bool>(context->alive), interacted = context->interacted] {
    if (alive.lock()) interacted();
  });
}

const std::array<CFStringRef, 5> kInteractionNotifications{
    CFSTR("AXFocusedWindowChanged"), CFSTR("AXFocusedUIElementChanged"), CFSTR("AXUIElementDestroyed"),
    CFSTR("AXValueChanged"), CFSTR("AXWindowCreated")};

class MacInteractionObservation final : public shelf::InteractionObservation {
 public:
  MacInteractionObservation(AXObserverRef observer, AXUIElementRef application,
                            std::unique_ptr<InteractionContext> context)
      : observer_(observer), application_(application), context_(std::move(context)) {}
  ~MacInteractionObservation() override {
    *context_->alive = false;
    for (CFStringRef name : kInteractionNotifications) AXObserverRemoveNotification(observer_, application_, name);
    CFRunLoopRemoveSource(CFRunLoopGetMain(), AXObserverGetRunLoopSource(observer_), kCFRunLoopCommonModes);
    CFRelease(application_);
    CFRelease(observer_);
  }

 private:
  AXObserverRef observer_;
  AXUIElementRef application_;
  std::unique_ptr<InteractionContext> context_;
};

}  // namespace

std::unique_ptr<shelf::InteractionObservation> MacApplicationProcesses::observe_interactions(
    std::int64_t pid, base::Executor& main, std::function<void()> interacted) {
  AXObserverRef observer = nullptr;
  if (AXObserverCreate(static_cast<pid_t>(pid), interaction_callback, &observer) != kAXErrorSuccess) return nullptr;
  AXUIElementRef application = AXUIElementCreateApplication(static_cast<pid_t>(pid));
  auto context = std::make_unique<InteractionContext>();
  context->main = &main;
  context->interacted = std::move(interacted);
  int added = 0;
  for (CFStringRef name : kInteractionNotifications) {
    if (AXObserverAddNotification(observer, application, name, context.get()) == kAXErrorSuccess) ++added;
  }
  if (added == 0) {
    // No permission, or the process is gone.
    CFRelease(application);
    CFRelease(observer);
    return nullptr;
  }
  CFRunLoopAddSource(CFRunLoopGetMain(), AXObserverGetRunLoopSource(observer), kCFRunLoopCommonModes);
  return std::make_unique<MacInteractionObservation>(observer, application, std::move(context));
}

}  // namespace kolvo::platform
