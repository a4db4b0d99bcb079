#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kolvo::base {

// Machine-read numbers are never formatted in the user's locale: a decimal comma breaks
// scripts and parsers. These use std::to_chars / std::from_chars, which are locale-free.

// Shortest text that reads back to the same double ("0.4", "1", "1e+21").
std::string shortest_real_text(double value);
// As Swift prints a Double: shortest round-trip, with ".0" on whole numbers ("2.0", "0.4").
std::string swift_real_text(double value);

// The double a float's shortest text reads as (0.4f gives 0.4, not 0.4000000059604645), so a
// level kept in single precision travels as the number it was set to.
double widened(float value);

// As "%.*f" prints in the C locale ("1512", "-0", "0.25"); digits from 0 to 17.
std::string fixed_real_text(double value, int digits);

// As "%0*d" prints: at least `width` digits, zeros in front ("07"); a sign before them.
std::string zero_padded(long long value, int width);

// Whole-string parses; leading or trailing garbage fails.
std::optional<double> parse_real(std::string_view text);
std::optional<long long> parse_integer(std::string_view text);

}  // namespace kolvo::base
