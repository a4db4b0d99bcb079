#pragma once

#include <array>
#include <optional>
#include <vector>

#include "dock/dock_geometry.hpp"
#include "overlay/activation_settings_stores.hpp"
#include "prefs/settings_enums.hpp"

namespace kolvo::overlay {

using dock::Point;
using dock::Rect;
using dock::Side;

enum class HoverZone { outside, leftTrigger, rightTrigger, tray };
inline constexpr auto kHoverZoneTable = base::make_enum_table<HoverZone>(
    {{HoverZone::outside, "outside"}, {HoverZone::leftTrigger, "leftTrigger"}, {HoverZone::rightTrigger, "rightTrigger"},
     {HoverZone::tray, "tray"}});

enum class PressureZone { leftDockEdge, rightDockEdge };

inline constexpr double kCornerStripWidth = 96;
inline constexpr double kCornerStripHeight = 6;
inline constexpr double kDialSquare = 22;
inline constexpr double kTrayZoneMargin = 16;

// The settings that decide which control each zone belongs to, for the frontmost app.
struct ZoneSettings {
  prefs::KolvoActivationSide activation_side = prefs::KolvoActivationSide::both;
  bool pressure_mode = false;
  prefs::EdgeMode left_edge_mode = prefs::EdgeMode::dock;
  prefs::EdgeMode right_edge_mode = prefs::EdgeMode::dock;
  std::array<prefs::CornerControlMode, 4> corner_modes{};  // topLeft, topRight, bottomLeft, bottomRight

  bool side_active(Side side) const;
  bool has_slider(Side side) const { return edge_mode(side) != prefs::EdgeMode::dock; }
  prefs::EdgeMode edge_mode(Side side) const { return side == Side::left ? left_edge_mode : right_edge_mode; }
};

// A bottom corner serves a slider or a pressure point on an active side, never also a dial.
bool is_dial_blocked(prefs::Corner corner, const ZoneSettings& settings);

// Every zone of one display, computed once per layout change so a pointer move is only a few
// rectangle tests.
struct DisplayZones {
  Rect frame;
  dock::DockGeometry dock;
  std::array<Rect, 2> corner_strips;   // 96 × 6 at the bottom corners: left, right
  std::array<Rect, 4> dial_squares;    // 22 × 22 inside each corner
  std::array<Rect, 2> tray_zones;      // the tray on each side, grown by 16 points
  bool reacts = false;                 // this display's Hidden Dock may react to the pointer
};

struct ZoneLayout {
  std::vector<DisplayZones> displays;
  ZoneSettings settings;
  // Which displays react: in "all calibrated" mode the first display holding the point decides;
  // otherwise the one reacting display must hold it. A single display reacts everywhere.
  bool first_containing_decides = false;
  bool single_display = false;
  // Effective dial per corner: off where blocked.
  std::array<prefs::CornerControlMode, 4> active_dials{};

  const DisplayZones* display_for(Point p) const;
};

// The 96 × 6 strip in a bottom corner: a slider's or a pressure point's activation, and where
// the pressure cue is drawn.
Rect corner_strip(const Rect& frame, Side side);

DisplayZones make_display_zones(const Rect& frame, const dock::DockGeometry& dock, int tray_items, double offset);

// Which side the pointer asks to open, by the pressure points or the Dock triggers.
std::optional<Side> requested_side(const DisplayZones& zones, const ZoneSettings& settings, Point p);

// The zone of a pointer, first rule first: slider strips, Dock triggers, the open tray.
HoverZone classify(const DisplayZones& zones, const ZoneSettings& settings, Point p, std::optional<Side> open_side);

}  // namespace kolvo::overlay
