#include "base/utf8.hpp"

#include <cstring>

namespace kolvo::base {

bool is_valid_utf8(const std::uint8_t* p, std::size_t size) {
  std::size_t i = 0;
  while (i < size) {
    if (i + 8 <= size) {
      std::uint64_t chunk;
      std::memcpy(&chunk, p + i, 8);
      if ((chunk & 0x8080808080808080ull) == 0) {
        i += 8;
        continue;
      }
    }
    const std::uint8_t c = p[i];
    if (c < 0x80) {
      ++i;
      continue;
    }
    std::size_t length;
    std::uint32_t code;
    if ((c & 0xE0) == 0xC0) {
      length = 2;
      code = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
      length = 3;
      code = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
      length = 4;
      code = c & 0x07;
    } else {
      return false;
    }
    if (i + length > size) return false;
    for (std::size_t k = 1; k < length; ++k) {
      if ((p[i + k] & 0xC0) != 0x80) return false;
      code = (code << 6) | (p[i + k] & 0x3F);
    }
    static constexpr std::uint32_t kMinimum[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < kMinimum[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
    i += length;
  }
  return true;
}

}  // namespace kolvo::base
