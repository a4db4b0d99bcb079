#include "deck/server/deck_settings_stores.hpp"

#include <algorithm>
#include <array>

#include "prefs/settings_keys.hpp"

namespace kolvo::deck {

KolvoDeckSettingsStore::KolvoDeckSettingsStore(prefs::PreferenceStore& prefs)
    : enabled_(prefs, prefs::keys::kDeckEnabled, prefs.read_bool(prefs::keys::kDeckEnabled).value_or(false)) {}

void KolvoDeckSettingsStore::set_enabled(bool enabled) {
  enabled_.set(enabled);
  if (!service_) return;
  if (enabled) {
    service_->start();
  } else {
    service_->stop();
  }
}

std::vector<prefs::KolvoDeckStatKind> DeckStatsSettingsStore::normalized(const std::vector<std::string>& stored) {
  static constexpr std::array kOrder{prefs::KolvoDeckStatKind::cpu, prefs::KolvoDeckStatKind::ram, prefs::KolvoDeckStatKind::storage,
                                     prefs::KolvoDeckStatKind::battery};
  std::vector<prefs::KolvoDeckStatKind> kinds;
  for (const prefs::KolvoDeckStatKind kind : kOrder) {
    const bool present = std::any_of(stored.begin(), stored.end(),
                                     [kind](const std::string& text) { return prefs::kKolvoDeckStatKindTable.parse(text) == kind; });
    if (present) kinds.push_back(kind);
  }
  return kinds;
}

DeckStatsSettingsStore::DeckStatsSettingsStore(prefs::PreferenceStore& prefs)
    : prefs_(prefs), enabled_(normalized(prefs.read_string_array(prefs::keys::kDeckStatsEnabled).value_or({}))) {}

void DeckStatsSettingsStore::set_enabled(std::vector<prefs::KolvoDeckStatKind> kinds) {
  prefs::PreferenceValue::Array stored;
  for (const prefs::KolvoDeckStatKind kind : kinds) stored.emplace_back(std::string(to_string(kind)));
  enabled_.set(std::move(kinds));
  prefs_.set(prefs::keys::kDeckStatsEnabled, std::move(stored));
}

bool launch_beta_enabled(const prefs::PreferenceStore& prefs) {
  return prefs.read_bool(prefs::keys::kLaunchBetaEnabled).value_or(true);
}

}  // namespace kolvo::deck
