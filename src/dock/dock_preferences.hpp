#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "dock/dock_calibration.hpp"
#include "dock/screens_port.hpp"
#include "prefs/preference_store.hpp"

namespace kolvo::dock {

// One reading of the Dock's preference domain, "com.apple.dock".
inline constexpr double kMinimumTileSize = 16;
inline constexpr double kMaximumTileSize = 128;

struct DockPreferences {
  DockPosition orientation = DockPosition::bottom;
  double tile_size = 48;
  double large_size = 64;
  bool magnification = false;
  bool autohide = false;
  std::int64_t persistent_app_count = 0;
  std::int64_t persistent_other_count = 0;
  bool show_recents = true;

  friend bool operator==(const DockPreferences&, const DockPreferences&) = default;
};

// `domain` is null when the domain cannot be opened; the defaults above then apply. A missing
// "show-recents" reads false. Sizes may be stored as integers or reals.
DockPreferences read_dock_preferences(const prefs::PreferenceStore* domain);

// The "bundle-identifier" of every app kept in the Dock ("persistent-apps" → "tile-data").
std::set<std::string> persistent_bundle_ids(const prefs::PreferenceStore* domain);

// The tile size the Dock draws at rest: the large size when magnifying up to it.
double effective_tile(const DockPreferences& prefs);
// Persistent apps and others, the Finder and Trash, and the recents divider.
std::int64_t slot_count(const DockPreferences& prefs);
// Running apps shown in the Dock without being kept there.
std::int64_t transient_running_count(const std::vector<RunningApplication>& running, std::int64_t own_pid,
                                     const std::set<std::string>& persistent);
// The Dock's length for a bottom Dock calibrated at the bottom, else none.
std::optional<double> estimated_dock_length(const DockCalibration& calibration, const DockPreferences& prefs,
                                            std::int64_t transient_count);

// Fills the five baseline fields just before a calibration is saved.
DockCalibration capture_baseline(DockCalibration calibration, const DockPreferences& prefs,
                                 std::int64_t transient_count);

}  // namespace kolvo::dock
