#pragma once

#include <string>
#include <string_view>

#include "ui/zone_map.hpp"

namespace kolvo::ui {

// The picture's own colours: the page around the displays and the displays themselves.
inline constexpr ZoneMapColor kZoneMapSvgPage{229, 231, 235};
inline constexpr ZoneMapColor kZoneMapSvgPaper{255, 255, 255};
// Desks larger than this, in points on their longest side, are drawn smaller to fit it.
inline constexpr double kZoneMapSvgLongestSide = 1600;
// Labels read at about this many pixels whatever the picture's scale.
inline constexpr double kZoneMapSvgLabelPixels = 13;

// Pixels per point for a map of these bounds: 1 up to the longest side, less beyond it.
double zone_map_svg_scale(const dock::Rect& bounds);
// The label size, in points, that reads as kZoneMapSvgLabelPixels at that scale.
double zone_map_svg_label_size(const dock::Rect& bounds);

// The map as an SVG document, to scale. The viewBox is the union of the displays, with the
// global space's y flipped (SVG's y grows downward): a point (x, y) is drawn at (x, -y).
// Numbers are written with a point whatever the locale; text is escaped.
std::string zone_map_svg(const ZoneMap& map);

// Text for XML content and attribute values: the five markup characters escaped, each
// ill-formed UTF-8 sequence replaced by U+FFFD, and control characters XML forbids dropped.
std::string escape_xml(std::string_view text);

}  // namespace kolvo::ui
