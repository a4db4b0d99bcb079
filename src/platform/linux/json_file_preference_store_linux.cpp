#include "platform/linux/json_file_preference_store_linux.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>

#include "base/base64.hpp"
#include "base/date_time.hpp"

namespace kolvo::platform {
namespace fs = std::filesystem;
using prefs::PreferenceValue;
using nlohmann::ordered_json;

namespace {

// Holds an advisory lock on "<file>.lock" for one read-modify-write.
class FileLock {
 public:
  explicit FileLock(const fs::path& file) {
    const std::string lock_path = file.string() + ".lock";
    fd_ = ::open(lock_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd_ >= 0) ::flock(fd_, LOCK_EX);
  }
  ~FileLock() {
    if (fd_ >= 0) ::close(fd_);  // closing releases the lock
  }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  int fd_ = -1;
};

bool write_all(int fd, const std::string& text) {
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t n = ::write(fd, text.data() + written, text.size() - written);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    written += static_cast<std::size_t>(n);
  }
  return true;
}

std::string timestamp_for_file_name() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char buffer[32];
  std::strftime(buffer, sizeof buffer, "%Y%m%d-%H%M%S", &utc);
  return buffer;
}

}  // namespace

ordered_json to_file_json(const PreferenceValue& value) {
  struct Visitor {
    ordered_json operator()(bool b) const { return b; }
    ordered_json operator()(std::int64_t i) const { return i; }
    ordered_json operator()(double d) const { return d; }
    ordered_json operator()(const std::string& s) const { return s; }
    ordered_json operator()(const prefs::PreferenceData& data) const {
      // Data that holds a JSON object or array (calibrations, profiles, slots) is written as
      // that JSON, so a person can read and edit it; anything else as base64.
      if (!data.empty() && (data.front() == '{' || data.front() == '[')) {
        auto json = ordered_json::parse(data.begin(), data.end(), nullptr, /*allow_exceptions=*/false);
        if (!json.is_discarded() && json.dump() == std::string(data.begin(), data.end())) return {{"$json", json}};
      }
      return {{"$data", base::base64_encode(data)}};
    }
    ordered_json operator()(const prefs::PreferenceDate& date) const {
      return {{"$date", base::format_iso8601(base::from_seconds_since_2001(date.seconds_since_2001))}};
    }
    ordered_json operator()(const PreferenceValue::Array& array) const {
      ordered_json out = ordered_json::array();
      for (const auto& element : array) out.push_back(to_file_json(element));
      return out;
    }
    ordered_json operator()(const PreferenceValue::Dictionary& dictionary) const {
      ordered_json out = ordered_json::object();
      for (const auto& [key, element] : dictionary) out[key] = to_file_json(element);
      return out;
    }
  };
  return std::visit(Visitor{}, value.storage());
}

std::optional<PreferenceValue> from_file_json(const ordered_json& json) {
  switch (json.type()) {
    case ordered_json::value_t::boolean: return PreferenceValue(json.get<bool>());
    case ordered_json::value_t::number_integer: return PreferenceValue(json.get<std::int64_t>());
    case ordered_json::value_t::number_unsigned: {
      const auto value = json.get<std::uint64_t>();
      if (value > static_cast<std::uint64_t>(INT64_MAX)) return PreferenceValue(static_cast<double>(value));
      return PreferenceValue(static_cast<std::int64_t>(value));
    }
    case ordered_json::value_t::number_float: return PreferenceValue(json.get<double>());
    case ordered_json::value_t::string: return PreferenceValue(json.get<std::string>());
    case ordered_json::value_t::array: {
      PreferenceValue::Array array;
      for (const auto& element : json) {
        auto converted = from_file_json(element);
        if (!converted) return std::nullopt;
        array.push_back(std::move(*converted));
      }
      return PreferenceValue(std::move(array));
    }
    case ordered_json::value_t::object: {
      if (json.size() == 1 && json.contains("$data") && json["$data"].is_string()) {
        auto bytes = base::base64_decode(json["$data"].get_ref<const std::string&>());
        if (!bytes) return std::nullopt;
        return PreferenceValue(std::move(*bytes));
      }
      if (json.size() == 1 && json.contains("$json") && (json["$json"].is_object() || json["$json"].is_array())) {
        const std::string text = json["$json"].dump();
        return PreferenceValue(prefs::PreferenceData(text.begin(), text.end()));
      }
      if (json.size() == 1 && json.contains("$date") && json["$date"].is_string()) {
        const auto time = base::parse_iso8601(json["$date"].get_ref<const std::string&>());
        if (!time) return std::nullopt;
        return PreferenceValue(prefs::PreferenceDate{base::seconds_since_2001(*time)});
      }
      PreferenceValue::Dictionary dictionary;
      for (const auto& [key, element] : json.items()) {
        auto converted = from_file_json(element);
        if (!converted) return std::nullopt;
        dictionary.emplace(key, std::move(*converted));
      }
      return PreferenceValue(std::move(dictionary));
    }
    default: return std::nullopt;
  }
}

