#pragma once

#include <string>

namespace kolvo::geometry {

// Points in the global screen space: origin at the bottom-left of the primary display,
// y growing upward.
struct Point {
  double x = 0, y = 0;
  friend bool operator==(const Point&, const Point&) = default;
};

struct Rect {
  double x = 0, y = 0, width = 0, height = 0;

  double min_x() const { return x; }
  double min_y() const { return y; }
  double max_x() const { return x + width; }
  double max_y() const { return y + height; }
  double mid_x() const { return x + width / 2; }
  double mid_y() const { return y + height / 2; }

  friend bool operator==(const Rect&, const Rect&) = default;
};

// "(0.0, 0.0, 1512.0, 982.0)", as reports print rectangles.
std::string describe(const Rect& rect);

}  // namespace kolvo::geometry
