#pragma once

#include <memory>

#include <nlohmann/json.hpp>

#include "core/accent_color_store.hpp"
#include "core/activation_settings_stores.hpp"
#include "core/alignment_settings_store.hpp"
#include "core/control_appearance_store.hpp"
#include "core/deck_settings_stores.hpp"
#include "core/diagnostics_log.hpp"
#include "core/executor.hpp"
#include "core/liquid_glass_store.hpp"
#include "core/notification_center.hpp"
#include "core/preference_store.hpp"
#include "core/sound_effects_manager.hpp"
#include "core/system_ports.hpp"

namespace kolvo::core {

struct SettingsPorts {
  PreferenceStore& prefs;
  NotificationCenter& center;
  Executor& executor;
  DiagnosticsLog& log;
  const AccessibilityTrust& accessibility;
  SystemAppearance& appearance;
  const OutputAudibilityPort& audio;
  SoundLibrary& sounds;
};

// The one instance of each settings store. Each is created on first use and loads its keys
// then, exactly once; later changes made by another process are seen at the next start.
class Settings {
 public:
  explicit Settings(SettingsPorts ports) : ports_(ports) {}

  PreferenceStore& prefs() { return ports_.prefs; }
  // Creates every store now, so each loads its keys at start rather than on first use.
  void load_all();
  NotificationCenter& center() { return ports_.center; }

  AccentColorStore& accent_color();
  AlignmentSettingsStore& alignment();
  LiquidGlassStore& liquid_glass();
  ControlAppearanceStore& control_appearance();
  CornerControlSettingsStore& corner_controls();
  EdgeModeSettingsStore& edge_modes();
  KolvoActivationSettingsStore& activation();
  PressureZoneSettingsStore& pressure_zone();
  DockExpandingAppsSettingsStore& dock_expanding_apps();
  KolvoDeckSettingsStore& deck();
  DeckStatsSettingsStore& deck_stats();
  SoundEffectsManager& sound_effects();

  bool onboarding_completed() const;
  void set_onboarding_completed(bool completed);
  bool launch_beta_enabled() const;

 private:
  SettingsPorts ports_;
  std::unique_ptr<AccentColorStore> accent_color_;
  std::unique_ptr<AlignmentSettingsStore> alignment_;
  std::unique_ptr<LiquidGlassStore> liquid_glass_;
  std::unique_ptr<ControlAppearanceStore> control_appearance_;
  std::unique_ptr<CornerControlSettingsStore> corner_controls_;
  std::unique_ptr<EdgeModeSettingsStore> edge_modes_;
  std::unique_ptr<KolvoActivationSettingsStore> activation_;
  std::unique_ptr<PressureZoneSettingsStore> pressure_zone_;
  std::unique_ptr<DockExpandingAppsSettingsStore> dock_expanding_apps_;
  std::unique_ptr<KolvoDeckSettingsStore> deck_;
  std::unique_ptr<DeckStatsSettingsStore> deck_stats_;
  std::unique_ptr<SoundEffectsManager> sound_effects_;
};

// The value the program uses for every key owned by a store, after loading, in the key's
// stored form: enumerations as their strings, the accent as three reals, the glass
// configuration as its object, statistics as strings. Key order is the domain's table order.
nlohmann::ordered_json effective_settings(Settings& settings);

}  // namespace kolvo::core
