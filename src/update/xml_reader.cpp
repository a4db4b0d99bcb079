#include "update/xml_reader.hpp"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

#include "base/utf8.hpp"

namespace kolvo::update {
namespace {

constexpr std::string_view kXmlNamespace = "http://www.w3.org/XML/1998/namespace";
constexpr std::string_view kXmlnsNamespace = "http://www.w3.org/2000/xmlns/";

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool is_ascii_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }
// Any byte of a multi-byte sequence may be part of a name: the document is known to be UTF-8,
// and names are only compared, never interpreted.
bool is_name_start(char c) { return is_ascii_letter(c) || c == '_' || c == ':' || static_cast<unsigned char>(c) >= 0x80; }
bool is_name_char(char c) { return is_name_start(c) || is_digit(c) || c == '-' || c == '.'; }

std::string lowercase(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return out;
}

bool is_xml_char(std::uint32_t c) {
  return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) || (c >= 0xE000 && c <= 0xFFFD) ||
         (c >= 0x10000 && c <= 0x10FFFF);
}

std::string quoted_excerpt(std::string_view text) {
  constexpr std::size_t kShown = 24;
  return "'" + std::string(text.substr(0, kShown)) + (text.size() > kShown ? "…'" : "'");
}

class Reader {
 public:
  Reader(std::string_view document, XmlHandler& handler, const XmlLimits& limits)
      : doc_(document), handler_(handler), limits_(limits) {}

  XmlResult run() {
    if (!read_document()) {
      if (stopped_) return {.ok = false, .stopped = true, .error = {}};
      return {.ok = false, .stopped = false, .error = "line " + std::to_string(line_of(error_at_)) + ": " + error_};
    }
    return {.ok = true, .stopped = false, .error = {}};
  }

 private:
  struct Open {
    std::string qname;
    XmlName name;
    std::size_t bindings_mark;
  };

  bool read_document() {
    if (doc_.size() > limits_.max_bytes) {
      return fail("the document is larger than " + std::to_string(limits_.max_bytes) + " bytes");
    }
    if (!check_characters()) return false;
    if (starts("\xEF\xBB\xBF")) pos_ += 3;
    if (starts("<?xml") && pos_ + 5 < doc_.size() && (is_space(doc_[pos_ + 5]) || doc_[pos_ + 5] == '?')) {
      if (!read_declaration()) return false;
    }
    bool seen_doctype = false;
    for (;;) {
      skip_space();
      if (starts("<!--")) {
        if (!read_comment()) return false;
      } else if (starts("<?")) {
        if (!read_processing_instruction()) return false;
      } else if (starts("<!DOCTYPE")) {
        if (seen_doctype) return fail("a second document type declaration");
        seen_doctype = true;
        if (!read_doctype()) return false;
      } else {
        break;
      }
    }
    if (at_end()) return fail("the document has no root element");
    if (doc_[pos_] != '<') return fail("text before the root element");
    if (!read_start_tag()) return false;
    while (!open_.empty()) {
      if (at_end()) return fail("the document ends before <" + open_.back().qname + "> is closed");
      bool read = false;
      if (doc_[pos_] != '<') {
        read = read_text();
      } else if (starts("</")) {
        read = read_end_tag();
      } else if (starts("<!--")) {
        read = read_comment();
      } else if (starts("<![CDATA[")) {
        read = read_cdata();
      } else if (starts("<?")) {
        read = read_processing_instruction();
      } else if (starts("<!")) {
        read = fail("a markup declaration inside an element");
      } else {
        read = read_start_tag();
      }
      if (!read) return false;
    }
    for (;;) {
      skip_space();
      if (at_end()) return true;
      if (starts("<!--")) {
        if (!read_comment()) return false;
      } else if (starts("<?")) {
        if (!read_processing_instruction()) return false;
      } else if (doc_[pos_] == '<') {
        return fail("a second root element");
      } else {
        return fail("text after the root element");
      }
    }
  }

  // UTF-8 throughout, and none of the control characters XML 1.0 excludes.
  bool check_characters() {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(doc_.data());
    if (base::is_valid_utf8(bytes, doc_.size())) {
      for (std::size_t i = 0; i < doc_.size(); ++i) {
        const auto c = bytes[i];
        if (c < 0x20 && c != '\t' && c != '\n' && c != '\r') {
          pos_ = i;
          return fail("the control character U+" + hex4(c) + ", which XML does not allow");
        }
      }
      return true;
    }
    for (std::size_t i = 0; i < doc_.size();) {
      const auto step = base::utf8_step(bytes + i, doc_.size() - i);
      if (!step.valid) {
        pos_ = i;
        return fail("bytes that are not UTF-8 (only UTF-8 is read)");
      }
      i += step.length;
    }
    return true;
  }

