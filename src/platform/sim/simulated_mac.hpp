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
#include "hidden_dock/overlay_window_manager.hpp"

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

// The panels at the edges and corners, reduced to lines saying what would be shown.
class SimulatedOverlayWindowManager final : public hidden_dock::OverlayWindowManager {
 public:
  using Sink = std::function<void(std::string_view action)>;
  explicit SimulatedOverlayWindowManager(Sink sink) : sink_(std::move(sink)) {}

  void show_hidden_dock(hidden_dock::DockSide side, bool pinned) override;
  hidden_dock::DockSide last_open_side() const override { return last_side_; }
  void close_all_panels() override { sink_("hide"); }
  std::optional<geometry::ScreenInfo> active_screen() const override { return std::nullopt; }
  void recompute_geometry() override { sink_("recompute geometry"); }
  void selected_display_disconnected() override { sink_("selected display disconnected"); }
  void reveal_timer_control() override { sink_("reveal timer"); }
  void start_calibration(std::function<void()> completed) override;

 private:
  Sink sink_;
  hidden_dock::DockSide last_side_ = hidden_dock::DockSide::left;
};

}  // namespace kolvo::sim
