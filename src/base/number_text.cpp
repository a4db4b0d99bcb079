#include "base/number_text.hpp"

#include <charconv>
#include <cctype>
#include <cmath>
#include <locale>
#include <sstream>

namespace kolvo::base {

std::string shortest_real_text(double value) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

double widened(float value) {
  if (!std::isfinite(value)) return static_cast<double>(value);
  char buffer[32];
  const auto written = std::to_chars(buffer, buffer + sizeof buffer, value);
  return parse_real(std::string_view(buffer, static_cast<std::size_t>(written.ptr - buffer))).value_or(value);
}

std::string fixed_real_text(double value, int digits) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  // The largest double written out in full takes 309 digits before the point.
  char buffer[400];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, digits);
  return std::string(buffer, result.ptr);
}

std::string swift_real_text(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  std::string text = shortest_real_text(value);
  if (text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

std::optional<double> parse_real(std::string_view text) {
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  // Not every standard library on the Mac parses doubles with from_chars yet; a stream in
  // the classic locale is just as locale-free.
  if (text.empty() || std::isspace(static_cast<unsigned char>(text.front()))) return std::nullopt;
  std::istringstream stream{std::string(text)};
  stream.imbue(std::locale::classic());
  double value = 0;
  stream >> std::noskipws >> value;
  if (stream.fail() || stream.peek() != std::char_traits<char>::eof()) return std::nullopt;
  return value;
}

std::string zero_padded(long long value, int width) {
  std::string digits = std::to_string(value < 0 ? -static_cast<unsigned long long>(value) : static_cast<unsigned long long>(value));
  if (static_cast<int>(digits.size()) < width - (value < 0 ? 1 : 0)) {
    digits.insert(0, static_cast<std::size_t>(width - (value < 0 ? 1 : 0)) - digits.size(), '0');
  }
  return value < 0 ? "-" + digits : digits;
}

std::optional<long long> parse_integer(std::string_view text) {
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  long long value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || result.ec != std::errc() || result.ptr != text.data() + text.size()) return std::nullopt;
  return value;
}

}  // namespace kolvo::base
