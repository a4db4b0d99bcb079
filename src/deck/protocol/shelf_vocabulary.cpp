#include "deck/protocol/shelf_vocabulary.hpp"

#include "base/base64.hpp"

namespace kolvo::deck {
namespace {

using base::JsonReader;
using base::JsonWriter;
using nlohmann::json;

template <typename Enum, std::size_t N>
auto enum_element(const base::EnumTable<Enum, N>& table) {
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
  w.optional_string("pickerID", c.picker_id);
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
  w.optional_string("detail", c.detail);
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
  w.optional_string("blockedReason", c.blocked_reason);
  if (c.axes) {
    w.key("axes");
    w.begin_array();
    for (const auto& axis : *c.axes) w.string(axis);
    w.end_array();
  }
  w.optional_string("activeAxis", c.active_axis);
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
  w.optional_string("activeChoice", c.active_choice);
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
  c.axes = r.array<std::string>("axes", string_element);
  c.active_axis = r.optional_string("activeAxis");
  c.choices = r.array<CreativeContinuousControl::Choice>(
      "choices", [](const json& item) -> std::optional<CreativeContinuousControl::Choice> {
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
  w.optional_string("unavailable", s.unavailable);
  w.optional_string("trackID", s.track_id);
  w.optional_string("title", s.title);
  w.optional_string("artist", s.artist);
  w.optional_string("album", s.album);
  if (s.artwork) {
    w.key("artwork");
    w.string(base::base64_encode(*s.artwork));
  }
  w.optional_real("duration", s.duration);
  w.optional_real("position", s.position);
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
  w.optional_enumeration("activeTool", s.active_tool, kAdobeToolIDTable);
  w.optional_enumeration("agentActivity", s.agent_activity, kShelfAgentActivityTable);
  w.optional_string("agentDetail", s.agent_detail);
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
    s.artwork = base::base64_decode(*artwork);
    if (!s.artwork) r.fail("artwork", "not base64");
  }
  s.duration = r.optional_real("duration");
  s.position = r.optional_real("position");
  s.is_playing = r.boolean("isPlaying");
  s.volume = r.optional_integer("volume");
  s.timestamp = r.real("timestamp");
  s.tool_grid = r.array<std::optional<AdobeToolID>>("toolGrid", [](const json& item) {
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
  s.blender_tools = r.array<BlenderToolID>("blenderTools", enum_element(kBlenderToolIDTable));
  s.blender_active = r.array<BlenderToolID>("blenderActive", enum_element(kBlenderToolIDTable));
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

}  // namespace kolvo::deck
