#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "base/notification_center.hpp"
#include "catalog/app_stores.hpp"
#include "catalog/application_opener.hpp"
#include "overlay/zone_provider.hpp"
#include "sound/sound_effects_manager.hpp"

namespace kolvo::ui {

// One app of the open Hidden Dock: what it shows and where, in the tray's own space (origin at
// its lower-left corner).
struct TrayIcon {
  std::string title;
  // Where the app's bundle is, for its icon.
  std::string location;
  bool installed = false;
  dock::Rect frame;
  friend bool operator==(const TrayIcon&, const TrayIcon&) = default;
};

inline constexpr double kTrayPadding = 12;
inline constexpr double kTrayIconSpacing = 8;
inline constexpr double kSmallestTrayIcon = 16;

// The icons' frames in a row across a tray of `tray_size`: each 0.62 × the Dock's height within
// 42…58 points, as the tray's width was computed from, and smaller only when a tray capped at
// its widest must still hold every app.
std::vector<dock::Rect> tray_icon_frames(double tray_width, double tray_height, double dock_height, std::size_t count);

// One slot of the App Launcher's grid, in the grid's own space (origin at its lower-left corner,
// the first row at the top).
struct LauncherCell {
  std::size_t slot = 0;
  // The app's name; "Empty — click to choose an app"; or the name with " — not installed".
  std::string title;
  std::string location;
  bool filled = false;
  bool installed = false;
  dock::Rect frame;
  friend bool operator==(const LauncherCell&, const LauncherCell&) = default;
};

inline constexpr std::size_t kLauncherColumns = 8;
inline constexpr std::size_t kLauncherRows = 7;

// Where each of the 56 slots sits in a grid of the given size: 8 columns and 7 rows, the first
// row at the top. Pure arithmetic, so a grid that grows under a drag is laid out again cheaply.
std::vector<dock::Rect> launcher_cell_frames(double grid_width, double grid_height);

// What letting go of a picked-up app does: into an empty cell it moves, onto another app the
// two change places, and anywhere else (its own cell, outside the grid) nothing happens.
struct LauncherDrop {
  enum class Kind { nothing, move, swap };
  Kind kind = Kind::nothing;
  std::size_t from = 0;
  std::size_t to = 0;
  friend bool operator==(const LauncherDrop&, const LauncherDrop&) = default;
};

inline constexpr double kLauncherCellSide = 64;

// The tray's window while it grows into the launcher: at `progress` 0 the tray itself, at 1 the
// tray's row with the 8 × 7 grid above it. It grows upward and away from the Dock, keeping its
// Dock end in place, and never leaves the display.
dock::Rect expanded_tray_frame(const dock::Rect& tray, dock::Side side, const dock::Rect& screen_frame, double progress);

// The Hidden Dock's apps for the frontmost application, the launcher it grows into, and what a
// click on either does.
class TrayModel {
 public:
  TrayModel(overlay::LiveZoneProvider& zones, catalog::AppLauncherStore& launcher,
            const catalog::ApplicationCatalog& catalog, catalog::ApplicationOpener& opener,
            base::NotificationCenter& center, sound::SoundEffectsManager& sounds)
      : zones_(zones), launcher_(launcher), catalog_(catalog), opener_(opener), center_(center), sounds_(sounds) {}

  std::vector<TrayIcon> icons(double tray_width, double tray_height, double dock_height) const;

  // Launches the app or brings it to the front, then says so to whoever follows the Dock (it
  // grows as the app starts) and clicks. False, and silent, when the app is not there.
  bool open(std::size_t index);

  // The 56 slots in 8 columns and 7 rows filling a grid of the given size.
  std::vector<LauncherCell> launcher_cells(double grid_width, double grid_height) const;
  // A filled slot opens its app as a tray icon does; an empty one opens nothing.
  bool open_launcher_slot(std::size_t slot);
  // Puts the app at `location` in an empty or replaced slot; false when it is no application.
  bool assign_launcher_slot(std::size_t slot, const std::string& location);
  // Moves or swaps as the drop says; false when it changes nothing.
  bool drop_in_launcher(const LauncherDrop& drop);
  // Calls `changed` after every change of the launcher's slots, from here or from elsewhere.
  [[nodiscard]] base::Subscription observe_launcher(std::function<void()> changed) {
    return launcher_.observable().subscribe([changed = std::move(changed)](const auto&) { changed(); });
  }

 private:
  bool open_item(const catalog::KolvoAppItem& item);

  overlay::LiveZoneProvider& zones_;
  catalog::AppLauncherStore& launcher_;
  const catalog::ApplicationCatalog& catalog_;
  catalog::ApplicationOpener& opener_;
  base::NotificationCenter& center_;
  sound::SoundEffectsManager& sounds_;
};

}  // namespace kolvo::ui
