#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kolvo::base {

// A random (version 4) UUID in upper-case canonical text, as Foundation writes them.
std::string make_uuid();
// Any-case canonical text to upper case; absent when the text is not a UUID.
std::optional<std::string> canonical_uuid(std::string_view text);

}  // namespace kolvo::base
