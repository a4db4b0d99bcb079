#pragma once

#include <optional>
#include <string>

#include "controls/control_ports.hpp"

namespace kolvo::controls {

// Whether a value of the global "AppleInterfaceStyle" key means dark: a string equal to
// "dark" in any case. Anything else, missing included, is light.
bool is_dark_interface_style(const std::optional<prefs::PreferenceValue>& style);

// Light and dark mode. Reading is a preference look-up; changing goes through System Events,
// the one supported way to switch the system's appearance.
class AppearanceController {
 public:
  static constexpr std::string_view kInterfaceStyleKey = "AppleInterfaceStyle";

  AppearanceController(const GlobalPreferencesPort& preferences, AppleScriptPort& scripts)
      : preferences_(preferences), scripts_(scripts) {}

  bool is_dark_mode() const;
  // True when the system is now in the wished mode: already there, or the script ran without
  // an error. The first run asks the user to allow automation of System Events; a refusal is
  // a false here.
  bool set_dark_mode(bool dark);

  static std::string dark_mode_script(bool dark);

 private:
  const GlobalPreferencesPort& preferences_;
  AppleScriptPort& scripts_;
};

}  // namespace kolvo::controls
