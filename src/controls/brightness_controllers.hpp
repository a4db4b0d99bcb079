#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "controls/control_ports.hpp"

namespace kolvo::controls {

// The built-in display's brightness through DisplayServices, which macOS does not publish; a
// system without it simply has no brightness control.
class DisplayBrightnessController {
 public:
  static constexpr std::string_view kLibraryPath =
      "/System/Library/PrivateFrameworks/DisplayServices.framework/DisplayServices";
  static constexpr std::string_view kGetSymbol = "DisplayServicesGetBrightness";
  static constexpr std::string_view kSetSymbol = "DisplayServicesSetBrightness";

  // Resolves both entry points now; either may stay absent.
  explicit DisplayBrightnessController(PrivateFrameworksPort& frameworks);

  bool has_get_entry() const { return static_cast<bool>(get_brightness_); }
  bool has_set_entry() const { return static_cast<bool>(set_brightness_); }
  // Absent when it cannot be read: no entry point, or a non-zero status.
  std::optional<float> brightness() const;
  void set_brightness(float value);

 private:
  PrivateFrameworksPort& frameworks_;
  GetBrightnessEntry get_brightness_;
  SetBrightnessEntry set_brightness_;
};

// The keyboard backlight through CoreBrightness's client class, found by name at run time.
class KeyboardBacklightController {
 public:
  static constexpr std::string_view kLibraryPath =
      "/System/Library/PrivateFrameworks/CoreBrightness.framework/CoreBrightness";
  static constexpr std::string_view kClientClass = "KeyboardBrightnessClient";
  static constexpr std::string_view kCopyIDsSelector = "copyKeyboardBacklightIDs";
  static constexpr std::string_view kGetSelector = "brightnessForKeyboard:";
  static constexpr std::string_view kSetSelector = "setBrightness:forKeyboard:";

  // Creates the client and asks for the first keyboard's identifier; any failure on the way
  // leaves the control unavailable.
  explicit KeyboardBacklightController(PrivateFrameworksPort& frameworks);

  bool unavailable() const { return unavailable_; }
  std::uint64_t keyboard_id() const { return keyboard_id_; }
  // Absent when unavailable or when the reading is not a finite number.
  std::optional<float> brightness() const;
  void set_brightness(float value);

 private:
  std::unique_ptr<KeyboardBrightnessClient> client_;
  std::uint64_t keyboard_id_ = 0;
  bool unavailable_ = true;
};

}  // namespace kolvo::controls
