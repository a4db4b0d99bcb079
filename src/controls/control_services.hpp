#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/date_time.hpp"
#include "base/diagnostics_log.hpp"
#include "base/executor.hpp"
#include "controls/appearance_controller.hpp"
#include "controls/audio_controllers.hpp"
#include "controls/brightness_controllers.hpp"
#include "controls/control_ports.hpp"
#include "controls/keyboard_controllers.hpp"
#include "controls/window_snap_controller.hpp"
#include "dock/screens_port.hpp"
#include "prefs/preference_store.hpp"
#include "sound/sound_effects_manager.hpp"
#include "timer/timer_store.hpp"

namespace kolvo::controls {

struct ControlPorts {
  const dock::AccessibilityTrust& trust;
  CoreAudioPort& audio;
  PrivateFrameworksPort& frameworks;
  HIDEventPort& events;
  AppleScriptPort& scripts;
  ProcessLauncherPort& processes;
  const GlobalPreferencesPort& global_preferences;
  const AXApplicationsPort& accessibility;
  const dock::ScreensPort& screens;
  std::int64_t own_pid;
  // The application the user is working in, Kolvo itself never counted.
  std::function<std::optional<std::string>()> frontmost_bundle_id;
  prefs::PreferenceStore& prefs;
  base::Executor& main;
  const base::WallClock& clock;
  base::DiagnosticsLog& log;
  sound::SoundEffectsManager* sounds = nullptr;
};

// The services through which sliders, dials and the phone change the Mac. Each is made at
// its first use, so loading a private framework or starting a worker thread happens only
// for the controls the user actually has, and lives as long as the program.
class ControlServices {
 public:
  explicit ControlServices(ControlPorts ports) : ports_(std::move(ports)) {}

  SystemVolumeController& volume();
  DisplayBrightnessController& brightness();
  KeyboardBacklightController& backlight();
  AudioOutputController& audio_output();
  AppearanceController& appearance();
  ShowDesktopController& show_desktop();
  DesktopSpaceController& desktop_space();
  TabSwitchController& tabs();
  WindowSnapController& window_snap();
  MediaPlaybackController& media();
  timer::KolvoTimerStore& timer();

 private:
  template <typename Service, typename Make>
  Service& lazily(std::unique_ptr<Service>& slot, Make make) {
    if (!slot) slot = make();
    return *slot;
  }

  ControlPorts ports_;
  std::unique_ptr<SystemVolumeController> volume_;
  std::unique_ptr<DisplayBrightnessController> brightness_;
  std::unique_ptr<KeyboardBacklightController> backlight_;
  std::unique_ptr<AudioOutputController> audio_output_;
  std::unique_ptr<AppearanceController> appearance_;
  std::unique_ptr<ShowDesktopController> show_desktop_;
  std::unique_ptr<DesktopSpaceController> desktop_space_;
  std::unique_ptr<TabSwitchController> tabs_;
  std::unique_ptr<WindowSnapController> window_snap_;
  std::unique_ptr<MediaPlaybackController> media_;
  std::unique_ptr<timer::KolvoTimerStore> timer_;
};

}  // namespace kolvo::controls
