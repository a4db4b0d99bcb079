#include "core/control_appearance_store.hpp"

#include "core/settings_keys.hpp"

namespace kolvo::core {

ControlAppearanceStore::ControlAppearanceStore(PreferenceStore& prefs, SystemAppearance& system,
                                               LiquidGlassStore& liquid_glass)
    : system_(system),
      mode_(prefs, keys::kControlAppearance,
            load_enum(prefs, keys::kControlAppearance, kControlAppearanceModeTable, ControlAppearanceMode::automatic)),
      liquid_glass_enabled_(prefs, keys::kLiquidGlassControls,
                            prefs.read_bool(keys::kLiquidGlassControls).value_or(false)),
      knob_style_(prefs, keys::kKnobStyle, load_enum(prefs, keys::kKnobStyle, kKnobStyleTable, KnobStyle::classic)) {
  republish();
  theme_subscription_ = system_.observe_theme_changes([this] { republish(); });
  glass_subscription_ = liquid_glass.observable().subscribe([this](const auto&) { republish(); });
}

void ControlAppearanceStore::set_mode(ControlAppearanceMode mode) {
  mode_.set(mode);
  republish();
}

void ControlAppearanceStore::republish() {
  switch (mode_.get()) {
    case ControlAppearanceMode::light: dark_.set(false); return;
    case ControlAppearanceMode::dark: dark_.set(true); return;
    case ControlAppearanceMode::automatic: dark_.set(system_.is_dark()); return;
  }
}

}  // namespace kolvo::core
