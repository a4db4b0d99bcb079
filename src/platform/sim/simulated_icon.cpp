#include "platform/sim/simulated_icon.hpp"

#include <array>
#include <cmath>

namespace kolvo::sim {
namespace {

std::uint32_t crc32(const std::uint8_t* data, std::size_t size, std::uint32_t crc = 0) {
  static const auto table = [] {
    std::array<std::uint32_t, 256> t{};
    for (std::uint32_t n = 0; n < 256; ++n) {
      std::uint32_t c = n;
      for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
      t[n] = c;
    }
    return t;
  }();
  crc = ~crc;
  for (std::size_t i = 0; i < size; ++i) crc = table[(crc ^ data[i]) & 0xFF] ^ (crc >> 8);
  return ~crc;
}

void put32(std::vector<std::uint8_t>& out, std::uint32_t v) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<std::uint8_t>(v >> shift));
}

void chunk(std::vector<std::uint8_t>& out, const char (&type)[5], const std::vector<std::uint8_t>& data) {
  put32(out, static_cast<std::uint32_t>(data.size()));
  const std::size_t start = out.size();
  out.insert(out.end(), type, type + 4);
  out.insert(out.end(), data.begin(), data.end());
  put32(out, crc32(out.data() + start, out.size() - start));
}

// A zlib stream of stored (uncompressed) blocks: what any PNG reader inflates.
std::vector<std::uint8_t> zlib_stored(const std::vector<std::uint8_t>& raw) {
  std::vector<std::uint8_t> out{0x78, 0x01};
  std::size_t at = 0;
  do {
    const std::size_t n = std::min<std::size_t>(65535, raw.size() - at);
    const bool last = at + n == raw.size();
    out.push_back(last ? 1 : 0);
    out.push_back(static_cast<std::uint8_t>(n & 0xFF));
    out.push_back(static_cast<std::uint8_t>(n >> 8));
    out.push_back(static_cast<std::uint8_t>(~n & 0xFF));
    out.push_back(static_cast<std::uint8_t>((~n >> 8) & 0xFF));
    out.insert(out.end(), raw.begin() + static_cast<std::ptrdiff_t>(at), raw.begin() + static_cast<std::ptrdiff_t>(at + n));
    at += n;
  } while (at < raw.size());
  std::uint32_t a = 1, b = 0;
  for (const std::uint8_t byte : raw) {
    a = (a + byte) % 65521;
    b = (b + a) % 65521;
  }
  put32(out, (b << 16) | a);
  return out;
}

}  // namespace

std::vector<std::uint8_t> simulated_icon_png(std::string_view name, int pixels) {
  const auto size = static_cast<std::uint32_t>(std::max(1, pixels));
  std::uint32_t hash = 2166136261u;
  for (const char c : name) hash = (hash ^ static_cast<std::uint8_t>(c)) * 16777619u;
  // Two palette entries, clear and the colour, one bit a pixel: a couple of kilobytes, like the
  // compressed icons of a real Mac, where plain RGBA would be 64 KiB each.
  const std::vector<std::uint8_t> palette{0, 0, 0, static_cast<std::uint8_t>(64 + (hash & 0x7F)),
                                          static_cast<std::uint8_t>(64 + ((hash >> 8) & 0x7F)),
                                          static_cast<std::uint8_t>(64 + ((hash >> 16) & 0x7F))};
  const std::size_t row_bytes = (size + 7) / 8;
  std::vector<std::uint8_t> raw;
  raw.reserve(size * (row_bytes + 1));
  const double radius = size * 0.22, half = size / 2.0;
  for (std::uint32_t y = 0; y < size; ++y) {
    raw.push_back(0);  // no filter
    std::vector<std::uint8_t> row(row_bytes, 0);
    for (std::uint32_t x = 0; x < size; ++x) {
      // Inside the rounded square: its corners are quarter circles.
      const double dx = std::max(0.0, std::abs(x + 0.5 - half) - (half - radius));
      const double dy = std::max(0.0, std::abs(y + 0.5 - half) - (half - radius));
      if (dx * dx + dy * dy <= radius * radius) row[x / 8] |= static_cast<std::uint8_t>(0x80 >> (x % 8));
    }
    raw.insert(raw.end(), row.begin(), row.end());
  }
  std::vector<std::uint8_t> png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  std::vector<std::uint8_t> header;
  put32(header, size);
  put32(header, size);
  header.insert(header.end(), {1, 3, 0, 0, 0});  // 1 bit, palette, deflate, no filter, no interlace
  chunk(png, "IHDR", header);
  chunk(png, "PLTE", palette);
  chunk(png, "tRNS", {0, 255});
  chunk(png, "IDAT", zlib_stored(raw));
  chunk(png, "IEND", {});
  return png;
}

}  // namespace kolvo::sim
