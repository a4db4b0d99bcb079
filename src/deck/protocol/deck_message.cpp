#include "deck/protocol/deck_message.hpp"

#include <algorithm>

#include "base/json_reader.hpp"
#include "base/json_writer.hpp"

namespace kolvo::deck {
namespace {

using base::JsonReader;
using base::JsonWriter;
using nlohmann::json;

void write_devices(JsonWriter& w, const std::vector<KolvoDeckAudioDevice>& devices) {
  w.begin_array();
  for (const auto& device : devices) {
    w.begin_object();
    w.key("id"), w.string(device.id);
    w.key("name"), w.string(device.name);
    w.end_object();
  }
  w.end_array();
}

void write_slot(JsonWriter& w, const KolvoDeckSlot& slot) {
  w.begin_object();
  w.key("type"), w.string(kSlotTypeTable.to_string(slot.type));
  w.key("available"), w.boolean(slot.available);
  w.optional_real("value", slot.value);
  w.optional_boolean("dark", slot.dark);
  if (slot.audio_devices) w.key("audioDevices"), write_devices(w, *slot.audio_devices);
  w.optional_string("currentAudioDeviceId", slot.current_audio_device_id);
  w.end_object();
}

void write_state(JsonWriter& w, const KolvoDeckState& s) {
  w.begin_object();
  w.key("volume"), w.real(s.volume);
  w.key("brightness"), w.real(s.brightness);
  w.key("dark"), w.boolean(s.dark);
  w.key("keyboardBacklight"), w.real(s.keyboard_backlight);
  w.key("available");
  w.begin_object();
  w.key("volume"), w.boolean(s.available.volume);
  w.key("brightness"), w.boolean(s.available.brightness);
  w.key("appearance"), w.boolean(s.available.appearance);
  w.key("keyboardBacklight"), w.boolean(s.available.keyboard_backlight);
  w.key("audioOutput"), w.boolean(s.available.audio_output);
  w.end_object();
  w.key("audioDevices"), write_devices(w, s.audio_devices);
  w.optional_string("currentAudioDeviceId", s.current_audio_device_id);
  for (const auto& [key, slot] : {std::pair{"topLeft", &s.top_left}, std::pair{"topRight", &s.top_right},
                                  std::pair{"bottomLeft", &s.bottom_left}, std::pair{"bottomRight", &s.bottom_right}}) {
    if (*slot) w.key(key), write_slot(w, **slot);
  }
  if (s.profile) {
    w.key("profile");
    w.begin_object();
    w.key("name"), w.string(s.profile->name);
    w.optional_string("bundleID", s.profile->bundle_id);
    w.key("isDefault"), w.boolean(s.profile->is_default);
    w.optional_string("activeAppName", s.profile->active_app_name);
    w.optional_string("activeAppBundleID", s.profile->active_app_bundle_id);
    w.end_object();
  }
  if (s.appearance) {
    w.key("appearance");
    w.begin_object();
    w.key("accentRed"), w.real(s.appearance->accent_red);
    w.key("accentGreen"), w.real(s.appearance->accent_green);
    w.key("accentBlue"), w.real(s.appearance->accent_blue);
    w.key("dark"), w.boolean(s.appearance->dark);
    w.end_object();
  }
  w.optional_boolean("desktopSwitchAvailable", s.desktop_switch_available);
  if (s.stats) {
    w.key("stats");
    w.begin_array();
    for (const auto& stat : *s.stats) {
      w.begin_object();
      w.key("kind"), w.string(prefs::kKolvoDeckStatKindTable.to_string(stat.kind));
      w.key("value"), w.real(stat.value);
      w.optional_boolean("charging", stat.charging);
      w.end_object();
    }
    w.end_array();
  }
  w.end_object();
}

void write_message(JsonWriter& w, const KolvoDeckMessage& m) {
  w.begin_object();
  w.key("type"), w.string(kMessageTypeTable.to_string(m.type));
  if (m.surface_state) w.key("surfaceState"), deck::write_json(w, *m.surface_state);
  w.optional_enumeration("surfaceCommand", m.surface_command, deck::kShelfSurfaceCommandTable);
  w.optional_enumeration("surfaceIdentity", m.surface_identity, deck::kShelfSurfaceIdentityTable);
  w.optional_string("surfaceColorHex", m.surface_color_hex);
  w.optional_string("surfaceColorPickerID", m.surface_color_picker_id);
  w.optional_string("surfaceControlID", m.surface_control_id);
  w.optional_string("surfaceControlAxis", m.surface_control_axis);
  w.optional_string("surfaceControlChoice", m.surface_control_choice);
  w.optional_string("surfaceToolID", m.surface_tool_id);
  w.optional_enumeration("surfaceBlenderTool", m.surface_blender_tool, deck::kBlenderToolIDTable);
  w.optional_real("surfaceValue", m.surface_value);
  if (m.shelf_widgets) {
    w.key("shelfWidgets");
    w.begin_array();
    for (const auto identity : *m.shelf_widgets) w.string(deck::kShelfSurfaceIdentityTable.to_string(identity));
    w.end_array();
  }
  w.optional_enumeration("shelfWidgetBackground", m.shelf_widget_background, deck::kShelfWidgetBackgroundTable);
  w.optional_string("deviceId", m.device_id);
  w.optional_string("deviceName", m.device_name);
  w.optional_integer("protocolVersion", m.protocol_version);
  w.optional_enumeration("slot", m.slot, kCornerTable);
  w.optional_enumeration("control", m.control, kControlTable);
  w.optional_real("value", m.value);
  w.optional_boolean("dark", m.dark);
  w.optional_string("audioDeviceId", m.audio_device_id);
  if (m.state) w.key("state"), write_state(w, *m.state);
  w.optional_string("iconBundleID", m.icon_bundle_id);
  w.optional_string("iconPNG", m.icon_png);
  w.optional_integer("step", m.step);
  w.optional_enumeration("windowLayout", m.window_layout, kWindowLayoutTable);
  if (m.launch_items) {
    w.key("launchItems");
    w.begin_array();
    for (const auto& item : *m.launch_items) {
      w.begin_object();
      w.key("bundleID"), w.string(item.bundle_id);
      w.key("name"), w.string(item.name);
      w.key("index"), w.integer(item.index);
      w.key("pinned"), w.boolean(item.pinned);
      w.end_object();
    }
    w.end_array();
  }
  w.optional_string("launchIconBundleID", m.launch_icon_bundle_id);
  w.optional_string("launchIconPNG", m.launch_icon_png);
  w.optional_string("launchBundleID", m.launch_bundle_id);
  w.optional_enumeration("launchDirection", m.launch_direction, kLaunchDirectionTable);
  w.optional_real("launchVelocityX", m.launch_velocity_x);
  w.optional_real("launchVelocityY", m.launch_velocity_y);
  w.optional_real("launchIntensity", m.launch_intensity);
  w.optional_string("launchRequestID", m.launch_request_id);
  w.optional_enumeration("launchOutcome", m.launch_outcome, kLaunchOutcomeTable);
  w.optional_string("pairRequestID", m.pair_request_id);
  w.optional_string("pairPrimaryBundleID", m.pair_primary_bundle_id);
  w.optional_string("pairSecondaryBundleID", m.pair_secondary_bundle_id);
  w.optional_enumeration("pairRequestedLayout", m.pair_requested_layout, kLaunchLayoutTable);
  w.optional_enumeration("pairOutcome", m.pair_outcome, kLaunchPairOutcomeTable);
  w.optional_enumeration("pairPrimaryOutcome", m.pair_primary_outcome, kLaunchOutcomeTable);
  w.optional_enumeration("pairSecondaryOutcome", m.pair_secondary_outcome, kLaunchOutcomeTable);
  w.optional_enumeration("pairLayoutOutcome", m.pair_layout_outcome, kLaunchLayoutOutcomeTable);
  w.end_object();
}

// Reads a nested record with its own reader; a failure fails the parent field.
template <typename T, typename Read>
std::optional<T> nested(JsonReader& r, const char* key, Read read, bool required = false) {
  const json* value = r.value(key, required);
  if (!value) return std::nullopt;
  JsonReader inner(*value, key);
  std::optional<T> out = read(inner);
  if (!inner.ok()) {
    r.fail(key, inner.error());
    return std::nullopt;
  }
  return out;
}

// An array of records, each read by `read` through a reader of its own.
template <typename T, typename Read>
std::optional<std::vector<T>> array_of(JsonReader& r, const char* key, Read read, bool required = false) {
  return r.array<T>(
      key,
      [&read](const json& element) -> std::optional<T> {
        JsonReader inner(element);
        std::optional<T> value = read(inner);
        return inner.ok() ? value : std::nullopt;
      },
      required);
}

std::optional<KolvoDeckAudioDevice> read_device(JsonReader& r) {
  KolvoDeckAudioDevice device{r.string("id"), r.string("name")};
  return device;
}

std::optional<KolvoDeckSlot> read_slot(JsonReader& r) {
  KolvoDeckSlot slot;
  slot.type = r.enumeration("type", kSlotTypeTable);
  slot.available = r.boolean("available");
  slot.value = r.optional_real("value");
  slot.dark = r.optional_boolean("dark");
  slot.audio_devices = array_of<KolvoDeckAudioDevice>(r, "audioDevices", read_device);
  slot.current_audio_device_id = r.optional_string("currentAudioDeviceId");
  return slot;
}

std::optional<KolvoDeckState> read_state(JsonReader& r) {
  KolvoDeckState s;
  s.volume = r.real("volume");
  s.brightness = r.real("brightness");
  s.dark = r.boolean("dark");
  s.keyboard_backlight = r.real("keyboardBacklight");
  s.available = nested<KolvoDeckAvailability>(
                    r, "available",
                    [](JsonReader& a) {
                      return std::optional<KolvoDeckAvailability>(
                          KolvoDeckAvailability{a.boolean("volume"), a.boolean("brightness"), a.boolean("appearance"),
                                                a.boolean("keyboardBacklight"), a.boolean("audioOutput")});
                    },
                    /*required=*/true)
                    .value_or(KolvoDeckAvailability{});
  s.audio_devices = array_of<KolvoDeckAudioDevice>(r, "audioDevices", read_device, /*required=*/true).value_or(
      std::vector<KolvoDeckAudioDevice>{});
  s.current_audio_device_id = r.optional_string("currentAudioDeviceId");
  s.top_left = nested<KolvoDeckSlot>(r, "topLeft", read_slot);
  s.top_right = nested<KolvoDeckSlot>(r, "topRight", read_slot);
  s.bottom_left = nested<KolvoDeckSlot>(r, "bottomLeft", read_slot);
  s.bottom_right = nested<KolvoDeckSlot>(r, "bottomRight", read_slot);
  s.profile = nested<KolvoDeckProfileInfo>(r, "profile", [](JsonReader& p) {
    KolvoDeckProfileInfo info;
    info.name = p.string("name");
    info.bundle_id = p.optional_string("bundleID");
    info.is_default = p.boolean("isDefault");
    info.active_app_name = p.optional_string("activeAppName");
    info.active_app_bundle_id = p.optional_string("activeAppBundleID");
    return std::optional<KolvoDeckProfileInfo>(std::move(info));
  });
  s.appearance = nested<KolvoDeckAppearance>(r, "appearance", [](JsonReader& a) {
    return std::optional<KolvoDeckAppearance>(
        KolvoDeckAppearance{a.real("accentRed"), a.real("accentGreen"), a.real("accentBlue"), a.boolean("dark")});
  });
  s.desktop_switch_available = r.optional_boolean("desktopSwitchAvailable");
  s.stats = array_of<KolvoDeckStat>(r, "stats", [](JsonReader& st) {
    KolvoDeckStat stat;
    stat.kind = st.enumeration("kind", prefs::kKolvoDeckStatKindTable);
    stat.value = st.real("value");
    stat.charging = st.optional_boolean("charging");
    return std::optional<KolvoDeckStat>(stat);
  });
  return s;
}

}  // namespace

void append_json(std::string& out, const KolvoDeckMessage& message) {
  JsonWriter writer(out);
  write_message(writer, message);
}

std::string encode_json(const KolvoDeckMessage& message) {
  std::string out;
  out.reserve(256);
  append_json(out, message);
  return out;
}

std::string encode_json(const KolvoDeckState& state) {
  std::string out;
  JsonWriter writer(out);
  write_state(writer, state);
  return out;
}

namespace {

// The message's fields, by key. Decoding walks the members present once and dispatches on the
// key, instead of looking up every field the record could have.
enum class Field {
  type, surfaceState, surfaceCommand, surfaceIdentity, surfaceColorHex, surfaceColorPickerID, surfaceControlID,
  surfaceControlAxis, surfaceControlChoice, surfaceToolID, surfaceBlenderTool, surfaceValue, shelfWidgets,
  shelfWidgetBackground, deviceId, deviceName, protocolVersion, slot, control, value, dark, audioDeviceId, state,
  iconBundleID, iconPNG, step, windowLayout, launchItems, launchIconBundleID, launchIconPNG, launchBundleID,
  launchDirection, launchVelocityX, launchVelocityY, launchIntensity, launchRequestID, launchOutcome, pairRequestID,
  pairPrimaryBundleID, pairSecondaryBundleID, pairRequestedLayout, pairOutcome, pairPrimaryOutcome,
  pairSecondaryOutcome, pairLayoutOutcome, unknown,
};

constexpr std::pair<std::string_view, Field> kFields[] = {
    {"audioDeviceId", Field::audioDeviceId}, {"control", Field::control}, {"dark", Field::dark},
    {"deviceId", Field::deviceId}, {"deviceName", Field::deviceName}, {"iconBundleID", Field::iconBundleID},
    {"iconPNG", Field::iconPNG}, {"launchBundleID", Field::launchBundleID}, {"launchDirection", Field::launchDirection},
    {"launchIconBundleID", Field::launchIconBundleID}, {"launchIconPNG", Field::launchIconPNG},
    {"launchIntensity", Field::launchIntensity}, {"launchItems", Field::launchItems},
    {"launchOutcome", Field::launchOutcome}, {"launchRequestID", Field::launchRequestID},
    {"launchVelocityX", Field::launchVelocityX}, {"launchVelocityY", Field::launchVelocityY},
    {"pairLayoutOutcome", Field::pairLayoutOutcome}, {"pairOutcome", Field::pairOutcome},
    {"pairPrimaryBundleID", Field::pairPrimaryBundleID}, {"pairPrimaryOutcome", Field::pairPrimaryOutcome},
    {"pairRequestID", Field::pairRequestID}, {"pairRequestedLayout", Field::pairRequestedLayout},
    {"pairSecondaryBundleID", Field::pairSecondaryBundleID}, {"pairSecondaryOutcome", Field::pairSecondaryOutcome},
    {"protocolVersion", Field::protocolVersion}, {"shelfWidgetBackground", Field::shelfWidgetBackground},
    {"shelfWidgets", Field::shelfWidgets}, {"slot", Field::slot}, {"state", Field::state}, {"step", Field::step},
    {"surfaceBlenderTool", Field::surfaceBlenderTool}, {"surfaceColorHex", Field::surfaceColorHex},
    {"surfaceColorPickerID", Field::surfaceColorPickerID}, {"surfaceCommand", Field::surfaceCommand},
    {"surfaceControlAxis", Field::surfaceControlAxis}, {"surfaceControlChoice", Field::surfaceControlChoice},
    {"surfaceControlID", Field::surfaceControlID}, {"surfaceIdentity", Field::surfaceIdentity},
    {"surfaceState", Field::surfaceState}, {"surfaceToolID", Field::surfaceToolID},
    {"surfaceValue", Field::surfaceValue}, {"type", Field::type}, {"value", Field::value},
    {"windowLayout", Field::windowLayout},
};

Field field_of(std::string_view key) {
  const auto found = std::lower_bound(std::begin(kFields), std::end(kFields), key,
                                      [](const auto& entry, std::string_view k) { return entry.first < k; });
  return found != std::end(kFields) && found->first == key ? found->second : Field::unknown;
}

// One member's value, read with the same rules as a field of a reader.
class Member {
 public:
  Member(JsonReader& r, const std::string& key, const json& value) : r_(r), key_(key), value_(value) {}

