#include "blender/blender_context.hpp"

namespace kolvo::blender {
namespace {

using Json = nlohmann::json;

// A field that is there with the wrong type fails its record; one that is missing or null is
// absent. The outcome of one read: `ok` false fails the record.
template <typename T>
struct Read {
  bool ok = true;
  std::optional<T> value;
};

const Json* member(const Json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end() || found->is_null()) return nullptr;
  return &*found;
}

Read<std::string> text(const Json& object, const char* key) {
  const Json* value = member(object, key);
  if (!value) return {};
  if (!value->is_string()) return {false, {}};
  return {true, value->get<std::string>()};
}

Read<std::int64_t> integer(const Json& object, const char* key) {
  const Json* value = member(object, key);
  if (!value) return {};
  if (value->is_number_integer()) {
    // An unsigned value past the signed range is no identity Blender hands out.
    if (value->is_number_unsigned() && value->get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX)) {
      return {false, {}};
    }
    return {true, value->get<std::int64_t>()};
  }
  return {false, {}};
}

Read<double> real(const Json& object, const char* key) {
  const Json* value = member(object, key);
  if (!value) return {};
  if (!value->is_number()) return {false, {}};
  return {true, value->get<double>()};
}

bool flag(const Json& object, const char* key) {
  const Json* value = member(object, key);
  return value && value->is_boolean() && value->get<bool>();
}

// Each reader gives the record, or nothing when a field is missing or mistyped.
std::optional<BlenderRotation> rotation_from(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  const auto object = integer(json, "object");
  const auto name = text(json, "name");
  const auto mode = text(json, "rotationMode");
  if (!object.value || !name.value || !mode.value) return std::nullopt;
  const Json* radians = member(json, "radians");
  const Json* blocked = member(json, "blocked");
  if (!radians || !radians->is_array() || !blocked || !blocked->is_array()) return std::nullopt;
  BlenderRotation rotation{
      .object_id = *object.value, .object_name = *name.value, .rotation_mode = *mode.value, .radians = {}, .blocked = {}};
  for (const Json& angle : *radians) {
    if (!angle.is_number()) return std::nullopt;
    rotation.radians.push_back(angle.get<double>());
  }
  for (const Json& reason : *blocked) {
    if (reason.is_null()) {
      rotation.blocked.emplace_back();
    } else if (reason.is_string()) {
      rotation.blocked.emplace_back(reason.get<std::string>());
    } else {
      return std::nullopt;
    }
  }
  return rotation;
}

std::optional<BlenderCamera> camera_from(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  const auto object = integer(json, "object");
  const auto data = integer(json, "data");
  const auto name = text(json, "name");
  const auto lens = real(json, "lens");
  const auto blocked = text(json, "blocked");
  if (!object.value || !data.value || !name.value || !lens.value || !blocked.ok) return std::nullopt;
  return BlenderCamera{*object.value, *data.value, *name.value, *lens.value, blocked.value};
}

std::optional<BlenderLight> light_from(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  const auto object = integer(json, "object");
  const auto data = integer(json, "data");
  const auto name = text(json, "name");
  const auto type = text(json, "lightType");
  const auto energy = real(json, "energy");
  const auto blocked = text(json, "blocked");
  if (!object.value || !data.value || !name.value || !type.value || !energy.value || !blocked.ok) return std::nullopt;
  return BlenderLight{*object.value, *data.value, *name.value, *type.value, *energy.value, blocked.value};
}

std::optional<BlenderSculpt::Setting> setting_from(const Json* json) {
  if (!json || !json->is_object()) return std::nullopt;
  const auto scope = text(*json, "scope");
  const auto owner = integer(*json, "owner");
  const auto value = real(*json, "value");
  const auto blocked = text(*json, "blocked");
  if (!scope.ok || !owner.ok || !value.ok || !blocked.ok) return std::nullopt;
  return BlenderSculpt::Setting{scope.value, owner.value, value.value, blocked.value};
}

std::optional<BlenderSculpt> sculpt_from(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  const auto object = integer(json, "object");
  const auto brush = integer(json, "brush");
  const auto brush_name = text(json, "brushName");
  const auto size = setting_from(member(json, "size"));
  const auto strength = setting_from(member(json, "strength"));
  if (!object.value || !brush.ok || !brush_name.ok || !size || !strength) return std::nullopt;
  return BlenderSculpt{*object.value, brush.value, brush_name.value, *size, *strength};
}

template <typename Record>
std::optional<Record> nested(const Json& state, const char* key, std::optional<Record> (*reader)(const Json&)) {
  const Json* value = member(state, key);
  return value ? reader(*value) : std::nullopt;
}

}  // namespace

std::optional<BlenderContext> decode_blender_context(const Json& state) {
  if (!state.is_object()) return std::nullopt;
  const auto mode = text(state, "mode");
  if (!mode.value) return std::nullopt;
  // A field of the wrong type is read as absent: one odd value must not hide the rest.
  return BlenderContext{
      .mode = *mode.value,
      .tool = text(state, "tool").value,
      .shading = text(state, "shading").value,
      .xray = flag(state, "xray"),
      .camera_view = flag(state, "cameraView"),
      .has_viewport = flag(state, "hasViewport"),
      .active_name = text(state, "activeName").value,
      .active_type = text(state, "activeType").value,
      .can_edit = flag(state, "canEdit"),
      .rotation = nested(state, "rotation", rotation_from),
      .camera = nested(state, "camera", camera_from),
      .light = nested(state, "light", light_from),
      .sculpt = nested(state, "sculpt", sculpt_from),
  };
}

}  // namespace kolvo::blender
