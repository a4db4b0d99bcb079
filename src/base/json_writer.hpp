#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/enum_table.hpp"

namespace kolvo::base {

// Appends compact JSON to a string, in the order the caller writes it. Reals are written in
// their shortest round-trip form with no fraction when whole ("1", "0.4"), as Swift's encoder
// writes them; a non-finite real is written as 0, since JSON cannot carry it. Strings are
// always written as UTF-8: an ill-formed byte sequence becomes U+FFFD.
class JsonWriter {
 public:
  explicit JsonWriter(std::string& out) : out_(out) {}

  void begin_object() { open('{'); }
  void end_object() { close('}'); }
  void begin_array() { open('['); }
  void end_array() { close(']'); }
  void key(std::string_view name);

  void string(std::string_view text);
  void real(double value);
  void integer(std::int64_t value);
  void boolean(bool value);
  void null();

  // A member that is left out when absent.
  void optional_string(const char* name, const std::optional<std::string>& value) {
    if (value) key(name), string(*value);
  }
  void optional_real(const char* name, const std::optional<double>& value) {
    if (value) key(name), real(*value);
  }
  void optional_integer(const char* name, const std::optional<std::int64_t>& value) {
    if (value) key(name), integer(*value);
  }
  void optional_boolean(const char* name, const std::optional<bool>& value) {
    if (value) key(name), boolean(*value);
  }
  template <typename Enum, std::size_t N>
  void optional_enumeration(const char* name, const std::optional<Enum>& value, const EnumTable<Enum, N>& table) {
    if (value) key(name), string(table.to_string(*value));
  }

 private:
  void separate();
  void open(char bracket) {
    separate();
    out_ += bracket;
    first_ = true;
  }
  void close(char bracket) {
    out_ += bracket;
    first_ = false;
  }

  std::string& out_;
  bool first_ = true;
  bool after_key_ = false;
};

}  // namespace kolvo::base