  std::optional<std::string> string() {
    if (value_.is_string()) return value_.get<std::string>();
    return wrong("a string");
  }
  std::optional<double> real() {
    if (value_.is_number()) return value_.get<double>();
    return wrong("a number");
  }
  std::optional<bool> boolean() {
    if (value_.is_boolean()) return value_.get<bool>();
    return wrong("a boolean");
  }
  std::optional<std::int64_t> integer() {
    if (auto whole = base::whole_number(value_, INT64_MIN, INT64_MAX)) return whole;
    return wrong("a whole number");
  }
  template <typename Enum, std::size_t N>
  std::optional<Enum> enumeration(const base::EnumTable<Enum, N>& table) {
    if (!value_.is_string()) return wrong("a string");
    if (auto parsed = table.parse(value_.get_ref<const std::string&>())) return parsed;
    r_.fail(key_, "unknown case '" + value_.get<std::string>() + "'");
    return std::nullopt;
  }
  // The member wrapped in a one-member object, for the nested readers written against keys.
  const json& value() const { return value_; }

 private:
  std::nullopt_t wrong(const char* what) {
    r_.fail(key_, std::string("expected ") + what);
    return std::nullopt;
  }
  JsonReader& r_;
  const std::string& key_;
  const json& value_;
};

}  // namespace

bool decode_message_into(const json& j, KolvoDeckMessage& m, std::string* error) {
  JsonReader r(j);
  bool has_type = false;
  if (r.ok()) {
    for (auto it = j.begin(); it != j.end() && r.ok(); ++it) {
      if (it->is_null()) continue;  // an absent optional
      const std::string& key = it.key();
      Member v(r, key, *it);
      switch (field_of(key)) {
        case Field::type:
          if (auto type = v.enumeration(kMessageTypeTable)) m.type = *type, has_type = true;
          break;
        case Field::surfaceState: {
          std::string inner;
          m.surface_state = deck::surface_state_from_json(*it, &inner);
          if (!m.surface_state) r.fail(key, inner);
          break;
        }
        case Field::surfaceCommand: m.surface_command = v.enumeration(deck::kShelfSurfaceCommandTable); break;
        case Field::surfaceIdentity: m.surface_identity = v.enumeration(deck::kShelfSurfaceIdentityTable); break;
        case Field::surfaceColorHex: m.surface_color_hex = v.string(); break;
        case Field::surfaceColorPickerID: m.surface_color_picker_id = v.string(); break;
        case Field::surfaceControlID: m.surface_control_id = v.string(); break;
        case Field::surfaceControlAxis: m.surface_control_axis = v.string(); break;
        case Field::surfaceControlChoice: m.surface_control_choice = v.string(); break;
        case Field::surfaceToolID: m.surface_tool_id = v.string(); break;
        case Field::surfaceBlenderTool: m.surface_blender_tool = v.enumeration(deck::kBlenderToolIDTable); break;
        case Field::surfaceValue: m.surface_value = v.real(); break;
        case Field::shelfWidgets:
          if (!it->is_array()) {
            r.fail(key, "expected an array");
            break;
          }
          m.shelf_widgets.emplace();
          for (const json& widget : *it) {
            const auto identity = widget.is_string()
                                      ? deck::kShelfSurfaceIdentityTable.parse(widget.get_ref<const std::string&>())
                                      : std::nullopt;
            if (!identity) {
              r.fail(key, "not a surface identity");
              break;
            }
            m.shelf_widgets->push_back(*identity);
          }
          break;
        case Field::shelfWidgetBackground:
          m.shelf_widget_background = v.enumeration(deck::kShelfWidgetBackgroundTable);
          break;
        case Field::deviceId: m.device_id = v.string(); break;
        case Field::deviceName: m.device_name = v.string(); break;
        case Field::protocolVersion: m.protocol_version = v.integer(); break;
        case Field::slot: m.slot = v.enumeration(kCornerTable); break;
        case Field::control: m.control = v.enumeration(kControlTable); break;
        case Field::value: m.value = v.real(); break;
        case Field::dark: m.dark = v.boolean(); break;
        case Field::audioDeviceId: m.audio_device_id = v.string(); break;
        case Field::state: m.state = nested<KolvoDeckState>(r, "state", read_state); break;
        case Field::iconBundleID: m.icon_bundle_id = v.string(); break;
        case Field::iconPNG: m.icon_png = v.string(); break;
        case Field::step: m.step = v.integer(); break;
        case Field::windowLayout: m.window_layout = v.enumeration(kWindowLayoutTable); break;
        case Field::launchItems:
          m.launch_items = array_of<KolvoDeckLaunchItem>(r, "launchItems", [](JsonReader& item) {
            return std::optional<KolvoDeckLaunchItem>(KolvoDeckLaunchItem{
                item.string("bundleID"), item.string("name"), item.integer("index"), item.boolean("pinned")});
          });
          break;
        case Field::launchIconBundleID: m.launch_icon_bundle_id = v.string(); break;
        case Field::launchIconPNG: m.launch_icon_png = v.string(); break;
        case Field::launchBundleID: m.launch_bundle_id = v.string(); break;
        case Field::launchDirection: m.launch_direction = v.enumeration(kLaunchDirectionTable); break;
        case Field::launchVelocityX: m.launch_velocity_x = v.real(); break;
        case Field::launchVelocityY: m.launch_velocity_y = v.real(); break;
        case Field::launchIntensity: m.launch_intensity = v.real(); break;
        case Field::launchRequestID: m.launch_request_id = v.string(); break;
        case Field::launchOutcome: m.launch_outcome = v.enumeration(kLaunchOutcomeTable); break;
        case Field::pairRequestID: m.pair_request_id = v.string(); break;
        case Field::pairPrimaryBundleID: m.pair_primary_bundle_id = v.string(); break;
        case Field::pairSecondaryBundleID: m.pair_secondary_bundle_id = v.string(); break;
        case Field::pairRequestedLayout: m.pair_requested_layout = v.enumeration(kLaunchLayoutTable); break;
        case Field::pairOutcome: m.pair_outcome = v.enumeration(kLaunchPairOutcomeTable); break;
        case Field::pairPrimaryOutcome: m.pair_primary_outcome = v.enumeration(kLaunchOutcomeTable); break;
        case Field::pairSecondaryOutcome: m.pair_secondary_outcome = v.enumeration(kLaunchOutcomeTable); break;
        case Field::pairLayoutOutcome: m.pair_layout_outcome = v.enumeration(kLaunchLayoutOutcomeTable); break;
        case Field::unknown: break;  // unknown keys are ignored
      }
    }
    if (r.ok() && !has_type) r.fail("type", "missing");
  }
  if (!r.ok()) {
    if (error) *error = "KolvoDeckMessage." + r.error();
    return false;
  }
  return true;
}

std::optional<KolvoDeckMessage> decode_message(const json& j, std::string* error) {
  KolvoDeckMessage m;
  if (!decode_message_into(j, m, error)) return std::nullopt;
  return m;
}

bool decode_message_text_into(std::string_view text, KolvoDeckMessage& message, std::string* error) {
  const json parsed = json::parse(text.begin(), text.end(), nullptr, /*allow_exceptions=*/false);
  if (parsed.is_discarded()) {
    if (error) *error = "not valid JSON";
    return false;
  }
  return decode_message_into(parsed, message, error);
}

std::optional<KolvoDeckMessage> decode_message_text(std::string_view text, std::string* error) {
  KolvoDeckMessage m;
  if (!decode_message_text_into(text, m, error)) return std::nullopt;
  return m;
}

}  // namespace kolvo::deck
