#include "dock/dock_rect_refresh_controller.hpp"

#include "prefs/settings_keys.hpp"

namespace kolvo::dock {

DockRectRefreshController::DockRectRefreshController(DockRectCache& cache, MultiDisplayCalibrationStore& store,
                                                     const DockEnvironment& environment,
                                                     base::NotificationCenter& center, base::Executor& main,
                                                     base::DiagnosticsLog& log, std::weak_ptr<DockGeometryClient> client)
    : cache_(cache),
      store_(store),
      environment_(environment),
      center_(center),
      main_(main),
      log_(log),
      client_(std::move(client)) {}

DockRectRefreshController::~DockRectRefreshController() { stop(); }

void DockRectRefreshController::start() {
  stop();
  auto on = [this](std::string_view name, std::string_view reason) {
    observers_.push_back(center_.observe(std::string(name), [this, reason](std::string_view) { refresh(reason); }));
  };
  on(prefs::notifications::kLockCalibrationChanged, "lock-calibration-changed");
  on(prefs::notifications::kFollowDockChangesChanged, "follow-dock-changed");
  on(prefs::notifications::kAlignmentEdgeOffsetChanged, "edge-offset-changed");
  observers_.push_back(center_.observe(std::string(prefs::notifications::kAppLaunchedFromTray),
                                       [this](std::string_view) { launched_from_kolvo(); }));
  platform_observers_.push_back(environment_.running.observe_launches([this] { refresh("app-launch"); }));
  platform_observers_.push_back(environment_.running.observe_terminations([this] { refresh("app-terminate"); }));
  platform_observers_.push_back(environment_.screens.observe_screen_parameters([this] { screen_parameters_changed(); }));
  refresh("startup");
}

void DockRectRefreshController::stop() {
  observers_.clear();
  platform_observers_.clear();
  launch_refreshes_.clear();
}

void DockRectRefreshController::refresh(std::string_view reason) {
  log_.record("Dock", "DockRectCache.refresh(" + std::string(reason) + ")");
  auto client = client_.lock();
  std::optional<ScreenInfo> screen = client ? client->active_screen() : std::nullopt;
  if (!screen) screen = cache_.target_screen();
  cache_.refresh(screen, reason, /*force=*/false);
  if (client) client->recompute_geometry();
}

void DockRectRefreshController::screen_parameters_changed() {
  store_.screens_changed();
  if (store_.is_selected_display_missing()) {
    if (auto client = client_.lock()) client->selected_display_disconnected();
    center_.post(prefs::notifications::kSelectedDisplayDisconnected);
    return;
  }
  refresh("screen-parameters");
}

void DockRectRefreshController::launched_from_kolvo() {
  if (!cache_.live_follow()) return;
  // Earlier shots still pending are kept: each launch grows the Dock on its own schedule.
  std::erase_if(launch_refreshes_, [](const auto& timer) { return !timer->is_pending(); });
  for (const double delay : kLaunchedFromKolvoDelays) {
    auto timer = std::make_unique<base::Timer>(main_);
    timer->start(base::seconds(delay), [this] { refresh("launched from Kolvo"); });
    launch_refreshes_.push_back(std::move(timer));
  }
}

}  // namespace kolvo::dock
