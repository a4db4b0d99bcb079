#pragma once

#include <string>
#include <string_view>
#include <type_traits>

#include "base/enum_table.hpp"
#include "base/notification_center.hpp"
#include "base/observable.hpp"
#include "prefs/preference_store.hpp"

namespace kolvo::prefs {

inline PreferenceValue encode_preference(bool value) { return PreferenceValue(value); }
inline PreferenceValue encode_preference(double value) { return PreferenceValue(value); }
template <typename Enum>
  requires std::is_enum_v<Enum>
PreferenceValue encode_preference(Enum value) {
  return PreferenceValue(std::string(to_string(value)));
}

// A string-valued enumeration: absent, not a string, or naming no case gives the fallback.
template <typename Enum, std::size_t N>
Enum load_enum(const PreferenceStore& prefs, std::string_view key, const base::EnumTable<Enum, N>& table, Enum fallback) {
  const auto text = prefs.read_string(key);
  if (!text.is_present()) return fallback;
  return table.parse(text.value).value_or(fallback);
}

// One observable property backed by one key: assignment publishes the value, writes the key
// at once, then posts the key's notification when it has one.
template <typename T>
class StoredSetting {
 public:
  StoredSetting(PreferenceStore& prefs, std::string_view key, T initial, base::NotificationCenter* center = nullptr,
                std::string_view notification = {})
      : prefs_(prefs), key_(key), center_(center), notification_(notification), value_(std::move(initial)) {}

  const T& get() const { return value_.get(); }
  base::Observable<T>& observable() { return value_; }

  void set(T value) {
    value_.set(value);
    prefs_.set(key_, encode_preference(value));
    if (center_ && !notification_.empty()) center_->post(notification_);
  }

  [[nodiscard]] base::Subscription subscribe(typename base::Observable<T>::Listener listener) {
    return value_.subscribe(std::move(listener));
  }

 private:
  PreferenceStore& prefs_;
  std::string key_;
  base::NotificationCenter* center_;
  std::string notification_;
  base::Observable<T> value_;
};

}  // namespace kolvo::prefs
