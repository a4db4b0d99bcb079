#include "base/json_text.hpp"

namespace kolvo::base {

bool json_depth_within(std::string_view text, std::size_t max_depth) {
  std::size_t depth = 0;
  bool in_string = false;
  bool escaped = false;
  for (const char c : text) {
    if (in_string) {
      if (escaped) {
        escaped = false;
      } else if (c == '\\') {
        escaped = true;
      } else if (c == '"') {
        in_string = false;
      }
      continue;
    }
    switch (c) {
      case '"': in_string = true; break;
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
