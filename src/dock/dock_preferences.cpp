#include "dock/dock_preferences.hpp"

#include <algorithm>
#include <cmath>

namespace kolvo::dock {
namespace {

std::int64_t array_count(const prefs::PreferenceStore& domain, const char* key) {
  const auto value = domain.value(key);
  if (!value) return 0;
  const auto* array = value->get_if<prefs::PreferenceValue::Array>();
  return array ? static_cast<std::int64_t>(array->size()) : 0;
}

}  // namespace

DockPreferences read_dock_preferences(const prefs::PreferenceStore* domain) {
  DockPreferences prefs;
  if (!domain) return prefs;
  const auto orientation = domain->read_string("orientation");
  prefs.orientation = orientation.value == "left"    ? DockPosition::left
                      : orientation.value == "right" ? DockPosition::right
                                                     : DockPosition::bottom;
  const double tile = domain->read_real("tilesize").value_or(0);
  const double large = domain->read_real("largesize").value_or(0);
  // The Dock itself keeps its icons between 16 and 128 points; a stored size outside that is
  // taken at the nearest bound, so no estimate is built from an impossible size.
  const auto size_or = [](double stored, double fallback) {
    return stored > 0 && std::isfinite(stored) ? std::clamp(stored, kMinimumTileSize, kMaximumTileSize) : fallback;
  };
  prefs.tile_size = size_or(tile, 48);
  prefs.large_size = size_or(large, 64);
  prefs.magnification = domain->read_bool("magnification").value_or(false);
  prefs.autohide = domain->read_bool("autohide").value_or(false);
  prefs.show_recents = domain->read_bool("show-recents").value_or(false);
  prefs.persistent_app_count = array_count(*domain, "persistent-apps");
  prefs.persistent_other_count = array_count(*domain, "persistent-others");
  return prefs;
}

std::set<std::string> persistent_bundle_ids(const prefs::PreferenceStore* domain) {
  std::set<std::string> ids;
  if (!domain) return ids;
  const auto apps = domain->value("persistent-apps");
  const auto* array = apps ? apps->get_if<prefs::PreferenceValue::Array>() : nullptr;
  if (!array) return ids;
  for (const auto& entry : *array) {
    const auto* tile = entry.get_if<prefs::PreferenceValue::Dictionary>();
    if (!tile) continue;
    const auto data = tile->find("tile-data");
    if (data == tile->end()) continue;
    const auto* fields = data->second.get_if<prefs::PreferenceValue::Dictionary>();
    if (!fields) continue;
    const auto id = fields->find("bundle-identifier");
    if (id == fields->end()) continue;
    if (const auto* text = id->second.get_if<std::string>()) ids.insert(*text);
  }
  return ids;
}

double effective_tile(const DockPreferences& prefs) {
  return prefs.magnification && prefs.tile_size <= prefs.large_size ? prefs.large_size : prefs.tile_size;
}

std::int64_t slot_count(const DockPreferences& prefs) {
  return prefs.persistent_app_count + prefs.persistent_other_count + 2 + (prefs.show_recents ? 1 : 0);
}

std::int64_t transient_running_count(const std::vector<RunningApplication>& running, std::int64_t own_pid,
                                     const std::set<std::string>& persistent) {
  std::int64_t count = 0;
  for (const RunningApplication& app : running) {
    if (!app.regular || !app.bundle_id || app.pid == own_pid) continue;
    const std::string& id = *app.bundle_id;
    if (id.rfind("com.apple.", 0) == 0 && id.find("loginwindow") != std::string::npos) continue;
    if (persistent.contains(id)) continue;
    ++count;
  }
  return count;
}

std::optional<double> estimated_dock_length(const DockCalibration& calibration, const DockPreferences& prefs,
                                            std::int64_t transient_count) {
  if (calibration.dock_position != DockPosition::bottom || prefs.orientation != DockPosition::bottom) {
    return std::nullopt;
  }
  return (effective_tile(prefs) + 8) * static_cast<double>(slot_count(prefs) + transient_count) + 80;
}

DockCalibration capture_baseline(DockCalibration calibration, const DockPreferences& prefs,
                                 std::int64_t transient_count) {
  calibration.baseline_estimated_dock_width = estimated_dock_length(calibration, prefs, transient_count);
  calibration.baseline_persistent_item_count = prefs.persistent_app_count + prefs.persistent_other_count;
  calibration.baseline_transient_running_app_count = transient_count;
  calibration.baseline_tile_size = prefs.tile_size;
  calibration.baseline_show_recents = prefs.show_recents;
  return calibration;
}

}  // namespace kolvo::dock
