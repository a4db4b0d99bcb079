#include "base/json_writer.hpp"

#include <charconv>
#include <cmath>

#include "base/utf8.hpp"

namespace kolvo::base {

void JsonWriter::separate() {
  if (after_key_) {
    after_key_ = false;
    return;
  }
  if (!first_) out_ += ',';
  first_ = false;
}

void JsonWriter::key(std::string_view name) {
  string(name);
  out_ += ':';
  after_key_ = true;
}

void JsonWriter::string(std::string_view text) {
  separate();
  static constexpr char kHex[] = "0123456789abcdef";
  out_ += '"';
  std::size_t run = 0;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::uint8_t c = bytes[i];
    if (c >= 0x80) {
      // Names come from other programs (apps, audio devices, phones) and may not be UTF-8. The
      // phone rejects a whole frame over one bad byte, so each ill-formed subpart becomes U+FFFD
      // and well-formed text passes through untouched.
      const Utf8Step step = utf8_step(bytes + i, text.size() - i);
      if (step.valid) {
        i += step.length - 1;
        continue;
      }
      out_.append(text.data() + run, i - run);
      out_ += kReplacementCharacter;
      i += step.length - 1;
      run = i + 1;
      continue;
    }
    if (c >= 0x20 && c != '"' && c != '\\') continue;
    out_.append(text.data() + run, i - run);
    run = i + 1;
    switch (c) {
      case '"': out_ += "\\\""; break;
      case '\\': out_ += "\\\\"; break;
      case '\n': out_ += "\\n"; break;
      case '\r': out_ += "\\r"; break;
      case '\t': out_ += "\\t"; break;
      case '\b': out_ += "\\b"; break;
      case '\f': out_ += "\\f"; break;
      default:
        out_ += "\\u00";
        out_ += kHex[c >> 4];
        out_ += kHex[c & 15];
    }
  }
  out_.append(text.data() + run, text.size() - run);
  out_ += '"';
}

void JsonWriter::real(double value) {
  separate();
  if (!std::isfinite(value)) value = 0;
  if (value == 0) value = 0;  // no "-0"
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out_.append(buffer, result.ptr);
}

void JsonWriter::integer(std::int64_t value) {
  separate();
  char buffer[24];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out_.append(buffer, result.ptr);
}

void JsonWriter::boolean(bool value) {
  separate();
  out_ += value ? "true" : "false";
}

void JsonWriter::null() {
  separate();
  out_ += "null";
}

}  // namespace kolvo::base
