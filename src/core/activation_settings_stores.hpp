#pragma once

#include "core/notification_center.hpp"
#include "core/preference_store.hpp"
#include "core/settings_enums.hpp"
#include "core/stored_setting.hpp"

namespace kolvo::core {

enum class Corner { topLeft, topRight, bottomLeft, bottomRight };
inline constexpr auto kCornerTable = make_enum_table<Corner>(
    {{Corner::topLeft, "topLeft"}, {Corner::topRight, "topRight"}, {Corner::bottomLeft, "bottomLeft"},
     {Corner::bottomRight, "bottomRight"}});
constexpr std::string_view to_string(Corner corner) { return kCornerTable.to_string(corner); }

// The control each screen corner's dial adjusts. A stored string naming no mode, an empty one
// included, reads as off.
class CornerControlSettingsStore {
 public:
  explicit CornerControlSettingsStore(PreferenceStore& prefs);

  CornerControlMode mode(Corner corner) const { return setting(corner).get(); }
  void set_mode(Corner corner, CornerControlMode mode) { setting(corner).set(mode); }
  StoredSetting<CornerControlMode>& setting(Corner corner);
  const StoredSetting<CornerControlMode>& setting(Corner corner) const;

 private:
  StoredSetting<CornerControlMode> top_left_;
  StoredSetting<CornerControlMode> top_right_;
  StoredSetting<CornerControlMode> bottom_left_;
  StoredSetting<CornerControlMode> bottom_right_;
};

// What each side of the Dock offers: the Hidden Dock, or a slider in its place.
class EdgeModeSettingsStore {
 public:
  EdgeModeSettingsStore(PreferenceStore& prefs, NotificationCenter& center);

  EdgeMode left_edge_mode() const { return left_.get(); }
  EdgeMode right_edge_mode() const { return right_.get(); }
  void set_left_edge_mode(EdgeMode mode) { left_.set(mode); }
  void set_right_edge_mode(EdgeMode mode) { right_.set(mode); }
  StoredSetting<EdgeMode>& left_setting() { return left_; }
  StoredSetting<EdgeMode>& right_setting() { return right_; }

 private:
  StoredSetting<EdgeMode> left_;
  StoredSetting<EdgeMode> right_;
};

class KolvoActivationSettingsStore {
 public:
  KolvoActivationSettingsStore(PreferenceStore& prefs, NotificationCenter& center);

  KolvoActivationSide activation_side() const { return side_.get(); }
  void set_activation_side(KolvoActivationSide side) { side_.set(side); }
  StoredSetting<KolvoActivationSide>& setting() { return side_; }

 private:
  StoredSetting<KolvoActivationSide> side_;
};

class PressureZoneSettingsStore {
 public:
  explicit PressureZoneSettingsStore(PreferenceStore& prefs);

  bool use_pressure_zone() const { return use_.get(); }
  void set_use_pressure_zone(bool use) { use_.set(use); }
  StoredSetting<bool>& setting() { return use_; }

 private:
  StoredSetting<bool> use_;
};

class DockExpandingAppsSettingsStore {
 public:
  explicit DockExpandingAppsSettingsStore(PreferenceStore& prefs);

  bool is_enabled() const { return enabled_.get(); }
  void set_enabled(bool enabled) { enabled_.set(enabled); }
  StoredSetting<bool>& setting() { return enabled_; }

 private:
  StoredSetting<bool> enabled_;
};

}  // namespace kolvo::core
