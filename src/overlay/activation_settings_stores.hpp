#pragma once

#include "base/notification_center.hpp"
#include "prefs/preference_store.hpp"
#include "prefs/settings_enums.hpp"
#include "prefs/stored_setting.hpp"

namespace kolvo::overlay {

// The control each screen corner's dial adjusts. A stored string naming no mode, an empty one
// included, reads as off.
class CornerControlSettingsStore {
 public:
  explicit CornerControlSettingsStore(prefs::PreferenceStore& prefs);

  prefs::CornerControlMode mode(prefs::Corner corner) const { return setting(corner).get(); }
  void set_mode(prefs::Corner corner, prefs::CornerControlMode mode) { setting(corner).set(mode); }
  prefs::StoredSetting<prefs::CornerControlMode>& setting(prefs::Corner corner);
  const prefs::StoredSetting<prefs::CornerControlMode>& setting(prefs::Corner corner) const;

 private:
  prefs::StoredSetting<prefs::CornerControlMode> top_left_;
  prefs::StoredSetting<prefs::CornerControlMode> top_right_;
  prefs::StoredSetting<prefs::CornerControlMode> bottom_left_;
  prefs::StoredSetting<prefs::CornerControlMode> bottom_right_;
};

// What each side of the Dock offers: the Hidden Dock, or a slider in its place.
class EdgeModeSettingsStore {
 public:
  EdgeModeSettingsStore(prefs::PreferenceStore& prefs, base::NotificationCenter& center);

  prefs::EdgeMode left_edge_mode() const { return left_.get(); }
  prefs::EdgeMode right_edge_mode() const { return right_.get(); }
  void set_left_edge_mode(prefs::EdgeMode mode) { left_.set(mode); }
  void set_right_edge_mode(prefs::EdgeMode mode) { right_.set(mode); }
  prefs::StoredSetting<prefs::EdgeMode>& left_setting() { return left_; }
  prefs::StoredSetting<prefs::EdgeMode>& right_setting() { return right_; }

 private:
  prefs::StoredSetting<prefs::EdgeMode> left_;
  prefs::StoredSetting<prefs::EdgeMode> right_;
};

class KolvoActivationSettingsStore {
 public:
  KolvoActivationSettingsStore(prefs::PreferenceStore& prefs, base::NotificationCenter& center);

  prefs::KolvoActivationSide activation_side() const { return side_.get(); }
  void set_activation_side(prefs::KolvoActivationSide side) { side_.set(side); }
  prefs::StoredSetting<prefs::KolvoActivationSide>& setting() { return side_; }

 private:
  prefs::StoredSetting<prefs::KolvoActivationSide> side_;
};

class PressureZoneSettingsStore {
 public:
  explicit PressureZoneSettingsStore(prefs::PreferenceStore& prefs);

  bool use_pressure_zone() const { return use_.get(); }
  void set_use_pressure_zone(bool use) { use_.set(use); }
  prefs::StoredSetting<bool>& setting() { return use_; }

 private:
  prefs::StoredSetting<bool> use_;
};

class DockExpandingAppsSettingsStore {
 public:
  explicit DockExpandingAppsSettingsStore(prefs::PreferenceStore& prefs);

  bool is_enabled() const { return enabled_.get(); }
  void set_enabled(bool enabled) { enabled_.set(enabled); }
  prefs::StoredSetting<bool>& setting() { return enabled_; }

 private:
  prefs::StoredSetting<bool> enabled_;
};

}  // namespace kolvo::overlay
