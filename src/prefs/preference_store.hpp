#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "prefs/preference_value.hpp"

namespace kolvo::prefs {

// The user's preference domain: on the Mac the application's user-defaults domain, on the
// headless host a JSON file, in tests memory. Reads never fail; writes are not checked,
// as with user defaults.
class PreferenceStore {
 public:
  virtual ~PreferenceStore() = default;

  virtual std::optional<PreferenceValue> value(std::string_view key) const = 0;
  virtual void set(std::string_view key, PreferenceValue value) = 0;
  virtual void remove(std::string_view key) = 0;
  // Every key and value of the domain, in key order.
  virtual std::map<std::string, PreferenceValue> all() const = 0;

  Lookup<bool> read_bool(std::string_view key) const { return as_bool(value(key)); }
  Lookup<std::int64_t> read_integer(std::string_view key) const { return as_integer(value(key)); }
  Lookup<double> read_real(std::string_view key) const { return as_real(value(key)); }
  Lookup<std::string> read_string(std::string_view key) const { return as_string(value(key)); }
  Lookup<PreferenceData> read_data(std::string_view key) const { return as_data(value(key)); }
  Lookup<PreferenceDate> read_date(std::string_view key) const { return as_date(value(key)); }
  Lookup<std::vector<std::string>> read_string_array(std::string_view key) const {
    return as_string_array(value(key));
  }
  Lookup<std::vector<double>> read_real_array(std::string_view key) const { return as_real_array(value(key)); }
};

// A domain held in memory: the store of tests, and an overlay that lets a command run the
// loading rules of the stores without writing anything to the user's real domain.
class MemoryPreferenceStore final : public PreferenceStore {
 public:
  MemoryPreferenceStore() = default;
  explicit MemoryPreferenceStore(const std::map<std::string, PreferenceValue>& values)
      : values_(values.begin(), values.end()) {}

  std::optional<PreferenceValue> value(std::string_view key) const override;
  void set(std::string_view key, PreferenceValue value) override;
  void remove(std::string_view key) override;
  std::map<std::string, PreferenceValue> all() const override { return {values_.begin(), values_.end()}; }

  // How many writes and removals have reached this store, for tests of "never written back".
  int write_count() const { return write_count_; }

 private:
  std::map<std::string, PreferenceValue, std::less<>> values_;
  int write_count_ = 0;
};

}  // namespace kolvo::prefs
