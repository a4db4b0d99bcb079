#pragma once

#include <optional>

#include "dock/dock_services.hpp"
#include "overlay/activation_settings_stores.hpp"
#include "overlay/activation_zones.hpp"
#include "overlay/zone_provider.hpp"

namespace kolvo::overlay {

// The panels' own sizes. The slider and the dial stay clear of the zones that open them, so the
// pointer that opened one is never under it, and a top dial stays below the menu bar.
inline constexpr double kPanelGap = 8;
inline constexpr double kEdgeSliderWidth = 56;
inline constexpr double kEdgeSliderHeight = 240;
inline constexpr double kCornerDialSize = 148;

// A vertical bar along the side edge, rising from just above the corner strip.
Rect edge_slider_frame(const dock::ScreenInfo& screen, Side side);
// A square in the corner, clear of the corner's 22-point square and of the menu bar.
Rect corner_dial_frame(const dock::ScreenInfo& screen, prefs::Corner corner);
Rect pressure_cue_frame(const dock::ScreenInfo& screen, Side side);

// The first corner, in the order top-left, top-right, bottom-left, bottom-right, whose active
// dial is the timer.
std::optional<prefs::Corner> timer_dial_corner(const ZoneLayout& layout);

// Where the overlay's panels go: the display they open on and each panel's frame there. The
// windows only move to these rectangles.
class PanelPlacement {
 public:
  PanelPlacement(dock::DockServices& dock, LiveZoneProvider& zones) : dock_(dock), zones_(zones) {}

  // The reacting display under the pointer, else the display the Dock is targeted on.
  std::optional<dock::ScreenInfo> screen_for_pointer(Point pointer) const;
  // The display `screen` was, as it is now (its frames may have moved); none once it is gone.
  std::optional<dock::ScreenInfo> same_display_now(const dock::ScreenInfo& screen) const;

  // The open Hidden Dock: the tray rectangle whose grown copy is the pointer's `tray` zone.
  Rect tray_frame(const dock::ScreenInfo& screen, Side side) { return zones_.tray_frame(screen, side); }
  Rect slider_frame(const dock::ScreenInfo& screen, Side side) const { return edge_slider_frame(screen, side); }
  Rect dial_frame(const dock::ScreenInfo& screen, prefs::Corner corner) const {
    return corner_dial_frame(screen, corner);
  }
  Rect pressure_cue(const dock::ScreenInfo& screen, Side side) const { return pressure_cue_frame(screen, side); }

  // The corner holding the timer's dial for the frontmost application, if any.
  std::optional<prefs::Corner> timer_corner() { return timer_dial_corner(zones_.zone_layout()); }

 private:
  dock::DockServices& dock_;
  LiveZoneProvider& zones_;
};

}  // namespace kolvo::overlay
