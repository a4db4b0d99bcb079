#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "core/diagnostics_log.hpp"
#include "core/observable.hpp"
#include "core/preference_store.hpp"
#include "core/settings_enums.hpp"

namespace kolvo::core {

struct LiquidGlassColor {
  double red = 0, green = 0, blue = 0;
  friend bool operator==(const LiquidGlassColor&, const LiquidGlassColor&) = default;
};

struct LiquidGlassConfiguration {
  double frost = 0;
  double refraction = 0;
  double material_strength = 0;
  LiquidGlassTint tint = LiquidGlassTint::automatic;
  LiquidGlassColor tint_color;
  double tint_strength = 0;
  double highlight_strength = 0;

  friend bool operator==(const LiquidGlassConfiguration&, const LiquidGlassConfiguration&) = default;

  // The look that matches the controls' glass switch when nothing usable is stored.
  static LiquidGlassConfiguration defaults(bool liquid_glass_controls);
};

// Keys in their fixed order: "frost", "refraction", "materialStrength", "tint", "tintColor",
// "tintStrength", "highlightStrength".
nlohmann::ordered_json to_json(const LiquidGlassConfiguration& configuration);
// Every key is required; unknown keys are ignored; an unknown tint fails the record.
std::optional<LiquidGlassConfiguration> liquid_glass_from_json(const nlohmann::json& json);

class LiquidGlassStore {
 public:
  // Loads the stored configuration. Absent or undecodable, it builds the default from the
  // glass switch and writes it back at once, so every later reader sees the same look.
  LiquidGlassStore(PreferenceStore& prefs, DiagnosticsLog& log);

  const LiquidGlassConfiguration& configuration() const { return configuration_.get(); }
  void set_configuration(LiquidGlassConfiguration configuration);
  Observable<LiquidGlassConfiguration>& observable() { return configuration_; }

 private:
  PreferenceStore& prefs_;
  Observable<LiquidGlassConfiguration> configuration_;
};

}  // namespace kolvo::core
