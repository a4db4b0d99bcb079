#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "prefs/settings_enums.hpp"

// What the interface sounds need from the machine: the default output device, to tell whether
// a sound would be heard, and the players for the bundled sound files.
namespace kolvo::sound {

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
  virtual std::unique_ptr<SoundPlayer> load(prefs::Sound sound) = 0;
};

}  // namespace kolvo::sound
