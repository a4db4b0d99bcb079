#pragma once

#include <memory>

#include <nlohmann/json.hpp>

#include "base/diagnostics_log.hpp"
#include "base/executor.hpp"
#include "base/notification_center.hpp"
#include "deck/server/deck_settings_stores.hpp"
#include "shelf/adobe/adobe_tool_grid_store.hpp"
#include "shelf/shelf_widget_settings_store.hpp"
#include "dock/accessibility_trust.hpp"
#include "dock/alignment_settings_store.hpp"
#include "overlay/activation_settings_stores.hpp"
#include "overlay/zone_provider.hpp"
#include "prefs/preference_store.hpp"
#include "sound/sound_effects_manager.hpp"
#include "sound/sound_ports.hpp"
#include "ui/accent_color_store.hpp"
#include "ui/control_appearance_store.hpp"
#include "ui/liquid_glass_store.hpp"
#include "ui/system_appearance.hpp"
#include "ui/zone_map_settings_store.hpp"
#include "update/update_dismissal_store.hpp"

namespace kolvo::app {

struct SettingsPorts {
  prefs::PreferenceStore& prefs;
  base::NotificationCenter& center;
  base::Executor& executor;
  base::DiagnosticsLog& log;
  const dock::AccessibilityTrust& accessibility;
  ui::SystemAppearance& appearance;
  const sound::OutputAudibilityPort& audio;
  sound::SoundLibrary& sounds;
};

// The one instance of each settings store. Each is created on first use and loads its keys
// then, exactly once; later changes made by another process are seen at the next start.
class Settings {
 public:
  explicit Settings(SettingsPorts ports) : ports_(ports) {}

  prefs::PreferenceStore& prefs() { return ports_.prefs; }
  // Creates every store now, so each loads its keys at start rather than on first use.
  void load_all();
  base::NotificationCenter& center() { return ports_.center; }

  ui::AccentColorStore& accent_color();
  dock::AlignmentSettingsStore& alignment();
  ui::LiquidGlassStore& liquid_glass();
  ui::ControlAppearanceStore& control_appearance();
  overlay::CornerControlSettingsStore& corner_controls();
  overlay::EdgeModeSettingsStore& edge_modes();
  overlay::KolvoActivationSettingsStore& activation();
  overlay::PressureZoneSettingsStore& pressure_zone();
  overlay::DockExpandingAppsSettingsStore& dock_expanding_apps();
  ui::ZoneMapSettingsStore& zone_map();
  deck::KolvoDeckSettingsStore& deck();
  deck::DeckStatsSettingsStore& deck_stats();
  shelf::ShelfWidgetSettingsStore& shelf_widgets();
  shelf::AdobeToolGridStore& adobe_tool_grids();
  sound::SoundEffectsManager& sound_effects();
  update::UpdateDismissalStore& update_dismissal();

  // The stores the edge and corner zones read.
  overlay::ActivationSettings activation_settings();

  bool onboarding_completed() const;
  void set_onboarding_completed(bool completed);
  bool launch_beta_enabled() const;

 private:
  SettingsPorts ports_;
  std::unique_ptr<ui::AccentColorStore> accent_color_;
  std::unique_ptr<dock::AlignmentSettingsStore> alignment_;
  std::unique_ptr<ui::LiquidGlassStore> liquid_glass_;
  std::unique_ptr<ui::ControlAppearanceStore> control_appearance_;
  std::unique_ptr<overlay::CornerControlSettingsStore> corner_controls_;
  std::unique_ptr<overlay::EdgeModeSettingsStore> edge_modes_;
  std::unique_ptr<overlay::KolvoActivationSettingsStore> activation_;
  std::unique_ptr<overlay::PressureZoneSettingsStore> pressure_zone_;
  std::unique_ptr<overlay::DockExpandingAppsSettingsStore> dock_expanding_apps_;
  std::unique_ptr<ui::ZoneMapSettingsStore> zone_map_;
  std::unique_ptr<deck::KolvoDeckSettingsStore> deck_;
  std::unique_ptr<deck::DeckStatsSettingsStore> deck_stats_;
  std::unique_ptr<shelf::ShelfWidgetSettingsStore> shelf_widgets_;
  std::unique_ptr<shelf::AdobeToolGridStore> adobe_tool_grids_;
  std::unique_ptr<sound::SoundEffectsManager> sound_effects_;
  std::unique_ptr<update::UpdateDismissalStore> update_dismissal_;
};

// The value the program uses for every key owned by a store, after loading, in the key's
// stored form: enumerations as their strings, the accent as three reals, the glass
// configuration as its object, statistics as strings. Key order is the domain's table order.
nlohmann::ordered_json effective_settings(Settings& settings);

}  // namespace kolvo::app
