#import <CoreAudio/CoreAudio.h>
#import <Foundation/Foundation.h>

#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/objc_text.hpp"

namespace kolvo::platform {
namespace {

AudioObjectPropertyAddress address_of(const controls::AudioPropertyAddress& a) {
  return {a.selector, a.scope, a.element};
}

template <typename T>
std::optional<T> read_scalar(AudioObjectID object, const controls::AudioPropertyAddress& a) {
  const AudioObjectPropertyAddress address = address_of(a);
  T value{};
  UInt32 size = sizeof value;
  if (AudioObjectGetPropertyData(object, &address, 0, nullptr, &size, &value) != noErr || size != sizeof value) {
    return std::nullopt;
  }
  return value;
}

template <typename T>
bool write_scalar(AudioObjectID object, const controls::AudioPropertyAddress& a, T value) {
  const AudioObjectPropertyAddress address = address_of(a);
  return AudioObjectSetPropertyData(object, &address, 0, nullptr, sizeof value, &value) == noErr;
}

}  // namespace

bool MacCoreAudio::has_property(sound::AudioObjectID object, const controls::AudioPropertyAddress& a) const {
  const AudioObjectPropertyAddress address = address_of(a);
  return AudioObjectHasProperty(object, &address);
}

bool MacCoreAudio::is_property_settable(sound::AudioObjectID object, const controls::AudioPropertyAddress& a) const {
  const AudioObjectPropertyAddress address = address_of(a);
  Boolean settable = false;
  return AudioObjectIsPropertySettable(object, &address, &settable) == noErr && settable;
}

std::optional<std::uint32_t> MacCoreAudio::property_data_size(sound::AudioObjectID object,
                                                              const controls::AudioPropertyAddress& a) const {
  const AudioObjectPropertyAddress address = address_of(a);
  UInt32 size = 0;
  if (AudioObjectGetPropertyDataSize(object, &address, 0, nullptr, &size) != noErr) return std::nullopt;
  return size;
}

std::optional<float> MacCoreAudio::float32_value(sound::AudioObjectID object, const controls::AudioPropertyAddress& a) const {
  return read_scalar<Float32>(object, a);
}

std::optional<std::uint32_t> MacCoreAudio::uint32_value(sound::AudioObjectID object,
                                                        const controls::AudioPropertyAddress& a) const {
  return read_scalar<UInt32>(object, a);
}

std::optional<std::vector<sound::AudioObjectID>> MacCoreAudio::object_list(sound::AudioObjectID object,
                                                                          const controls::AudioPropertyAddress& a) const {
  const auto size = property_data_size(object, a);
  if (!size) return std::nullopt;
  std::vector<AudioObjectID> ids(*size / sizeof(AudioObjectID));
  UInt32 filled = static_cast<UInt32>(ids.size() * sizeof(AudioObjectID));
  const AudioObjectPropertyAddress address = address_of(a);
  if (!ids.empty() && AudioObjectGetPropertyData(object, &address, 0, nullptr, &filled, ids.data()) != noErr) {
    return std::nullopt;
  }
  ids.resize(filled / sizeof(AudioObjectID));  // devices can disappear between the two calls
  return std::vector<sound::AudioObjectID>(ids.begin(), ids.end());
}

std::optional<std::string> MacCoreAudio::string_value(sound::AudioObjectID object,
                                                      const controls::AudioPropertyAddress& a) const {
  const AudioObjectPropertyAddress address = address_of(a);
  CFStringRef text = nullptr;
  UInt32 size = sizeof text;
  if (AudioObjectGetPropertyData(object, &address, 0, nullptr, &size, &text) != noErr || !text) return std::nullopt;
  NSString* string = CFBridgingRelease(text);
  return utf8(string);
}

bool MacCoreAudio::set_float32(sound::AudioObjectID object, const controls::AudioPropertyAddress& a, float value) {
  return write_scalar<Float32>(object, a, value);
}

bool MacCoreAudio::set_uint32(sound::AudioObjectID object, const controls::AudioPropertyAddress& a, std::uint32_t value) {
  return write_scalar<UInt32>(object, a, value);
}

}  // namespace kolvo::platform
