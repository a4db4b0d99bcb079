#pragma once

#include <optional>
#include <string>

#include "prefs/settings_enums.hpp"
#include "ui/page_content.hpp"

// The names the windows and panels give the edge modes and the corner controls, and the choices
// built from them, so the settings, onboarding and the panels all say the same thing.
namespace kolvo::ui {

std::string edge_mode_title(prefs::EdgeMode mode);
std::string control_title(prefs::CornerControlMode mode);

// A choice of every edge mode, and of every corner control, by their stored names.
ChoiceRow edge_choice(std::string id, std::string title, prefs::EdgeMode selected);
ChoiceRow control_choice(std::string id, std::string title, prefs::CornerControlMode selected,
                         std::optional<std::string> note = std::nullopt);

}  // namespace kolvo::ui
