#include "base/json_text.hpp"

namespace kolvo::base {

bool json_depth_within(std::string_view text, std::size_t max_depth) {
  std::size_t depth = 0;
  JsonStringTracker strings;
  for (const char c : text) {
    if (strings.in_string(c)) continue;
    switch (c) {
      case '[':
      case '{':
        if (++depth > max_depth) return false;
        break;
      case ']':
      case '}':
        if (depth > 0) --depth;
        break;
      default: break;
    }
  }
  return true;
}

}  // namespace kolvo::base
