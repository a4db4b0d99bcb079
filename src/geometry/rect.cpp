#include "geometry/rect.hpp"

#include "core/number_text.hpp"

namespace kolvo::geometry {

std::string describe(const Rect& rect) {
  using core::swift_real_text;
  return "(" + swift_real_text(rect.x) + ", " + swift_real_text(rect.y) + ", " + swift_real_text(rect.width) + ", " +
         swift_real_text(rect.height) + ")";
}

}  // namespace kolvo::geometry
