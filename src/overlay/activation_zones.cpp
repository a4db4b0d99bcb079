#include "overlay/activation_zones.hpp"

#include <cmath>

namespace kolvo::overlay {

using dock::contains_pointer;

bool ZoneSettings::side_active(Side side) const {
  switch (activation_side) {
    case prefs::KolvoActivationSide::both: return true;
    case prefs::KolvoActivationSide::leftOnly: return side == Side::left;
    case prefs::KolvoActivationSide::rightOnly: return side == Side::right;
    case prefs::KolvoActivationSide::none: break;
  }
  return false;
}

Rect corner_strip(const Rect& f, Side side) {
  const double x = side == Side::left ? f.min_x() : f.max_x() - kCornerStripWidth;
  return {x, f.min_y(), kCornerStripWidth, kCornerStripHeight};
}

bool is_dial_blocked(prefs::Corner corner, const ZoneSettings& settings) {
  if (corner == prefs::Corner::topLeft || corner == prefs::Corner::topRight) return false;
  const Side side = corner == prefs::Corner::bottomLeft ? Side::left : Side::right;
  return settings.side_active(side) && (settings.has_slider(side) || settings.pressure_mode);
}

const DisplayZones* ZoneLayout::display_for(Point p) const {
  if (displays.empty()) return nullptr;
  if (single_display) return &displays.front();
  if (first_containing_decides) {
    for (const DisplayZones& display : displays) {
      if (contains_pointer(display.frame, p)) return display.reacts ? &display : nullptr;
    }
    return nullptr;
  }
  for (const DisplayZones& display : displays) {
    if (display.reacts) return contains_pointer(display.frame, p) ? &display : nullptr;
  }
  return nullptr;
}

DisplayZones make_display_zones(const Rect& f, const dock::DockGeometry& dock, int tray_items, double offset) {
  DisplayZones z;
  z.frame = f;
  z.dock = dock;
  z.corner_strips = {corner_strip(f, Side::left), corner_strip(f, Side::right)};
  z.dial_squares = {Rect{f.min_x(), f.max_y() - kDialSquare, kDialSquare, kDialSquare},
                    Rect{f.max_x() - kDialSquare, f.max_y() - kDialSquare, kDialSquare, kDialSquare},
                    Rect{f.min_x(), f.min_y(), kDialSquare, kDialSquare},
                    Rect{f.max_x() - kDialSquare, f.min_y(), kDialSquare, kDialSquare}};
  z.tray_zones = {dock::tray_rect(dock, Side::left, tray_items, offset).grown(kTrayZoneMargin, kTrayZoneMargin),
                  dock::tray_rect(dock, Side::right, tray_items, offset).grown(kTrayZoneMargin, kTrayZoneMargin)};
  return z;
}

std::optional<Side> requested_side(const DisplayZones& z, const ZoneSettings& s, Point p) {
  if (s.pressure_mode) {
    // Both: the right pressure point is tested first.
    if (s.side_active(Side::right) && contains_pointer(z.corner_strips[1], p)) return Side::right;
    if (s.side_active(Side::left) && contains_pointer(z.corner_strips[0], p)) return Side::left;
    return std::nullopt;
  }
  const bool in_left = s.side_active(Side::left) && contains_pointer(z.dock.left_trigger_rect, p);
  const bool in_right = s.side_active(Side::right) && contains_pointer(z.dock.right_trigger_rect, p);
  if (in_left && in_right) {
    // A Dock so short that the two overlap: the nearer end, left on a tie.
    return std::fabs(p.x - z.dock.dock_rect.min_x()) <= std::fabs(p.x - z.dock.dock_rect.max_x()) ? Side::left
                                                                                                   : Side::right;
  }
  if (in_left) return Side::left;
  if (in_right) return Side::right;
  return std::nullopt;
}

HoverZone classify(const DisplayZones& z, const ZoneSettings& s, Point p, std::optional<Side> open_side) {
  for (const Side side : {Side::left, Side::right}) {
    const std::size_t i = side == Side::left ? 0 : 1;
    if (s.side_active(side) && s.has_slider(side) && contains_pointer(z.corner_strips[i], p)) {
      return side == Side::left ? HoverZone::leftTrigger : HoverZone::rightTrigger;
    }
  }
  if (const auto side = requested_side(z, s, p)) {
    return *side == Side::left ? HoverZone::leftTrigger : HoverZone::rightTrigger;
  }
  if (open_side) {
    const std::size_t i = *open_side == Side::left ? 0 : 1;
    const Rect& trigger = *open_side == Side::left ? z.dock.left_trigger_rect : z.dock.right_trigger_rect;
    if (contains_pointer(trigger, p) || contains_pointer(z.tray_zones[i], p)) return HoverZone::tray;
  }
  return HoverZone::outside;
}

}  // namespace kolvo::overlay
