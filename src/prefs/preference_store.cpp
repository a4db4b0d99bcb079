#include "prefs/preference_store.hpp"

namespace kolvo::prefs {

std::optional<PreferenceValue> MemoryPreferenceStore::value(std::string_view key) const {
  const auto found = values_.find(key);
  if (found == values_.end()) return std::nullopt;
  return found->second;
}

void MemoryPreferenceStore::set(std::string_view key, PreferenceValue value) {
  ++write_count_;
  values_.insert_or_assign(std::string(key), std::move(value));
}

void MemoryPreferenceStore::remove(std::string_view key) {
  ++write_count_;
  if (const auto found = values_.find(key); found != values_.end()) values_.erase(found);
}

}  // namespace kolvo::prefs
