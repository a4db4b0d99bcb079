#include "base/json_reader.hpp"

#include <cmath>

namespace kolvo::base {

JsonReader::JsonReader(const nlohmann::json& object, std::string context)
    : object_(object), context_(std::move(context)) {
  if (!object_.is_object()) fail("", "expected an object");
}

void JsonReader::fail(const std::string& key, const std::string& what) {
  if (!error_.empty()) return;
  error_ = context_;
  if (!key.empty()) error_ += (error_.empty() ? "" : ".") + key;
  error_ += (error_.empty() ? "" : ": ") + what;
}

bool JsonReader::has(const char* key) const {
  if (!object_.is_object()) return false;
  const auto found = object_.find(key);
  return found != object_.end() && !found->is_null();
}

const nlohmann::json* JsonReader::present(const char* key, bool required) {
  if (!object_.is_object()) return nullptr;
  const auto found = object_.find(key);
  if (found == object_.end() || found->is_null()) {
    if (required) fail(key, "missing");
    return nullptr;
  }
  return &*found;
}

const nlohmann::json* JsonReader::value(const char* key, bool required) { return present(key, required); }

std::optional<double> JsonReader::optional_real(const char* key) {
  const auto* field = present(key, false);
  if (!field) return std::nullopt;
  if (!field->is_number()) {
    fail(key, "expected a number");
    return std::nullopt;
  }
  return field->get<double>();
}

double JsonReader::real(const char* key) {
  if (!has(key)) {
    present(key, true);
    return 0;
  }
  return optional_real(key).value_or(0);
}

std::optional<std::int64_t> whole_number(const nlohmann::json& number, std::int64_t min, std::int64_t max) {
  if (number.is_number_integer()) {
    if (number.is_number_unsigned()) {
      const auto value = number.get<std::uint64_t>();
      if (value > static_cast<std::uint64_t>(INT64_MAX) || static_cast<std::int64_t>(value) > max) return std::nullopt;
      return static_cast<std::int64_t>(value) < min ? std::nullopt : std::optional<std::int64_t>(static_cast<std::int64_t>(value));
    }
    const auto value = number.get<std::int64_t>();
    if (value < min || value > max) return std::nullopt;
    return value;
  }
  if (number.is_number_float()) {
    const double value = number.get<double>();
    if (!std::isfinite(value) || std::trunc(value) != value) return std::nullopt;
    if (value < static_cast<double>(min) || value > static_cast<double>(max)) return std::nullopt;
    if (std::fabs(value) >= 9.2e18) return std::nullopt;
    return static_cast<std::int64_t>(value);
  }
  return std::nullopt;
}

std::optional<std::int64_t> JsonReader::optional_integer(const char* key, std::int64_t min, std::int64_t max) {
  const auto* field = present(key, false);
  if (!field) return std::nullopt;
  const auto value = whole_number(*field, min, max);
  if (!value) fail(key, "expected a whole number in range");
  return value;
}

std::int64_t JsonReader::integer(const char* key, std::int64_t min, std::int64_t max) {
  if (!has(key)) {
    present(key, true);
    return 0;
  }
  return optional_integer(key, min, max).value_or(0);
}

std::optional<bool> JsonReader::optional_boolean(const char* key) {
  const auto* field = present(key, false);
  if (!field) return std::nullopt;
  if (!field->is_boolean()) {
    fail(key, "expected a boolean");
    return std::nullopt;
  }
  return field->get<bool>();
}

bool JsonReader::boolean(const char* key) {
  if (!has(key)) {
    present(key, true);
    return false;
  }
  return optional_boolean(key).value_or(false);
}

std::optional<std::string> JsonReader::optional_string(const char* key) {
  const auto* field = present(key, false);
  if (!field) return std::nullopt;
  if (!field->is_string()) {
    fail(key, "expected a string");
    return std::nullopt;
  }
  return field->get<std::string>();
}

std::string JsonReader::string(const char* key) {
  if (!has(key)) {
    present(key, true);
    return {};
  }
  return optional_string(key).value_or(std::string());
}

}  // namespace kolvo::base
