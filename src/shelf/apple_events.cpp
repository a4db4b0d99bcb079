#include "shelf/apple_events.hpp"

#include <array>

namespace kolvo::shelf {

std::optional<std::uint16_t> ansi_key_code(char letter) {
  // kVK_ANSI_A … kVK_ANSI_Z: physical positions on a US keyboard, which is what the codes name.
  static constexpr std::array<std::uint16_t, 26> kCodes{
      0,  11, 8,  2,  14, 3,  5,  4,  34, 38, 40, 37, 46,  // a … m
      45, 31, 35, 12, 15, 1,  17, 32, 9,  13, 7,  16, 6,   // n … z
  };
  if (letter < 'a' || letter > 'z') return std::nullopt;
  return kCodes[static_cast<std::size_t>(letter - 'a')];
}

}  // namespace kolvo::shelf
