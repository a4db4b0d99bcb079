#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "prefs/preference_value.hpp"
#include "sound/sound_ports.hpp"

// The Mac's own interfaces, as thin as they come, under their macOS names. The control
// services hold every rule (clamping, thresholds, tables, geometry, debouncing) and talk only
// to these, so the same rules run against the real Mac and against the simulated one.
namespace kolvo::controls {

using sound::AudioObjectID;

// Four-character codes, as CoreAudio spells its selectors and scopes.
constexpr std::uint32_t four_char_code(const char (&code)[5]) {
  return (static_cast<std::uint32_t>(static_cast<unsigned char>(code[0])) << 24) |
         (static_cast<std::uint32_t>(static_cast<unsigned char>(code[1])) << 16) |
         (static_cast<std::uint32_t>(static_cast<unsigned char>(code[2])) << 8) |
         static_cast<std::uint32_t>(static_cast<unsigned char>(code[3]));
}

// AudioObjectPropertyAddress.
struct AudioPropertyAddress {
  std::uint32_t selector = 0;
  std::uint32_t scope = 0;
  std::uint32_t element = 0;
  friend bool operator==(const AudioPropertyAddress&, const AudioPropertyAddress&) = default;
};

namespace audio {
inline constexpr AudioObjectID kSystemObject = 1;  // kAudioObjectSystemObject
inline constexpr AudioObjectID kUnknownObject = 0;  // kAudioObjectUnknown
inline constexpr std::uint32_t kScopeGlobal = four_char_code("glob");
inline constexpr std::uint32_t kScopeOutput = four_char_code("outp");
inline constexpr std::uint32_t kElementMain = 0;
inline constexpr AudioPropertyAddress kDefaultOutputDevice{four_char_code("dOut"), kScopeGlobal, kElementMain};
inline constexpr AudioPropertyAddress kDevices{four_char_code("dev#"), kScopeGlobal, kElementMain};
inline constexpr AudioPropertyAddress kOutputStreams{four_char_code("stm#"), kScopeOutput, kElementMain};
inline constexpr AudioPropertyAddress kName{four_char_code("lnam"), kScopeGlobal, kElementMain};
inline constexpr AudioPropertyAddress kVirtualMainVolume{four_char_code("vmvc"), kScopeOutput, kElementMain};
inline constexpr AudioPropertyAddress kMute{four_char_code("mute"), kScopeOutput, kElementMain};
inline constexpr AudioPropertyAddress kVolumeScalar{four_char_code("volm"), kScopeOutput, kElementMain};
}  // namespace audio

// The AudioObject functions. A read answers nothing when the call reports an error.
class CoreAudioPort {
 public:
  virtual ~CoreAudioPort() = default;
  // AudioObjectHasProperty.
  virtual bool has_property(AudioObjectID object, const AudioPropertyAddress& address) const = 0;
  // AudioObjectIsPropertySettable; false when the call fails.
  virtual bool is_property_settable(AudioObjectID object, const AudioPropertyAddress& address) const = 0;
  // AudioObjectGetPropertyDataSize.
  virtual std::optional<std::uint32_t> property_data_size(AudioObjectID object,
                                                          const AudioPropertyAddress& address) const = 0;
  // AudioObjectGetPropertyData for a Float32, a UInt32, an AudioObjectID array and a CFString.
  virtual std::optional<float> float32_value(AudioObjectID object, const AudioPropertyAddress& address) const = 0;
  virtual std::optional<std::uint32_t> uint32_value(AudioObjectID object, const AudioPropertyAddress& address) const = 0;
  virtual std::optional<std::vector<AudioObjectID>> object_list(AudioObjectID object,
                                                                const AudioPropertyAddress& address) const = 0;
  virtual std::optional<std::string> string_value(AudioObjectID object, const AudioPropertyAddress& address) const = 0;
  // AudioObjectSetPropertyData; false when the call reports an error.
  virtual bool set_float32(AudioObjectID object, const AudioPropertyAddress& address, float value) = 0;
  virtual bool set_uint32(AudioObjectID object, const AudioPropertyAddress& address, std::uint32_t value) = 0;
};

// DisplayServicesGetBrightness and DisplayServicesSetBrightness: (display, out) -> status and
// (display, value) -> status.
using GetBrightnessEntry = std::function<std::int32_t(std::uint32_t display, float* brightness)>;
using SetBrightnessEntry = std::function<std::int32_t(std::uint32_t display, float brightness)>;

// An instance of CoreBrightness's keyboard client, reached through the Objective-C runtime.
class KeyboardBrightnessClient {
 public:
  virtual ~KeyboardBrightnessClient() = default;
  // respondsToSelector:
  virtual bool responds_to(std::string_view selector) const = 0;
  // copyKeyboardBacklightIDs: absent when the answer is not an array.
  virtual std::optional<std::vector<std::uint64_t>> copy_keyboard_backlight_ids() = 0;
  // brightnessForKeyboard:
  virtual float brightness_for_keyboard(std::uint64_t keyboard) = 0;
  // setBrightness:forKeyboard:
  virtual void set_brightness_for_keyboard(float brightness, std::uint64_t keyboard) = 0;
};

// Private frameworks loaded at run time, so that a macOS without them only loses the feature.
class PrivateFrameworksPort {
 public:
  virtual ~PrivateFrameworksPort() = default;
  // dlopen(path, RTLD_NOW): false when the library cannot be loaded.
  virtual bool load_library(std::string_view path) = 0;
  // dlsym in a loaded library; empty when the symbol is missing.
  virtual GetBrightnessEntry get_brightness_symbol(std::string_view path, std::string_view symbol) = 0;
  virtual SetBrightnessEntry set_brightness_symbol(std::string_view path, std::string_view symbol) = 0;
  // NSClassFromString, then alloc and init; null when the class is missing or init fails.
  virtual std::unique_ptr<KeyboardBrightnessClient> make_keyboard_brightness_client(std::string_view class_name) = 0;
  // CGMainDisplayID.
  virtual std::uint32_t main_display_id() const = 0;
};

// A keyboard event for CGEventCreateKeyboardEvent.
struct KeyboardEvent {
  std::uint16_t key_code = 0;
  bool key_down = false;
  std::optional<std::uint64_t> flags;  // CGEventSetFlags when present
  friend bool operator==(const KeyboardEvent&, const KeyboardEvent&) = default;
};

// NSEvent otherEventWithType:NSEventTypeSystemDefined… as posted for a media key.
struct SystemDefinedEvent {
  std::uint32_t type = 14;
  std::int16_t subtype = 8;
  double location_x = 0, location_y = 0;
  std::uint64_t modifier_flags = 0;
  double timestamp = 0;
  std::int64_t window_number = 0;
  std::int64_t data1 = 0;
  std::int64_t data2 = -1;
  friend bool operator==(const SystemDefinedEvent&, const SystemDefinedEvent&) = default;
};

// Quartz event services: events come from a source with the HID-system state and are posted
// at the HID event tap.
class HIDEventPort {
 public:
  virtual ~HIDEventPort() = default;
  // CGEventSourceCreate(kCGEventSourceStateHIDSystemState), one CGEvent per entry from it,
  // then CGEventPost(kCGHIDEventTap, …) for each in order. When the source or any event
  // cannot be created nothing is posted and the answer is false.
  virtual bool post_keyboard_events(const std::vector<KeyboardEvent>& events) = 0;
  // The NSEvent's CGEvent posted at the HID tap; false when the event cannot be made.
  virtual bool post_system_defined(const SystemDefinedEvent& event) = 0;
  // NSProcessInfo.systemUptime, in seconds.
  virtual double system_uptime() const = 0;
};

// NSAppleScript, in process.
struct AppleScriptOutcome {
  bool created = false;                // initWithSource: answered an object
  std::optional<std::string> error;    // executeAndReturnError: filled the error dictionary
};

class AppleScriptPort {
 public:
  virtual ~AppleScriptPort() = default;
  virtual AppleScriptOutcome run_apple_script(const std::string& source) = 0;
};

// A program run to its end, as posix_spawn and NSTask run one.
struct ProcessRequest {
  std::string executable = {};
  std::vector<std::string> arguments = {};
  // Standard error is always read. Standard output goes nowhere, or joins it in the one pipe,
  // interleaved as the child writes. With one pipe there is no order of reads that can deadlock
  // against a child filling the other one first.
  enum class Output { errors_only, joined };
  Output output = Output::errors_only;
  // How long the child may run; past it the child (and whatever it started) is terminated.
  // Absent: however long it takes.
  std::optional<std::chrono::steady_clock::duration> watchdog = std::nullopt;
};

struct ProcessOutcome {
  // Output past this is drained and dropped: it only feeds the log, or a message.
  static constexpr std::size_t kKeptOutputBytes = 64 * 1024;

