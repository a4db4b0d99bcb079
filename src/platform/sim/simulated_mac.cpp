#include "platform/sim/simulated_mac.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "base/number_text.hpp"
#include "controls/appearance_controller.hpp"
#include "controls/keyboard_controllers.hpp"

namespace kolvo::sim {
namespace {

namespace audio = controls::audio;
using controls::AudioPropertyAddress;

constexpr std::uint16_t kF11 = 103;
constexpr std::int64_t kMediaPlayKey = 16;
constexpr std::int64_t kMediaKeyDown = 0x0A;
constexpr std::string_view kNotAuthorized = "Not authorized to send Apple events to System Events.";

std::string percent(float value) { return base::shortest_real_text(std::round(value * 1000.0) / 1000.0); }

// The keyboard client as CoreBrightness would hand it out.
class SimulatedKeyboardClient final : public controls::KeyboardBrightnessClient {
 public:
  explicit SimulatedKeyboardClient(SimulatedMac& mac) : mac_(mac) {}
  bool responds_to(std::string_view selector) const override {
    const auto& selectors = mac_.frameworks().client_selectors;
    return std::find(selectors.begin(), selectors.end(), selector) != selectors.end();
  }
  std::optional<std::vector<std::uint64_t>> copy_keyboard_backlight_ids() override {
    return mac_.frameworks().keyboard_ids;
  }
  float brightness_for_keyboard(std::uint64_t) override { return mac_.keyboard_backlight(); }
  void set_brightness_for_keyboard(float brightness, std::uint64_t) override { mac_.set_keyboard_backlight(brightness); }

 private:
  SimulatedMac& mac_;
};

}  // namespace

// Plays into the simulated Mac's record.
class SimulatedSoundPlayer final : public sound::SoundPlayer {
 public:
  SimulatedSoundPlayer(SimulatedMac& mac, prefs::Sound sound) : mac_(mac), sound_(sound) {}
  void stop() override {}
  void rewind() override {}
  void set_volume(double volume) override { volume_ = volume; }
  void play() override {
    mac_.sound_plays_.push_back({sound_, volume_});
    mac_.report("sound " + std::string(prefs::to_string(sound_)) + " at " + base::shortest_real_text(volume_));
  }

