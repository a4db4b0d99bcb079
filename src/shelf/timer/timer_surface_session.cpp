#include "shelf/timer/timer_surface_session.hpp"

#include <algorithm>
#include <cmath>
#include <string>

namespace kolvo::shelf {
namespace {

// How far the elapsed time may stray from the phone's own extrapolation before it is sent.
constexpr double kPositionTolerance = 1.0;

}  // namespace

void TimerSurfaceSession::start() {
  if (running_) return;
  running_ = true;
  forget_last_sent();
  const auto changed = [this](const auto&) { publish_soon(); };
  subscriptions_ = {store_.selected_minutes().subscribe(changed), store_.is_running().subscribe(changed),
                    store_.remaining_seconds().subscribe(changed), store_.is_presenting_completion().subscribe(changed)};
  deliver(current_state());
}

void TimerSurfaceSession::publish_soon() {
  if (!publish_soon_.is_pending()) publish_soon_.start(base::Duration::zero(), [this] { deliver(current_state()); });
}

void TimerSurfaceSession::stop() {
  if (!running_) return;
  running_ = false;
  for (auto& subscription : subscriptions_) subscription.reset();
  publish_soon_.cancel();
  forget_last_sent();
}

void TimerSurfaceSession::refresh() {
  if (running_) deliver(current_state(), /*forced=*/true);
}

ShelfSurfaceState TimerSurfaceSession::current_state() const {
  const int minutes = store_.selected_minutes();
  const double duration = minutes * 60.0;
  double position = 0;
  if (store_.is_presenting_completion()) {
    position = duration;
  } else if (store_.is_running()) {
    position = std::clamp(duration - store_.remaining_seconds(), 0.0, duration);
  }
  deck::CreativeContinuousControl minutes_control{
      .id = std::string(kMinutesControlID),
      .label = std::string(kMinutesLabel),
      .detail = std::to_string(minutes) + " MIN",
      .value = static_cast<double>(minutes),
      .minimum = kMinimumMinutes,
      .maximum = timer::KolvoTimerStore::kMaximumMinutes,
      .unit = deck::CreativeContinuousControl::Unit::none,
      .curve = deck::CreativeContinuousControl::Curve::linear,
      .decimals = 0,
      .blocked_reason = store_.is_running() ? std::optional<std::string>(kBlockedWhileRunning) : std::nullopt,
      .axes = std::nullopt,
      .active_axis = std::nullopt,
      .choices = std::nullopt,
      .active_choice = std::nullopt,
  };
  ShelfSurfaceState state;
  state.identity = ShelfSurfaceIdentity::timer;
  state.available = true;
  state.title = std::string(kTitle);
  state.duration = duration;
  state.position = position;
  state.is_playing = store_.is_running();
  state.timestamp = base::seconds_since_2001(clock_.now());
  state.continuous_control = std::move(minutes_control);
  return state;
}

bool TimerSurfaceSession::same_as_last(const ShelfSurfaceState& last, const ShelfSurfaceState& next) const {
  if (!(last.is_playing && next.is_playing)) return last.same_content(next);
  // Running: the phone moves the playhead on its own from the last state's time stamp.
  ShelfSurfaceState aligned = next;
  aligned.position = last.position;
  if (!last.same_content(aligned)) return false;
  const double expected = last.position.value_or(0) + (next.timestamp - last.timestamp);
  return std::abs(next.position.value_or(0) - expected) < kPositionTolerance;
}

void TimerSurfaceSession::handle(const ShelfCommand& command) {
  if (!running_) return;
  switch (command.command) {
    case ShelfSurfaceCommand::playPause:
      if (store_.is_running()) {
        store_.stop();
      } else {
        store_.start();
      }
      return;
    case ShelfSurfaceCommand::setContinuous: {
      if (command.control_id && *command.control_id != kMinutesControlID) return;
      if (!command.value || !std::isfinite(*command.value)) return;
      const double minutes = std::clamp(*command.value, double{kMinimumMinutes},
                                        double{timer::KolvoTimerStore::kMaximumMinutes});
      store_.set_minutes_from_dial(minutes / timer::KolvoTimerStore::kMaximumMinutes);
      return;
    }
    case ShelfSurfaceCommand::next: step_minutes(+1); return;
    case ShelfSurfaceCommand::previous: step_minutes(-1); return;
    case ShelfSurfaceCommand::dismiss: store_.dismiss_completion(); return;
    default: return;
  }
}

void TimerSurfaceSession::step_minutes(int delta) {
  if (store_.is_running()) return;
  const int minutes = std::clamp(store_.selected_minutes() + delta, kMinimumMinutes, timer::KolvoTimerStore::kMaximumMinutes);
  store_.set_minutes_from_dial(static_cast<double>(minutes) / timer::KolvoTimerStore::kMaximumMinutes);
}

}  // namespace kolvo::shelf
