#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "base/date_time.hpp"

namespace kolvo::prefs {

using PreferenceData = std::vector<std::uint8_t>;

// A date as the preference store keeps it: seconds since 2001-01-01 UTC, like CFDate.
struct PreferenceDate {
  double seconds_since_2001 = 0;
  friend bool operator==(const PreferenceDate&, const PreferenceDate&) = default;
};

// One property-list value: the types the user-defaults store can hold.
class PreferenceValue {
 public:
  using Array = std::vector<PreferenceValue>;
  using Dictionary = std::map<std::string, PreferenceValue>;
  using Storage = std::variant<bool, std::int64_t, double, std::string, PreferenceData, PreferenceDate, Array, Dictionary>;

  PreferenceValue() : storage_(false) {}
  PreferenceValue(bool value) : storage_(value) {}
  PreferenceValue(int value) : storage_(std::int64_t{value}) {}
  PreferenceValue(std::int64_t value) : storage_(value) {}
  PreferenceValue(double value) : storage_(value) {}
  PreferenceValue(const char* value) : storage_(std::string(value)) {}
  PreferenceValue(std::string value) : storage_(std::move(value)) {}
  PreferenceValue(PreferenceData value) : storage_(std::move(value)) {}
  PreferenceValue(PreferenceDate value) : storage_(value) {}
  PreferenceValue(Array value) : storage_(std::move(value)) {}
  PreferenceValue(Dictionary value) : storage_(std::move(value)) {}

  template <typename T>
  const T* get_if() const { return std::get_if<T>(&storage_); }
  const Storage& storage() const { return storage_; }

  friend bool operator==(const PreferenceValue&, const PreferenceValue&) = default;

 private:
  Storage storage_;
};

// Whether a key was missing, held something that does not read as the wanted type, or held a
// value. Stores need the difference: some treat the two failures alike, some do not.
enum class LookupStatus { absent, invalid, present };

template <typename T>
struct Lookup {
  LookupStatus status = LookupStatus::absent;
  T value{};

  static Lookup absent() { return {LookupStatus::absent, T{}}; }
  static Lookup invalid() { return {LookupStatus::invalid, T{}}; }
  static Lookup present(T value) { return {LookupStatus::present, std::move(value)}; }

  bool is_present() const { return status == LookupStatus::present; }
  T value_or(T fallback) const { return is_present() ? value : std::move(fallback); }
};

// Typed views of a stored value. A number reads as a real whether it was stored as an integer
// or a real, as CFNumber does; a boolean is never a number and a number never a boolean.
Lookup<bool> as_bool(const std::optional<PreferenceValue>& value);
Lookup<std::int64_t> as_integer(const std::optional<PreferenceValue>& value);
Lookup<double> as_real(const std::optional<PreferenceValue>& value);
Lookup<std::string> as_string(const std::optional<PreferenceValue>& value);
Lookup<PreferenceData> as_data(const std::optional<PreferenceValue>& value);
Lookup<PreferenceDate> as_date(const std::optional<PreferenceValue>& value);
// Every element must be of the type, or the whole array is invalid.
Lookup<std::vector<std::string>> as_string_array(const std::optional<PreferenceValue>& value);
Lookup<std::vector<double>> as_real_array(const std::optional<PreferenceValue>& value);

// Old-style property-list text, as `defaults read` prints it, for people reading values.
std::string describe(const PreferenceValue& value, int indent = 0);

}  // namespace kolvo::prefs
