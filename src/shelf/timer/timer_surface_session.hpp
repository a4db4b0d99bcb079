#pragma once

#include <array>
#include <string_view>

#include "base/date_time.hpp"
#include "base/observable.hpp"
#include "base/timers.hpp"
#include "shelf/shelf_surface_session.hpp"
#include "timer/timer_store.hpp"

namespace kolvo::shelf {

// The built-in countdown on the phone, as a media-like widget: the playhead is the time
// elapsed out of the chosen minutes, play and pause start and stop it, and the minutes are a
// slider that is locked while the timer runs.
//
// It follows the timer store's properties, so a start from the corner dial reaches the phone
// as surely as one from the phone. While the timer runs the phone advances the playhead
// itself: a tick sends nothing unless the elapsed time strays from where the phone would
// have it by a second or more (after the Mac slept, or its clock was set).
class TimerSurfaceSession final : public ShelfSurfaceSession {
 public:
  static constexpr std::string_view kTitle = "Timer";
  static constexpr std::string_view kMinutesControlID = "timer.minutes";
  static constexpr std::string_view kMinutesLabel = "Minutes";
  static constexpr std::string_view kBlockedWhileRunning = "Stop the timer to change it";
  static constexpr int kMinimumMinutes = 1;

  TimerSurfaceSession(timer::KolvoTimerStore& store, base::Executor& main, const base::WallClock& clock)
      : store_(store), clock_(clock), publish_soon_(main) {}
  ~TimerSurfaceSession() override { stop(); }

  ShelfSurfaceIdentity identity() const override { return ShelfSurfaceIdentity::timer; }
  void start() override;
  void stop() override;
  void refresh() override;
  void handle(const ShelfCommand& command) override;

  // The timer as the phone shows it now.
  ShelfSurfaceState current_state() const;

 protected:
  bool same_as_last(const ShelfSurfaceState& last, const ShelfSurfaceState& next) const override;

 private:
  // One store change sets several properties in a row (a completion clears the count, stops
  // and presents); the phone gets the state they add up to, once.
  void publish_soon();
  void step_minutes(int delta);

  timer::KolvoTimerStore& store_;
  const base::WallClock& clock_;
  base::Timer publish_soon_;
  bool running_ = false;
  std::array<base::Subscription, 4> subscriptions_;
};

}  // namespace kolvo::shelf
