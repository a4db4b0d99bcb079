#include "prefs_command.hpp"

#include <iostream>

#include "base/base64.hpp"
#include "base/number_text.hpp"
#include "cli.hpp"
#include "host_runtime.hpp"

namespace kolvo::host {
namespace {

constexpr std::string_view kTypeFlags = "-string, -int, -float, -bool, -array, -array-float, -data or -date";

ParsedPreferenceValue error(std::string sentence) { return {std::nullopt, std::move(sentence)}; }
ParsedPreferenceValue ok(prefs::PreferenceValue value) { return {std::move(value), {}}; }

std::optional<bool> parse_bool(const std::string& word) {
  if (word == "true" || word == "yes" || word == "YES" || word == "1") return true;
  if (word == "false" || word == "no" || word == "NO" || word == "0") return false;
  return std::nullopt;
}
}  // namespace

ParsedPreferenceValue parse_preference_value(const std::vector<std::string>& words) {
  if (words.empty()) return error("a value is missing; give a type flag (" + std::string(kTypeFlags) + ") and a value.");
  const std::string& flag = words.front();
  const std::vector<std::string> rest(words.begin() + 1, words.end());
  auto single = [&]() -> std::optional<std::string> {
    if (rest.size() == 1) return rest.front();
    return std::nullopt;
  };

  if (flag.empty() || flag.front() != '-') {
    // As `defaults` does, a bare word is a string.
    if (words.size() != 1) return error("a value of several words needs a type flag, such as -array.");
    return ok(prefs::PreferenceValue(flag));
  }
  if (flag == "-string") {
    const auto word = single();
    if (!word) return error("-string takes exactly one value.");
    return ok(prefs::PreferenceValue(*word));
  }
  if (flag == "-int" || flag == "-integer") {
    const auto word = single();
    if (!word) return error(flag + " takes exactly one value.");
    const auto number = base::parse_integer(*word);
    if (!number) return error("'" + *word + "' is not a whole number.");
    return ok(prefs::PreferenceValue(static_cast<std::int64_t>(*number)));
  }
  if (flag == "-float") {
    const auto word = single();
    if (!word) return error("-float takes exactly one value.");
    const auto number = base::parse_real(*word);
    if (!number) return error("'" + *word + "' is not a number.");
    return ok(prefs::PreferenceValue(*number));
  }
  if (flag == "-bool" || flag == "-boolean") {
    const auto word = single();
    if (!word) return error(flag + " takes exactly one value.");
    const auto value = parse_bool(*word);
    if (!value) return error("'" + *word + "' is not a boolean; use true or false.");
    return ok(prefs::PreferenceValue(*value));
  }
  if (flag == "-array") {
    prefs::PreferenceValue::Array array;
    for (const auto& word : rest) array.emplace_back(word);
    return ok(prefs::PreferenceValue(std::move(array)));
  }
  if (flag == "-array-float") {
    prefs::PreferenceValue::Array array;
    for (const auto& word : rest) {
      const auto number = base::parse_real(word);
      if (!number) return error("'" + word + "' in the array is not a number.");
      array.emplace_back(*number);
    }
    return ok(prefs::PreferenceValue(std::move(array)));
  }
  if (flag == "-data") {
    const auto word = single();
    if (!word) return error("-data takes exactly one value, in hexadecimal.");
    auto bytes = base::hex_decode(*word);
    if (!bytes) return error("'" + *word + "' is not hexadecimal data (two digits per byte).");
    return ok(prefs::PreferenceValue(std::move(*bytes)));
  }
  if (flag == "-date") {
    const auto word = single();
    if (!word) return error("-date takes exactly one value.");
    const auto time = base::parse_iso8601(*word);
    if (!time) return error("'" + *word + "' is not an ISO 8601 date, such as 2026-11-22T10:00:00Z.");
    return ok(prefs::PreferenceValue(prefs::PreferenceDate{base::seconds_since_2001(*time)}));
  }
  return error("'" + flag + "' is not a type flag; use " + std::string(kTypeFlags) + ".");
}

namespace {

nlohmann::ordered_json preference_json(const prefs::PreferenceValue& value) {
  struct Visitor {
    nlohmann::ordered_json operator()(bool b) const { return b; }
    nlohmann::ordered_json operator()(std::int64_t i) const { return i; }
    nlohmann::ordered_json operator()(double d) const { return d; }
    nlohmann::ordered_json operator()(const std::string& s) const { return s; }
    nlohmann::ordered_json operator()(const prefs::PreferenceData& data) const { return base::base64_encode(data); }
    nlohmann::ordered_json operator()(const prefs::PreferenceDate& date) const {
      return base::format_iso8601(base::from_seconds_since_2001(date.seconds_since_2001));
    }
    nlohmann::ordered_json operator()(const prefs::PreferenceValue::Array& array) const {
      auto out = nlohmann::ordered_json::array();
      for (const auto& element : array) out.push_back(preference_json(element));
      return out;
    }
    nlohmann::ordered_json operator()(const prefs::PreferenceValue::Dictionary& dictionary) const {
      auto out = nlohmann::ordered_json::object();
      for (const auto& [key, element] : dictionary) out[key] = preference_json(element);
      return out;
    }
  };
  return std::visit(Visitor{}, value.storage());
}

int prefs_read(Arguments arguments, const app::PlatformPorts& ports) {
  const bool json = take_flag(arguments, "--json");
  if (arguments.size() > 1) return fail(kExitUsage, "'kolvo prefs read' takes at most one key.");
  auto& prefs = *ports.prefs;
  if (arguments.empty()) {
    const auto all = prefs.all();
    if (json) {
      auto out = nlohmann::ordered_json::object();
      for (const auto& [key, value] : all) out[key] = preference_json(value);
      std::cout << out.dump(2) << '\n';
    } else {
      std::cout << prefs::describe(prefs::PreferenceValue(prefs::PreferenceValue::Dictionary(all.begin(), all.end())))
                << '\n';
    }
    return 0;
  }
  const std::string& key = arguments.front();
  const auto value = prefs.value(key);
  if (!value) return fail(kExitFailure, "The key " + key + " is not set in " + ports.preferences_location + ".");
  std::cout << (json ? preference_json(*value).dump(2) : prefs::describe(*value)) << '\n';
  return 0;
}

int prefs_write(Arguments arguments, const app::PlatformPorts& ports) {
  if (arguments.empty()) return fail(kExitUsage, "'kolvo prefs write' needs a key and a value.");
  const std::string key = arguments.front();
  if (key.empty() || key.front() == '-') return fail(kExitUsage, "'" + key + "' is not a key; the key comes first.");
  const auto parsed = parse_preference_value({arguments.begin() + 1, arguments.end()});
  if (!parsed.value) return fail(kExitUsage, "Not written: " + parsed.error);
  (*ports.prefs).set(key, *parsed.value);
  if ((*ports.prefs).value(key) != parsed.value) {
    return fail(kExitFailure, "Could not write " + key + " to " + ports.preferences_location + ".");
  }
  return 0;
}

int prefs_delete(Arguments arguments, const app::PlatformPorts& ports) {
  if (arguments.size() != 1) return fail(kExitUsage, "'kolvo prefs delete' takes exactly one key.");
  const std::string& key = arguments.front();
  if (!(*ports.prefs).value(key)) {
    return fail(kExitFailure, "The key " + key + " is not set in " + ports.preferences_location + ".");
  }
  (*ports.prefs).remove(key);
  return 0;
}

}  // namespace

int run_prefs(Arguments arguments) {
  if (arguments.empty()) return fail(kExitUsage, "'kolvo prefs' needs read, write or delete.");
  const std::string verb = arguments.front();
  arguments.erase(arguments.begin());
  if (verb != "read" && verb != "write" && verb != "delete") {
    return fail(kExitUsage, "'" + verb + "' is not a prefs verb; use read, write or delete.");
  }
  // The domain alone: nothing loads, so nothing migrates, and a read never writes.
  auto made = platform::make_host_ports(host_identity(), {});
  if (!made.ports) return fail(kExitFailure, made.error);
  if (verb == "read") return prefs_read(std::move(arguments), *made.ports);
  if (verb == "write") return prefs_write(std::move(arguments), *made.ports);
  return prefs_delete(std::move(arguments), *made.ports);
}

}  // namespace kolvo::host
