#include "platform/linux/image_thumbnailer_linux.hpp"

#include <gtest/gtest.h>

#include <stb_image.h>
#include <stb_image_write.h>

#include "platform/sim/simulated_spotify.hpp"

namespace kolvo::platform {
namespace {

struct Size {
  int width = 0;
  int height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

// The size of a JPEG as a decoder sees it; zero when it is not one.
Size jpeg_size(const std::vector<std::uint8_t>& jpeg) {
  Size size;
  int components = 0;
  if (jpeg.size() < 2 || jpeg[0] != 0xFF || jpeg[1] != 0xD8) return {};
  if (stbi_info_from_memory(jpeg.data(), static_cast<int>(jpeg.size()), &size.width, &size.height, &components) == 0) {
    return {};
  }
  return size;
}

std::vector<std::uint8_t> encoded_jpeg(int width, int height) {
  std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width) * height * 3, 128);
  std::vector<std::uint8_t> out;
  stbi_write_jpg_to_func(
      [](void* context, void* data, int size) {
        auto* bytes = static_cast<std::uint8_t*>(data);
        static_cast<std::vector<std::uint8_t>*>(context)->insert(static_cast<std::vector<std::uint8_t>*>(context)->end(),
                                                                 bytes, bytes + size);
      },
      &out, width, height, 3, pixels.data(), 90);
  return out;
}

// The JPEG with an EXIF block carrying `orientation`, as a camera writes it, after its SOI.
std::vector<std::uint8_t> with_orientation(std::vector<std::uint8_t> jpeg, std::uint8_t orientation, bool little) {
  std::vector<std::uint8_t> tiff = little ? std::vector<std::uint8_t>{'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0, 0x12, 0x01, 3, 0,
                                                                      1, 0, 0, 0, orientation, 0, 0, 0, 0, 0, 0, 0}
                                          : std::vector<std::uint8_t>{'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 0x01, 0x12, 0, 3,
                                                                      0, 0, 0, 1, 0, orientation, 0, 0, 0, 0, 0, 0};
  std::vector<std::uint8_t> segment{0xFF, 0xE1};
  const std::size_t length = 2 + 6 + tiff.size();
  segment.push_back(static_cast<std::uint8_t>(length >> 8));
  segment.push_back(static_cast<std::uint8_t>(length & 0xff));
  for (char c : std::string_view("Exif\0\0", 6)) segment.push_back(static_cast<std::uint8_t>(c));
  segment.insert(segment.end(), tiff.begin(), tiff.end());
  jpeg.insert(jpeg.begin() + 2, segment.begin(), segment.end());
  return jpeg;
}

TEST(StbImageThumbnailer, ScalesTheLargerSideDownNeverUp) {
  const StbImageThumbnailer thumbnailer;
  struct Case {
    const char* name;
    std::vector<std::uint8_t> image;
    Size expected;
  };
  const Case cases[] = {
      {"a 640 px BMP cover", sim::simulated_cover("a", 640), {512, 512}},
      {"a wide JPEG", encoded_jpeg(1024, 256), {512, 128}},
      {"a small one stays", encoded_jpeg(300, 200), {300, 200}},
      {"turned a quarter", with_orientation(encoded_jpeg(1024, 256), 6, false), {128, 512}},
      {"turned, Intel order", with_orientation(encoded_jpeg(1024, 256), 8, true), {128, 512}},
      {"upside down keeps its size", with_orientation(encoded_jpeg(1024, 256), 3, true), {512, 128}},
  };
  for (const Case& c : cases) {
    const auto jpeg = thumbnailer.jpeg_thumbnail(c.image, 512, 0.8);
    ASSERT_TRUE(jpeg) << c.name;
    EXPECT_EQ(jpeg_size(*jpeg), c.expected) << c.name;
  }
}

TEST(StbImageThumbnailer, RefusesWhatIsNotAReadablePicture) {
  const StbImageThumbnailer thumbnailer;
  auto cut = encoded_jpeg(64, 64);
  cut.resize(cut.size() / 3);
  // A header claiming a picture far larger than any cover: refused before decoding.
  auto huge = sim::simulated_cover("a", 4);
  huge[18] = huge[22] = 0;
  huge[19] = huge[23] = 0;
  huge[20] = huge[24] = 0x80;  // 32768 × 32768
  const std::vector<std::uint8_t> cases[] = {{}, {'G', 'I', 'F'}, {0xFF, 0xD8, 0xFF}, cut, huge};
  for (const auto& image : cases) EXPECT_FALSE(thumbnailer.jpeg_thumbnail(image, 512, 0.8)) << image.size();
}

TEST(JpegOrientation, ReadsTheTagAndToleratesBrokenBlocks) {
  auto truncated = with_orientation(encoded_jpeg(8, 8), 6, true);
  truncated[4] = 0xFF;  // a segment length past the end of the file
  const std::pair<std::vector<std::uint8_t>, int> cases[] = {
      {encoded_jpeg(8, 8), 1},
      {with_orientation(encoded_jpeg(8, 8), 6, true), 6},
      {with_orientation(encoded_jpeg(8, 8), 8, false), 8},
      {with_orientation(encoded_jpeg(8, 8), 9, false), 1},
      {truncated, 1},
      {{0xFF, 0xD8}, 1},
  };
  for (const auto& [image, expected] : cases) EXPECT_EQ(jpeg_orientation(image), expected);
}

}  // namespace
}  // namespace kolvo::platform
