#include "ui/control_panel_model.hpp"

#include <algorithm>
#include <cmath>

namespace kolvo::ui {
namespace {

using prefs::CornerControlMode;

std::string percent(double level) { return std::to_string(static_cast<int>(std::lround(level * 100))) + "%"; }

int detent_of(double level) { return static_cast<int>(std::floor(level * kDetentSteps + 1e-9)); }

}  // namespace

prefs::CornerControlMode control_of(prefs::EdgeMode mode) {
  switch (mode) {
    case prefs::EdgeMode::volume: return CornerControlMode::volume;
    case prefs::EdgeMode::brightness: return CornerControlMode::brightness;
    case prefs::EdgeMode::appearance: return CornerControlMode::appearance;
    case prefs::EdgeMode::dock: break;
  }
  return CornerControlMode::off;
}

std::optional<double> ControlPanelModel::level_of(prefs::CornerControlMode mode) {
  switch (mode) {
    case CornerControlMode::volume: return services_.volume().volume();
    case CornerControlMode::brightness: return services_.brightness().brightness();
    case CornerControlMode::keyboardBacklight: return services_.backlight().brightness();
    case CornerControlMode::appearance: return services_.appearance().is_dark_mode() ? 1.0 : 0.0;
    case CornerControlMode::timer: return services_.timer().dial_value();
    default: return std::nullopt;
  }
}

ControlFace ControlPanelModel::face(prefs::CornerControlMode mode) {
  ControlFace face{control_title(mode), level_of(mode), {}};
  switch (mode) {
    case CornerControlMode::appearance: face.detail = *face.level > 0.5 ? "Dark" : "Light"; break;
    case CornerControlMode::timer: face.detail = services_.timer().dial_label(); break;
    case CornerControlMode::audioOutput: {
      const auto current = services_.audio_output().default_output_device_id();
      for (const auto& device : services_.audio_output().output_devices()) {
        if (device.id == current) face.detail = device.name;
      }
      break;
    }
    default:
      if (face.level) face.detail = percent(*face.level);
      break;
  }
  return face;
}

void ControlPanelModel::set_level(prefs::CornerControlMode mode, double level) {
  if (!std::isfinite(level)) return;
  level = std::clamp(level, 0.0, 1.0);
  const auto before = level_of(mode);
  switch (mode) {
    case CornerControlMode::volume: services_.volume().set_volume(static_cast<float>(level)); break;
    case CornerControlMode::brightness: services_.brightness().set_brightness(static_cast<float>(level)); break;
    case CornerControlMode::keyboardBacklight: services_.backlight().set_brightness(static_cast<float>(level)); break;
    case CornerControlMode::appearance: services_.appearance().set_dark_mode(level >= 0.5); break;
    case CornerControlMode::timer: services_.timer().set_minutes_from_dial(level); break;
    default: return;
  }
  const auto after = level_of(mode);
  if (!before || !after) return;
  // One click per move that reaches another detent: moves come far faster than clicks can be
  // told apart, and the sound drops the ones too close together anyway.
  if (detent_of(*after) != detent_of(*before)) sounds_.play_detent_click(1.0);
}

void ControlPanelModel::turn(prefs::CornerControlMode mode, int detents) {
  if (detents == 0) return;
  switch (mode) {
    case CornerControlMode::audioOutput: cycle_output(detents > 0 ? 1 : -1); return;
    case CornerControlMode::tabCarousel: services_.tabs().step(detents); return;
    case CornerControlMode::windowSnap:
      if (const auto pid = frontmost_pid_ ? frontmost_pid_() : std::nullopt) {
        services_.window_snap().snap(detents > 0 ? controls::WindowLayout::rightHalf : controls::WindowLayout::leftHalf, *pid);
      }
      return;
    default: break;
  }
  if (const auto level = level_of(mode)) {
    set_level(mode, *level + static_cast<double>(detents) / kDetentSteps);
  }
}

void ControlPanelModel::press(prefs::CornerControlMode mode) {
  switch (mode) {
    case CornerControlMode::appearance: services_.appearance().set_dark_mode(!services_.appearance().is_dark_mode()); break;
    case CornerControlMode::audioOutput: cycle_output(1); break;
    case CornerControlMode::playPause: services_.media().play_pause(); break;
    case CornerControlMode::showDesktop: services_.show_desktop().toggle(); break;
    case CornerControlMode::tabCarousel: services_.tabs().step(1); break;
    case CornerControlMode::windowSnap:
      if (const auto pid = frontmost_pid_ ? frontmost_pid_() : std::nullopt) {
        services_.window_snap().snap(controls::WindowLayout::maximize, *pid);
      }
      break;
    case CornerControlMode::timer:
      // A click without a drag starts a stopped timer and stops a running one.
      if (services_.timer().is_running().get()) {
        services_.timer().stop();
      } else {
        services_.timer().start();
      }
      break;
    default: break;
  }
}

void ControlPanelModel::cycle_output(int step) {
  const auto devices = services_.audio_output().output_devices();
  if (devices.empty()) return;
  const auto current = services_.audio_output().default_output_device_id();
  const auto at = std::find_if(devices.begin(), devices.end(), [&](const auto& d) { return d.id == current; });
  const long index = at == devices.end() ? 0 : std::distance(devices.begin(), at);
  const long count = static_cast<long>(devices.size());
  const long next = ((index + step) % count + count) % count;
  services_.audio_output().set_default_output_device(devices[static_cast<std::size_t>(next)].id);
}

}  // namespace kolvo::ui
