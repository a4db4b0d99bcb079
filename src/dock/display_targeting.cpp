#include "dock/display_targeting.hpp"

namespace kolvo::dock {
namespace {

std::optional<ScreenInfo> main_or_first(const std::vector<ScreenInfo>& screens, std::optional<std::size_t> main_index) {
  if (main_index && *main_index < screens.size()) return screens[*main_index];
  if (!screens.empty()) return screens.front();
  return std::nullopt;
}

double dock_inset(const ScreenInfo& screen, DockPosition edge) {
  switch (edge) {
    case DockPosition::bottom: return screen.visible_frame.min_y() - screen.frame.min_y();
    case DockPosition::left: return screen.visible_frame.min_x() - screen.frame.min_x();
    case DockPosition::right: break;
  }
  return screen.frame.max_x() - screen.visible_frame.max_x();
}

}  // namespace

std::optional<ScreenInfo> target_screen(const std::vector<ScreenInfo>& screens, std::optional<std::size_t> main_index,
                                        const MultiDisplayCalibrationStore& store, const DockPreferences& dock) {
  if (screens.size() <= 1) return main_or_first(screens, main_index);
  if (const auto* selected = std::get_if<SelectedDisplay>(&store.display_mode())) {
    if (auto screen = store.screen_for_key(selected->key, screens)) return screen;
  }
  if (const auto legacy = store.legacy_calibration()) {
    for (const ScreenInfo& screen : screens) {
      if (matches(screen.frame, legacy->screen_frame)) return screen;
    }
  }
  // The display hosting the Dock has the widest inset on the Dock's edge; a hidden Dock leaves
  // 2 points or less, which says nothing.
  const ScreenInfo* host = nullptr;
  double widest = 0;
  for (const ScreenInfo& screen : screens) {
    const double inset = dock_inset(screen, dock.orientation);
    if (!host || inset > widest) {
      host = &screen;
      widest = inset;
    }
  }
  if (host && widest > 2) return *host;
  return main_or_first(screens, main_index);
}

std::optional<ScreenInfo> screen_for_point(Point point, const std::vector<ScreenInfo>& screens,
                                           std::optional<std::size_t> main_index,
                                           const MultiDisplayCalibrationStore& store, const DockPreferences& dock) {
  if (screens.empty()) return std::nullopt;
  if (screens.size() == 1) return screens.front();
  auto if_contains = [point](std::optional<ScreenInfo> screen) -> std::optional<ScreenInfo> {
    if (screen && contains_pointer(screen->frame, point)) return screen;
    return std::nullopt;
  };
  const KolvoDisplayMode& mode = store.display_mode();
  if (std::holds_alternative<AllCalibratedDisplays>(mode)) {
    for (const ScreenInfo& screen : screens) {
      if (contains_pointer(screen.frame, point)) {
        return store.has_calibration(screen) ? std::optional<ScreenInfo>(screen) : std::nullopt;
      }
    }
    return std::nullopt;
  }
  if (const auto* selected = std::get_if<SelectedDisplay>(&mode)) {
    if (auto screen = store.screen_for_key(selected->key, screens)) return if_contains(std::move(screen));
  }
  return if_contains(target_screen(screens, main_index, store, dock));
}

DockPosition position_for_screen(const ScreenInfo& screen, const MultiDisplayCalibrationStore& store,
                                 const DockPreferences& dock) {
  if (const auto calibration = store.calibration_for_screen(screen)) return calibration->dock_position;
  return dock.orientation;
}

}  // namespace kolvo::dock
