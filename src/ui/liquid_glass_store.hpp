#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "base/diagnostics_log.hpp"
#include "base/observable.hpp"
#include "prefs/preference_store.hpp"
#include "prefs/settings_enums.hpp"

namespace kolvo::ui {

struct LiquidGlassColor {
  double red = 0, green = 0, blue = 0;
  friend bool operator==(const LiquidGlassColor&, const LiquidGlassColor&) = default;
};

struct LiquidGlassConfiguration {
  double frost = 0;
  double refraction = 0;
  double material_strength = 0;
  prefs::LiquidGlassTint tint = prefs::LiquidGlassTint::automatic;
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
  LiquidGlassStore(prefs::PreferenceStore& prefs, base::DiagnosticsLog& log);

  const LiquidGlassConfiguration& configuration() const { return configuration_.get(); }
  void set_configuration(LiquidGlassConfiguration configuration);
  base::Observable<LiquidGlassConfiguration>& observable() { return configuration_; }

 private:
  prefs::PreferenceStore& prefs_;
  base::Observable<LiquidGlassConfiguration> configuration_;
};

}  // namespace kolvo::ui
