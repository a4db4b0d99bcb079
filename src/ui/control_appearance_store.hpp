#pragma once

#include "base/observable.hpp"
#include "prefs/preference_store.hpp"
#include "prefs/stored_setting.hpp"
#include "ui/liquid_glass_store.hpp"
#include "ui/system_appearance.hpp"

namespace kolvo::ui {

// How the panels draw: light, dark or following the system; glass or not; the knob style.
class ControlAppearanceStore {
 public:
  ControlAppearanceStore(prefs::PreferenceStore& prefs, SystemAppearance& system, LiquidGlassStore& liquid_glass);

  prefs::ControlAppearanceMode mode() const { return mode_.get(); }
  void set_mode(prefs::ControlAppearanceMode mode);
  bool liquid_glass_enabled() const { return liquid_glass_enabled_.get(); }
  void set_liquid_glass_enabled(bool enabled) { liquid_glass_enabled_.set(enabled); }
  base::Observable<bool>& liquid_glass_enabled_observable() { return liquid_glass_enabled_.observable(); }
  prefs::KnobStyle knob_style() const { return knob_style_.get(); }
  void set_knob_style(prefs::KnobStyle style) { knob_style_.set(style); }

  // Whether the controls draw dark now. Re-published whenever the mode, the system theme or
  // the glass configuration changes, so dependants redraw.
  bool dark() const { return dark_.get(); }
  base::Observable<bool>& dark_observable() { return dark_; }

 private:
  void republish();

  SystemAppearance& system_;
  prefs::StoredSetting<prefs::ControlAppearanceMode> mode_;
  prefs::StoredSetting<bool> liquid_glass_enabled_;
  prefs::StoredSetting<prefs::KnobStyle> knob_style_;
  base::Observable<bool> dark_;
  base::Subscription theme_subscription_;
  base::Subscription glass_subscription_;
};

}  // namespace kolvo::ui
