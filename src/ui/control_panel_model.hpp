#pragma once

#include <functional>
#include <optional>
#include <string>

#include "controls/control_services.hpp"
#include "prefs/settings_enums.hpp"
#include "sound/sound_effects_manager.hpp"
#include "ui/control_choices.hpp"

namespace kolvo::ui {

// What an Edge Slider or a Corner Dial shows.
struct ControlFace {
  std::string title;
  // 0…1 for the controls that have a level; absent for the ones that act on a press, and for a
  // level the Mac cannot read now.
  std::optional<double> level;
  // The value as words: "45%", "Dark", the output's name, the timer's label.
  std::string detail;
  friend bool operator==(const ControlFace&, const ControlFace&) = default;
};

// The steps a slider or dial clicks through: a detent at every sixteenth.
inline constexpr int kDetentSteps = 16;

// The slider's control: a slider edge shows volume, brightness or appearance.
prefs::CornerControlMode control_of(prefs::EdgeMode mode);

// The panels' side of the control services: what each control shows and what a drag, a turn or
// a click on it does. Every continuous value is 0…1.
class ControlPanelModel {
 public:
  using FrontmostPid = std::function<std::optional<std::int64_t>()>;

  ControlPanelModel(controls::ControlServices& services, sound::SoundEffectsManager& sounds, FrontmostPid frontmost_pid)
      : services_(services), sounds_(sounds), frontmost_pid_(std::move(frontmost_pid)) {}

  ControlFace face(prefs::CornerControlMode mode);

  // A drag to `level`: sets it, and clicks when it reaches another detent.
  void set_level(prefs::CornerControlMode mode, double level);
  // A dial turned by whole detents, positive clockwise: up a level, the next output, the next
  // tab, the right half of the screen.
  void turn(prefs::CornerControlMode mode, int detents);
  // A click without a drag.
  void press(prefs::CornerControlMode mode);

 private:
  std::optional<double> level_of(prefs::CornerControlMode mode);
  void cycle_output(int step);

  controls::ControlServices& services_;
  sound::SoundEffectsManager& sounds_;
  FrontmostPid frontmost_pid_;
};

}  // namespace kolvo::ui
