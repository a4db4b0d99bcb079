#pragma once

#include <compare>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kolvo::update {

// A version as Mac applications number their builds and releases: "45", "1.10", "2.0.1",
// "1.3b2", "2.0-rc.1". The order:
//
// - White space around the text and a leading "v" or "V" before a digit are ignored.
// - The text is cut at each "." into components. A component is a leading number (none reads
//   as 0) and an optional tail: whatever follows the digits.
// - Components compare in order, numbers by value whatever their length or leading zeros:
//   "1.10" > "1.9", "1.01" = "1.1", and 30-digit build numbers compare correctly.
// - A missing component is 0: "1.2" = "1.2.0".
// - Between equal numbers, the one without a tail is later: a tail marks a pre-release, so
//   "1.0b1" < "1.0" and "2.0-rc.1" < "2.0" < "2.0.1".
// - Two tails compare as runs of letters and runs of digits, other characters only separating
//   them ("-beta" and "beta" are equal): letters alphabetically without regard to case
//   ("alpha" < "beta" < "rc"), digits by value ("b2" < "b10"); a letter run is earlier than a
//   digit run at the same place, and a tail that runs out first is earlier ("b" < "b1").
//
// Text that is empty, longer than kMaxLength, or holds anything but printable ASCII is not a
// version.
class Version {
 public:
  static constexpr std::size_t kMaxLength = 64;

  static std::optional<Version> parse(std::string_view text);

  // The text as given, trimmed.
  const std::string& text() const { return text_; }

  friend std::strong_ordering operator<=>(const Version& a, const Version& b);
  friend bool operator==(const Version& a, const Version& b) { return (a <=> b) == 0; }

 private:
  struct Run {
    bool digits = false;
    std::string text;  // digits without leading zeros, or letters in lower case
  };
  struct Component {
    std::string number;  // without leading zeros; empty for 0
    std::vector<Run> tail;
  };

  std::string text_;
  std::vector<Component> components_;
};

}  // namespace kolvo::update
