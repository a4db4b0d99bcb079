#pragma once

#include <functional>
#include <optional>
#include <string>

#include "base/date_time.hpp"
#include "base/executor.hpp"
#include "base/observable.hpp"
#include "base/timers.hpp"
#include "prefs/preference_store.hpp"
#include "sound/sound_effects_manager.hpp"

namespace kolvo::timer {

// One countdown of whole minutes. The end time, not the count, is what is stored, so a
// sleeping Mac or a restart neither stretches the timer nor loses it; a timer that ended while
// the program was not running is dropped without a chime.
class KolvoTimerStore {
 public:
  static constexpr int kDefaultMinutes = 10;
  static constexpr int kMaximumMinutes = 60;
  static constexpr base::Duration kTickInterval = base::seconds(1.0);
  static constexpr base::Duration kCompletionPresentation = base::seconds(2.0);

  // Loads the stored minutes and resumes a timer still running; `sounds` may be null.
  KolvoTimerStore(prefs::PreferenceStore& prefs, base::Executor& main, const base::WallClock& clock,
                  sound::SoundEffectsManager* sounds);

  base::Observable<int>& selected_minutes() { return selected_minutes_; }
  base::Observable<bool>& is_running() { return is_running_; }
  base::Observable<int>& remaining_seconds() { return remaining_seconds_; }
  // Incremented at each completion so that views can react.
  base::Observable<int>& completion_pulse() { return completion_pulse_; }
  base::Observable<bool>& is_presenting_completion() { return is_presenting_completion_; }
  const std::optional<base::WallTime>& end_date() const { return end_date_; }

  // Called when a completion is presented, to bring the timer's control into view.
  void set_on_completion_reveal(std::function<void()> reveal) { on_completion_reveal_ = std::move(reveal); }

  // 0 … 1: the minutes chosen out of an hour when stopped, the time left out of an hour
  // when running.
  double dial_value() const;
  // "25 MIN" when stopped, "07:05" when running.
  std::string dial_label() const;
  // Ignored while running. True when the minutes changed.
  bool set_minutes_from_dial(double value);
  void start();
  void stop();
  // Ends the completion's presentation before its two seconds are up.
  void dismiss_completion();

 private:
  void restore();
  void persist();
  void start_ticker();
  void tick();
  void complete();
  int seconds_until_end() const;

  prefs::PreferenceStore& prefs_;
  const base::WallClock& clock_;
  sound::SoundEffectsManager* sounds_;
  base::Observable<int> selected_minutes_{kDefaultMinutes};
  base::Observable<bool> is_running_{false};
  base::Observable<int> remaining_seconds_{0};
  base::Observable<int> completion_pulse_{0};
  base::Observable<bool> is_presenting_completion_{false};
  std::optional<base::WallTime> end_date_;
  base::RepeatingTimer ticker_;
  base::Timer presentation_;
  std::function<void()> on_completion_reveal_;
};

}  // namespace kolvo::timer
