#include "dock/rect.hpp"

#include "base/number_text.hpp"

namespace kolvo::dock {

std::string describe(const Rect& rect) {
  using base::swift_real_text;
  return "(" + swift_real_text(rect.x) + ", " + swift_real_text(rect.y) + ", " + swift_real_text(rect.width) + ", " +
         swift_real_text(rect.height) + ")";
}

}  // namespace kolvo::dock
