#include "shelf/shelf_session_factory.hpp"

#include "shelf/adobe/adobe_surface_session.hpp"
#include "shelf/claude_code/claude_code_surface_session.hpp"
#include "shelf/codex/codex_surface_session.hpp"
#include "shelf/spotify/spotify_surface_session.hpp"
#include "shelf/timer/timer_surface_session.hpp"

namespace kolvo::shelf {

ShelfSessionFactory make_shelf_session_factory(ShelfSessionDependencies deps) {
  // Without them the agents' widgets would look for their files relative to wherever the
  // program was started.
  const bool knows_agent_folders = !deps.agent_paths.home.empty() && !deps.agent_paths.application_support.empty();
  return [deps = std::move(deps), knows_agent_folders](ShelfSurfaceIdentity identity) -> std::unique_ptr<ShelfSurfaceSession> {
    switch (identity) {
      case ShelfSurfaceIdentity::claudeCode:
        if (!knows_agent_folders) return nullptr;
        return std::make_unique<ClaudeCodeSurfaceSession>(
            ClaudeCodeSurfaceSession::Ports{deps.main, deps.clock, deps.log, deps.agent_paths, deps.watch_directory});
      case ShelfSurfaceIdentity::codex:
        if (!knows_agent_folders) return nullptr;
        return std::make_unique<CodexSurfaceSession>(deps.main, deps.clock, deps.log, deps.agent_paths, deps.programs);
      case ShelfSurfaceIdentity::spotify:
        if (!deps.apple_events || !deps.application_processes) return nullptr;
        return std::make_unique<SpotifySurfaceSession>(SpotifySurfaceSession::Ports{
            deps.main, deps.clock, deps.apple_events, deps.application_processes, deps.downloader, deps.thumbnailer});
      case ShelfSurfaceIdentity::timer:
        if (!deps.timer) return nullptr;
        return std::make_unique<TimerSurfaceSession>(deps.timer(), deps.main, deps.clock);
      case ShelfSurfaceIdentity::afterEffects:
      case ShelfSurfaceIdentity::illustrator:
      case ShelfSurfaceIdentity::photoshop:
      case ShelfSurfaceIdentity::premiere:
        if (!deps.apple_events || !deps.application_processes || !deps.tool_grids) return nullptr;
        return std::make_unique<AdobeSurfaceSession>(
            *adobe_app_for(identity),
            AdobeSurfaceSession::Ports{.main = deps.main,
                                       .clock = deps.clock,
                                       .log = deps.log,
                                       .apple_events = deps.apple_events,
                                       .processes = deps.application_processes,
                                       .accessibility = deps.accessibility,
                                       .grids = *deps.tool_grids});
      case ShelfSurfaceIdentity::blender: return deps.blender ? deps.blender() : nullptr;
    }
    return nullptr;
  };
}

}  // namespace kolvo::shelf
