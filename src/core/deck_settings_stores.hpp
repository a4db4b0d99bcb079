#pragma once

#include <vector>

#include "core/observable.hpp"
#include "core/preference_store.hpp"
#include "core/settings_enums.hpp"
#include "core/stored_setting.hpp"
#include "core/system_ports.hpp"

namespace kolvo::core {

// The phone link's on/off switch. Turning it on starts the server, off stops it.
class KolvoDeckSettingsStore {
 public:
  explicit KolvoDeckSettingsStore(PreferenceStore& prefs);

  bool is_enabled() const { return enabled_.get(); }
  void set_enabled(bool enabled);
  StoredSetting<bool>& setting() { return enabled_; }

  // The server, once one exists; until then the switch only persists.
  void attach_service(DeckServiceControl* service) { service_ = service; }

 private:
  StoredSetting<bool> enabled_;
  DeckServiceControl* service_ = nullptr;
};

// Which statistics the phone shows, always in the fixed order cpu, ram, storage, battery.
class DeckStatsSettingsStore {
 public:
  explicit DeckStatsSettingsStore(PreferenceStore& prefs);

  const std::vector<KolvoDeckStatKind>& enabled() const { return enabled_.get(); }
  void set_enabled(std::vector<KolvoDeckStatKind> kinds);
  Observable<std::vector<KolvoDeckStatKind>>& observable() { return enabled_; }

  // Keeps the known kinds other than unknown, once each, in the fixed order.
  static std::vector<KolvoDeckStatKind> normalized(const std::vector<std::string>& stored);

 private:
  PreferenceStore& prefs_;
  Observable<std::vector<KolvoDeckStatKind>> enabled_;
};

// Whether the phone may launch applications. No interface writes it; absent means yes.
bool launch_beta_enabled(const PreferenceStore& prefs);

}  // namespace kolvo::core
