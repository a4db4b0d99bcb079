#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace kolvo::base {

// No file, preference or message the program reads nests anywhere near this deep (a Dock's
// accessibility tree is about a dozen levels). Deeper text is refused before it is parsed, so
// no later walk over the value (copying, comparing, printing) can run out of stack.
inline constexpr std::size_t kMaximumJsonDepth = 512;

// Follows JSON text one character at a time and tells which characters belong to a string
// (its quotes included), so a scan can skip the brackets and digits written inside strings.
class JsonStringTracker {
 public:
  bool in_string(char c) {
    if (inside_) {
      if (escaped_) {
        escaped_ = false;
      } else if (c == '\\') {
        escaped_ = true;
      } else if (c == '"') {
        inside_ = false;
      }
      return true;
    }
    inside_ = c == '"';
    return inside_;
  }

 private:
  bool inside_ = false;
  bool escaped_ = false;
};

// Whether no array or object in `text` lies deeper than `max_depth`, counted from 1 for the
// outermost. One pass, no allocation; brackets inside strings do not count.
bool json_depth_within(std::string_view text, std::size_t max_depth = kMaximumJsonDepth);

// Bytes (a preference's data) viewed as the text they hold.
template <typename Bytes>
std::string_view text_of(const Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// Parses JSON text. A value nested deeper than `max_depth` is refused like text that does not
// parse; `error` (when given) then says which. Returns a discarded value on failure.
template <typename Json = nlohmann::json>
Json parse_json(std::string_view text, std::string* error = nullptr, std::size_t max_depth = kMaximumJsonDepth) {
  if (!json_depth_within(text, max_depth)) {
    if (error) *error = "it nests deeper than " + std::to_string(max_depth) + " levels";
    return Json(nlohmann::json::value_t::discarded);
  }
  Json parsed = Json::parse(text.begin(), text.end(), nullptr, /*allow_exceptions=*/false);
  if (parsed.is_discarded() && error) *error = "it is not valid JSON";
  return parsed;
}

}  // namespace kolvo::base
