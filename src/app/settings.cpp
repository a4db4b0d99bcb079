#include "app/settings.hpp"

#include "prefs/settings_keys.hpp"

namespace kolvo::app {
namespace {

template <typename Store, typename... Args>
Store& lazily(std::unique_ptr<Store>& slot, Args&&... args) {
  if (!slot) slot = std::make_unique<Store>(std::forward<Args>(args)...);
  return *slot;
}

std::string text(std::string_view view) { return std::string(view); }

}  // namespace

ui::AccentColorStore& Settings::accent_color() { return lazily(accent_color_, ports_.prefs); }

dock::AlignmentSettingsStore& Settings::alignment() {
  return lazily(alignment_, ports_.prefs, ports_.center, ports_.accessibility, ports_.log);
}

ui::LiquidGlassStore& Settings::liquid_glass() { return lazily(liquid_glass_, ports_.prefs, ports_.log); }

ui::ControlAppearanceStore& Settings::control_appearance() {
  return lazily(control_appearance_, ports_.prefs, ports_.appearance, liquid_glass());
}

overlay::CornerControlSettingsStore& Settings::corner_controls() { return lazily(corner_controls_, ports_.prefs); }
overlay::EdgeModeSettingsStore& Settings::edge_modes() { return lazily(edge_modes_, ports_.prefs, ports_.center); }
overlay::KolvoActivationSettingsStore& Settings::activation() { return lazily(activation_, ports_.prefs, ports_.center); }
overlay::PressureZoneSettingsStore& Settings::pressure_zone() { return lazily(pressure_zone_, ports_.prefs); }
overlay::DockExpandingAppsSettingsStore& Settings::dock_expanding_apps() { return lazily(dock_expanding_apps_, ports_.prefs); }
ui::ZoneMapSettingsStore& Settings::zone_map() { return lazily(zone_map_, ports_.prefs); }
deck::KolvoDeckSettingsStore& Settings::deck() { return lazily(deck_, ports_.prefs); }
deck::DeckStatsSettingsStore& Settings::deck_stats() { return lazily(deck_stats_, ports_.prefs); }
shelf::ShelfWidgetSettingsStore& Settings::shelf_widgets() { return lazily(shelf_widgets_, ports_.prefs); }
shelf::AdobeToolGridStore& Settings::adobe_tool_grids() { return lazily(adobe_tool_grids_, ports_.prefs); }

sound::SoundEffectsManager& Settings::sound_effects() {
  return lazily(sound_effects_, ports_.prefs, ports_.executor, ports_.audio, ports_.sounds);
}

update::UpdateDismissalStore& Settings::update_dismissal() { return lazily(update_dismissal_, ports_.prefs); }

void Settings::load_all() {
  accent_color();
  alignment();
  liquid_glass();
  control_appearance();
  corner_controls();
  edge_modes();
  activation();
  pressure_zone();
  dock_expanding_apps();
  zone_map();
  deck();
  deck_stats();
  shelf_widgets();
  adobe_tool_grids();
  sound_effects();
  update_dismissal();
}

overlay::ActivationSettings Settings::activation_settings() {
  return {.corner_controls = corner_controls(),
          .edge_modes = edge_modes(),
          .activation = activation(),
          .pressure_zone = pressure_zone(),
          .alignment = alignment()};
}

bool Settings::onboarding_completed() const {
  return ports_.prefs.read_bool(prefs::keys::kOnboardingCompleted).value_or(false);
}

void Settings::set_onboarding_completed(bool completed) { ports_.prefs.set(prefs::keys::kOnboardingCompleted, completed); }

bool Settings::launch_beta_enabled() const { return deck::launch_beta_enabled(ports_.prefs); }

nlohmann::ordered_json effective_settings(Settings& settings) {
  nlohmann::ordered_json out;
  const ui::RGBColor accent = settings.accent_color().color();
  out[text(prefs::keys::kAccentColorRGB)] = {accent.red, accent.green, accent.blue};

  auto& alignment = settings.alignment();
  out[text(prefs::keys::kLockCalibration)] = alignment.lock_calibration();
  out[text(prefs::keys::kFollowDockChangesAutomatically)] = alignment.follow_dock_changes_automatically();
  out[text(prefs::keys::kAlignmentEdgeOffset)] = alignment.alignment_edge_offset();

  auto& appearance = settings.control_appearance();
  out[text(prefs::keys::kControlAppearance)] = text(to_string(appearance.mode()));
  out[text(prefs::keys::kLiquidGlassControls)] = appearance.liquid_glass_enabled();
  out[text(prefs::keys::kKnobStyle)] = text(to_string(appearance.knob_style()));
  out[text(prefs::keys::kLiquidGlassConfiguration)] = to_json(settings.liquid_glass().configuration());

  auto& corners = settings.corner_controls();
  out[text(prefs::keys::kCornerTopLeftMode)] = text(to_string(corners.mode(prefs::Corner::topLeft)));
  out[text(prefs::keys::kCornerTopRightMode)] = text(to_string(corners.mode(prefs::Corner::topRight)));
  out[text(prefs::keys::kCornerBottomLeftMode)] = text(to_string(corners.mode(prefs::Corner::bottomLeft)));
  out[text(prefs::keys::kCornerBottomRightMode)] = text(to_string(corners.mode(prefs::Corner::bottomRight)));

  auto& edges = settings.edge_modes();
  out[text(prefs::keys::kLeftEdgeMode)] = text(to_string(edges.left_edge_mode()));
  out[text(prefs::keys::kRightEdgeMode)] = text(to_string(edges.right_edge_mode()));
  out[text(prefs::keys::kActivationSide)] = text(to_string(settings.activation().activation_side()));
  out[text(prefs::keys::kUsePressureZone)] = settings.pressure_zone().use_pressure_zone();
  out[text(prefs::keys::kDockExpandingAppsEnabled)] = settings.dock_expanding_apps().is_enabled();
  out[text(prefs::keys::kShowActivationZones)] = settings.zone_map().show_activation_zones();
  out[text(prefs::keys::kSoundEffectsEnabled)] = settings.sound_effects().is_enabled();
  out[text(prefs::keys::kDeckEnabled)] = settings.deck().is_enabled();

  auto stats = nlohmann::ordered_json::array();
  for (const auto kind : settings.deck_stats().enabled()) stats.push_back(text(to_string(kind)));
  out[text(prefs::keys::kDeckStatsEnabled)] = std::move(stats);

  auto& shelf = settings.shelf_widgets();
  out[text(prefs::keys::kShelfWidgets)] = shelf.stored_slots();
  out[text(prefs::keys::kShelfBackground)] = text(deck::kShelfWidgetBackgroundTable.to_string(shelf.background()));
  auto& grids = settings.adobe_tool_grids();
  for (const auto app : {shelf::AdobeApp::illustrator, shelf::AdobeApp::photoshop, shelf::AdobeApp::premiere,
                         shelf::AdobeApp::afterEffects}) {
    out[text(shelf::AdobeToolGridStore::key(app))] = grids.stored_cells(app);
  }

  out[text(prefs::keys::kLaunchBetaEnabled)] = settings.launch_beta_enabled();
  out[text(prefs::keys::kOnboardingCompleted)] = settings.onboarding_completed();
  return out;
}

}  // namespace kolvo::app
