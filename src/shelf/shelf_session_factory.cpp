#include "shelf/shelf_session_factory.hpp"

#include "shelf/claude_code/claude_code_surface_session.hpp"
#include "shelf/codex/codex_surface_session.hpp"
#include "shelf/timer/timer_surface_session.hpp"

namespace kolvo::shelf {

ShelfSessionFactory make_shelf_session_factory(ShelfSessionDependencies deps) {
  return [deps = std::move(deps)](ShelfSurfaceIdentity identity) -> std::unique_ptr<ShelfSurfaceSession> {
    switch (identity) {
      case ShelfSurfaceIdentity::claudeCode:
        return std::make_unique<ClaudeCodeSurfaceSession>(
            ClaudeCodeSurfaceSession::Ports{deps.main, deps.clock, deps.agent_paths, deps.watch_directory});
      case ShelfSurfaceIdentity::codex:
        return std::make_unique<CodexSurfaceSession>(deps.main, deps.clock, deps.log, deps.agent_paths, deps.programs);
      case ShelfSurfaceIdentity::timer:
        if (!deps.timer) return nullptr;
        return std::make_unique<TimerSurfaceSession>(deps.timer(), deps.main, deps.clock);
      default: return nullptr;
    }
  };
}

}  // namespace kolvo::shelf
