#include "core/deck_settings_stores.hpp"

#include <algorithm>
#include <array>

#include "core/settings_keys.hpp"

namespace kolvo::core {

KolvoDeckSettingsStore::KolvoDeckSettingsStore(PreferenceStore& prefs)
    : enabled_(prefs, keys::kDeckEnabled, prefs.read_bool(keys::kDeckEnabled).value_or(false)) {}

void KolvoDeckSettingsStore::set_enabled(bool enabled) {
  enabled_.set(enabled);
  if (!service_) return;
  if (enabled) {
    service_->start();
  } else {
    service_->stop();
  }
}

std::vector<KolvoDeckStatKind> DeckStatsSettingsStore::normalized(const std::vector<std::string>& stored) {
  static constexpr std::array kOrder{KolvoDeckStatKind::cpu, KolvoDeckStatKind::ram, KolvoDeckStatKind::storage,
                                     KolvoDeckStatKind::battery};
  std::vector<KolvoDeckStatKind> kinds;
  for (const KolvoDeckStatKind kind : kOrder) {
    const bool present = std::any_of(stored.begin(), stored.end(),
                                     [kind](const std::string& text) { return kKolvoDeckStatKindTable.parse(text) == kind; });
    if (present) kinds.push_back(kind);
  }
  return kinds;
}

DeckStatsSettingsStore::DeckStatsSettingsStore(PreferenceStore& prefs)
    : prefs_(prefs), enabled_(normalized(prefs.read_string_array(keys::kDeckStatsEnabled).value_or({}))) {}

void DeckStatsSettingsStore::set_enabled(std::vector<KolvoDeckStatKind> kinds) {
  PreferenceValue::Array stored;
  for (const KolvoDeckStatKind kind : kinds) stored.emplace_back(std::string(to_string(kind)));
  enabled_.set(std::move(kinds));
  prefs_.set(keys::kDeckStatsEnabled, std::move(stored));
}

bool launch_beta_enabled(const PreferenceStore& prefs) {
  return prefs.read_bool(keys::kLaunchBetaEnabled).value_or(true);
}

}  // namespace kolvo::core
