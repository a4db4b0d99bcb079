#include "platform/linux/json_file_preference_store_linux.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cmath>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>

#include "base/base64.hpp"
#include "base/date_time.hpp"
#include "base/file_io.hpp"
#include "base/json_text.hpp"

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

std::string timestamp_for_file_name() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char buffer[32];
  std::strftime(buffer, sizeof buffer, "%Y%m%d-%H%M%S", &utc);
  return buffer;
}

// A number too large for a double (1e400) makes the whole text unparsable, which would cost
// every other key its value. Each such number is carried through parsing as a string with this
// mark, reads as unset, and is written back as the number it was.
constexpr std::string_view kUnrepresentableNumber = "\x01kolvo-unrepresentable-number:";

// The mark as it stands in JSON text, opening quote included.
std::string quoted_mark() {
  const std::string dumped = ordered_json(std::string(kUnrepresentableNumber)).dump();
  return dumped.substr(0, dumped.size() - 1);
}

bool is_number_char(char c) {
  return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E';
}

std::string mark_unrepresentable_numbers(const std::string& text) {
  std::string out;
  base::JsonStringTracker strings;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (strings.in_string(c) || (c != '-' && (c < '0' || c > '9'))) {
      out += c;
      continue;
    }
    std::size_t end = i;
    while (end < text.size() && is_number_char(text[end])) ++end;
    const std::string token = text.substr(i, end - i);
    if (std::isinf(std::strtod(token.c_str(), nullptr))) {
      out += quoted_mark() + token + '"';
    } else {
      out += token;
    }
    i = end - 1;
  }
  return out;
}

// The file's text with each marked number put back as written.
std::string unmark_unrepresentable_numbers(std::string text) {
  const std::string mark = quoted_mark();
  for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at)) {
    const std::size_t token_start = at + mark.size();
    const std::size_t close = text.find('"', token_start);
    if (close == std::string::npos) break;
    const std::string token = text.substr(token_start, close - token_start);
    text.replace(at, close + 1 - at, token);
    at += token.size();
  }
  return text;
}

bool holds_unrepresentable(const ordered_json& json, std::string& token) {
  if (json.is_string()) {
    const auto& text = json.get_ref<const std::string&>();
    if (!text.starts_with(kUnrepresentableNumber)) return false;
    token = text.substr(kUnrepresentableNumber.size());
    return true;
  }
  if (json.is_structured()) {
    for (const auto& element : json) {
      if (holds_unrepresentable(element, token)) return true;
    }
  }
  return false;
}

// Data holding JSON shallower than this is written as that JSON, readable and editable in
// place; deeper JSON, whose indentation would grow the file far beyond what was written, stays
// base64 like any other data.
constexpr std::size_t kReadableDataDepth = 16;

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
      const std::string_view text = base::text_of(data);
      if (!data.empty() && (data.front() == '{' || data.front() == '[') &&
          base::json_depth_within(text, kReadableDataDepth)) {
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
    case ordered_json::value_t::string: {
      if (json.get_ref<const std::string&>().starts_with(kUnrepresentableNumber)) return std::nullopt;
      return PreferenceValue(json.get<std::string>());
    }
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
    warn_("The preferences file " + file_.string() + " could not be read (" + loaded.problem +
          "); starting from the defaults. It will be kept aside, not overwritten.");
  }
  if (warn_) {
    for (const auto& [key, token] : loaded.unrepresentable) {
      warn_("The preference " + key + " in " + file_.string() + " holds the number " + token +
            ", which is too large to use; its default applies, and the value is kept as written.");
    }
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
  if (!in) return {FileState::missing, ordered_json::object(), {}, {}};
  std::stringstream buffer;
  buffer << in.rdbuf();
  const std::string text = buffer.str();
  // An empty file is what a crash before the first write leaves; nothing is lost by it.
  if (text.find_first_not_of(" \t\r\n") == std::string::npos) return {FileState::missing, ordered_json::object(), {}, {}};
  std::string problem;
  ordered_json document = base::parse_json<ordered_json>(mark_unrepresentable_numbers(text), &problem);
  if (document.is_discarded()) return {FileState::corrupt, ordered_json::object(), problem, {}};
  if (!document.is_object()) return {FileState::corrupt, ordered_json::object(), "it is not a JSON object", {}};
  Loaded loaded{FileState::valid, std::move(document), {}, {}};
  for (const auto& [key, value] : loaded.document.items()) {
    std::string token;
    if (holds_unrepresentable(value, token)) loaded.unrepresentable.emplace_back(key, token);
  }
  return loaded;
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
  const std::string text = unmark_unrepresentable_numbers(document.dump(2)) + "\n";
  return base::write_file_atomically(file_, text, 0600).empty();
}

}  // namespace kolvo::platform
