#pragma once

#include <array>
#include <memory>
#include <optional>

#include "base/executor.hpp"
#include "prefs/preference_store.hpp"
#include "prefs/settings_enums.hpp"
#include "prefs/stored_setting.hpp"
#include "sound/sound_ports.hpp"

namespace kolvo::sound {

// Whether a sound played now would be heard. Muted, or a volume of 0.001 or less, is silent;
// anything the system cannot tell us counts as audible, so a sound is never lost to doubt.
bool is_output_audible(const OutputAudibilityPort& audio);

// Short interface sounds: a click for detents, a bubble for panels, a chime for the timer.
class SoundEffectsManager {
 public:
  static constexpr base::Duration kMinimumClickInterval = base::seconds(0.055);

  SoundEffectsManager(prefs::PreferenceStore& prefs, const base::Executor& clock, const OutputAudibilityPort& audio,
                      SoundLibrary& library);

  bool is_enabled() const { return enabled_.get(); }
  void set_enabled(bool enabled) { enabled_.set(enabled); }
  prefs::StoredSetting<bool>& setting() { return enabled_; }

  void play(prefs::Sound sound, double intensity);
  // For dials and sliders moving step by step: clicks closer than 55 ms apart are dropped, so a
  // fast spin does not turn into a buzz.
  void play_detent_click(double intensity);

  static double level(prefs::Sound sound);

 private:
  prefs::StoredSetting<bool> enabled_;
  const base::Executor& clock_;
  const OutputAudibilityPort& audio_;
  std::array<std::unique_ptr<SoundPlayer>, 3> players_;
  std::optional<base::TimePoint> last_click_;
};

}  // namespace kolvo::sound
