#pragma once

#include <vector>

#include "base/observable.hpp"
#include "deck/server/deck_service_control.hpp"
#include "prefs/preference_store.hpp"
#include "prefs/settings_enums.hpp"
#include "prefs/stored_setting.hpp"

namespace kolvo::deck {

// The phone link's on/off switch. Turning it on starts the server, off stops it.
class KolvoDeckSettingsStore {
 public:
  explicit KolvoDeckSettingsStore(prefs::PreferenceStore& prefs);

  bool is_enabled() const { return enabled_.get(); }
  void set_enabled(bool enabled);
  prefs::StoredSetting<bool>& setting() { return enabled_; }

  // The server, once one exists; until then the switch only persists.
  void attach_service(DeckServiceControl* service) { service_ = service; }

 private:
  prefs::StoredSetting<bool> enabled_;
  DeckServiceControl* service_ = nullptr;
};

// Which statistics the phone shows, always in the fixed order cpu, ram, storage, battery.
class DeckStatsSettingsStore {
 public:
  explicit DeckStatsSettingsStore(prefs::PreferenceStore& prefs);

  const std::vector<prefs::KolvoDeckStatKind>& enabled() const { return enabled_.get(); }
  void set_enabled(std::vector<prefs::KolvoDeckStatKind> kinds);
  base::Observable<std::vector<prefs::KolvoDeckStatKind>>& observable() { return enabled_; }

  // Keeps the known kinds other than unknown, once each, in the fixed order.
  static std::vector<prefs::KolvoDeckStatKind> normalized(const std::vector<std::string>& stored);

 private:
  prefs::PreferenceStore& prefs_;
  base::Observable<std::vector<prefs::KolvoDeckStatKind>> enabled_;
};

// Whether the phone may launch applications. No interface writes it; absent means yes.
bool launch_beta_enabled(const prefs::PreferenceStore& prefs);

}  // namespace kolvo::deck
