#include "sound/sound_effects_manager.hpp"

#include <algorithm>
#include <cmath>

#include "prefs/settings_keys.hpp"

namespace kolvo::sound {

bool is_output_audible(const OutputAudibilityPort& audio) {
  const auto device = audio.default_output_device();
  if (!device) return true;
  if (audio.mute(*device).value_or(false)) return false;
  const auto volume = audio.volume_scalar(*device);
  // CoreAudio's volume is a Float32; comparing in that precision keeps a device set to
  // exactly 0.001 silent.
  return !volume || static_cast<float>(*volume) > 0.001f;
}

SoundEffectsManager::SoundEffectsManager(prefs::PreferenceStore& prefs, const base::Executor& clock,
                                         const OutputAudibilityPort& audio, SoundLibrary& library)
    : enabled_(prefs, prefs::keys::kSoundEffectsEnabled, prefs.read_bool(prefs::keys::kSoundEffectsEnabled).value_or(true)),
      clock_(clock),
      audio_(audio) {
  for (const prefs::Sound sound : {prefs::Sound::click, prefs::Sound::bubble, prefs::Sound::timer}) {
    players_[static_cast<std::size_t>(sound)] = library.load(sound);
  }
}

double SoundEffectsManager::level(prefs::Sound sound) {
  switch (sound) {
    case prefs::Sound::click: return 0.18;
    case prefs::Sound::bubble: return 0.2;
    case prefs::Sound::timer: return 0.32;
  }
  return 0;
}

void SoundEffectsManager::play(prefs::Sound sound, double intensity) {
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
  const base::TimePoint now = clock_.now();
  if (last_click_ && now - *last_click_ < kMinimumClickInterval) return;
  last_click_ = now;
  play(prefs::Sound::click, intensity);
}

}  // namespace kolvo::sound
