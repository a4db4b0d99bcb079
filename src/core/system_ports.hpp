#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "core/observable.hpp"
#include "core/settings_enums.hpp"

// The small platform facts the settings stores depend on. On the Mac they are the
// Accessibility trust query, the system theme, CoreAudio's default output and AVFoundation
// players; the simulated Mac answers them on the headless host.
namespace kolvo::core {

class AccessibilityTrust {
 public:
  virtual ~AccessibilityTrust() = default;
  // AXIsProcessTrusted.
  virtual bool is_process_trusted() const = 0;
};

class SystemAppearance {
 public:
  virtual ~SystemAppearance() = default;
  virtual bool is_dark() const = 0;
  // Called on the main thread whenever the system theme changes
  // ("AppleInterfaceThemeChangedNotification").
  [[nodiscard]] virtual Subscription observe_theme_changes(std::function<void()> changed) = 0;
};

using AudioObjectID = std::uint32_t;

// Just enough of the default output device to tell whether a sound would be heard. Every
// answer may be absent: a missing device or an unreadable property.
class OutputAudibilityPort {
 public:
  virtual ~OutputAudibilityPort() = default;
  virtual std::optional<AudioObjectID> default_output_device() const = 0;
  // kAudioDevicePropertyMute ("mute") on the output scope.
  virtual std::optional<bool> mute(AudioObjectID device) const = 0;
  // kAudioDevicePropertyVolumeScalar ("volm") on the output scope.
  virtual std::optional<double> volume_scalar(AudioObjectID device) const = 0;
};

// One loaded sound file, "Sounds/<name>.mp3" from the resources.
class SoundPlayer {
 public:
  virtual ~SoundPlayer() = default;
  virtual void stop() = 0;
  virtual void rewind() = 0;
  virtual void set_volume(double volume) = 0;
  virtual void play() = 0;
};

class SoundLibrary {
 public:
  virtual ~SoundLibrary() = default;
  // Absent when the file is missing or does not decode; that sound then stays silent.
  virtual std::unique_ptr<SoundPlayer> load(Sound sound) = 0;
};

// The Deck server as the settings see it: the enabled switch starts and stops it.
class DeckServiceControl {
 public:
  virtual ~DeckServiceControl() = default;
  virtual void start() = 0;
  virtual void stop() = 0;
};

}  // namespace kolvo::core
