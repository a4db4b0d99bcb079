#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/app_ports.hpp"
#include "core/launch_at_login_manager.hpp"
#include "core/system_ports.hpp"

namespace kolvo::sim {

struct SoundPlay {
  core::Sound sound;
  double volume;
};

// An in-memory Mac: the state the program reads and changes through its Mac-facing ports,
// kept as plain values. The headless host runs against it, and anyone can drive the whole
// agent, and a phone client, on a machine that is not a Mac. Sounds are recorded, not heard.
class SimulatedMac final : public core::AccessibilityTrust,
                           public core::SystemAppearance,
                           public core::OutputAudibilityPort,
                           public core::SoundLibrary,
                           public core::LoginItemService {
 public:
  SimulatedMac();

  // Accessibility.
  bool is_process_trusted() const override { return accessibility_trusted_; }
  void set_accessibility_trusted(bool trusted) { accessibility_trusted_ = trusted; }

  // Appearance.
  bool is_dark() const override { return dark_mode_; }
  void set_dark_mode(bool dark);
  [[nodiscard]] core::Subscription observe_theme_changes(std::function<void()> changed) override;

  // Default output device.
  std::optional<core::AudioObjectID> default_output_device() const override;
  std::optional<bool> mute(core::AudioObjectID device) const override;
  std::optional<double> volume_scalar(core::AudioObjectID device) const override;
  void set_output_volume(double volume) { output_volume_ = volume; }
  void set_output_muted(bool muted) { output_muted_ = muted; }
  void set_has_output_device(bool present) { has_output_device_ = present; }

  // Sounds.
  std::unique_ptr<core::SoundPlayer> load(core::Sound sound) override;
  const std::vector<SoundPlay>& sound_plays() const { return sound_plays_; }

  // Login item.
  core::LoginItemStatus status() const override { return login_status_; }
  std::optional<std::string> register_main_app() override;
  std::optional<std::string> unregister_main_app() override;
  void set_login_item_status(core::LoginItemStatus status) { login_status_ = status; }

 private:
  friend class SimulatedSoundPlayer;

  bool accessibility_trusted_ = true;
  bool dark_mode_ = false;
  core::Observable<bool> theme_;
  bool has_output_device_ = true;
  bool output_muted_ = false;
  double output_volume_ = 0.5;
  std::vector<SoundPlay> sound_plays_;
  core::LoginItemStatus login_status_ = core::LoginItemStatus::notRegistered;
};

}  // namespace kolvo::sim
