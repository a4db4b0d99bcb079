#include "platform/sim/simulated_mac.hpp"

namespace kolvo::sim {

// Plays into the simulated Mac's record.
class SimulatedSoundPlayer final : public core::SoundPlayer {
 public:
  SimulatedSoundPlayer(SimulatedMac& mac, core::Sound sound) : mac_(mac), sound_(sound) {}
  void stop() override {}
  void rewind() override {}
  void set_volume(double volume) override { volume_ = volume; }
  void play() override { mac_.sound_plays_.push_back({sound_, volume_}); }

 private:
  SimulatedMac& mac_;
  core::Sound sound_;
  double volume_ = 1.0;
};

SimulatedMac::SimulatedMac() = default;

void SimulatedMac::set_dark_mode(bool dark) {
  dark_mode_ = dark;
  theme_.set(dark);
}

core::Subscription SimulatedMac::observe_theme_changes(std::function<void()> changed) {
  return theme_.subscribe([changed = std::move(changed)](bool) { changed(); });
}

std::optional<core::AudioObjectID> SimulatedMac::default_output_device() const {
  if (!has_output_device_) return std::nullopt;
  return core::AudioObjectID{1};
}

std::optional<bool> SimulatedMac::mute(core::AudioObjectID device) const {
  if (!has_output_device_ || device != 1) return std::nullopt;
  return output_muted_;
}

std::optional<double> SimulatedMac::volume_scalar(core::AudioObjectID device) const {
  if (!has_output_device_ || device != 1) return std::nullopt;
  return output_volume_;
}

std::unique_ptr<core::SoundPlayer> SimulatedMac::load(core::Sound sound) {
  return std::make_unique<SimulatedSoundPlayer>(*this, sound);
}

std::optional<std::string> SimulatedMac::register_main_app() {
  login_status_ = core::LoginItemStatus::enabled;
  return std::nullopt;
}

std::optional<std::string> SimulatedMac::unregister_main_app() {
  login_status_ = core::LoginItemStatus::notRegistered;
  return std::nullopt;
}

}  // namespace kolvo::sim
