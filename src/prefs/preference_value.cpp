#include "prefs/preference_value.hpp"

#include <cmath>

#include "base/base64.hpp"
#include "base/number_text.hpp"

namespace kolvo::prefs {
namespace {

template <typename T>
Lookup<T> exactly(const std::optional<PreferenceValue>& value) {
  if (!value) return Lookup<T>::absent();
  if (const T* typed = value->get_if<T>()) return Lookup<T>::present(*typed);
  return Lookup<T>::invalid();
}

std::optional<double> number_of(const PreferenceValue& value) {
  if (const auto* real = value.get_if<double>()) return *real;
  if (const auto* integer = value.get_if<std::int64_t>()) return static_cast<double>(*integer);
  return std::nullopt;
}

bool is_plain_word(const std::string& text) {
  if (text.empty()) return false;
  for (const char c : text) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
                       c == '_' || c == '-' || c == '/';
    if (!plain) return false;
  }
  return true;
}

std::string quoted(const std::string& text) {
  if (is_plain_word(text)) return text;
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    if (c == '\n') {
      out += "\\n";
      continue;
    }
    out += c;
  }
  return out + "\"";
}

}  // namespace

Lookup<bool> as_bool(const std::optional<PreferenceValue>& value) { return exactly<bool>(value); }
Lookup<std::string> as_string(const std::optional<PreferenceValue>& value) { return exactly<std::string>(value); }
Lookup<PreferenceData> as_data(const std::optional<PreferenceValue>& value) { return exactly<PreferenceData>(value); }
Lookup<PreferenceDate> as_date(const std::optional<PreferenceValue>& value) { return exactly<PreferenceDate>(value); }

Lookup<std::int64_t> as_integer(const std::optional<PreferenceValue>& value) {
  if (!value) return Lookup<std::int64_t>::absent();
  if (const auto* integer = value->get_if<std::int64_t>()) return Lookup<std::int64_t>::present(*integer);
  // A whole real (written by a tool that has only one number type) still counts.
  if (const auto* real = value->get_if<double>();
      real && std::isfinite(*real) && std::trunc(*real) == *real && std::fabs(*real) < 9.0e15) {
    return Lookup<std::int64_t>::present(static_cast<std::int64_t>(*real));
  }
  return Lookup<std::int64_t>::invalid();
}

Lookup<double> as_real(const std::optional<PreferenceValue>& value) {
  if (!value) return Lookup<double>::absent();
  if (const auto number = number_of(*value)) return Lookup<double>::present(*number);
  return Lookup<double>::invalid();
}

Lookup<std::vector<std::string>> as_string_array(const std::optional<PreferenceValue>& value) {
  using Result = Lookup<std::vector<std::string>>;
  if (!value) return Result::absent();
  const auto* array = value->get_if<PreferenceValue::Array>();
  if (!array) return Result::invalid();
  std::vector<std::string> strings;
  strings.reserve(array->size());
  for (const auto& element : *array) {
    const auto* text = element.get_if<std::string>();
    if (!text) return Result::invalid();
    strings.push_back(*text);
  }
  return Result::present(std::move(strings));
}

Lookup<std::vector<double>> as_real_array(const std::optional<PreferenceValue>& value) {
  using Result = Lookup<std::vector<double>>;
  if (!value) return Result::absent();
  const auto* array = value->get_if<PreferenceValue::Array>();
  if (!array) return Result::invalid();
  std::vector<double> numbers;
  numbers.reserve(array->size());
  for (const auto& element : *array) {
    const auto number = number_of(element);
    if (!number) return Result::invalid();
    numbers.push_back(*number);
  }
  return Result::present(std::move(numbers));
}

std::string describe(const PreferenceValue& value, int indent) {
  const std::string pad(static_cast<std::size_t>(indent) * 4, ' ');
  const std::string inner(static_cast<std::size_t>(indent + 1) * 4, ' ');
  struct Visitor {
    const std::string& pad;
    const std::string& inner;
    int indent;
    std::string operator()(bool b) const { return b ? "1" : "0"; }
    std::string operator()(std::int64_t i) const { return std::to_string(i); }
    std::string operator()(double d) const { return base::shortest_real_text(d); }
    std::string operator()(const std::string& s) const { return quoted(s); }
    std::string operator()(const PreferenceData& data) const {
      return "{length = " + std::to_string(data.size()) + ", bytes = 0x" + base::hex_encode(data) + "}";
    }
    std::string operator()(const PreferenceDate& date) const {
      return "\"" + base::format_report_date(base::from_seconds_since_2001(date.seconds_since_2001)) + "\"";
    }
    std::string operator()(const PreferenceValue::Array& array) const {
      if (array.empty()) return "(\n" + pad + ")";
      std::string out = "(\n";
      for (std::size_t i = 0; i < array.size(); ++i) {
        out += inner + describe(array[i], indent + 1) + (i + 1 < array.size() ? ",\n" : "\n");
      }
      return out + pad + ")";
    }
    std::string operator()(const PreferenceValue::Dictionary& dictionary) const {
      std::string out = "{\n";
      for (const auto& [key, element] : dictionary) {
        out += inner + quoted(key) + " = " + describe(element, indent + 1) + ";\n";
      }
      return out + pad + "}";
    }
  };
  return std::visit(Visitor{pad, inner, indent}, value.storage());
}

}  // namespace kolvo::prefs
