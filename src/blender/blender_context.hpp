#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

// Blender's state as the bridge reports it, decoded. Every record compares field by field, so a
// push that changes nothing is seen to change nothing.
namespace kolvo::blender {

struct BlenderRotation {
  std::int64_t object_id = 0;
  std::string object_name;
  std::string rotation_mode;
  std::vector<double> radians;
  std::vector<std::optional<std::string>> blocked;
  friend bool operator==(const BlenderRotation&, const BlenderRotation&) = default;
};

struct BlenderCamera {
  std::int64_t object_id = 0;
  std::int64_t data_id = 0;
  std::string object_name;
  double lens = 0;
  std::optional<std::string> blocked;
  friend bool operator==(const BlenderCamera&, const BlenderCamera&) = default;
};

struct BlenderLight {
  std::int64_t object_id = 0;
  std::int64_t data_id = 0;
  std::string object_name;
  std::string light_type;
  double energy = 0;
  std::optional<std::string> blocked;
  friend bool operator==(const BlenderLight&, const BlenderLight&) = default;
};

struct BlenderSculpt {
  struct Setting {
    std::optional<std::string> scope;
    std::optional<std::int64_t> owner_id;
    std::optional<double> value;
    std::optional<std::string> blocked;
    friend bool operator==(const Setting&, const Setting&) = default;
  };
  std::int64_t object_id = 0;
  std::optional<std::int64_t> brush_id;
  std::optional<std::string> brush_name;
  Setting size;
  Setting strength;
  friend bool operator==(const BlenderSculpt&, const BlenderSculpt&) = default;
};

struct BlenderContext {
  std::string mode;
  std::optional<std::string> tool;
  std::optional<std::string> shading;
  bool xray = false;
  bool camera_view = false;
  bool has_viewport = false;
  std::optional<std::string> active_name;
  std::optional<std::string> active_type;
  bool can_edit = false;
  std::optional<BlenderRotation> rotation;
  std::optional<BlenderCamera> camera;
  std::optional<BlenderLight> light;
  std::optional<BlenderSculpt> sculpt;
  friend bool operator==(const BlenderContext&, const BlenderContext&) = default;
};

// The `state` object of a reply or push. Absent without a string `mode`; a missing flag reads
// false, and a nested record that does not decode is left out rather than failing the rest.
std::optional<BlenderContext> decode_blender_context(const nlohmann::json& state);

}  // namespace kolvo::blender
