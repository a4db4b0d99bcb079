#pragma once

#include <optional>
#include <string>
#include <vector>

#include "controls/control_ports.hpp"
#include "sound/sound_ports.hpp"

namespace kolvo::controls {

// The system object's default output device; an id of 0 counts as none.
std::optional<AudioObjectID> default_output_device(const CoreAudioPort& audio);

// The output volume of the default device, through its virtual main volume, which covers
// every channel at once.
class SystemVolumeController {
 public:
  // A volume at or below this mutes the device, so dragging to the bottom really is silence.
  static constexpr float kMuteThreshold = 0.0001f;

  explicit SystemVolumeController(CoreAudioPort& audio) : audio_(audio) {}

  bool has_volume_control() const;
  // Absent when there is no default output device or the volume cannot be read.
  std::optional<float> volume() const;
  // Clamped to 0 … 1; also mutes at the threshold and unmutes above it.
  void set_volume(float value);
  void set_muted(bool muted);

 private:
  CoreAudioPort& audio_;
};

class AudioOutputController {
 public:
  struct OutputDevice {
    AudioObjectID id = 0;
    std::string name;
    friend bool operator==(const OutputDevice&, const OutputDevice&) = default;
  };

  // The system's aggregate devices are named like this and are never a user's choice.
  static constexpr std::string_view kHiddenDevicePrefix = "CADefaultDevice";

  explicit AudioOutputController(CoreAudioPort& audio) : audio_(audio) {}

  // Devices with output streams and a readable name, in the system's order.
  std::vector<OutputDevice> output_devices() const;
  std::optional<AudioObjectID> default_output_device_id() const;
  void set_default_output_device(AudioObjectID id);

 private:
  CoreAudioPort& audio_;
};

// Whether a sound would be heard, from the same CoreAudio reads: the settings' sound effects
// use it.
class CoreAudioOutputAudibility final : public sound::OutputAudibilityPort {
 public:
  explicit CoreAudioOutputAudibility(const CoreAudioPort& audio) : audio_(audio) {}
  std::optional<AudioObjectID> default_output_device() const override;
  std::optional<bool> mute(AudioObjectID device) const override;
  std::optional<double> volume_scalar(AudioObjectID device) const override;

 private:
  const CoreAudioPort& audio_;
};

}  // namespace kolvo::controls