  static std::string hex4(unsigned value) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string out = "0000";
    for (int i = 3; i >= 0; --i, value >>= 4) out[static_cast<std::size_t>(i)] = kDigits[value & 15];
    return out;
  }

  bool read_declaration() {
    pos_ += 5;
    for (;;) {
      skip_space();
      if (at_end()) return fail("the XML declaration is not closed");
      if (starts("?>")) {
        pos_ += 2;
        return true;
      }
      std::string name;
      if (!read_name(name, "the XML declaration")) return false;
      skip_space();
      if (!consume('=')) return fail("the XML declaration's " + name + " has no value");
      skip_space();
      std::string value;
      if (at_end() || (doc_[pos_] != '"' && doc_[pos_] != '\'')) {
        return fail("the XML declaration's " + name + " is not quoted");
      }
      const char quote = doc_[pos_++];
      const auto end = doc_.find(quote, pos_);
      if (end == std::string_view::npos) return fail("the XML declaration is not closed");
      value = std::string(doc_.substr(pos_, end - pos_));
      pos_ = end + 1;
      if (name == "version" && !value.starts_with("1.")) return fail("XML version " + value + " is not read");
      const std::string encoding = lowercase(value);
      if (name == "encoding" && encoding != "utf-8" && encoding != "utf8" && encoding != "us-ascii") {
        return fail("the document declares the encoding " + value + "; only UTF-8 is read");
      }
    }
  }

  bool read_comment() {
    const auto dashes = doc_.find("--", pos_ + 4);
    if (dashes == std::string_view::npos) return fail("a comment is not closed");
    if (dashes + 2 >= doc_.size() || doc_[dashes + 2] != '>') {
      pos_ = dashes;
      return fail("'--' inside a comment");
    }
    pos_ = dashes + 3;
    return true;
  }

  bool read_processing_instruction() {
    pos_ += 2;
    std::string target;
    if (!read_name(target, "a processing instruction")) return false;
    if (lowercase(target) == "xml") return fail("an XML declaration that is not at the start of the document");
    const auto end = doc_.find("?>", pos_);
    if (end == std::string_view::npos) return fail("a processing instruction is not closed");
    pos_ = end + 2;
    return true;
  }

  // A document type may name an external definition, which is never fetched. One that
  // declares entities of its own is refused whole, so no entity is ever expanded.
  bool read_doctype() {
    for (std::size_t i = pos_ + 9; i < doc_.size(); ++i) {
      const char c = doc_[i];
      if (c == '"' || c == '\'') {
        const auto close = doc_.find(c, i + 1);
        if (close == std::string_view::npos) break;
        i = close;
      } else if (c == '[') {
        pos_ = i;
        return fail("the document type declares markup of its own, which is never read");
      } else if (c == '>') {
        pos_ = i + 1;
        return true;
      }
    }
    return fail("the document type declaration is not closed");
  }

  bool read_cdata() {
    const std::size_t start = pos_ + 9;
    const auto end = doc_.find("]]>", start);
    if (end == std::string_view::npos) return fail("a CDATA section is not closed");
    pos_ = end + 3;
    if (end > start && !handler_.text(doc_.substr(start, end - start))) return stop();
    return true;
  }

  bool read_text() {
    buffer_.clear();
    while (!at_end() && doc_[pos_] != '<') {
      const auto special = doc_.find_first_of("<&]\r", pos_);
      const std::size_t until = special == std::string_view::npos ? doc_.size() : special;
      buffer_.append(doc_.substr(pos_, until - pos_));
      pos_ = until;
      if (at_end() || doc_[pos_] == '<') break;
      const char c = doc_[pos_];
      if (c == '&') {
        if (!read_reference(buffer_)) return false;
      } else if (c == ']') {
        if (starts("]]>")) return fail("']]>' in text, outside a CDATA section");
        buffer_ += c;
        ++pos_;
      } else {  // a carriage return, alone or before a line feed, ends a line
        buffer_ += '\n';
        ++pos_;
        if (!at_end() && doc_[pos_] == '\n') ++pos_;
      }
    }
    if (!buffer_.empty() && !handler_.text(buffer_)) return stop();
    return true;
  }

  bool read_reference(std::string& out) {
    constexpr std::size_t kLongest = 10;  // "&#x10FFFF;"
    const std::size_t start = pos_;
    const auto semicolon = doc_.find(';', start + 1);
    if (semicolon == std::string_view::npos || semicolon - start > kLongest) {
      return fail("a '&' that starts no reference (an ampersand is written &amp;)");
    }
    const std::string_view body = doc_.substr(start + 1, semicolon - start - 1);
    if (body.starts_with('#')) {
      const bool hex = body.size() > 1 && body[1] == 'x';
      const std::string_view digits = body.substr(hex ? 2 : 1);
      std::uint32_t value = 0;
      bool valid = !digits.empty();
      for (const char c : digits) {
        int digit = -1;
        if (is_digit(c)) digit = c - '0';
        else if (hex && c >= 'a' && c <= 'f') digit = c - 'a' + 10;
        else if (hex && c >= 'A' && c <= 'F') digit = c - 'A' + 10;
        if (digit < 0) {
          valid = false;
          break;
        }
        value = value * (hex ? 16u : 10u) + static_cast<std::uint32_t>(digit);  // at most 8 digits: no overflow
      }
      if (!valid || !is_xml_char(value)) {
        return fail("the character reference &" + std::string(body) + "; names no character XML allows");
      }
      base::append_utf8(out, value);
    } else if (body == "amp") {
      out += '&';
    } else if (body == "lt") {
      out += '<';
    } else if (body == "gt") {
      out += '>';
    } else if (body == "quot") {
      out += '"';
    } else if (body == "apos") {
      out += '\'';
    } else {
      return fail("the entity &" + std::string(body) + "; is not one of XML's five, and no other is expanded");
    }
    pos_ = semicolon + 1;
    return true;
  }

  bool read_start_tag() {
    ++pos_;
    std::string qname;
    if (at_end() || !is_name_start(doc_[pos_])) return fail("a '<' that starts no tag (a less-than sign is written &lt;)");
    if (!read_name(qname, "a tag")) return false;
    if (open_.size() >= limits_.max_depth) {
      return fail("elements nest deeper than " + std::to_string(limits_.max_depth) + " levels");
    }
    std::vector<std::pair<std::string, std::string>> raw;
    bool self_closing = false;
    for (;;) {
      const bool spaced = skip_space();
      if (at_end()) return fail("the document ends inside the tag <" + qname + ">");
      if (starts("/>")) {
        pos_ += 2;
        self_closing = true;
        break;
      }
      if (doc_[pos_] == '>') {
        ++pos_;
        break;
      }
      if (!spaced) {
        return fail("the tag <" + qname + "> runs on without a space before " + quoted_excerpt(doc_.substr(pos_)));
      }
      std::string attribute;
      if (!read_name(attribute, "an attribute of <" + qname + ">")) return false;
      skip_space();
      if (!consume('=')) return fail("the attribute " + attribute + " of <" + qname + "> has no value");
      skip_space();
      if (at_end() || (doc_[pos_] != '"' && doc_[pos_] != '\'')) {
        return fail("the value of the attribute " + attribute + " of <" + qname + "> is not quoted");
      }
      std::string value;
      if (!read_attribute_value(attribute, value)) return false;
      if (raw.size() >= limits_.max_attributes) {
        return fail("the tag <" + qname + "> has more than " + std::to_string(limits_.max_attributes) + " attributes");
      }
      for (const auto& [other, ignored] : raw) {
        if (other == attribute) return fail("the tag <" + qname + "> repeats the attribute " + attribute);
      }
      raw.emplace_back(std::move(attribute), std::move(value));
    }

    const std::size_t mark = bindings_.size();
    for (const auto& [attribute, value] : raw) {
      if (attribute == "xmlns") {
        if (value == kXmlNamespace || value == kXmlnsNamespace) return fail("the default namespace cannot be " + value);
        bindings_.emplace_back("", value);
      } else if (attribute.starts_with("xmlns:")) {
        const std::string prefix = attribute.substr(6);
        if (prefix.empty() || prefix.find(':') != std::string::npos) return fail("'" + attribute + "' declares no prefix");
        if (prefix == "xmlns" || (prefix == "xml") != (value == kXmlNamespace) || value == kXmlnsNamespace) {
          return fail("the prefix " + prefix + " is reserved");
        }
        if (value.empty()) return fail("the prefix " + prefix + " is declared with no namespace");
        bindings_.emplace_back(prefix, value);
      }
    }
    XmlName name;
    if (!resolve(qname, false, name)) return false;
    std::vector<XmlAttribute> attributes;
    for (auto& [attribute, value] : raw) {
      if (attribute == "xmlns" || attribute.starts_with("xmlns:")) continue;
      XmlAttribute resolved;
      if (!resolve(attribute, true, resolved.name)) return false;
      for (const auto& other : attributes) {
        if (other.name.is(resolved.name.namespace_uri, resolved.name.local)) {
          return fail("the tag <" + qname + "> repeats the attribute {" + resolved.name.namespace_uri + "}" +
                      resolved.name.local);
        }
      }
      resolved.value = std::move(value);
      attributes.push_back(std::move(resolved));
    }
    open_.push_back({std::move(qname), name, mark});
    if (!handler_.start_element(name, attributes)) return stop();
    if (self_closing) return close_top();
    return true;
  }

  bool read_attribute_value(const std::string& attribute, std::string& value) {
    const char quote = doc_[pos_++];
    for (;;) {
      if (at_end()) return fail("the document ends inside the value of the attribute " + attribute);
      const char c = doc_[pos_];
      if (c == quote) {
        ++pos_;
        return true;
      }
      if (c == '<') return fail("the value of the attribute " + attribute + " holds '<'");
      if (c == '&') {
        if (!read_reference(value)) return false;
      } else {
        // White space in a value is normalised to blanks; a line end counts once.
        if (c == '\r' && pos_ + 1 < doc_.size() && doc_[pos_ + 1] == '\n') ++pos_;
        value += is_space(c) ? ' ' : c;
        ++pos_;
      }
      if (value.size() > limits_.max_attribute_bytes) {
        return fail("the value of the attribute " + attribute + " is longer than " +
                    std::to_string(limits_.max_attribute_bytes) + " bytes");
      }
    }
  }

  bool read_end_tag() {
    pos_ += 2;
    std::string qname;
    if (!read_name(qname, "an end tag")) return false;
    skip_space();
    if (at_end()) return fail("the document ends inside the end tag </" + qname + ">");
    if (!consume('>')) return fail("the end tag </" + qname + "> is not closed by '>'");
    if (qname != open_.back().qname) {
      return fail("the end tag </" + qname + "> does not match <" + open_.back().qname + ">");
    }
    return close_top();
  }

  bool close_top() {
    Open top = std::move(open_.back());
    open_.pop_back();
    bindings_.resize(top.bindings_mark);
    if (!handler_.end_element(top.name)) return stop();
    return true;
  }

  bool resolve(const std::string& qname, bool attribute, XmlName& out) {
    const auto colon = qname.find(':');
    if (colon == std::string::npos) {
      out.local = qname;
      out.namespace_uri = attribute ? std::string() : lookup("").value_or("");
      return true;
    }
    if (colon == 0 || colon + 1 == qname.size() || qname.find(':', colon + 1) != std::string::npos) {
      return fail("'" + qname + "' is not a valid qualified name");
    }
    const std::string prefix = qname.substr(0, colon);
    if (prefix == "xmlns") return fail("the prefix xmlns is reserved");
    const auto uri = lookup(prefix);
    if (!uri) return fail("the prefix " + prefix + " of " + qname + " is used without being declared");
    out.namespace_uri = *uri;
    out.local = qname.substr(colon + 1);
    return true;
  }

  std::optional<std::string> lookup(const std::string& prefix) const {
    for (auto binding = bindings_.rbegin(); binding != bindings_.rend(); ++binding) {
      if (binding->first == prefix) return binding->second;
    }
    if (prefix == "xml") return std::string(kXmlNamespace);
    return std::nullopt;
  }

  bool read_name(std::string& out, const std::string& what) {
    const std::size_t start = pos_;
    if (at_end() || !is_name_start(doc_[pos_])) return fail(what + " has no name");
    while (!at_end() && is_name_char(doc_[pos_])) ++pos_;
    if (pos_ - start > limits_.max_name_bytes) {
      pos_ = start;
      return fail(what + " has a name longer than " + std::to_string(limits_.max_name_bytes) + " bytes");
    }
    out.assign(doc_.substr(start, pos_ - start));
    return true;
  }

  bool skip_space() {
    const std::size_t start = pos_;
    while (!at_end() && is_space(doc_[pos_])) ++pos_;
    return pos_ > start;
  }

  bool consume(char c) {
    if (at_end() || doc_[pos_] != c) return false;
    ++pos_;
    return true;
  }

  bool starts(std::string_view text) const { return doc_.substr(std::min(pos_, doc_.size())).starts_with(text); }
  bool at_end() const { return pos_ >= doc_.size(); }

  bool fail(std::string message) {
    error_ = std::move(message);
    error_at_ = std::min(pos_, doc_.size());
    return false;
  }
  bool stop() {
    stopped_ = true;
    return false;
  }

  std::size_t line_of(std::size_t offset) const {
    return 1 + static_cast<std::size_t>(std::count(doc_.begin(), doc_.begin() + static_cast<std::ptrdiff_t>(offset), '\n'));
  }

  std::string_view doc_;
  XmlHandler& handler_;
  const XmlLimits& limits_;
  std::size_t pos_ = 0;
  std::vector<Open> open_;
  // Prefix ("" for the default namespace) to namespace, innermost last.
  std::vector<std::pair<std::string, std::string>> bindings_;
  std::string buffer_;
  std::string error_;
  std::size_t error_at_ = 0;
  bool stopped_ = false;
};

}  // namespace

XmlResult read_xml(std::string_view document, XmlHandler& handler, const XmlLimits& limits) {
  return Reader(document, handler, limits).run();
}

}  // namespace kolvo::update
