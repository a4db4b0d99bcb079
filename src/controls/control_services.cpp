#include "controls/control_services.hpp"

namespace kolvo::controls {

SystemVolumeController& ControlServices::volume() {
  return lazily(volume_, [&] { return std::make_unique<SystemVolumeController>(ports_.audio); });
}

DisplayBrightnessController& ControlServices::brightness() {
  return lazily(brightness_, [&] { return std::make_unique<DisplayBrightnessController>(ports_.frameworks); });
}

KeyboardBacklightController& ControlServices::backlight() {
  return lazily(backlight_, [&] { return std::make_unique<KeyboardBacklightController>(ports_.frameworks); });
}

AudioOutputController& ControlServices::audio_output() {
  return lazily(audio_output_, [&] { return std::make_unique<AudioOutputController>(ports_.audio); });
}

AppearanceController& ControlServices::appearance() {
  return lazily(appearance_,
                [&] { return std::make_unique<AppearanceController>(ports_.global_preferences, ports_.scripts); });
}

ShowDesktopController& ControlServices::show_desktop() {
  return lazily(show_desktop_, [&] { return std::make_unique<ShowDesktopController>(ports_.trust, ports_.events); });
}

DesktopSpaceController& ControlServices::desktop_space() {
  return lazily(desktop_space_,
                [&] { return std::make_unique<DesktopSpaceController>(ports_.processes, ports_.main, ports_.log); });
}

TabSwitchController& ControlServices::tabs() {
  return lazily(tabs_, [&] {
    return std::make_unique<TabSwitchController>(ports_.trust, ports_.events, ports_.frontmost_bundle_id);
  });
}

WindowSnapController& ControlServices::window_snap() {
  return lazily(window_snap_, [&] {
    return std::make_unique<WindowSnapController>(ports_.trust, ports_.accessibility, ports_.screens, ports_.own_pid);
  });
}

MediaPlaybackController& ControlServices::media() {
  return lazily(media_, [&] { return std::make_unique<MediaPlaybackController>(ports_.trust, ports_.events); });
}

timer::KolvoTimerStore& ControlServices::timer() {
  return lazily(timer_,
                [&] { return std::make_unique<timer::KolvoTimerStore>(ports_.prefs, ports_.main, ports_.clock, ports_.sounds); });
}

}  // namespace kolvo::controls
