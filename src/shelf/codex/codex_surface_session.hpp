#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "base/date_time.hpp"
#include "base/diagnostics_log.hpp"
#include "base/executor.hpp"
#include "base/serial_queue.hpp"
#include "base/timers.hpp"
#include "shelf/codex/codex_log.hpp"
#include "shelf/shelf_ports.hpp"
#include "shelf/shelf_surface_session.hpp"

namespace kolvo::shelf {

// The Codex widget: what Codex is doing, read from the session log it writes. Codex is never
// asked anything; every two seconds the newest log is found and what was appended to it read,
// off the main thread. Display only: the phone's commands do not concern it.
class CodexSurfaceSession final : public ShelfSurfaceSession {
 public:
  static constexpr base::Duration kInterval = std::chrono::seconds(2);
  // A log untouched for longer belongs to a session long over.
  static constexpr base::Duration kSessionWindow = std::chrono::hours(12);
  static constexpr const char* kUnavailable = "Open Codex on your Mac";
  static constexpr const char* kTitle = "Codex";

  // Codex's desktop application on the Mac, its executable elsewhere.
  static ProgramIdentity codex_program() { return {"com.openai.codex", "codex"}; }

  // A null `programs` never finds Codex running.
  CodexSurfaceSession(base::Executor& main, const base::WallClock& clock, base::DiagnosticsLog& log, AgentPaths paths,
                      std::shared_ptr<const RunningProgramProbe> programs, ProgramIdentity program = codex_program());
  ~CodexSurfaceSession() override;

  ShelfSurfaceIdentity identity() const override { return ShelfSurfaceIdentity::codex; }
  void start() override;
  void stop() override;
  void refresh() override;
  void handle(const ShelfCommand&) override {}

  // Whether a poll's answer is still awaited from the queue.
  bool is_polling() const { return polling_; }

 private:
  // The log being followed and what it has said so far. While a poll is out it travels with
  // the poll, so only one thread ever holds it.
  struct Follow {
    std::filesystem::path path;
    LogTail tail;
    CodexPending pending;
  };
  struct PollResult {
    bool running = false;
    std::optional<CodexRollout> rollout;
    std::optional<Follow> follow;
  };

  void poll();
  static PollResult read_log(bool running, const std::filesystem::path& sessions, base::WallTime now,
                             std::optional<Follow> follow);
  void finish(std::uint64_t generation, PollResult result);
  void log_changes(const PollResult& result);

  const base::WallClock& clock_;
  base::DiagnosticsLog& log_;
  AgentPaths paths_;
  std::shared_ptr<const RunningProgramProbe> programs_;
  ProgramIdentity program_;

  base::RepeatingTimer timer_;
  bool polling_ = false;
  // Counts starts and stops, so that an answer to a poll from before them is dropped.
  std::uint64_t generation_ = 0;
  std::optional<Follow> follow_;
  // What the diagnostics log last said, so each change is written once.
  std::optional<bool> logged_running_;
  std::optional<std::filesystem::path> logged_rollout_;
  std::optional<base::WallTime> logged_modified_;
  // Last, so that it is gone, its worker joined, before anything a completion touches.
  base::SerialQueue queue_;
};

}  // namespace kolvo::shelf
