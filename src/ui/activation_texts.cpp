#include "ui/activation_texts.hpp"

namespace kolvo::ui {
namespace {

using dock::Side;

std::string side_name(Side side) { return side == Side::left ? "left" : "right"; }

std::string capitalized(std::string text) {
  if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 'a' + 'A');
  return text;
}

}  // namespace

std::string hidden_dock_status(const overlay::ZoneSettings& s) {
  const bool left = s.side_active(Side::left);
  const bool right = s.side_active(Side::right);
  if (!left && !right) return "No edge is turned on. Turn on an edge to use Hidden Dock.";
  const bool left_dock = left && !s.has_slider(Side::left);
  const bool right_dock = right && !s.has_slider(Side::right);
  if (left && right && !left_dock && !right_dock) {
    return "Both edges are set to Edge Sliders. Set one back to Hidden Dock to use it.";
  }
  if (left != right && !left_dock && !right_dock) {
    const Side only = left ? Side::left : Side::right;
    return "The " + side_name(only) + " edge is set to " + std::string(prefs::to_string(s.edge_mode(only))) +
           ". Set an edge to Hidden Dock to use it.";
  }
  if (left_dock && right_dock) return "Hidden Dock opens from both edges of your Dock.";
  return "Hidden Dock opens from the " + side_name(left_dock ? Side::left : Side::right) + " edge of your Dock.";
}

std::optional<std::string> dial_conflict(prefs::Corner corner, const overlay::ZoneSettings& s, bool configurator) {
  if (!overlay::is_dial_blocked(corner, s)) return std::nullopt;
  const Side side = corner == prefs::Corner::bottomLeft ? Side::left : Side::right;
  if (s.has_slider(side)) {
    return "Inactive: the " + std::string(prefs::to_string(s.edge_mode(side))) + " control already uses this corner.";
  }
  if (configurator) return capitalized(side_name(side)) + " Dock pressure zone already uses this corner.";
  return "Inactive: Hidden Dock's pressure point on the " + side_name(side) + " already uses this corner.";
}

std::optional<std::string> pressure_point_advice(const overlay::ZoneSettings& s) {
  if (!s.pressure_mode) return std::nullopt;
  const bool left = s.side_active(Side::left);
  const bool right = s.side_active(Side::right);
  if (left && right) {
    return "Keep the bottom-left and bottom-right corners free. Pressure Point uses them to open Hidden Dock.";
  }
  if (!left && !right) return std::nullopt;
  return "Keep the bottom-" + side_name(left ? Side::left : Side::right) +
         " corner free. Pressure Point uses it to open Hidden Dock.";
}

}  // namespace kolvo::ui
