#include "overlay/activation_settings_stores.hpp"

#include "prefs/settings_keys.hpp"

namespace kolvo::overlay {
namespace {

prefs::StoredSetting<prefs::CornerControlMode> corner_setting(prefs::PreferenceStore& prefs, std::string_view key) {
  return prefs::StoredSetting<prefs::CornerControlMode>(prefs, key,
                                          load_enum(prefs, key, prefs::kCornerControlModeTable, prefs::CornerControlMode::off));
}

prefs::StoredSetting<prefs::EdgeMode> edge_setting(prefs::PreferenceStore& prefs, base::NotificationCenter& center, std::string_view key) {
  return prefs::StoredSetting<prefs::EdgeMode>(prefs, key, load_enum(prefs, key, prefs::kEdgeModeTable, prefs::EdgeMode::dock), &center,
                                 prefs::notifications::kEdgeModeChanged);
}

prefs::StoredSetting<bool> bool_setting(prefs::PreferenceStore& prefs, std::string_view key, bool fallback) {
  return prefs::StoredSetting<bool>(prefs, key, prefs.read_bool(key).value_or(fallback));
}

}  // namespace

CornerControlSettingsStore::CornerControlSettingsStore(prefs::PreferenceStore& prefs)
    : top_left_(corner_setting(prefs, prefs::keys::kCornerTopLeftMode)),
      top_right_(corner_setting(prefs, prefs::keys::kCornerTopRightMode)),
      bottom_left_(corner_setting(prefs, prefs::keys::kCornerBottomLeftMode)),
      bottom_right_(corner_setting(prefs, prefs::keys::kCornerBottomRightMode)) {}

prefs::StoredSetting<prefs::CornerControlMode>& CornerControlSettingsStore::setting(prefs::Corner corner) {
  return const_cast<prefs::StoredSetting<prefs::CornerControlMode>&>(std::as_const(*this).setting(corner));
}

const prefs::StoredSetting<prefs::CornerControlMode>& CornerControlSettingsStore::setting(prefs::Corner corner) const {
  switch (corner) {
    case prefs::Corner::topLeft: return top_left_;
    case prefs::Corner::topRight: return top_right_;
    case prefs::Corner::bottomLeft: return bottom_left_;
    case prefs::Corner::bottomRight: break;
  }
  return bottom_right_;
}

EdgeModeSettingsStore::EdgeModeSettingsStore(prefs::PreferenceStore& prefs, base::NotificationCenter& center)
    : left_(edge_setting(prefs, center, prefs::keys::kLeftEdgeMode)), right_(edge_setting(prefs, center, prefs::keys::kRightEdgeMode)) {}

KolvoActivationSettingsStore::KolvoActivationSettingsStore(prefs::PreferenceStore& prefs, base::NotificationCenter& center)
    : side_(prefs, prefs::keys::kActivationSide,
            load_enum(prefs, prefs::keys::kActivationSide, prefs::kKolvoActivationSideTable, prefs::KolvoActivationSide::both), &center,
            prefs::notifications::kActivationSideChanged) {}

PressureZoneSettingsStore::PressureZoneSettingsStore(prefs::PreferenceStore& prefs)
    : use_(bool_setting(prefs, prefs::keys::kUsePressureZone, false)) {}

DockExpandingAppsSettingsStore::DockExpandingAppsSettingsStore(prefs::PreferenceStore& prefs)
    : enabled_(bool_setting(prefs, prefs::keys::kDockExpandingAppsEnabled, false)) {}

}  // namespace kolvo::overlay
