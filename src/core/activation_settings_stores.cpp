#include "core/activation_settings_stores.hpp"

#include "core/settings_keys.hpp"

namespace kolvo::core {
namespace {

StoredSetting<CornerControlMode> corner_setting(PreferenceStore& prefs, std::string_view key) {
  return StoredSetting<CornerControlMode>(prefs, key,
                                          load_enum(prefs, key, kCornerControlModeTable, CornerControlMode::off));
}

StoredSetting<EdgeMode> edge_setting(PreferenceStore& prefs, NotificationCenter& center, std::string_view key) {
  return StoredSetting<EdgeMode>(prefs, key, load_enum(prefs, key, kEdgeModeTable, EdgeMode::dock), &center,
                                 notifications::kEdgeModeChanged);
}

StoredSetting<bool> bool_setting(PreferenceStore& prefs, std::string_view key, bool fallback) {
  return StoredSetting<bool>(prefs, key, prefs.read_bool(key).value_or(fallback));
}

}  // namespace

CornerControlSettingsStore::CornerControlSettingsStore(PreferenceStore& prefs)
    : top_left_(corner_setting(prefs, keys::kCornerTopLeftMode)),
      top_right_(corner_setting(prefs, keys::kCornerTopRightMode)),
      bottom_left_(corner_setting(prefs, keys::kCornerBottomLeftMode)),
      bottom_right_(corner_setting(prefs, keys::kCornerBottomRightMode)) {}

StoredSetting<CornerControlMode>& CornerControlSettingsStore::setting(Corner corner) {
  return const_cast<StoredSetting<CornerControlMode>&>(std::as_const(*this).setting(corner));
}

const StoredSetting<CornerControlMode>& CornerControlSettingsStore::setting(Corner corner) const {
  switch (corner) {
    case Corner::topLeft: return top_left_;
    case Corner::topRight: return top_right_;
    case Corner::bottomLeft: return bottom_left_;
    case Corner::bottomRight: break;
  }
  return bottom_right_;
}

EdgeModeSettingsStore::EdgeModeSettingsStore(PreferenceStore& prefs, NotificationCenter& center)
    : left_(edge_setting(prefs, center, keys::kLeftEdgeMode)), right_(edge_setting(prefs, center, keys::kRightEdgeMode)) {}

KolvoActivationSettingsStore::KolvoActivationSettingsStore(PreferenceStore& prefs, NotificationCenter& center)
    : side_(prefs, keys::kActivationSide,
            load_enum(prefs, keys::kActivationSide, kKolvoActivationSideTable, KolvoActivationSide::both), &center,
            notifications::kActivationSideChanged) {}

PressureZoneSettingsStore::PressureZoneSettingsStore(PreferenceStore& prefs)
    : use_(bool_setting(prefs, keys::kUsePressureZone, false)) {}

DockExpandingAppsSettingsStore::DockExpandingAppsSettingsStore(PreferenceStore& prefs)
    : enabled_(bool_setting(prefs, keys::kDockExpandingAppsEnabled, false)) {}

}  // namespace kolvo::core
