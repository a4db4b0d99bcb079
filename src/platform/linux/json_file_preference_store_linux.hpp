#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>
#include <string_view>

#include <nlohmann/json.hpp>

#include "prefs/preference_store.hpp"

namespace kolvo::platform {

// The headless host's preference domain: one JSON object in a file, key to value.
//
//   booleans, numbers, strings and arrays are themselves (a whole real keeps its ".0");
//   objects are dictionaries;
//   data is {"$data": "<base64>"}, or {"$json": <object or array>} when it holds JSON;
//   a date is {"$date": "<ISO 8601>"}.
//
// Every write re-reads the file under a lock and changes only its own key, so two processes
// (the running host and a `kolvo prefs write`) never undo each other, and entries this
// program does not understand are written back exactly as they were. The file is replaced
// atomically: temporary file, fsync, rename. A file that does not parse is never overwritten:
// it is moved aside under a dated name before the first write, and the program says so once.
class JsonFilePreferenceStore final : public prefs::PreferenceStore {
 public:
  using Warn = std::function<void(std::string_view message)>;

  explicit JsonFilePreferenceStore(std::filesystem::path file, Warn warn = stderr_warning());

  // $XDG_CONFIG_HOME/kolvo/preferences.json, else ~/.config/kolvo/preferences.json.
  static std::filesystem::path default_path();
  static Warn stderr_warning();

  std::optional<prefs::PreferenceValue> value(std::string_view key) const override;
  void set(std::string_view key, prefs::PreferenceValue value) override;
  void remove(std::string_view key) override;
  std::map<std::string, prefs::PreferenceValue> all() const override;

  const std::filesystem::path& path() const { return file_; }
  // Where an unreadable file was moved, once it has been.
  const std::optional<std::filesystem::path>& set_aside_path() const { return set_aside_; }
  // Whether the last write reached the disk.
  bool last_write_succeeded() const { return last_write_ok_; }

 private:
  enum class FileState { missing, valid, corrupt };
  struct Loaded {
    FileState state;
    nlohmann::ordered_json document;
    // Why a corrupt file could not be read, as the end of a sentence.
    std::string problem;
    // Top-level keys holding a number too large for a double, with the number as written.
    std::vector<std::pair<std::string, std::string>> unrepresentable;
  };

  Loaded load_file() const;
  void update(std::string_view key, const std::optional<prefs::PreferenceValue>& value);
  bool write_file(const nlohmann::ordered_json& document);
  void set_aside_corrupt_file();

  std::filesystem::path file_;
  Warn warn_;
  nlohmann::ordered_json document_ = nlohmann::ordered_json::object();
  std::optional<std::filesystem::path> set_aside_;
  bool last_write_ok_ = true;
};

// The file's JSON form of one value, and back. A JSON value with no property-list form (null,
// or an array holding one) reads as absent.
nlohmann::ordered_json to_file_json(const prefs::PreferenceValue& value);
std::optional<prefs::PreferenceValue> from_file_json(const nlohmann::ordered_json& json);

}  // namespace kolvo::platform
