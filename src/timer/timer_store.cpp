#include "timer/timer_store.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "base/number_text.hpp"
#include "base/unit_interval.hpp"
#include "prefs/settings_keys.hpp"

namespace kolvo::timer {
namespace {

template <typename T>
void assign(base::Observable<T>& property, T value) {
  if (property.get() != value) property.set(std::move(value));
}

// A stored end further ahead than the longest timer (plus a second of rounding) cannot be
// ours: the clock was set back, or the value was edited. Such a timer is dropped rather than
// shown counting down for days.
constexpr double kLongestRemainder = KolvoTimerStore::kMaximumMinutes * 60.0 + 1.0;

std::optional<base::WallTime> stored_end_date(const prefs::PreferenceStore& prefs) {
  const auto stored = prefs.value(prefs::keys::kTimerEndDate);
  if (!stored) return std::nullopt;
  double seconds_since_1970 = 0;
  if (const auto* real = stored->get_if<double>()) {
    seconds_since_1970 = *real;
  } else if (const auto* integer = stored->get_if<std::int64_t>()) {
    seconds_since_1970 = static_cast<double>(*integer);
  } else if (const auto* date = stored->get_if<prefs::PreferenceDate>()) {
    seconds_since_1970 = date->seconds_since_2001 + base::kSecondsFrom1970To2001;
  } else {
    return std::nullopt;
  }
  // Positive, and within any date a clock can show, so the conversion below is exact.
  if (!std::isfinite(seconds_since_1970) || seconds_since_1970 <= 0 || seconds_since_1970 > 1e11) return std::nullopt;
  return base::from_seconds_since_1970(seconds_since_1970);
}

}  // namespace

KolvoTimerStore::KolvoTimerStore(prefs::PreferenceStore& prefs, base::Executor& main, const base::WallClock& clock,
                                 sound::SoundEffectsManager* sounds)
    : prefs_(prefs), clock_(clock), sounds_(sounds), ticker_(main), presentation_(main) {
  const auto stored = prefs_.read_integer(prefs::keys::kTimerSelectedMinutes);
  if (stored.is_present() && stored.value > 0) {
    selected_minutes_.set(static_cast<int>(std::min<std::int64_t>(stored.value, kMaximumMinutes)));
  }
  restore();
}

void KolvoTimerStore::restore() {
  const auto running = prefs_.read_bool(prefs::keys::kTimerRunning);
  const auto end = stored_end_date(prefs_);
  if (running.is_present() && running.value && end) {
    const double left = std::chrono::duration<double>(*end - clock_.now()).count();
    if (left > 0 && left <= kLongestRemainder) {
      end_date_ = end;
      remaining_seconds_.set(static_cast<int>(std::ceil(left)));
      is_running_.set(true);
      start_ticker();
      return;
    }
  }
  persist();
}

int KolvoTimerStore::seconds_until_end() const {
  const double left = std::chrono::duration<double>(*end_date_ - clock_.now()).count();
  return static_cast<int>(std::ceil(std::clamp(left, -1.0, kLongestRemainder)));
}

void KolvoTimerStore::persist() {
  prefs_.set(prefs::keys::kTimerRunning, is_running_.get());
  if (end_date_) {
    prefs_.set(prefs::keys::kTimerEndDate, base::seconds_since_1970(*end_date_));
  } else {
    prefs_.remove(prefs::keys::kTimerEndDate);
  }
}

double KolvoTimerStore::dial_value() const {
  const double value = is_running_.get() ? remaining_seconds_.get() / 3600.0 : selected_minutes_.get() / 60.0;
  return base::clamp_unit(value);
}

std::string KolvoTimerStore::dial_label() const {
  if (!is_running_.get()) return std::to_string(selected_minutes_.get()) + " MIN";
  const int remaining = std::max(remaining_seconds_.get(), 0);
  return base::zero_padded(remaining / 60, 2) + ":" + base::zero_padded(remaining % 60, 2);
}

bool KolvoTimerStore::set_minutes_from_dial(double value) {
  if (is_running_.get()) return false;
  const int minutes = static_cast<int>(std::round(base::clamp_unit(value) * kMaximumMinutes));
  if (minutes == selected_minutes_.get()) return false;
  selected_minutes_.set(minutes);
  prefs_.set(prefs::keys::kTimerSelectedMinutes, static_cast<std::int64_t>(minutes));
  return true;
}

void KolvoTimerStore::start() {
  if (is_running_.get() || selected_minutes_.get() < 1) return;
  const int seconds = selected_minutes_.get() * 60;
  end_date_ = clock_.now() + std::chrono::duration_cast<base::WallTime::duration>(std::chrono::seconds(seconds));
  assign(remaining_seconds_, seconds);
  is_running_.set(true);
  persist();
  start_ticker();
}

void KolvoTimerStore::stop() {
  if (!is_running_.get()) return;
  ticker_.stop();
  end_date_.reset();
  assign(remaining_seconds_, 0);
  is_running_.set(false);
  persist();
}

void KolvoTimerStore::start_ticker() {
  ticker_.start(kTickInterval, [this] { tick(); });
}

void KolvoTimerStore::tick() {
  if (!is_running_.get()) return;
  if (!end_date_) {
    stop();
    return;
  }
  const int remaining = seconds_until_end();
  if (remaining >= 1) {
    assign(remaining_seconds_, remaining);
  } else {
    complete();
  }
}

void KolvoTimerStore::complete() {
  ticker_.stop();
  end_date_.reset();
  assign(remaining_seconds_, 0);
  is_running_.set(false);
  persist();
  if (sounds_) sounds_->play(prefs::Sound::timer, 1.0);
  completion_pulse_.set(completion_pulse_.get() + 1);
  assign(is_presenting_completion_, true);
  presentation_.start(kCompletionPresentation, [this] { assign(is_presenting_completion_, false); });
  if (on_completion_reveal_) on_completion_reveal_();
}

void KolvoTimerStore::dismiss_completion() {
  presentation_.cancel();
  assign(is_presenting_completion_, false);
}

}  // namespace kolvo::timer
