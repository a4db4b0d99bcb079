#include "overlay/panel_frames.hpp"

#include <algorithm>
#include <array>

namespace kolvo::overlay {

Rect edge_slider_frame(const dock::ScreenInfo& screen, Side side) {
  const Rect& f = screen.frame;
  const double x = side == Side::left ? f.min_x() + kPanelGap : f.max_x() - kPanelGap - kEdgeSliderWidth;
  return {x, f.min_y() + kCornerStripHeight + kPanelGap, kEdgeSliderWidth, kEdgeSliderHeight};
}

Rect corner_dial_frame(const dock::ScreenInfo& screen, prefs::Corner corner) {
  const Rect& f = screen.frame;
  const bool left = corner == prefs::Corner::topLeft || corner == prefs::Corner::bottomLeft;
  const bool top = corner == prefs::Corner::topLeft || corner == prefs::Corner::topRight;
  const double inset = kDialSquare + kPanelGap;
  const double x = left ? f.min_x() + inset : f.max_x() - inset - kCornerDialSize;
  double y = f.min_y() + inset;
  if (top) {
    // The menu bar is taller than the corner's square; a screen without one (visible frame
    // unknown or reaching the top) keeps the square clear instead.
    double ceiling = f.max_y() - kDialSquare;
    if (!screen.visible_frame.is_empty()) ceiling = std::min(ceiling, screen.visible_frame.max_y());
    y = ceiling - kPanelGap - kCornerDialSize;
  }
  return {x, y, kCornerDialSize, kCornerDialSize};
}

Rect pressure_cue_frame(const dock::ScreenInfo& screen, Side side) { return corner_strip(screen.frame, side); }

std::optional<prefs::Corner> timer_dial_corner(const ZoneLayout& layout) {
  constexpr std::array kCorners{prefs::Corner::topLeft, prefs::Corner::topRight, prefs::Corner::bottomLeft,
                                prefs::Corner::bottomRight};
  for (std::size_t i = 0; i < kCorners.size(); ++i) {
    if (layout.active_dials[i] == prefs::CornerControlMode::timer) return kCorners[i];
  }
  return std::nullopt;
}

std::optional<dock::ScreenInfo> PanelPlacement::screen_for_pointer(Point pointer) const {
  if (auto screen = dock_.screen_for_point(pointer)) return screen;
  return dock_.target_screen();
}

std::optional<dock::ScreenInfo> PanelPlacement::same_display_now(const dock::ScreenInfo& screen) const {
  const std::string key = dock::primary_key(screen.identity);
  for (const dock::ScreenInfo& now : dock_.screens()) {
    if (dock::primary_key(now.identity) == key) return now;
  }
  return std::nullopt;
}

}  // namespace kolvo::overlay
