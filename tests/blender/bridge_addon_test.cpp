// The extension the program carries is the one in src/blender/addon, to the byte.
#include "blender/bridge_addon.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace kolvo::blender {
namespace {

std::string file_bytes(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  EXPECT_TRUE(in) << file;
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(BlenderBridgeAddon, TheEmbeddedFilesAreTheSourceFilesByteForByte) {
  const std::filesystem::path addon = std::filesystem::path(KOLVO_SOURCE_DIR) / "src" / "blender" / "addon";
  const std::string manifest = file_bytes(addon / "blender_manifest.toml");
  const std::string module = file_bytes(addon / "__init__.py");
  ASSERT_FALSE(manifest.empty());
  ASSERT_FALSE(module.empty());
  // Compared as strings so that a difference anywhere, a last newline or a byte past the first
  // zero included, shows.
  EXPECT_EQ(std::string(bridge_manifest_text()), manifest);
  EXPECT_EQ(std::string(bridge_module_text()), module);
}

}  // namespace
}  // namespace kolvo::blender
