#include "base/base64.hpp"

#include <array>

namespace kolvo::base {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::array<std::int8_t, 256> make_reverse() {
  std::array<std::int8_t, 256> table{};
  for (auto& entry : table) entry = -1;
  for (int i = 0; i < 64; ++i) table[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::int8_t>(i);
  return table;
}
constexpr auto kReverse = make_reverse();

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::string base64_encode(std::span<const std::uint8_t> bytes) {
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  std::size_t i = 0;
  for (; i + 3 <= bytes.size(); i += 3) {
    const std::uint32_t n = (std::uint32_t{bytes[i]} << 16) | (std::uint32_t{bytes[i + 1]} << 8) | bytes[i + 2];
    out += kAlphabet[(n >> 18) & 63];
    out += kAlphabet[(n >> 12) & 63];
    out += kAlphabet[(n >> 6) & 63];
    out += kAlphabet[n & 63];
  }
  const std::size_t rest = bytes.size() - i;
  if (rest > 0) {
    std::uint32_t n = std::uint32_t{bytes[i]} << 16;
    if (rest == 2) n |= std::uint32_t{bytes[i + 1]} << 8;
    out += kAlphabet[(n >> 18) & 63];
    out += kAlphabet[(n >> 12) & 63];
    out += rest == 2 ? kAlphabet[(n >> 6) & 63] : '=';
    out += '=';
  }
  return out;
}

std::optional<std::vector<std::uint8_t>> base64_decode(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::vector<std::uint8_t> out;
  out.reserve(text.size() / 4 * 3);
  for (std::size_t i = 0; i < text.size(); i += 4) {
    const bool last = i + 4 == text.size();
    int values[4];
    int padding = 0;
    for (int k = 0; k < 4; ++k) {
      const char c = text[i + k];
      if (c == '=' && last && k >= 2) {
        values[k] = 0;
        ++padding;
        continue;
      }
      if (padding > 0) return std::nullopt;  // data after padding
      values[k] = kReverse[static_cast<unsigned char>(c)];
      if (values[k] < 0) return std::nullopt;
    }
    const std::uint32_t n = (std::uint32_t(values[0]) << 18) | (std::uint32_t(values[1]) << 12) |
                            (std::uint32_t(values[2]) << 6) | std::uint32_t(values[3]);
    out.push_back(static_cast<std::uint8_t>(n >> 16));
    if (padding < 2) out.push_back(static_cast<std::uint8_t>(n >> 8));
    if (padding < 1) out.push_back(static_cast<std::uint8_t>(n));
  }
  return out;
}

std::string hex_encode(std::span<const std::uint8_t> bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    out += kDigits[byte >> 4];
    out += kDigits[byte & 15];
  }
  return out;
}

std::optional<std::vector<std::uint8_t>> hex_decode(std::string_view text) {
  std::vector<std::uint8_t> out;
  int high = -1;
  for (const char c : text) {
    if (c == ' ' || c == '\t') continue;
    const int value = hex_value(c);
    if (value < 0) return std::nullopt;
    if (high < 0) {
      high = value;
    } else {
      out.push_back(static_cast<std::uint8_t>(high << 4 | value));
      high = -1;
    }
  }
  if (high >= 0) return std::nullopt;
  return out;
}

}  // namespace kolvo::base
