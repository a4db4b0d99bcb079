#pragma once

#include "shelf/artwork_ports.hpp"

namespace kolvo::platform {

// Thumbnails with stb: JPEG, PNG, BMP and GIF in; JPEG out. JPEG's orientation tag is obeyed.
class StbImageThumbnailer final : public shelf::ImageThumbnailer {
 public:
  // No cover is larger; a bigger picture is refused before it is decoded.
  static constexpr long long kMaximumPixels = 64LL << 20;

  std::optional<std::vector<std::uint8_t>> jpeg_thumbnail(const std::vector<std::uint8_t>& image, int max_side,
                                                          double quality) const override;
};

// The EXIF orientation (1…8) of a JPEG file; 1, upright, when it has none.
int jpeg_orientation(const std::vector<std::uint8_t>& image);

}  // namespace kolvo::platform
