#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "overlay/activation_zones.hpp"

// What the Controls and Profiles pages say about edges, corners and their conflicts.
namespace kolvo::ui {

inline constexpr std::string_view kEdgeExplanation =
    "Each edge shows either Hidden Dock or an Edge Slider. Setting an edge to a slider replaces Hidden Dock on that "
    "edge.";
inline constexpr std::string_view kOnboardingEdgeWarning =
    "Keep at least one edge on Hidden Dock, or it has nowhere to open.";

// The Hidden Dock's status line for the current edges.
std::string hidden_dock_status(const overlay::ZoneSettings& settings);

// Why a corner's dial does nothing, or absent when it works. `configurator` picks the short
// form the corner configurator uses for a pressure point.
std::optional<std::string> dial_conflict(prefs::Corner corner, const overlay::ZoneSettings& settings,
                                         bool configurator = false);

// The advice shown with Pressure Point on, naming the bottom corners it takes; absent when off.
std::optional<std::string> pressure_point_advice(const overlay::ZoneSettings& settings);

}  // namespace kolvo::ui
