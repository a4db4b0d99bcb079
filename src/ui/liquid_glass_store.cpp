#include "ui/liquid_glass_store.hpp"
#include "base/json_text.hpp"

#include "prefs/replaced_value.hpp"
#include "prefs/settings_keys.hpp"

namespace kolvo::ui {
namespace {

std::optional<double> real_field(const nlohmann::json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end() || !found->is_number()) return std::nullopt;
  return found->get<double>();
}

prefs::PreferenceData encode(const LiquidGlassConfiguration& configuration) {
  const std::string text = to_json(configuration).dump();
  return prefs::PreferenceData(text.begin(), text.end());
}

std::optional<LiquidGlassConfiguration> decode(const prefs::PreferenceData& data) {
  const auto json = base::parse_json(base::text_of(data));
  if (json.is_discarded()) return std::nullopt;
  return liquid_glass_from_json(json);
}

}  // namespace

LiquidGlassConfiguration LiquidGlassConfiguration::defaults(bool glass) {
  LiquidGlassConfiguration c;
  c.frost = glass ? 0.4 : 0.45;
  c.refraction = glass ? 0.6 : 0.55;
  c.material_strength = glass ? 0.45 : 0.5;
  c.tint = prefs::LiquidGlassTint::automatic;
  c.tint_color = {0.6, 0.52, 0.95};
  c.tint_strength = glass ? 0.3 : 0.35;
  c.highlight_strength = glass ? 0.6 : 0.55;
  return c;
}

nlohmann::ordered_json to_json(const LiquidGlassConfiguration& c) {
  nlohmann::ordered_json color;
  color["red"] = c.tint_color.red;
  color["green"] = c.tint_color.green;
  color["blue"] = c.tint_color.blue;
  nlohmann::ordered_json json;
  json["frost"] = c.frost;
  json["refraction"] = c.refraction;
  json["materialStrength"] = c.material_strength;
  json["tint"] = std::string(to_string(c.tint));
  json["tintColor"] = std::move(color);
  json["tintStrength"] = c.tint_strength;
  json["highlightStrength"] = c.highlight_strength;
  return json;
}

std::optional<LiquidGlassConfiguration> liquid_glass_from_json(const nlohmann::json& json) {
  if (!json.is_object()) return std::nullopt;
  LiquidGlassConfiguration c;
  const auto frost = real_field(json, "frost");
  const auto refraction = real_field(json, "refraction");
  const auto material = real_field(json, "materialStrength");
  const auto tint_strength = real_field(json, "tintStrength");
  const auto highlight = real_field(json, "highlightStrength");
  if (!frost || !refraction || !material || !tint_strength || !highlight) return std::nullopt;

  const auto tint = json.find("tint");
  if (tint == json.end() || !tint->is_string()) return std::nullopt;
  const auto tint_case = prefs::kLiquidGlassTintTable.parse(tint->get_ref<const std::string&>());
  if (!tint_case) return std::nullopt;

  const auto color = json.find("tintColor");
  if (color == json.end() || !color->is_object()) return std::nullopt;
  const auto red = real_field(*color, "red");
  const auto green = real_field(*color, "green");
  const auto blue = real_field(*color, "blue");
  if (!red || !green || !blue) return std::nullopt;

  c.frost = *frost;
  c.refraction = *refraction;
  c.material_strength = *material;
  c.tint = *tint_case;
  c.tint_color = {*red, *green, *blue};
  c.tint_strength = *tint_strength;
  c.highlight_strength = *highlight;
  return c;
}

LiquidGlassStore::LiquidGlassStore(prefs::PreferenceStore& prefs, base::DiagnosticsLog& log) : prefs_(prefs) {
  const auto stored = prefs.read_data(prefs::keys::kLiquidGlassConfiguration);
  std::optional<LiquidGlassConfiguration> loaded;
  if (stored.is_present()) loaded = decode(stored.value);
  if (loaded) {
    configuration_.set(*loaded);
    return;
  }
  keep_before_replacing(prefs, prefs::keys::kLiquidGlassConfiguration, log);
  const bool glass = prefs.read_bool(prefs::keys::kLiquidGlassControls).value_or(false);
  set_configuration(LiquidGlassConfiguration::defaults(glass));
}

void LiquidGlassStore::set_configuration(LiquidGlassConfiguration configuration) {
  configuration_.set(configuration);
  prefs_.set(prefs::keys::kLiquidGlassConfiguration, encode(configuration));
}

}  // namespace kolvo::ui
