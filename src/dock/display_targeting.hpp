#pragma once

#include <optional>
#include <vector>

#include "dock/dock_preferences.hpp"
#include "dock/multi_display_calibration_store.hpp"
#include "dock/screens_port.hpp"

namespace kolvo::dock {

// The display the Hidden Dock lives on: the selected one, else the one the older single
// calibration was made on, else the one hosting the Dock, else the main screen.
std::optional<ScreenInfo> target_screen(const std::vector<ScreenInfo>& screens, std::optional<std::size_t> main_index,
                                        const MultiDisplayCalibrationStore& store, const DockPreferences& dock);

// The display whose Hidden Dock may react to a pointer at `point`, if any.
std::optional<ScreenInfo> screen_for_point(Point point, const std::vector<ScreenInfo>& screens,
                                           std::optional<std::size_t> main_index,
                                           const MultiDisplayCalibrationStore& store, const DockPreferences& dock);

// The Dock's edge for a display: its calibration's when it has one, else the Dock's setting.
DockPosition position_for_screen(const ScreenInfo& screen, const MultiDisplayCalibrationStore& store,
                                 const DockPreferences& dock);

}  // namespace kolvo::dock
