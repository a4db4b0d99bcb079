#include "base/utf8.hpp"

#include <cstring>

namespace kolvo::base {

Utf8Step utf8_step(const std::uint8_t* p, std::size_t size) {
  const std::uint8_t lead = p[0];
  if (lead < 0x80) return {1, true};
  // The well-formed sequences: the second byte's range is what rules out overlong forms
  // (E0, F0), surrogates (ED) and values past U+10FFFF (F4); every later byte is 80..BF.
  std::size_t length = 0;
  std::uint8_t low = 0x80, high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead == 0xE0) {
    length = 3, low = 0xA0;
  } else if ((lead >= 0xE1 && lead <= 0xEC) || lead == 0xEE || lead == 0xEF) {
    length = 3;
  } else if (lead == 0xED) {
    length = 3, high = 0x9F;
  } else if (lead == 0xF0) {
    length = 4, low = 0x90;
  } else if (lead >= 0xF1 && lead <= 0xF3) {
    length = 4;
  } else if (lead == 0xF4) {
    length = 4, high = 0x8F;
  } else {
    return {1, false};  // a stray continuation byte, C0, C1 or F5..FF: never the start of anything
  }
  if (size < 2 || p[1] < low || p[1] > high) return {1, false};
  for (std::size_t k = 2; k < length; ++k) {
    if (k >= size || p[k] < 0x80 || p[k] > 0xBF) return {k, false};
  }
  return {length, true};
}

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
    if (p[i] < 0x80) {
      ++i;
      continue;
    }
    const Utf8Step step = utf8_step(p + i, size - i);
    if (!step.valid) return false;
    i += step.length;
  }
  return true;
}

void append_utf8(std::string& out, std::uint32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

std::string repaired_utf8(std::string_view bytes) {
  const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
  std::string out;
  out.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size();) {
    const Utf8Step step = utf8_step(data + i, bytes.size() - i);
    if (step.valid) {
      out.append(bytes.data() + i, step.length);
    } else {
      out += kReplacementCharacter;
    }
    i += step.length;
  }
  return out;
}

std::string truncated_utf8(std::string_view bytes, std::size_t max_bytes) {
  std::string text = repaired_utf8(bytes);
  std::size_t kept = 0;
  while (kept < text.size()) {
    const auto step = utf8_step(reinterpret_cast<const std::uint8_t*>(text.data()) + kept, text.size() - kept);
    if (kept + step.length > max_bytes) break;
    kept += step.length;
  }
  text.resize(kept);
  return text;
}

}  // namespace kolvo::base
