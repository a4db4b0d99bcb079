#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kolvo::core {

// Appends compact JSON to a string, in the order the caller writes it. Reals are written in
// their shortest round-trip form with no fraction when whole ("1", "0.4"), as Swift's encoder
// writes them; a non-finite real is written as 0, since JSON cannot carry it.
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

}  // namespace kolvo::core
