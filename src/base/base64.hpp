#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kolvo::base {

// Standard base64 with padding and no line breaks, the form Foundation's Data coding uses.
std::string base64_encode(std::span<const std::uint8_t> bytes);
// Strict: rejects whitespace, missing padding and any character outside the alphabet.
std::optional<std::vector<std::uint8_t>> base64_decode(std::string_view text);

std::string hex_encode(std::span<const std::uint8_t> bytes);
// Accepts upper or lower case and ignores blanks, as `defaults write -data` does.
std::optional<std::vector<std::uint8_t>> hex_decode(std::string_view text);

}  // namespace kolvo::base
