#pragma once

#include <cmath>
#include <string>

namespace kolvo::dock {

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
  bool is_empty() const { return !(width > 0) || !(height > 0); }

  // Grown by dx and dy on each side (negative shrinks), as CGRectInset with negated values.
  Rect grown(double dx, double dy) const { return {x - dx, y - dy, width + 2 * dx, height + 2 * dy}; }

  friend bool operator==(const Rect&, const Rect&) = default;
};

// Whether the two overlap with a positive area, as CGRectIntersectsRect.
inline bool intersects(const Rect& a, const Rect& b) {
  if (a.is_empty() || b.is_empty()) return false;
  return a.min_x() < b.max_x() && b.min_x() < a.max_x() && a.min_y() < b.max_y() && b.min_y() < a.max_y();
}

// The pointer hit test. A pointer pushed into the top of a screen reports y = maxY, so the
// rectangle is closed at the top and open at the bottom, as NSMouseInRect on an unflipped view.
inline bool contains_pointer(const Rect& r, Point p) {
  return p.x >= r.min_x() && p.x < r.max_x() && p.y > r.min_y() && p.y <= r.max_y();
}

// Two rectangles describe the same thing when each measure is within the tolerance.
inline bool matches(const Rect& a, const Rect& b, double tolerance = 24.0) {
  return std::fabs(a.x - b.x) <= tolerance && std::fabs(a.y - b.y) <= tolerance &&
         std::fabs(a.width - b.width) <= tolerance && std::fabs(a.height - b.height) <= tolerance;
}

inline double area_of_intersection(const Rect& a, const Rect& b) {
  const double w = std::fmin(a.max_x(), b.max_x()) - std::fmax(a.min_x(), b.min_x());
  const double h = std::fmin(a.max_y(), b.max_y()) - std::fmax(a.min_y(), b.min_y());
  return w > 0 && h > 0 ? w * h : 0.0;
}

// "(0.0, 0.0, 1512.0, 982.0)", as reports print rectangles.
std::string describe(const Rect& rect);

}  // namespace kolvo::dock
