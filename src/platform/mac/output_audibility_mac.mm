#import <CoreAudio/CoreAudio.h>

#include "platform/mac/mac_adapters.hpp"

namespace kolvo::platform {
namespace {

template <typename T>
std::optional<T> read_property(AudioObjectID object, AudioObjectPropertySelector selector,
                               AudioObjectPropertyScope scope) {
  const AudioObjectPropertyAddress address{selector, scope, kAudioObjectPropertyElementMain};
  if (!AudioObjectHasProperty(object, &address)) return std::nullopt;
  T value{};
  UInt32 size = sizeof value;
  if (AudioObjectGetPropertyData(object, &address, 0, nullptr, &size, &value) != noErr) return std::nullopt;
  return value;
}

}  // namespace

std::optional<core::AudioObjectID> MacOutputAudibility::default_output_device() const {
  const auto device = read_property<AudioObjectID>(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice,
                                                   kAudioObjectPropertyScopeGlobal);
  if (!device || *device == kAudioObjectUnknown) return std::nullopt;
  return *device;
}

std::optional<bool> MacOutputAudibility::mute(core::AudioObjectID device) const {
  const auto muted = read_property<UInt32>(device, kAudioDevicePropertyMute, kAudioDevicePropertyScopeOutput);
  if (!muted) return std::nullopt;
  return *muted != 0;
}

std::optional<double> MacOutputAudibility::volume_scalar(core::AudioObjectID device) const {
  const auto volume = read_property<Float32>(device, kAudioDevicePropertyVolumeScalar, kAudioDevicePropertyScopeOutput);
  if (!volume) return std::nullopt;
  return static_cast<double>(*volume);
}

}  // namespace kolvo::platform