 private:
  SimulatedMac& mac_;
  prefs::Sound sound_;
  double volume_ = 1.0;
};

SimulatedMac::SimulatedMac() {
  // A laptop's speakers and microphone, headphones, and the aggregate device CoreAudio lists
  // but nobody chooses.
  devices_ = {
      {73, "MacBook Pro Speakers"},
      {81, "MacBook Pro Microphone", /*has_output_streams=*/false},
      {95, "CADefaultDeviceAggregate-4312-1"},
      {60, "External Headphones"},
  };
  default_device_ = 73;
  const auto start = std::chrono::steady_clock::now();
  uptime_ = [start] {
    // A Mac that has been up a while, so the first media press is never inside the debounce.
    return 3600.0 + std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  };
}

void SimulatedMac::report(const std::string& line) {
  std::lock_guard lock(mutex_);
  if (changes_) changes_(line);
}

// ---- Appearance -----------------------------------------------------------------------

void SimulatedMac::set_dark_mode(bool dark) {
  dark_mode_ = dark;
  theme_.set(dark);
}

base::Subscription SimulatedMac::observe_theme_changes(std::function<void()> changed) {
  return theme_.subscribe([changed = std::move(changed)](bool) { changed(); });
}

std::optional<prefs::PreferenceValue> SimulatedMac::global_domain_value(std::string_view key) const {
  if (key == controls::AppearanceController::kInterfaceStyleKey && dark_mode_) return prefs::PreferenceValue("Dark");
  return std::nullopt;
}

controls::AppleScriptOutcome SimulatedMac::run_apple_script(const std::string& source) {
  scripts_run_.push_back(source);
  for (const bool dark : {true, false}) {
    if (source != controls::AppearanceController::dark_mode_script(dark)) continue;
    if (!automation_allowed_) return {true, std::string(kNotAuthorized)};
    set_dark_mode(dark);
    report(dark ? "dark mode on" : "dark mode off");
    return {true, std::nullopt};
  }
  return {true, "The simulated Mac does not run this script."};
}

// ---- Audio ------------------------------------------------------------------------------

SimulatedAudioDevice* SimulatedMac::device(sound::AudioObjectID id) {
  const auto found = std::find_if(devices_.begin(), devices_.end(), [id](const auto& d) { return d.id == id; });
  return found == devices_.end() ? nullptr : &*found;
}

const SimulatedAudioDevice* SimulatedMac::device(sound::AudioObjectID id) const {
  return const_cast<SimulatedMac*>(this)->device(id);
}

std::optional<sound::AudioObjectID> SimulatedMac::default_output_device() const {
  return audibility_.default_output_device();
}
std::optional<bool> SimulatedMac::mute(sound::AudioObjectID id) const { return audibility_.mute(id); }
std::optional<double> SimulatedMac::volume_scalar(sound::AudioObjectID id) const { return audibility_.volume_scalar(id); }

void SimulatedMac::set_output_volume(double volume) {
  if (auto* d = device(default_device_)) d->volume = static_cast<float>(volume);
}

void SimulatedMac::set_output_muted(bool muted) {
  if (auto* d = device(default_device_)) d->muted = muted;
}

void SimulatedMac::set_has_output_device(bool present) { default_device_ = present ? devices_.front().id : 0; }

bool SimulatedMac::has_property(sound::AudioObjectID object, const AudioPropertyAddress& address) const {
  if (object == audio::kSystemObject) return address == audio::kDefaultOutputDevice || address == audio::kDevices;
  const auto* d = device(object);
  if (!d) return false;
  if (address == audio::kVirtualMainVolume || address == audio::kVolumeScalar) return d->has_volume && d->has_output_streams;
  if (address == audio::kMute) return d->has_mute && d->has_output_streams;
  return address == audio::kOutputStreams || (address == audio::kName && d->name_readable);
}

bool SimulatedMac::is_property_settable(sound::AudioObjectID object, const AudioPropertyAddress& address) const {
  if (!has_property(object, address)) return false;
  if (object == audio::kSystemObject) return address == audio::kDefaultOutputDevice;
  if (address == audio::kVirtualMainVolume || address == audio::kVolumeScalar) return device(object)->volume_settable;
  return address == audio::kMute;
}

std::optional<std::uint32_t> SimulatedMac::property_data_size(sound::AudioObjectID object,
                                                              const AudioPropertyAddress& address) const {
  if (!has_property(object, address)) return std::nullopt;
  if (address == audio::kOutputStreams) return device(object)->has_output_streams ? 4u : 0u;
  if (address == audio::kDevices) return static_cast<std::uint32_t>(devices_.size() * 4);
  return 4u;
}

std::optional<float> SimulatedMac::float32_value(sound::AudioObjectID object, const AudioPropertyAddress& address) const {
  if (!has_property(object, address)) return std::nullopt;
  if (address == audio::kVirtualMainVolume || address == audio::kVolumeScalar) return device(object)->volume;
  return std::nullopt;
}

std::optional<std::uint32_t> SimulatedMac::uint32_value(sound::AudioObjectID object,
                                                        const AudioPropertyAddress& address) const {
  if (!has_property(object, address)) return std::nullopt;
  if (address == audio::kDefaultOutputDevice) return default_device_;
  if (address == audio::kMute) return device(object)->muted ? 1u : 0u;
  return std::nullopt;
}

std::optional<std::vector<sound::AudioObjectID>> SimulatedMac::object_list(sound::AudioObjectID object,
                                                                          const AudioPropertyAddress& address) const {
  if (object != audio::kSystemObject || address != audio::kDevices) return std::nullopt;
  std::vector<sound::AudioObjectID> ids;
  for (const auto& d : devices_) ids.push_back(d.id);
  return ids;
}

std::optional<std::string> SimulatedMac::string_value(sound::AudioObjectID object,
                                                      const AudioPropertyAddress& address) const {
  if (address != audio::kName || !has_property(object, address)) return std::nullopt;
  return device(object)->name;
}

bool SimulatedMac::set_float32(sound::AudioObjectID object, const AudioPropertyAddress& address, float value) {
  if (!is_property_settable(object, address) || (address != audio::kVirtualMainVolume && address != audio::kVolumeScalar)) {
    return false;
  }
  device(object)->volume = value;
  report("volume " + percent(value) + " on " + device(object)->name);
  return true;
}

bool SimulatedMac::set_uint32(sound::AudioObjectID object, const AudioPropertyAddress& address, std::uint32_t value) {
  if (!is_property_settable(object, address)) return false;
  if (address == audio::kDefaultOutputDevice) {
    const auto* d = device(value);
    if (!d || !d->has_output_streams) return false;  // kAudioHardwareIllegalOperationError
    default_device_ = value;
    report("output " + d->name);
    return true;
  }
  if (address == audio::kMute) {
    auto* d = device(object);
    if (d->muted != (value != 0)) report(std::string(value != 0 ? "muted " : "unmuted ") + d->name);
    d->muted = value != 0;
    return true;
  }
  return false;
}

// ---- Private frameworks -------------------------------------------------------------------

bool SimulatedMac::load_library(std::string_view path) {
  if (path.find("/DisplayServices.framework/") != std::string_view::npos) return frameworks_.display_services;
  if (path.find("/CoreBrightness.framework/") != std::string_view::npos) return frameworks_.core_brightness;
  return false;
}

controls::GetBrightnessEntry SimulatedMac::get_brightness_symbol(std::string_view path, std::string_view symbol) {
  if (!load_library(path) || !frameworks_.get_brightness_symbol || symbol != "DisplayServicesGetBrightness") return {};
  return [this](std::uint32_t display, float* value) -> std::int32_t {
    if (display != main_display_id()) return -1;
    *value = display_brightness_;
    return frameworks_.get_brightness_status;
  };
}

controls::SetBrightnessEntry SimulatedMac::set_brightness_symbol(std::string_view path, std::string_view symbol) {
  if (!load_library(path) || !frameworks_.set_brightness_symbol || symbol != "DisplayServicesSetBrightness") return {};
  return [this](std::uint32_t display, float value) -> std::int32_t {
    if (display != main_display_id()) return -1;
    display_brightness_ = value;
    report("brightness " + percent(value));
    return 0;
  };
}

std::unique_ptr<controls::KeyboardBrightnessClient> SimulatedMac::make_keyboard_brightness_client(
    std::string_view class_name) {
  if (!frameworks_.core_brightness || !frameworks_.keyboard_client_class || class_name != "KeyboardBrightnessClient") {
    return nullptr;
  }
  return std::make_unique<SimulatedKeyboardClient>(*this);
}

// ---- Events -------------------------------------------------------------------------------

bool SimulatedMac::post_keyboard_events(const std::vector<controls::KeyboardEvent>& events) {
  if (event_creation_fails_) return false;
  for (const auto& event : events) {
    keyboard_events_.push_back(event);
    if (!event.key_down) continue;
    if (event.key_code == kF11 && !event.flags) {
      desktop_shown_ = !desktop_shown_;
      report(desktop_shown_ ? "desktop shown" : "desktop hidden");
    } else if (key_receiver_) {
      key_receiver_(event);
    }
  }
  return true;
}

bool SimulatedMac::post_system_defined(const controls::SystemDefinedEvent& event) {
  if (event_creation_fails_) return false;
  system_defined_events_.push_back(event);
  const std::int64_t key = (event.data1 & 0xFFFF0000) >> 16;
  const std::int64_t state = (event.data1 & 0xFF00) >> 8;
  if (event.type == 14 && event.subtype == 8 && key == kMediaPlayKey && state == kMediaKeyDown) {
    media_playing_ = !media_playing_;
    report(media_playing_ ? "media playing" : "media paused");
  }
  return true;
}

double SimulatedMac::system_uptime() const { return uptime_(); }

// ---- Spaces -------------------------------------------------------------------------------

namespace {

controls::ProcessOutcome exited(int status, std::string said) {
  return {.launched = true, .exit_status = status, .output = std::move(said)};
}

}  // namespace

controls::ProcessOutcome SimulatedMac::run_process(const controls::ProcessRequest& request) {
  const std::string& executable = request.executable;
  const std::vector<std::string>& arguments = request.arguments;
  if (executable != controls::DesktopSpaceController::kInterpreter) {
    return {.launch_error = "Could not start " + executable + ": the simulated Mac has no such program."};
  }
  int direction = 0;
  for (const auto side : {controls::SpaceDirection::left, controls::SpaceDirection::right}) {
    if (arguments == std::vector<std::string>{"-e", controls::DesktopSpaceController::script(side)}) {
      direction = side == controls::SpaceDirection::left ? -1 : 1;
    }
  }
  if (direction == 0) return exited(1, "syntax error: The simulated Mac does not run this script. (-2741)\n");
  std::unique_lock lock(mutex_);
  if (!automation_allowed_) return exited(1, "execution error: " + std::string(kNotAuthorized) + " (-1743)\n");
  // The keystroke is sent either way; it only moves when Control-arrow is the shortcut and
  // there is a Space that way.
  if (!space_shortcuts_enabled_) return exited(0, {});
  const int target = std::clamp(current_space_ + direction, 1, space_count_);
  if (target == current_space_) return exited(0, {});
  current_space_ = target;
  if (changes_) changes_("space " + std::to_string(current_space_) + " of " + std::to_string(space_count_));
  return exited(0, {});
}

int SimulatedMac::current_space() const {
  std::lock_guard lock(mutex_);
  return current_space_;
}

int SimulatedMac::space_count() const {
  std::lock_guard lock(mutex_);
  return space_count_;
}

void SimulatedMac::set_spaces(int count, int current) {
  std::lock_guard lock(mutex_);
  space_count_ = std::max(count, 1);
  current_space_ = std::clamp(current, 1, space_count_);
}

void SimulatedMac::set_space_shortcuts_enabled(bool enabled) {
  std::lock_guard lock(mutex_);
  space_shortcuts_enabled_ = enabled;
}

// ---- Sounds and login item -----------------------------------------------------------------

std::unique_ptr<sound::SoundPlayer> SimulatedMac::load(prefs::Sound sound) {
  return std::make_unique<SimulatedSoundPlayer>(*this, sound);
}

std::optional<std::string> SimulatedMac::register_main_app() {
  login_status_ = app::LoginItemStatus::enabled;
  return std::nullopt;
}

std::optional<std::string> SimulatedMac::unregister_main_app() {
  login_status_ = app::LoginItemStatus::notRegistered;
  return std::nullopt;
}

}  // namespace kolvo::sim
