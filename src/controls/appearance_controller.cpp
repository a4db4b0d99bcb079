#include "controls/appearance_controller.hpp"

#include <algorithm>
#include <cctype>

namespace kolvo::controls {

bool is_dark_interface_style(const std::optional<prefs::PreferenceValue>& style) {
  const auto* text = style ? style->get_if<std::string>() : nullptr;
  if (!text) return false;
  std::string lowered = *text;
  std::transform(lowered.begin(), lowered.end(), lowered.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lowered == "dark";
}

bool AppearanceController::is_dark_mode() const {
  return is_dark_interface_style(preferences_.global_domain_value(kInterfaceStyleKey));
}

bool AppearanceController::set_dark_mode(bool dark) {
  if (dark == is_dark_mode()) return true;
  const AppleScriptOutcome outcome = scripts_.run_apple_script(dark_mode_script(dark));
  return outcome.created && !outcome.error;
}

std::string AppearanceController::dark_mode_script(bool dark) {
  return std::string("tell application \"System Events\"\n    tell appearance preferences\n        set dark mode to ") +
         (dark ? "true" : "false") + "\n    end tell\nend tell";
}

}  // namespace kolvo::controls
