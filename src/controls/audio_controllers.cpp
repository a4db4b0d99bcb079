#include "controls/audio_controllers.hpp"

#include "base/unit_interval.hpp"

namespace kolvo::controls {

std::optional<AudioObjectID> default_output_device(const CoreAudioPort& audio) {
  const auto device = audio.uint32_value(audio::kSystemObject, audio::kDefaultOutputDevice);
  if (!device || *device == audio::kUnknownObject) return std::nullopt;
  return *device;
}

namespace {

// The default output device when it has the property and lets it be written: the one test
// each setter passes before it writes.
std::optional<AudioObjectID> writable_default_device(const CoreAudioPort& audio, const AudioPropertyAddress& address) {
  const auto device = default_output_device(audio);
  if (!device || !audio.has_property(*device, address) || !audio.is_property_settable(*device, address)) {
    return std::nullopt;
  }
  return device;
}

}  // namespace

bool SystemVolumeController::has_volume_control() const {
  const auto device = default_output_device(audio_);
  return device && audio_.has_property(*device, audio::kVirtualMainVolume);
}

std::optional<float> SystemVolumeController::volume() const {
  const auto device = default_output_device(audio_);
  if (!device || !audio_.has_property(*device, audio::kVirtualMainVolume)) return std::nullopt;
  const auto value = audio_.float32_value(*device, audio::kVirtualMainVolume);
  if (!value) return std::nullopt;
  return base::clamp_unit(*value);
}

void SystemVolumeController::set_volume(float value) {
  const float volume = base::clamp_unit(value);
  const auto device = writable_default_device(audio_, audio::kVirtualMainVolume);
  if (!device) return;
  if (!audio_.set_float32(*device, audio::kVirtualMainVolume, volume)) return;
  set_muted(volume <= kMuteThreshold);
}

void SystemVolumeController::set_muted(bool muted) {
  const auto device = writable_default_device(audio_, audio::kMute);
  if (!device) return;
  audio_.set_uint32(*device, audio::kMute, muted ? 1 : 0);
}

std::vector<AudioOutputController::OutputDevice> AudioOutputController::output_devices() const {
  std::vector<OutputDevice> devices;
  const auto ids = audio_.object_list(audio::kSystemObject, audio::kDevices);
  if (!ids) return devices;
  for (const AudioObjectID id : *ids) {
    const auto streams = audio_.property_data_size(id, audio::kOutputStreams);
    if (!streams || *streams == 0) continue;
    auto name = audio_.string_value(id, audio::kName);
    if (!name || name->starts_with(kHiddenDevicePrefix)) continue;
    devices.push_back({id, std::move(*name)});
  }
  return devices;
}

std::optional<AudioObjectID> AudioOutputController::default_output_device_id() const {
  return default_output_device(audio_);
}

void AudioOutputController::set_default_output_device(AudioObjectID id) {
  audio_.set_uint32(audio::kSystemObject, audio::kDefaultOutputDevice, id);
}

std::optional<AudioObjectID> CoreAudioOutputAudibility::default_output_device() const {
  return controls::default_output_device(audio_);
}

std::optional<bool> CoreAudioOutputAudibility::mute(AudioObjectID device) const {
  if (!audio_.has_property(device, audio::kMute)) return std::nullopt;
  const auto muted = audio_.uint32_value(device, audio::kMute);
  if (!muted) return std::nullopt;
  return *muted != 0;
}

std::optional<double> CoreAudioOutputAudibility::volume_scalar(AudioObjectID device) const {
  if (!audio_.has_property(device, audio::kVolumeScalar)) return std::nullopt;
  const auto volume = audio_.float32_value(device, audio::kVolumeScalar);
  if (!volume) return std::nullopt;
  return static_cast<double>(*volume);
}

}  // namespace kolvo::controls
