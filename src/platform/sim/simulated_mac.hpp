#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/launch_at_login_manager.hpp"
#include "controls/audio_controllers.hpp"
#include "controls/control_ports.hpp"
#include "dock/accessibility_trust.hpp"
#include "sound/sound_ports.hpp"
#include "ui/system_appearance.hpp"

namespace kolvo::sim {

struct SoundPlay {
  prefs::Sound sound;
  double volume;
};

struct SimulatedAudioDevice {
  sound::AudioObjectID id = 0;
  std::string name;
  bool has_output_streams = true;
  bool has_volume = true;
  bool volume_settable = true;
  float volume = 0.5f;
  bool has_mute = true;
  bool muted = false;
  bool name_readable = true;
};

// What the private frameworks offer on this simulated Mac; each can be missing, as on a
// future macOS or a Mac without a built-in display.
struct SimulatedPrivateFrameworks {
  bool display_services = true;
  bool get_brightness_symbol = true;
  bool set_brightness_symbol = true;
  std::int32_t get_brightness_status = 0;
  bool core_brightness = true;
  bool keyboard_client_class = true;
  std::vector<std::string> client_selectors = {"copyKeyboardBacklightIDs", "brightnessForKeyboard:",
                                               "setBrightness:forKeyboard:"};
  std::optional<std::vector<std::uint64_t>> keyboard_ids = std::vector<std::uint64_t>{1};
};

// Where the simulated Mac sends keystrokes it does not act on itself: the frontmost
// application, in practice.
using KeyEventReceiver = std::function<void(const controls::KeyboardEvent&)>;
using ChangeSink = std::function<void(std::string_view line)>;

// An in-memory Mac: the state the program reads and changes through its Mac-facing ports,
// kept as plain values. The headless host runs against it, and anyone can drive the whole
// agent, and a phone client, on a machine that is not a Mac. Sounds are recorded, not heard;
// keystrokes and scripts are understood as far as the program uses them.
class SimulatedMac final : public dock::AccessibilityTrust,
                           public ui::SystemAppearance,
                           public sound::OutputAudibilityPort,
                           public sound::SoundLibrary,
                           public app::LoginItemService,
                           public controls::CoreAudioPort,
                           public controls::PrivateFrameworksPort,
                           public controls::HIDEventPort,
                           public controls::AppleScriptPort,
                           public controls::ProcessLauncherPort,
                           public controls::GlobalPreferencesPort {
 public:
  SimulatedMac();

  // Each change the program makes to the Mac, as a line ("volume 0.4", "space 2 of 3").
  void set_change_sink(ChangeSink sink) { changes_ = std::move(sink); }

  // Accessibility.
  bool is_process_trusted() const override { return accessibility_trusted_; }
  void set_accessibility_trusted(bool trusted) { accessibility_trusted_ = trusted; }

  // Appearance, and System Events' permission to change it.
  bool is_dark() const override { return dark_mode_; }
  void set_dark_mode(bool dark);
  [[nodiscard]] base::Subscription observe_theme_changes(std::function<void()> changed) override;
  std::optional<prefs::PreferenceValue> global_domain_value(std::string_view key) const override;
  void set_automation_allowed(bool allowed) { automation_allowed_ = allowed; }
  const std::vector<std::string>& scripts_run() const { return scripts_run_; }
  controls::AppleScriptOutcome run_apple_script(const std::string& source) override;

  // Audio devices; the default one answers the output-audibility questions.
  std::vector<SimulatedAudioDevice>& audio_devices() { return devices_; }
  void set_default_output_device(sound::AudioObjectID id) { default_device_ = id; }
  sound::AudioObjectID default_output_device_id() const { return default_device_; }
  std::optional<sound::AudioObjectID> default_output_device() const override;
  std::optional<bool> mute(sound::AudioObjectID device) const override;
  std::optional<double> volume_scalar(sound::AudioObjectID device) const override;
  void set_output_volume(double volume);
  void set_output_muted(bool muted);
  void set_has_output_device(bool present);
  SimulatedAudioDevice* device(sound::AudioObjectID id);
  const SimulatedAudioDevice* device(sound::AudioObjectID id) const;

  bool has_property(sound::AudioObjectID object, const controls::AudioPropertyAddress& address) const override;
  bool is_property_settable(sound::AudioObjectID object, const controls::AudioPropertyAddress& address) const override;
  std::optional<std::uint32_t> property_data_size(sound::AudioObjectID object,
                                                  const controls::AudioPropertyAddress& address) const override;
  std::optional<float> float32_value(sound::AudioObjectID object,
                                     const controls::AudioPropertyAddress& address) const override;
  std::optional<std::uint32_t> uint32_value(sound::AudioObjectID object,
                                            const controls::AudioPropertyAddress& address) const override;
  std::optional<std::vector<sound::AudioObjectID>> object_list(
      sound::AudioObjectID object, const controls::AudioPropertyAddress& address) const override;
  std::optional<std::string> string_value(sound::AudioObjectID object,
                                          const controls::AudioPropertyAddress& address) const override;
  bool set_float32(sound::AudioObjectID object, const controls::AudioPropertyAddress& address, float value) override;
  bool set_uint32(sound::AudioObjectID object, const controls::AudioPropertyAddress& address,
                  std::uint32_t value) override;

  // Display brightness and the keyboard backlight.
  SimulatedPrivateFrameworks& frameworks() { return frameworks_; }
  float display_brightness() const { return display_brightness_; }
  void set_display_brightness(float value) { display_brightness_ = value; }
  float keyboard_backlight() const { return keyboard_backlight_; }
  void set_keyboard_backlight(float value) { keyboard_backlight_ = value; }
  bool load_library(std::string_view path) override;
  controls::GetBrightnessEntry get_brightness_symbol(std::string_view path, std::string_view symbol) override;
  controls::SetBrightnessEntry set_brightness_symbol(std::string_view path, std::string_view symbol) override;
  std::unique_ptr<controls::KeyboardBrightnessClient> make_keyboard_brightness_client(
      std::string_view class_name) override;
  std::uint32_t main_display_id() const override { return 1; }

  // Synthetic events: F11 shows the desktop, the media key plays and pauses, other keys go to
  // the receiver.
  bool post_keyboard_events(const std::vector<controls::KeyboardEvent>& events) override;
  bool post_system_defined(const controls::SystemDefinedEvent& event) override;
  double system_uptime() const override;
  void set_system_uptime(std::function<double()> uptime) { uptime_ = std::move(uptime); }
  void set_key_event_receiver(KeyEventReceiver receiver) { key_receiver_ = std::move(receiver); }
  void set_event_creation_fails(bool fails) { event_creation_fails_ = fails; }
  const std::vector<controls::KeyboardEvent>& keyboard_events() const { return keyboard_events_; }
  const std::vector<controls::SystemDefinedEvent>& system_defined_events() const { return system_defined_events_; }
  bool desktop_shown() const { return desktop_shown_; }
  bool media_playing() const { return media_playing_; }

  // Spaces, switched by osascript sending Control-arrow. Safe to call from any thread.
  controls::ProcessOutcome run_process(const controls::ProcessRequest& request) override;
  int current_space() const;
  int space_count() const;
  void set_spaces(int count, int current);
  void set_space_shortcuts_enabled(bool enabled);

  // Sounds.
  std::unique_ptr<sound::SoundPlayer> load(prefs::Sound sound) override;
  const std::vector<SoundPlay>& sound_plays() const { return sound_plays_; }

  // Login item.
  app::LoginItemStatus status() const override { return login_status_; }
  std::optional<std::string> register_main_app() override;
  std::optional<std::string> unregister_main_app() override;
  void set_login_item_status(app::LoginItemStatus status) { login_status_ = status; }

 private:
  friend class SimulatedSoundPlayer;
  void report(const std::string& line);

  mutable std::mutex mutex_;  // spaces and the change sink, reached from the script queue
  ChangeSink changes_;

  bool accessibility_trusted_ = true;
  bool dark_mode_ = false;
  std::atomic<bool> automation_allowed_ = true;  // read by the script queue too
  base::Observable<bool> theme_;
  std::vector<std::string> scripts_run_;

  std::vector<SimulatedAudioDevice> devices_;
  sound::AudioObjectID default_device_ = 0;
  controls::CoreAudioOutputAudibility audibility_{*this};

  SimulatedPrivateFrameworks frameworks_;
  float display_brightness_ = 0.7f;
  float keyboard_backlight_ = 0.4f;

  std::function<double()> uptime_;
  KeyEventReceiver key_receiver_;
  bool event_creation_fails_ = false;
  std::vector<controls::KeyboardEvent> keyboard_events_;
  std::vector<controls::SystemDefinedEvent> system_defined_events_;
  bool desktop_shown_ = false;
  bool media_playing_ = false;

  int space_count_ = 3;
  int current_space_ = 1;
  bool space_shortcuts_enabled_ = true;

  std::vector<SoundPlay> sound_plays_;
  app::LoginItemStatus login_status_ = app::LoginItemStatus::notRegistered;
};

}  // namespace kolvo::sim
