#pragma once

#include <functional>
#include <optional>
#include <string>

#include "core/date_time.hpp"
#include "core/executor.hpp"
#include "core/observable.hpp"
#include "core/preference_store.hpp"
#include "core/sound_effects_manager.hpp"
#include "core/timers.hpp"

namespace kolvo::controls {

// One countdown of whole minutes. The end time, not the count, is what is stored, so a
// sleeping Mac or a restart neither stretches the timer nor loses it; a timer that ended while
// the program was not running is dropped without a chime.
class KolvoTimerStore {
 public:
  static constexpr int kDefaultMinutes = 10;
  static constexpr int kMaximumMinutes = 60;
  static constexpr core::Duration kTickInterval = core::seconds(1.0);
  static constexpr core::Duration kCompletionPresentation = core::seconds(2.0);

  // Loads the stored minutes and resumes a timer still running; `sounds` may be null.
  KolvoTimerStore(core::PreferenceStore& prefs, core::Executor& main, const core::WallClock& clock,
                  core::SoundEffectsManager* sounds);

  core::Observable<int>& selected_minutes() { return selected_minutes_; }
  core::Observable<bool>& is_running() { return is_running_; }
  core::Observable<int>& remaining_seconds() { return remaining_seconds_; }
  // Incremented at each completion so that views can react.
  core::Observable<int>& completion_pulse() { return completion_pulse_; }
  core::Observable<bool>& is_presenting_completion() { return is_presenting_completion_; }
  const std::optional<core::WallTime>& end_date() const { return end_date_; }

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

 private:
  void restore();
  void persist();
  void start_ticker();
  void tick();
  void complete();
  int seconds_until_end() const;

  core::PreferenceStore& prefs_;
  const core::WallClock& clock_;
  core::SoundEffectsManager* sounds_;
  core::Observable<int> selected_minutes_{kDefaultMinutes};
  core::Observable<bool> is_running_{false};
  core::Observable<int> remaining_seconds_{0};
  core::Observable<int> completion_pulse_{0};
  core::Observable<bool> is_presenting_completion_{false};
  std::optional<core::WallTime> end_date_;
  core::RepeatingTimer ticker_;
  core::Timer presentation_;
  std::function<void()> on_completion_reveal_;
};

}  // namespace kolvo::controls
