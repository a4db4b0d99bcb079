#include "platform/linux/image_thumbnailer_linux.hpp"

#include <stb_image.h>
#include <stb_image_resize.h>
#include <stb_image_write.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

namespace kolvo::platform {
namespace {

constexpr int kChannels = 3;

struct Pixels {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> rgb;
};

std::uint32_t read_u16(const std::uint8_t* p, bool little) {
  return little ? static_cast<std::uint32_t>(p[0] | (p[1] << 8)) : static_cast<std::uint32_t>((p[0] << 8) | p[1]);
}

std::uint32_t read_u32(const std::uint8_t* p, bool little) {
  return little ? read_u16(p, true) | (read_u16(p + 2, true) << 16) : (read_u16(p, false) << 16) | read_u16(p + 2, false);
}

// The orientation tag in one EXIF block (the TIFF structure after "Exif\0\0").
int exif_orientation(const std::uint8_t* tiff, std::size_t size) {
  if (size < 8) return 1;
  bool little = false;
  if (std::memcmp(tiff, "II", 2) == 0) {
    little = true;
  } else if (std::memcmp(tiff, "MM", 2) != 0) {
    return 1;
  }
  const std::uint32_t ifd = read_u32(tiff + 4, little);
  if (ifd > size - 2) return 1;
  const std::uint32_t entries = read_u16(tiff + ifd, little);
  for (std::uint32_t i = 0; i < entries; ++i) {
    const std::size_t entry = ifd + 2 + std::size_t{i} * 12;
    if (entry + 12 > size) return 1;
    if (read_u16(tiff + entry, little) == 0x0112) {
      const std::uint32_t value = read_u16(tiff + entry + 8, little);
      return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
    }
  }
  return 1;
}

// Turns the pixels the way the orientation tag says the picture is meant to be seen.
Pixels upright(Pixels in, int orientation) {
  if (orientation <= 1) return in;
  const bool swaps = orientation >= 5;
  Pixels out{swaps ? in.height : in.width, swaps ? in.width : in.height, {}};
  out.rgb.resize(in.rgb.size());
  for (int y = 0; y < in.height; ++y) {
    for (int x = 0; x < in.width; ++x) {
      int ox = x;
      int oy = y;
      switch (orientation) {
        case 2: ox = in.width - 1 - x; break;
        case 3: ox = in.width - 1 - x; oy = in.height - 1 - y; break;
        case 4: oy = in.height - 1 - y; break;
        case 5: ox = y; oy = x; break;
        case 6: ox = in.height - 1 - y; oy = x; break;
        case 7: ox = in.height - 1 - y; oy = in.width - 1 - x; break;
        case 8: ox = y; oy = in.width - 1 - x; break;
        default: break;
      }
      const auto from = (static_cast<std::size_t>(y) * in.width + x) * kChannels;
      const auto to = (static_cast<std::size_t>(oy) * out.width + ox) * kChannels;
      std::copy_n(in.rgb.begin() + static_cast<std::ptrdiff_t>(from), kChannels,
                  out.rgb.begin() + static_cast<std::ptrdiff_t>(to));
    }
  }
  return out;
}

void append(void* context, void* data, int size) {
  auto* out = static_cast<std::vector<std::uint8_t>*>(context);
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  out->insert(out->end(), bytes, bytes + size);
}

}  // namespace

int jpeg_orientation(const std::vector<std::uint8_t>& image) {
  const std::size_t size = image.size();
  if (size < 4 || image[0] != 0xFF || image[1] != 0xD8) return 1;
  std::size_t at = 2;
  // Walk the segments before the image data; EXIF is one of the first.
  while (at + 4 <= size && image[at] == 0xFF) {
    const std::uint8_t marker = image[at + 1];
    if (marker == 0xDA || marker == 0xD9) break;
    const std::size_t length = read_u16(&image[at + 2], false);
    if (length < 2 || at + 2 + length > size) break;
    const std::uint8_t* body = &image[at + 4];
    const std::size_t body_size = length - 2;
    if (marker == 0xE1 && body_size > 6 && std::memcmp(body, "Exif\0\0", 6) == 0) {
      return exif_orientation(body + 6, body_size - 6);
    }
    at += 2 + length;
  }
  return 1;
}

std::optional<std::vector<std::uint8_t>> StbImageThumbnailer::jpeg_thumbnail(const std::vector<std::uint8_t>& image,
                                                                             int max_side, double quality) const {
  if (image.empty() || image.size() > static_cast<std::size_t>(INT32_MAX) || max_side < 1) return std::nullopt;
  const auto* bytes = image.data();
  const int length = static_cast<int>(image.size());
  int width = 0;
  int height = 0;
  int components = 0;
  if (stbi_info_from_memory(bytes, length, &width, &height, &components) == 0) return std::nullopt;
  if (width < 1 || height < 1 || static_cast<long long>(width) * height > kMaximumPixels) return std::nullopt;
  std::unique_ptr<stbi_uc, void (*)(void*)> decoded(stbi_load_from_memory(bytes, length, &width, &height, &components,
                                                                          kChannels),
                                                    stbi_image_free);
  if (!decoded) return std::nullopt;
  Pixels pixels{width, height, {}};
  pixels.rgb.assign(decoded.get(), decoded.get() + static_cast<std::size_t>(width) * height * kChannels);
  decoded.reset();
  pixels = upright(std::move(pixels), jpeg_orientation(image));

  const double scale = std::min(1.0, static_cast<double>(max_side) / std::max(pixels.width, pixels.height));
  const int out_width = std::max(1, static_cast<int>(std::lround(pixels.width * scale)));
  const int out_height = std::max(1, static_cast<int>(std::lround(pixels.height * scale)));
  std::vector<std::uint8_t> scaled(static_cast<std::size_t>(out_width) * out_height * kChannels);
  if (stbir_resize_uint8(pixels.rgb.data(), pixels.width, pixels.height, 0, scaled.data(), out_width, out_height, 0,
                         kChannels) == 0) {
    return std::nullopt;
  }
  std::vector<std::uint8_t> jpeg;
  const int percent = std::clamp(static_cast<int>(std::lround(quality * 100)), 1, 100);
  if (stbi_write_jpg_to_func(append, &jpeg, out_width, out_height, kChannels, scaled.data(), percent) == 0) {
    return std::nullopt;
  }
  return jpeg;
}

}  // namespace kolvo::platform
