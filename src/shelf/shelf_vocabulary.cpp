#include "shelf/shelf_vocabulary.hpp"

#include "core/base64.hpp"

namespace kolvo::shelf {
namespace {

using core::JsonReader;
using core::JsonWriter;
using nlohmann::json;

void write_string(JsonWriter& w, const char* key, const std::optional<std::string>& value) {
  if (!value) return;
  w.key(key);
  w.string(*value);
}

void write_real(JsonWriter& w, const char* key, const std::optional<double>& value) {
  if (!value) return;
  w.key(key);
  w.real(*value);
}

template <typename Enum, std::size_t N>
void write_enum(JsonWriter& w, const char* key, const std::optional<Enum>& value, const core::EnumTable<Enum, N>& table) {
  if (!value) return;
  w.key(key);
  w.string(table.to_string(*value));
}

// An optional array whose elements each pass `element`; a wrong element fails the record.
template <typename T, typename Element>
std::optional<std::vector<T>> read_array(JsonReader& r, const char* key, Element element) {
  const json* array = r.value(key, false);
  if (!array) return std::nullopt;
  if (!array->is_array()) {
    r.fail(key, "expected an array");
    return std::nullopt;
  }
  std::vector<T> out;
  out.reserve(array->size());
  for (const json& item : *array) {
    std::optional<T> value = element(item);
    if (!value) {
      r.fail(key, "an element is not valid");
      return std::nullopt;
    }
    out.push_back(std::move(*value));
  }
  return out;
}

template <typename Enum, std::size_t N>
auto enum_element(const core::EnumTable<Enum, N>& table) {
  return [&table](const json& item) -> std::optional<Enum> {
    if (!item.is_string()) return std::nullopt;
    return table.parse(item.get_ref<const std::string&>());
  };
}

std::optional<std::string> string_element(const json& item) {
  if (!item.is_string()) return std::nullopt;
  return item.get<std::string>();
}

void write_color(JsonWriter& w, const AdobeColorState& c) {
  w.begin_object();
  w.key("hex");
  w.string(c.hex);
  w.key("red");
  w.integer(c.red);
  w.key("green");
  w.integer(c.green);
  w.key("blue");
  w.integer(c.blue);
  w.key("hue");
  w.integer(c.hue);
  w.key("saturation");
  w.integer(c.saturation);
  w.key("brightness");
  w.integer(c.brightness);
  w.key("title");
  w.string(c.title);
  write_string(w, "pickerID", c.picker_id);
  w.end_object();
}

std::optional<AdobeColorState> read_color(const json& j) {
  JsonReader r(j);
  AdobeColorState c;
  c.hex = r.string("hex");
  c.red = r.integer("red");
  c.green = r.integer("green");
  c.blue = r.integer("blue");
  c.hue = r.integer("hue");
  c.saturation = r.integer("saturation");
  c.brightness = r.integer("brightness");
  c.title = r.string("title");
  c.picker_id = r.optional_string("pickerID");
  if (!r.ok()) return std::nullopt;
  return c;
}

void write_control(JsonWriter& w, const CreativeContinuousControl& c) {
  w.begin_object();
  w.key("id");
  w.string(c.id);
  w.key("label");
  w.string(c.label);
  write_string(w, "detail", c.detail);
  w.key("value");
  w.real(c.value);
  w.key("minimum");
  w.real(c.minimum);
  w.key("maximum");
  w.real(c.maximum);
  w.key("unit");
  w.string(kUnitTable.to_string(c.unit));
  w.key("curve");
  w.string(kCurveTable.to_string(c.curve));
  w.key("decimals");
  w.integer(c.decimals);
  write_string(w, "blockedReason", c.blocked_reason);
  if (c.axes) {
    w.key("axes");
    w.begin_array();
    for (const auto& axis : *c.axes) w.string(axis);
    w.end_array();
  }
  write_string(w, "activeAxis", c.active_axis);
  if (c.choices) {
    w.key("choices");
    w.begin_array();
    for (const auto& choice : *c.choices) {
      w.begin_object();
      w.key("id");
      w.string(choice.id);
      w.key("label");
      w.string(choice.label);
      w.end_object();
    }
    w.end_array();
  }
  write_string(w, "activeChoice", c.active_choice);
  w.end_object();
}

std::optional<CreativeContinuousControl> read_control(const json& j) {
  JsonReader r(j);
  CreativeContinuousControl c;
  c.id = r.string("id");
  c.label = r.string("label");
  c.detail = r.optional_string("detail");
  c.value = r.real("value");
  c.minimum = r.real("minimum");
  c.maximum = r.real("maximum");
  c.unit = r.enumeration("unit", kUnitTable);
  c.curve = r.enumeration("curve", kCurveTable);
  c.decimals = r.integer("decimals");
  c.blocked_reason = r.optional_string("blockedReason");
  c.axes = read_array<std::string>(r, "axes", string_element);
  c.active_axis = r.optional_string("activeAxis");
  c.choices = read_array<CreativeContinuousControl::Choice>(
      r, "choices", [](const json& item) -> std::optional<CreativeContinuousControl::Choice> {
        JsonReader choice(item);
        CreativeContinuousControl::Choice out{choice.string("id"), choice.string("label")};
        if (!choice.ok()) return std::nullopt;
        return out;
      });
  c.active_choice = r.optional_string("activeChoice");
  if (!r.ok()) return std::nullopt;
  return c;
}

}  // namespace

bool ShelfSurfaceState::same_content(const ShelfSurfaceState& other) const {
  ShelfSurfaceState a = *this;
  a.timestamp = other.timestamp;
  return a == other;
}

void write_json(JsonWriter& w, const ShelfSurfaceState& s) {
  w.begin_object();
  w.key("identity");
  w.string(kShelfSurfaceIdentityTable.to_string(s.identity));
  w.key("available");
  w.boolean(s.available);
  write_string(w, "unavailable", s.unavailable);
  write_string(w, "trackID", s.track_id);
  write_string(w, "title", s.title);
  write_string(w, "artist", s.artist);
  write_string(w, "album", s.album);
  if (s.artwork) {
    w.key("artwork");
    w.string(core::base64_encode(*s.artwork));
  }
  write_real(w, "duration", s.duration);
  write_real(w, "position", s.position);
  w.key("isPlaying");
  w.boolean(s.is_playing);
  if (s.volume) {
    w.key("volume");
    w.integer(*s.volume);
  }
  w.key("timestamp");
  w.real(s.timestamp);
  if (s.tool_grid) {
    w.key("toolGrid");
    w.begin_array();
    for (const auto& cell : *s.tool_grid) {
      if (cell) {
        w.string(kAdobeToolIDTable.to_string(*cell));
      } else {
        w.null();
      }
    }
    w.end_array();
  }
  if (s.color_context) {
    w.key("colorContext");
    write_color(w, *s.color_context);
  }
  if (s.continuous_control) {
    w.key("continuousControl");
    write_control(w, *s.continuous_control);
  }
  write_enum(w, "activeTool", s.active_tool, kAdobeToolIDTable);
  write_enum(w, "agentActivity", s.agent_activity, kShelfAgentActivityTable);
  write_string(w, "agentDetail", s.agent_detail);
  for (const auto& [key, tools] : {std::pair{"blenderTools", &s.blender_tools}, std::pair{"blenderActive", &s.blender_active}}) {
    if (!*tools) continue;
    w.key(key);
    w.begin_array();
    for (const BlenderToolID tool : **tools) w.string(kBlenderToolIDTable.to_string(tool));
    w.end_array();
  }
  if (s.blender_labels) {
    w.key("blenderLabels");
    w.begin_object();
    for (const auto& [key, label] : *s.blender_labels) {
      w.key(key);
      w.string(label);
    }
    w.end_object();
  }
  w.end_object();
}

std::optional<ShelfSurfaceState> surface_state_from_json(const json& j, std::string* error) {
  JsonReader r(j, "ShelfSurfaceState");
  ShelfSurfaceState s;
  s.identity = r.enumeration("identity", kShelfSurfaceIdentityTable);
  s.available = r.boolean("available");
  s.unavailable = r.optional_string("unavailable");
  s.track_id = r.optional_string("trackID");
  s.title = r.optional_string("title");
  s.artist = r.optional_string("artist");
  s.album = r.optional_string("album");
  if (const auto artwork = r.optional_string("artwork")) {
    s.artwork = core::base64_decode(*artwork);
    if (!s.artwork) r.fail("artwork", "not base64");
  }
  s.duration = r.optional_real("duration");
  s.position = r.optional_real("position");
  s.is_playing = r.boolean("isPlaying");
  s.volume = r.optional_integer("volume");
  s.timestamp = r.real("timestamp");
  s.tool_grid = read_array<std::optional<AdobeToolID>>(r, "toolGrid", [](const json& item) {
    std::optional<std::optional<AdobeToolID>> cell;
    if (item.is_null()) {
      cell.emplace(std::nullopt);
    } else if (item.is_string()) {
      if (auto tool = kAdobeToolIDTable.parse(item.get_ref<const std::string&>())) cell.emplace(*tool);
    }
    return cell;
  });
  if (const json* color = r.value("colorContext", false)) {
    s.color_context = read_color(*color);
    if (!s.color_context) r.fail("colorContext", "not a colour state");
  }
  if (const json* control = r.value("continuousControl", false)) {
    s.continuous_control = read_control(*control);
    if (!s.continuous_control) r.fail("continuousControl", "not a continuous control");
  }
  s.active_tool = r.optional_enumeration("activeTool", kAdobeToolIDTable);
  s.agent_activity = r.optional_enumeration("agentActivity", kShelfAgentActivityTable);
  s.agent_detail = r.optional_string("agentDetail");
  s.blender_tools = read_array<BlenderToolID>(r, "blenderTools", enum_element(kBlenderToolIDTable));
  s.blender_active = read_array<BlenderToolID>(r, "blenderActive", enum_element(kBlenderToolIDTable));
  if (const json* labels = r.value("blenderLabels", false)) {
    if (!labels->is_object()) {
      r.fail("blenderLabels", "expected an object");
    } else {
      s.blender_labels.emplace();
      for (auto it = labels->begin(); it != labels->end(); ++it) {
        if (!it->is_string()) {
          r.fail("blenderLabels", "expected string values");
          break;
        }
        s.blender_labels->emplace(it.key(), it->get<std::string>());
      }
    }
  }
  if (!r.ok()) {
    if (error) *error = r.error();
    return std::nullopt;
  }
  return s;
}

}  // namespace kolvo::shelf