JsonFilePreferenceStore::JsonFilePreferenceStore(fs::path file, Warn warn)
    : file_(std::move(file)), warn_(std::move(warn)) {
  Loaded loaded = load_file();
  if (loaded.state == FileState::valid) document_ = std::move(loaded.document);
  if (loaded.state == FileState::corrupt && warn_) {
    warn_("The preferences file " + file_.string() +
          " could not be read; starting from the defaults. It will be kept aside, not overwritten.");
  }
}

fs::path JsonFilePreferenceStore::default_path() {
  const char* xdg = std::getenv("XDG_CONFIG_HOME");
  fs::path base;
  if (xdg && *xdg && fs::path(xdg).is_absolute()) {
    base = xdg;
  } else {
    const char* home = std::getenv("HOME");
    base = fs::path(home && *home ? home : ".") / ".config";
  }
  return base / "kolvo" / "preferences.json";
}

JsonFilePreferenceStore::Warn JsonFilePreferenceStore::stderr_warning() {
  return [](std::string_view message) {
    std::fprintf(stderr, "[Preferences] %.*s\n", static_cast<int>(message.size()), message.data());
  };
}

JsonFilePreferenceStore::Loaded JsonFilePreferenceStore::load_file() const {
  std::ifstream in(file_, std::ios::binary);
  if (!in) return {FileState::missing, ordered_json::object()};
  std::stringstream buffer;
  buffer << in.rdbuf();
  const std::string text = buffer.str();
  // An empty file is what a crash before the first write leaves; nothing is lost by it.
  if (text.find_first_not_of(" \t\r\n") == std::string::npos) return {FileState::missing, ordered_json::object()};
  ordered_json document = ordered_json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (document.is_discarded() || !document.is_object()) return {FileState::corrupt, ordered_json::object()};
  return {FileState::valid, std::move(document)};
}

std::optional<PreferenceValue> JsonFilePreferenceStore::value(std::string_view key) const {
  const auto found = document_.find(std::string(key));
  if (found == document_.end()) return std::nullopt;
  return from_file_json(*found);
}

std::map<std::string, PreferenceValue> JsonFilePreferenceStore::all() const {
  std::map<std::string, PreferenceValue> values;
  for (const auto& [key, json] : document_.items()) {
    if (auto converted = from_file_json(json)) values.emplace(key, std::move(*converted));
  }
  return values;
}

void JsonFilePreferenceStore::set(std::string_view key, PreferenceValue value) { update(key, value); }

void JsonFilePreferenceStore::remove(std::string_view key) { update(key, std::nullopt); }

void JsonFilePreferenceStore::set_aside_corrupt_file() {
  fs::path aside = file_;
  aside += ".corrupt-" + timestamp_for_file_name();
  for (int n = 1; fs::exists(aside); ++n) {
    aside = file_;
    aside += ".corrupt-" + timestamp_for_file_name() + "-" + std::to_string(n);
  }
  std::error_code error;
  fs::rename(file_, aside, error);
  if (!error) {
    set_aside_ = aside;
    if (warn_) warn_("The unreadable preferences file was kept as " + aside.string() + ".");
  }
}

void JsonFilePreferenceStore::update(std::string_view key, const std::optional<PreferenceValue>& value) {
  const std::string name(key);
  std::error_code error;
  fs::create_directories(file_.parent_path(), error);

  FileLock lock(file_);
  Loaded on_disk = load_file();
  if (on_disk.state == FileState::corrupt) {
    set_aside_corrupt_file();
    if (!set_aside_) {
      last_write_ok_ = false;  // could not keep it safe, so do not write over it
      return;
    }
  }
  ordered_json document = on_disk.state == FileState::valid ? std::move(on_disk.document) : document_;
  if (value) {
    document[name] = to_file_json(*value);
  } else {
    document.erase(name);
  }
  last_write_ok_ = write_file(document);
  document_ = std::move(document);
}

bool JsonFilePreferenceStore::write_file(const ordered_json& document) {
  const fs::path temporary = file_.string() + ".tmp-" + std::to_string(::getpid());
  const std::string text = document.dump(2) + "\n";
  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  const bool written = write_all(fd, text) && ::fsync(fd) == 0;
  ::close(fd);
  if (!written || ::rename(temporary.c_str(), file_.c_str()) != 0) {
    ::unlink(temporary.c_str());
    return false;
  }
  // The rename itself must survive a power cut.
  const int dir = ::open(file_.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir >= 0) {
    ::fsync(dir);
    ::close(dir);
  }
  return true;
}

}  // namespace kolvo::platform
