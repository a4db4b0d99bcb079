#pragma once

#include "core/liquid_glass_store.hpp"
#include "core/observable.hpp"
#include "core/preference_store.hpp"
#include "core/stored_setting.hpp"
#include "core/system_ports.hpp"

namespace kolvo::core {

// How the panels draw: light, dark or following the system; glass or not; the knob style.
class ControlAppearanceStore {
 public:
  ControlAppearanceStore(PreferenceStore& prefs, SystemAppearance& system, LiquidGlassStore& liquid_glass);

  ControlAppearanceMode mode() const { return mode_.get(); }
  void set_mode(ControlAppearanceMode mode);
  bool liquid_glass_enabled() const { return liquid_glass_enabled_.get(); }
  void set_liquid_glass_enabled(bool enabled) { liquid_glass_enabled_.set(enabled); }
  KnobStyle knob_style() const { return knob_style_.get(); }
  void set_knob_style(KnobStyle style) { knob_style_.set(style); }

  // Whether the controls draw dark now. Re-published whenever the mode, the system theme or
  // the glass configuration changes, so dependants redraw.
  bool dark() const { return dark_.get(); }
  Observable<bool>& dark_observable() { return dark_; }

 private:
  void republish();

  SystemAppearance& system_;
  StoredSetting<ControlAppearanceMode> mode_;
  StoredSetting<bool> liquid_glass_enabled_;
  StoredSetting<KnobStyle> knob_style_;
  Observable<bool> dark_;
  Subscription theme_subscription_;
  Subscription glass_subscription_;
};

}  // namespace kolvo::core
