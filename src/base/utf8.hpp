#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kolvo::base {

// One step of a UTF-8 decoder over the bytes at `data` (size > 0).
struct Utf8Step {
  // For a well-formed sequence, its length (1 to 4). For an ill-formed one, the length of its
  // maximal subpart: the longest prefix that could still have begun a well-formed sequence, or
  // 1. A decoder that replaces each such subpart with one U+FFFD agrees with Swift's and
  // Foundation's decoders on how many replacement characters a run of bad bytes becomes.
  std::size_t length;
  bool valid;
};
Utf8Step utf8_step(const std::uint8_t* data, std::size_t size);

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF, no truncated
// sequence. ASCII runs are checked eight bytes at a time.
bool is_valid_utf8(const std::uint8_t* data, std::size_t size);

// U+FFFD, which stands in for every ill-formed subpart.
inline constexpr char kReplacementCharacter[] = "\xEF\xBF\xBD";

// Appends the UTF-8 form of a scalar value (not a surrogate, at most U+10FFFF).
void append_utf8(std::string& out, std::uint32_t c);

// The text with each ill-formed subpart replaced by U+FFFD, for bytes from outside (a child
// process's output) that may be cut mid-character.
std::string repaired_utf8(std::string_view bytes);

// The repaired text cut to at most `max_bytes`, only between characters.
std::string truncated_utf8(std::string_view bytes, std::size_t max_bytes);

}  // namespace kolvo::base
