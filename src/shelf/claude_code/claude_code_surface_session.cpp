#include "shelf/claude_code/claude_code_surface_session.hpp"

#include <algorithm>

namespace kolvo::shelf {

using deck::ShelfAgentActivity;

ClaudeCodeSurfaceSession::ClaudeCodeSurfaceSession(Ports ports, base::Duration done_linger)
    : ports_(std::move(ports)), done_linger_(done_linger), settle_timer_(ports_.main), stale_timer_(ports_.main) {}

void ClaudeCodeSurfaceSession::start() {
  if (watcher_) return;
  forget_last_sent();
  watcher_ = std::make_unique<AgentEventWatcher>(ports_.paths.claude_status_file(), ports_.main, ports_.log,
                                                 ports_.watch_directory,
                                                 [this](const std::optional<AgentEvent>& event) { event_changed(event); });
  watcher_->start();
}

void ClaudeCodeSurfaceSession::stop() {
  if (watcher_) watcher_->stop();
  watcher_.reset();
  settle_timer_.cancel();
  stale_timer_.cancel();
  forget_last_sent();
}

ShelfSurfaceState ClaudeCodeSurfaceSession::unavailable_state() const {
  ShelfSurfaceState state;
  state.identity = ShelfSurfaceIdentity::claudeCode;
  state.available = false;
  state.unavailable = std::string(kUnavailable);
  state.timestamp = base::seconds_since_2001(ports_.clock.now());
  return state;
}

void ClaudeCodeSurfaceSession::event_changed(const std::optional<AgentEvent>& event) {
  const auto age = event ? ports_.clock.now() - event->received_at : base::WallTime::duration::max();
  if (age >= kStaleAfter) {
    settle_timer_.cancel();
    stale_timer_.cancel();
    deliver(unavailable_state());
    return;
  }
  const auto activity = claude_activity_for(event->event);
  if (!activity) {
    // A report that says nothing about the work ("SessionEnd") leaves the widget as it was,
    // and a pending turn to idle still happens.
    if (!last_sent()) deliver(unavailable_state());
    return;
  }
  settle_timer_.cancel();
  // A session killed mid-step reports nothing more; its last word goes stale in time.
  stale_timer_.start(std::chrono::duration_cast<base::Duration>(kStaleAfter - std::max(age, base::WallTime::duration::zero())),
                     [this] {
                       if (watcher_) event_changed(watcher_->current_event());
                     });
  ShelfSurfaceState state;
  state.identity = ShelfSurfaceIdentity::claudeCode;
  state.available = true;
  state.title = event->project_name();
  state.agent_activity = *activity;
  state.agent_detail = claude_detail_for(*event);
  state.timestamp = base::seconds_since_2001(ports_.clock.now());
  deliver(state);
  if (*activity == ShelfAgentActivity::done || *activity == ShelfAgentActivity::failed) {
    settle_timer_.start(done_linger_, [this] { settle_to_idle(); });
  }
}

void ClaudeCodeSurfaceSession::settle_to_idle() {
  if (!last_sent()) return;
  ShelfSurfaceState idle = *last_sent();
  idle.agent_activity = ShelfAgentActivity::idle;
  idle.agent_detail.reset();
  idle.timestamp = base::seconds_since_2001(ports_.clock.now());
  deliver(idle);
}

}  // namespace kolvo::shelf
