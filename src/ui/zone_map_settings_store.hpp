#pragma once

#include <string_view>

#include "prefs/preference_store.hpp"
#include "prefs/stored_setting.hpp"

namespace kolvo::ui {

// The Advanced switch that draws the activation zones over every display. Off unless stored
// as a boolean true; any other stored value reads as off and stays in the file as it was.
class ZoneMapSettingsStore {
 public:
  static constexpr std::string_view kToggleTitle = "Show activation zones";

  explicit ZoneMapSettingsStore(prefs::PreferenceStore& prefs);

  bool show_activation_zones() const { return show_.get(); }
  void set_show_activation_zones(bool show) { show_.set(show); }
  prefs::StoredSetting<bool>& setting() { return show_; }

 private:
  prefs::StoredSetting<bool> show_;
};

}  // namespace kolvo::ui