  bool launched = false;
  // The exit code; 128 plus the signal's number when a signal ended the child.
  int exit_status = 0;
  // What the pipe carried, read to its end; the first kKeptOutputBytes, invalid UTF-8 repaired.
  std::string output = {};
  // Why the program could not be started, as a sentence; empty when it was.
  std::string launch_error = {};
  // The watchdog ended it.
  bool timed_out = false;
};

class ProcessLauncherPort {
 public:
  virtual ~ProcessLauncherPort() = default;
  // Blocks until the child has exited and its output is read. Called on background queues,
  // more than one at a time; the adapter must allow that.
  virtual ProcessOutcome run_process(const ProcessRequest& request) = 0;
};

// NSUserDefaults persistentDomainForName:NSGlobalDomain, one key of it. Absent when the domain
// or the key is missing.
class GlobalPreferencesPort {
 public:
  virtual ~GlobalPreferencesPort() = default;
  virtual std::optional<prefs::PreferenceValue> global_domain_value(std::string_view key) const = 0;
};

// An AXUIElement, reached by attribute name. Points and sizes are in the accessibility space:
// origin at the top-left of the primary display, y growing downward.
struct AXPoint {
  double x = 0, y = 0;
};
struct AXSize {
  double width = 0, height = 0;
};

class AXElement {
 public:
  virtual ~AXElement() = default;
  // AXUIElementCopyAttributeValue, by the value's type; absent on an error or another type.
  virtual std::optional<std::string> string_attribute(std::string_view attribute) const = 0;
  virtual std::optional<bool> bool_attribute(std::string_view attribute) const = 0;
  virtual std::optional<AXPoint> point_attribute(std::string_view attribute) const = 0;
  virtual std::optional<AXSize> size_attribute(std::string_view attribute) const = 0;
  virtual std::unique_ptr<AXElement> element_attribute(std::string_view attribute) const = 0;
  virtual std::vector<std::unique_ptr<AXElement>> element_array_attribute(std::string_view attribute) const = 0;
  // AXUIElementSetAttributeValue (with AXValueCreate for points and sizes): false on an error.
  virtual bool set_bool_attribute(std::string_view attribute, bool value) = 0;
  virtual bool set_point_attribute(std::string_view attribute, AXPoint value) = 0;
  virtual bool set_size_attribute(std::string_view attribute, AXSize value) = 0;
};

class AXApplicationsPort {
 public:
  virtual ~AXApplicationsPort() = default;
  // AXUIElementCreateApplication.
  virtual std::unique_ptr<AXElement> create_application(std::int64_t pid) const = 0;
};

}  // namespace kolvo::controls
