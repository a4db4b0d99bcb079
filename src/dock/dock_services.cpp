#include "dock/dock_services.hpp"

#include <algorithm>

namespace kolvo::dock {
namespace {

bool is_display_number(const std::string& key) {
  return !key.empty() && std::all_of(key.begin(), key.end(), [](unsigned char c) { return c >= '0' && c <= '9'; });
}

std::string summary(const DockCalibration& c) {
  return "dock " + std::string(to_string(c.dock_position)) + " " + describe(c.dock_rect) + " saved " +
         base::format_report_date(base::from_seconds_since_2001(c.created_at));
}

}  // namespace

DockServices::DockServices(DockEnvironment environment, prefs::PreferenceStore& prefs, base::NotificationCenter& center,
                           base::Executor& main, base::DiagnosticsLog& log, dock::AlignmentSettingsStore& alignment,
                           const base::WallClock& clock)
    : environment_(environment),
      clock_(clock),
      store_(prefs, center, environment_.screens, log),
      session_(log, [this](const DockCalibration& calibration, const ScreenInfo& screen) {
        store_.save(capture_baseline(calibration, environment_.dock_preferences(), environment_.transient_count()),
                    screen);
      }),
      cache_(environment_, store_, alignment, session_, main),
      center_(center),
      main_(main),
      log_(log) {
  store_.attach_cache(&cache_);
}

std::unique_ptr<DockRectRefreshController> DockServices::make_refresh_controller(
    std::weak_ptr<DockGeometryClient> client) {
  return std::make_unique<DockRectRefreshController>(cache_, store_, environment_, center_, main_, log_,
                                                     std::move(client));
}

std::optional<ScreenInfo> DockServices::screen_for_point(Point point) const {
  return dock::screen_for_point(point, environment_.screens.screens(), environment_.screens.main_screen_index(),
                                    store_, environment_.dock_preferences());
}

DockGeometry DockServices::geometry_for(const ScreenInfo& screen) {
  if (session_.is_active()) {
    return make_dock_geometry(
        screen.frame, {session_.dock_rect(), DockRectSource::calibration, session_.dock_position(), false});
  }
  return make_dock_geometry(screen.frame, cache_.detect(screen));
}

void DockServices::save_calibration(const ScreenInfo& screen, const Rect& dock_rect, DockPosition position) {
  const DockCalibration calibration{dock_rect, screen.frame, position, base::seconds_since_2001(clock_.now()),
                                    {}, {}, {}, {}, {}};
  store_.save(capture_baseline(calibration, environment_.dock_preferences(), environment_.transient_count()), screen);
}

void DockServices::fill_diagnostics(DockDiagnostics& input) const {
  input.screens.clear();
  for (const ScreenInfo& screen : environment_.screens.screens()) {
    const auto key = store_.calibration_key(screen.identity);
    DiagnosticsScreen block;
    block.name = screen.identity.localized_name;
    block.resolved_calibration_key = key.value_or("none");
    block.display_id = screen.identity.cg_direct_display_id;
    block.backing_scale = screen.identity.backing_scale_factor;
    block.uuid = screen.identity.display_uuid;
    block.frame = screen.frame;
    if (key) block.saved_calibration = summary(store_.calibrations().at(*key));
    input.screens.push_back(std::move(block));
  }
  input.display_mode = describe(store_.display_mode());
  input.selected_display_connected = !store_.is_selected_display_missing();
  input.calibrations.clear();
  for (const auto& [key, calibration] : store_.calibrations()) {
    DiagnosticsCalibration entry;
    entry.key = key;
    entry.keyed_by_uuid = !is_display_number(key);
    entry.screen_frame = calibration.screen_frame;
    entry.dock_edge = std::string(to_string(calibration.dock_position));
    entry.dock_rect = calibration.dock_rect;
    entry.saved_at = base::from_seconds_since_2001(calibration.created_at);
    if (const auto identity = store_.identities().find(key); identity != store_.identities().end()) {
      entry.identity_name = identity->second.localized_name;
      entry.identity_uuid = identity->second.display_uuid;
    }
    input.calibrations.push_back(std::move(entry));
  }
}

}  // namespace kolvo::dock
