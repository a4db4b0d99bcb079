#include "shelf/codex/codex_surface_session.hpp"

#include <utility>

namespace kolvo::shelf {

CodexSurfaceSession::CodexSurfaceSession(base::Executor& main, const base::WallClock& clock, base::DiagnosticsLog& log,
                                         AgentPaths paths, std::shared_ptr<const RunningProgramProbe> programs,
                                         ProgramIdentity program)
    : clock_(clock),
      log_(log),
      paths_(std::move(paths)),
      programs_(std::move(programs)),
      program_(std::move(program)),
      timer_(main),
      queue_("com.kolvo.codex", main) {}

CodexSurfaceSession::~CodexSurfaceSession() = default;

void CodexSurfaceSession::start() {
  if (timer_.is_running()) return;
  ++generation_;
  forget_last_sent();
  poll();
  timer_.start(kInterval, [this] { poll(); });
}

void CodexSurfaceSession::stop() {
  timer_.stop();
  // A poll still out comes back to a later generation and is dropped.
  ++generation_;
  polling_ = false;
  forget_last_sent();
  follow_.reset();
}

void CodexSurfaceSession::refresh() {
  if (timer_.is_running()) resend_last();
}

void CodexSurfaceSession::poll() {
  // A slow disk must not pile polls up behind one another.
  if (polling_) return;
  polling_ = true;
  auto work = [programs = programs_, program = program_, sessions = paths_.codex_sessions(), now = clock_.now(),
               follow = std::exchange(follow_, std::nullopt)]() mutable {
    const bool running = programs != nullptr && programs->is_running(program);
    return read_log(running, sessions, now, std::move(follow));
  };
  queue_.async(std::move(work),
               [this, generation = generation_](PollResult result) { finish(generation, std::move(result)); });
}

CodexSurfaceSession::PollResult CodexSurfaceSession::read_log(bool running, const std::filesystem::path& sessions,
                                                              base::WallTime now, std::optional<Follow> follow) {
  PollResult result{.running = running, .rollout = std::nullopt, .follow = std::move(follow)};
  if (!running) return result;
  result.rollout = newest_codex_rollout(sessions, now, kSessionWindow);
  if (!result.rollout) return result;
  if (!result.follow || result.follow->path != result.rollout->path) {
    // Another session began: what the old log said is no longer news.
    result.follow = Follow{.path = result.rollout->path, .tail = LogTail{}, .pending = {}};
  }
  Follow& follow_now = *result.follow;
  follow_now.tail.read(follow_now.path, [&follow_now](std::string_view line) {
    if (auto said = interpret_codex_line(line)) follow_now.pending = std::move(*said);
  });
  return result;
}

void CodexSurfaceSession::finish(std::uint64_t generation, PollResult result) {
  if (generation != generation_) return;
  polling_ = false;
  follow_ = std::move(result.follow);
  log_changes(result);

  const base::WallTime now = clock_.now();
  ShelfSurfaceState state;
  state.identity = ShelfSurfaceIdentity::codex;
  state.timestamp = base::seconds_since_2001(now);
  if (!result.running) {
    state.available = false;
    state.unavailable = kUnavailable;
  } else {
    state.available = true;
    state.title = kTitle;
    state.agent_activity = ShelfAgentActivity::idle;
    if (result.rollout && follow_) {
      CodexShownActivity shown = codex_shown_activity(follow_->pending, result.rollout->modified, now);
      state.agent_activity = shown.activity;
      state.agent_detail = std::move(shown.detail);
    }
  }
  deliver(state);
}

void CodexSurfaceSession::log_changes(const PollResult& result) {
  constexpr std::string_view kTag = "Codex";
  if (logged_running_ != result.running) {
    logged_running_ = result.running;
    log_.record(kTag, result.running ? "running true" : "running false");
  }
  if (!result.rollout) return;
  if (logged_rollout_ != result.rollout->path) {
    logged_rollout_ = result.rollout->path;
    log_.record(kTag, "following " + result.rollout->path.filename().string());
  }
  if (logged_modified_ != result.rollout->modified) {
    logged_modified_ = result.rollout->modified;
    log_.record(kTag, "modified " + base::format_iso8601(result.rollout->modified));
  }
}

}  // namespace kolvo::shelf
