#pragma once

#include <memory>
#include <string_view>

#include "base/date_time.hpp"
#include "base/diagnostics_log.hpp"
#include "base/timers.hpp"
#include "shelf/claude_code/agent_event_watcher.hpp"
#include "shelf/shelf_surface_session.hpp"

namespace kolvo::shelf {

// What Claude Code is doing, from the reports its status hooks leave. Display only.
class ClaudeCodeSurfaceSession final : public ShelfSurfaceSession {
 public:
  static constexpr std::string_view kUnavailable = "Open Claude Code on your Mac";
  // A report older than this was left by a session long gone.
  static constexpr auto kStaleAfter = std::chrono::hours(12);
  static constexpr base::Duration kDefaultDoneLinger = base::seconds(45.0);

  struct Ports {
    base::Executor& main;
    const base::WallClock& clock;
    base::DiagnosticsLog& log;
    AgentPaths paths;
    DirectoryWatchFactory watch_directory;
  };

  explicit ClaudeCodeSurfaceSession(Ports ports, base::Duration done_linger = kDefaultDoneLinger);
  ~ClaudeCodeSurfaceSession() override { stop(); }

  ShelfSurfaceIdentity identity() const override { return ShelfSurfaceIdentity::claudeCode; }
  void start() override;
  void stop() override;
  void refresh() override { resend_last(); }
  void handle(const ShelfCommand&) override {}

 private:
  void event_changed(const std::optional<AgentEvent>& event);
  void settle_to_idle();
  ShelfSurfaceState unavailable_state() const;

  Ports ports_;
  base::Duration done_linger_;
  std::unique_ptr<AgentEventWatcher> watcher_;
  base::Timer settle_timer_;
  // A report that stays the last one for 12 hours was left by a session long gone.
  base::Timer stale_timer_;
};

}  // namespace kolvo::shelf
