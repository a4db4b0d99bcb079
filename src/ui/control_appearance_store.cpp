#include "ui/control_appearance_store.hpp"

#include "prefs/settings_keys.hpp"

namespace kolvo::ui {

ControlAppearanceStore::ControlAppearanceStore(prefs::PreferenceStore& prefs, SystemAppearance& system,
                                               LiquidGlassStore& liquid_glass)
    : system_(system),
      mode_(prefs, prefs::keys::kControlAppearance,
            load_enum(prefs, prefs::keys::kControlAppearance, prefs::kControlAppearanceModeTable, prefs::ControlAppearanceMode::automatic)),
      liquid_glass_enabled_(prefs, prefs::keys::kLiquidGlassControls,
                            prefs.read_bool(prefs::keys::kLiquidGlassControls).value_or(false)),
      knob_style_(prefs, prefs::keys::kKnobStyle, load_enum(prefs, prefs::keys::kKnobStyle, prefs::kKnobStyleTable, prefs::KnobStyle::classic)) {
  republish();
  theme_subscription_ = system_.observe_theme_changes([this] { republish(); });
  glass_subscription_ = liquid_glass.observable().subscribe([this](const auto&) { republish(); });
}

void ControlAppearanceStore::set_mode(prefs::ControlAppearanceMode mode) {
  mode_.set(mode);
  republish();
}

void ControlAppearanceStore::republish() {
  switch (mode_.get()) {
    case prefs::ControlAppearanceMode::light: dark_.set(false); return;
    case prefs::ControlAppearanceMode::dark: dark_.set(true); return;
    case prefs::ControlAppearanceMode::automatic: dark_.set(system_.is_dark()); return;
  }
}

}  // namespace kolvo::ui
