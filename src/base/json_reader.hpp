#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/enum_table.hpp"

namespace kolvo::base {

// Reads the fields of one JSON object with the rules of Swift's standard decoding, which the
// records the program shares with its earlier versions and with the phone were written with:
// unknown keys are ignored; a required key that is missing or null fails; an optional key
// that is missing or null is absent; a present field of the wrong type fails; any number
// reads as a real; an integer field takes only a whole number in range. Reading goes on after
// a failure (returning zero values) so a record can be built in one expression; check ok().
class JsonReader {
 public:
  explicit JsonReader(const nlohmann::json& object, std::string context = {});

  bool ok() const { return error_.empty(); }
  // The first failure, as "<context>.<key>: <what>".
  const std::string& error() const { return error_; }
  void fail(const std::string& key, const std::string& what);

  bool has(const char* key) const;

  double real(const char* key);
  std::optional<double> optional_real(const char* key);
  std::int64_t integer(const char* key, std::int64_t min = INT64_MIN, std::int64_t max = INT64_MAX);
  std::optional<std::int64_t> optional_integer(const char* key, std::int64_t min = INT64_MIN,
                                               std::int64_t max = INT64_MAX);
  bool boolean(const char* key);
  std::optional<bool> optional_boolean(const char* key);
  std::string string(const char* key);
  std::optional<std::string> optional_string(const char* key);
  // An enumeration by its wire string; an unknown string fails the record.
  template <typename Enum, std::size_t N>
  std::optional<Enum> optional_enumeration(const char* key, const EnumTable<Enum, N>& table) {
    const auto text = optional_string(key);
    if (!text) return std::nullopt;
    const auto parsed = table.parse(*text);
    if (!parsed) fail(key, "unknown case '" + *text + "'");
    return parsed;
  }
  template <typename Enum, std::size_t N>
  Enum enumeration(const char* key, const EnumTable<Enum, N>& table) {
    if (!has(key)) {
      value(key, true);
      return Enum{};
    }
    return optional_enumeration(key, table).value_or(Enum{});
  }

  // An array whose elements each read through `element` (a JSON value to an optional T); an
  // element that does not read fails the record.
  template <typename T, typename Element>
  std::optional<std::vector<T>> array(const char* key, Element element, bool required = false) {
    const nlohmann::json* list = value(key, required);
    if (!list) return std::nullopt;
    if (!list->is_array()) {
      fail(key, "expected an array");
      return std::nullopt;
    }
    std::vector<T> out;
    out.reserve(list->size());
    for (const nlohmann::json& item : *list) {
      std::optional<T> read = element(item);
      if (!read) {
        fail(key, "an element is not valid");
        return std::nullopt;
      }
      out.push_back(std::move(*read));
    }
    return out;
  }

  // The member itself when it is present and not null; fails if required and missing.
  const nlohmann::json* value(const char* key, bool required = true);

 private:
  const nlohmann::json* present(const char* key, bool required);

  const nlohmann::json& object_;
  std::string context_;
  std::string error_;
};

// Whether a JSON number is a whole number within the range, as Swift's Int(exactly:) allows.
std::optional<std::int64_t> whole_number(const nlohmann::json& number, std::int64_t min, std::int64_t max);

}  // namespace kolvo::base
