#pragma once

#include <functional>
#include <memory>

#include "base/date_time.hpp"
#include "base/diagnostics_log.hpp"
#include "base/executor.hpp"
#include "dock/accessibility_trust.hpp"
#include "shelf/adobe/adobe_tool_grid_store.hpp"
#include "shelf/apple_events.hpp"
#include "shelf/artwork_ports.hpp"
#include "shelf/shelf_ports.hpp"
#include "shelf/shelf_surface_controller.hpp"
#include "timer/timer_store.hpp"

namespace kolvo::shelf {

// What the sessions of every kind are made from.
struct ShelfSessionDependencies {
  base::Executor& main;
  const base::WallClock& clock;
  base::DiagnosticsLog& log;
  // The one timer; made when the Timer widget first needs it.
  std::function<timer::KolvoTimerStore&()> timer;
  AgentPaths agent_paths;
  std::shared_ptr<const RunningProgramProbe> programs;
  DirectoryWatchFactory watch_directory;
  // Null where there is no way to the media and creative applications.
  std::shared_ptr<ScriptRunner> apple_events;
  std::shared_ptr<ApplicationProcesses> application_processes;
  std::shared_ptr<Downloader> downloader;
  std::shared_ptr<const ImageThumbnailer> thumbnailer;
  std::shared_ptr<const dock::AccessibilityTrust> accessibility;
  // The Adobe widgets' tool grids; without them there are no Adobe widgets.
  AdobeToolGridStore* tool_grids = nullptr;
  // Makes the Blender widget's session, which the layer above the Shelf provides with its
  // bridge; unset where there is no way to Blender.
  std::function<std::unique_ptr<ShelfSurfaceSession>()> blender = nullptr;
};

// Makes each widget's session from its identity.
ShelfSessionFactory make_shelf_session_factory(ShelfSessionDependencies dependencies);

}  // namespace kolvo::shelf
