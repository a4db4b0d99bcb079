#include "base/uuid.hpp"

#include <cctype>
#include <cstdio>
#include <random>

namespace kolvo::base {

std::string make_uuid() {
  static thread_local std::mt19937_64 generator{std::random_device{}()};
  std::uint64_t high = generator();
  std::uint64_t low = generator();
  high = (high & 0xFFFFFFFFFFFF0FFFull) | 0x0000000000004000ull;  // version 4
  low = (low & 0x3FFFFFFFFFFFFFFFull) | 0x8000000000000000ull;    // RFC 4122 variant
  char text[37];
  std::snprintf(text, sizeof text, "%08X-%04X-%04X-%04X-%012llX", static_cast<unsigned>(high >> 32),
                static_cast<unsigned>((high >> 16) & 0xFFFF), static_cast<unsigned>(high & 0xFFFF),
                static_cast<unsigned>(low >> 48), static_cast<unsigned long long>(low & 0xFFFFFFFFFFFFull));
  return text;
}

std::optional<std::string> canonical_uuid(std::string_view text) {
  if (text.size() != 36) return std::nullopt;
  std::string out(text);
  for (std::size_t i = 0; i < out.size(); ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    if (dash != (out[i] == '-')) return std::nullopt;
    if (!dash) {
      if (!std::isxdigit(static_cast<unsigned char>(out[i]))) return std::nullopt;
      out[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(out[i])));
    }
  }
  return out;
}

}  // namespace kolvo::base
