#pragma once

#include <cstddef>
#include <cstdint>

namespace kolvo::base {

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF. ASCII runs are
// checked eight bytes at a time.
bool is_valid_utf8(const std::uint8_t* data, std::size_t size);

}  // namespace kolvo::base
