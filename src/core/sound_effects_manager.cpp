#include "core/sound_effects_manager.hpp"

#include <algorithm>
#include <cmath>

#include "core/settings_keys.hpp"

namespace kolvo::core {

bool is_output_audible(const OutputAudibilityPort& audio) {
  const auto device = audio.default_output_device();
  if (!device) return true;
  if (audio.mute(*device).value_or(false)) return false;
  const auto volume = audio.volume_scalar(*device);
  // CoreAudio's volume is a Float32; comparing in that precision keeps a device set to
  // exactly 0.001 silent.
  return !volume || static_cast<float>(*volume) > 0.001f;
}

SoundEffectsManager::SoundEffectsManager(PreferenceStore& prefs, const Executor& clock,
                                         const OutputAudibilityPort& audio, SoundLibrary& library)
    : enabled_(prefs, keys::kSoundEffectsEnabled, prefs.read_bool(keys::kSoundEffectsEnabled).value_or(true)),
      clock_(clock),
      audio_(audio) {
  for (const Sound sound : {Sound::click, Sound::bubble, Sound::timer}) {
    players_[static_cast<std::size_t>(sound)] = library.load(sound);
  }
}

double SoundEffectsManager::level(Sound sound) {
  switch (sound) {
    case Sound::click: return 0.18;
    case Sound::bubble: return 0.2;
    case Sound::timer: return 0.32;
  }
  return 0;
}

void SoundEffectsManager::play(Sound sound, double intensity) {
  if (!enabled_.get() || !is_output_audible(audio_)) return;
  SoundPlayer* player = players_[static_cast<std::size_t>(sound)].get();
  if (!player) return;
  const double clamped = std::isnan(intensity) ? 0.0 : std::clamp(intensity, 0.0, 1.0);
  player->stop();
  player->rewind();
  player->set_volume(clamped * level(sound));
  player->play();
}

void SoundEffectsManager::play_detent_click(double intensity) {
  const TimePoint now = clock_.now();
  if (last_click_ && now - *last_click_ < kMinimumClickInterval) return;
  last_click_ = now;
  play(Sound::click, intensity);
}

}  // namespace kolvo::core
