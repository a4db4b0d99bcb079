#include "blender/bridge_addon.hpp"

#include "blender/blender_addon_files.hpp"

namespace kolvo::blender {

std::string_view bridge_manifest_text() { return {embedded::kManifest, embedded::kManifestSize}; }

std::string_view bridge_module_text() { return {embedded::kModule, embedded::kModuleSize}; }

}  // namespace kolvo::blender
