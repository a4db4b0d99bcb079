#include "ui/control_choices.hpp"

namespace kolvo::ui {
namespace {

template <class Enum, std::size_t N>
std::vector<ChoiceOption> options_of(const base::EnumTable<Enum, N>& table, std::string (*title)(Enum)) {
  std::vector<ChoiceOption> options;
  for (const auto& [value, name] : table.entries) options.push_back({std::string(name), title(value)});
  return options;
}

}  // namespace

std::string edge_mode_title(prefs::EdgeMode mode) {
  switch (mode) {
    case prefs::EdgeMode::dock: return "Hidden Dock";
    case prefs::EdgeMode::volume: return "Volume";
    case prefs::EdgeMode::brightness: return "Brightness";
    case prefs::EdgeMode::appearance: return "Appearance";
  }
  return {};
}

std::string control_title(prefs::CornerControlMode mode) {
  using prefs::CornerControlMode;
  switch (mode) {
    case CornerControlMode::off: return "Off";
    case CornerControlMode::volume: return "Volume";
    case CornerControlMode::brightness: return "Brightness";
    case CornerControlMode::appearance: return "Appearance";
    case CornerControlMode::keyboardBacklight: return "Keyboard Backlight";
    case CornerControlMode::audioOutput: return "Audio Output";
    case CornerControlMode::playPause: return "Play/Pause";
    case CornerControlMode::showDesktop: return "Show Desktop";
    case CornerControlMode::tabCarousel: return "Tab Stepping";
    case CornerControlMode::windowSnap: return "Window Snapping";
    case CornerControlMode::timer: return "Timer";
  }
  return {};
}

ChoiceRow edge_choice(std::string id, std::string title, prefs::EdgeMode selected) {
  return {std::move(id), std::move(title), options_of(prefs::kEdgeModeTable, edge_mode_title),
          std::string(prefs::to_string(selected))};
}

ChoiceRow control_choice(std::string id, std::string title, prefs::CornerControlMode selected,
                         std::optional<std::string> note) {
  return {std::move(id),
          std::move(title),
          options_of(prefs::kCornerControlModeTable, control_title),
          std::string(prefs::to_string(selected)),
          true,
          std::move(note)};
}

}  // namespace kolvo::ui
