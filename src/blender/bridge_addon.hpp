#pragma once

#include <string_view>

// The Kolvo Bridge extension as the program carries it: the two files of addon/, built into the
// program byte for byte, so what is installed into Blender is always what this build was made
// with.
namespace kolvo::blender {

// The extension's id and version, as its manifest declares them; the folder Blender installs it
// under is named after the id.
inline constexpr std::string_view kBridgePackageID = "kolvo_bridge";
inline constexpr std::string_view kBridgeVersion = "1.2.0";

// blender_manifest.toml.
std::string_view bridge_manifest_text();
// __init__.py.
std::string_view bridge_module_text();

}  // namespace kolvo::blender
