#include "base/json_tree.hpp"

#include <cstdint>
#include <utility>

#include "base/utf8.hpp"

namespace kolvo::base {

namespace {

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The four hex digits at `at` (already checked by the parser).
std::uint32_t hex4(std::string_view text, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) value = value * 16 + static_cast<std::uint32_t>(hex_value(text[at + i]));
  return value;
}

// The value of a string lexeme whose escapes the parser has checked. A surrogate escape without
// its partner stands for no character, so it reads as U+FFFD.
std::string unescape(std::string_view lexeme) {
  std::string out;
  const std::string_view body = lexeme.substr(1, lexeme.size() - 2);
  out.reserve(body.size());
  for (std::size_t i = 0; i < body.size(); ++i) {
    const char c = body[i];
    if (c != '\\') {
      out += c;
      continue;
    }
    const char e = body[++i];
    switch (e) {
      case 'b': out += '\b'; break;
      case 'f': out += '\f'; break;
      case 'n': out += '\n'; break;
      case 'r': out += '\r'; break;
      case 't': out += '\t'; break;
      case 'u': {
        std::uint32_t unit = hex4(body, i + 1);
        i += 4;
        if (unit >= 0xD800 && unit <= 0xDBFF && i + 6 < body.size() && body[i + 1] == '\\' && body[i + 2] == 'u') {
          const std::uint32_t low = hex4(body, i + 3);
          if (low >= 0xDC00 && low <= 0xDFFF) {
            append_utf8(out, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
            i += 6;
            break;
          }
        }
        if (unit >= 0xD800 && unit <= 0xDFFF) {
          out += kReplacementCharacter;
        } else {
          append_utf8(out, unit);
        }
        break;
      }
      default: out += e; break;  // '"', '\\' and '/'
    }
  }
  return out;
}

// "line 3, column 7" for a byte offset, counting from 1; a column counts bytes.
std::string position(std::string_view text, std::size_t offset) {
  std::size_t line = 1;
  std::size_t column = 1;
  for (std::size_t i = 0; i < offset && i < text.size(); ++i) {
    if (text[i] == '\n') {
      ++line;
      column = 1;
    } else {
      ++column;
    }
  }
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

void indent(std::string& out, std::size_t level) { out.append(level * 2, ' '); }

// Writes until `out` passes `limit`, then gives up; false when it did.
bool write_node(const JsonNode& node, std::size_t level, std::string& out, std::size_t limit) {
  if (out.size() > limit) return false;
  switch (node.kind()) {
    case JsonNode::Kind::object: {
      if (node.members().empty()) {
        out += "{}";
        return true;
      }
      out += "{\n";
      bool first = true;
      for (const JsonMember& member : node.members()) {
        if (!first) out += ",\n";
        first = false;
        indent(out, level + 1);
        out += member.key;
        out += ": ";
        if (!write_node(member.value, level + 1, out, limit)) return false;
      }
      out += '\n';
      indent(out, level);
      out += '}';
      return true;
    }
    case JsonNode::Kind::array: {
      if (node.elements().empty()) {
        out += "[]";
        return true;
      }
      out += "[\n";
      bool first = true;
      for (const JsonNode& element : node.elements()) {
        if (!first) out += ",\n";
        first = false;
        indent(out, level + 1);
        if (!write_node(element, level + 1, out, limit)) return false;
      }
      out += '\n';
      indent(out, level);
      out += ']';
      return true;
    }
    default: out += node.lexeme(); return true;
  }
}

}  // namespace

class JsonTreeParser {
 public:
  JsonTreeParser(std::string_view text, std::size_t max_depth) : text_(text), max_depth_(max_depth) {}

  JsonTreeParse parse() {
    JsonTreeParse result;
    skip_space();
    std::string leading(text_.substr(0, at_));
    std::optional<JsonNode> root = value(0);
    if (root) {
      const std::size_t value_end = at_;
      skip_space();
      if (at_ != text_.size()) {
        fail("there is more text after the value");
      } else {
        result.document = JsonDocument{std::move(leading), std::move(*root), std::string(text_.substr(value_end))};
        return result;
      }
    }
    result.error = error_;
    return result;
  }

 private:
  void fail(std::string_view what) {
    if (!error_.empty()) return;
    error_ = "it is not valid JSON (" + std::string(what) + " at " + position(text_, at_) + ")";
  }

  bool at_end() const { return at_ >= text_.size(); }
  char peek() const { return at_end() ? '\0' : text_[at_]; }
  void skip_space() {
    while (!at_end() && is_space(text_[at_])) ++at_;
  }

  std::optional<JsonNode> value(std::size_t depth) {
    skip_space();
    if (at_end()) {
      fail("the text ends where a value should be");
      return std::nullopt;
    }
    const char c = text_[at_];
    if (c == '{' || c == '[') {
      if (depth + 1 > max_depth_) {
        error_ = "it nests deeper than " + std::to_string(max_depth_) + " levels";
        return std::nullopt;
      }
      return c == '{' ? object(depth + 1) : array(depth + 1);
    }
    if (c == '"') {
      auto lexeme = string_lexeme();
      if (!lexeme) return std::nullopt;
      return JsonNode(JsonNode::Kind::string, std::move(*lexeme));
    }
    if (c == '-' || is_digit(c)) return number();
    for (const std::string_view word : {std::string_view("true"), std::string_view("false"), std::string_view("null")}) {
      if (text_.substr(at_).starts_with(word)) {
        at_ += word.size();
        return JsonNode(JsonNode::Kind::literal, std::string(word));
      }
    }
    fail("unexpected character");
    return std::nullopt;
  }

  std::optional<JsonNode> object(std::size_t depth) {
    JsonNode node(JsonNode::Kind::object);
    ++at_;  // '{'
    skip_space();
    if (peek() == '}') {
      ++at_;
      return node;
    }
    while (true) {
      skip_space();
      if (peek() != '"') {
        fail("expected a key in quotes");
        return std::nullopt;
      }
      auto key = string_lexeme();
      if (!key) return std::nullopt;
      skip_space();
      if (peek() != ':') {
        fail("expected ':' after a key");
        return std::nullopt;
      }
      ++at_;
      auto member = value(depth);
      if (!member) return std::nullopt;
      node.members_.push_back(JsonMember{std::move(*key), std::move(*member)});
      skip_space();
      if (peek() == ',') {
        ++at_;
        continue;
      }
      if (peek() == '}') {
        ++at_;
        return node;
      }
      fail("expected ',' or '}'");
      return std::nullopt;
    }
  }

  std::optional<JsonNode> array(std::size_t depth) {
    JsonNode node(JsonNode::Kind::array);
    ++at_;  // '['
    skip_space();
    if (peek() == ']') {
      ++at_;
      return node;
    }
    while (true) {
      auto element = value(depth);
      if (!element) return std::nullopt;
      node.elements_.push_back(std::move(*element));
      skip_space();
      if (peek() == ',') {
        ++at_;
        continue;
      }
      if (peek() == ']') {
        ++at_;
        return node;
      }
      fail("expected ',' or ']'");
      return std::nullopt;
    }
  }

  // The string starting at the quote under the cursor, quotes included. Raw control characters
  // and unknown escapes are refused, as JSON.parse refuses them; other bytes pass as written.
  std::optional<std::string> string_lexeme() {
    const std::size_t start = at_++;
    while (!at_end()) {
      const char c = text_[at_];
      if (c == '"') {
        ++at_;
        return std::string(text_.substr(start, at_ - start));
      }
      if (static_cast<unsigned char>(c) < 0x20) {
        fail("a control character inside a string");
        return std::nullopt;
      }
      if (c != '\\') {
        ++at_;
        continue;
      }
      ++at_;
      const char e = peek();
      if (e == 'u') {
        for (std::size_t i = 1; i <= 4; ++i) {
          if (at_ + i >= text_.size() || hex_value(text_[at_ + i]) < 0) {
            fail("a \\u escape without four hex digits");
            return std::nullopt;
          }
        }
        at_ += 5;
        continue;
      }
      if (std::string_view("\"\\/bfnrt").find(e) == std::string_view::npos || at_end()) {
        fail("an unknown escape in a string");
        return std::nullopt;
      }
      ++at_;
    }
    at_ = start;
    fail("a string that never ends");
    return std::nullopt;
  }

  std::optional<JsonNode> number() {
    const std::size_t start = at_;
    const auto digits = [this] {
      const std::size_t from = at_;
      while (!at_end() && is_digit(text_[at_])) ++at_;
      return at_ > from;
    };
    if (peek() == '-') ++at_;
    if (peek() == '0') {
      ++at_;
    } else if (!digits()) {
      fail("a number without digits");
      return std::nullopt;
    }
    if (peek() == '.') {
      ++at_;
      if (!digits()) {
        fail("a number without digits after its point");
        return std::nullopt;
      }
    }
    if (peek() == 'e' || peek() == 'E') {
      ++at_;
      if (peek() == '+' || peek() == '-') ++at_;
      if (!digits()) {
        fail("a number without digits in its exponent");
        return std::nullopt;
      }
    }
    return JsonNode(JsonNode::Kind::number, std::string(text_.substr(start, at_ - start)));
  }

  std::string_view text_;
  std::size_t max_depth_;
  std::size_t at_ = 0;
  std::string error_;
};

JsonNode::JsonNode(Kind kind, std::string lexeme) : kind_(kind), lexeme_(std::move(lexeme)) {}

JsonNode JsonNode::string(std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::string lexeme = "\"";
  lexeme.reserve(text.size() + 2);
  for (const char c : text) {
    switch (c) {
      case '"': lexeme += "\\\""; break;
      case '\\': lexeme += "\\\\"; break;
      case '\b': lexeme += "\\b"; break;
      case '\f': lexeme += "\\f"; break;
      case '\n': lexeme += "\\n"; break;
      case '\r': lexeme += "\\r"; break;
      case '\t': lexeme += "\\t"; break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          lexeme += "\\u00";
          lexeme += kHex[(c >> 4) & 0xF];
          lexeme += kHex[c & 0xF];
        } else {
          lexeme += c;
        }
    }
  }
  lexeme += '"';
  return JsonNode(Kind::string, std::move(lexeme));
}

JsonNode JsonNode::object() { return JsonNode(Kind::object); }
JsonNode JsonNode::array() { return JsonNode(Kind::array); }

std::optional<std::string> JsonNode::string_value() const {
  if (kind_ != Kind::string) return std::nullopt;
  return unescape(lexeme_);
}

JsonNode* JsonNode::find(std::string_view key) {
  return const_cast<JsonNode*>(std::as_const(*this).find(key));
}

const JsonNode* JsonNode::find(std::string_view key) const {
  if (kind_ != Kind::object) return nullptr;
  for (auto member = members_.rbegin(); member != members_.rend(); ++member) {
    // Most keys carry no escape, and then the source text is the key.
    const bool plain = member->key.find('\\') == std::string::npos;
    const bool same = plain ? std::string_view(member->key).substr(1, member->key.size() - 2) == key
                            : unescape(member->key) == key;
    if (same) return &member->value;
  }
  return nullptr;
}

JsonNode& JsonNode::append(std::string_view key, JsonNode value) {
  members_.push_back(JsonMember{string(key).lexeme_, std::move(value)});
  return members_.back().value;
}

JsonTreeParse parse_json_tree(std::string_view text, const JsonTreeLimits& limits) {
  if (text.size() > limits.max_bytes) {
    return {std::nullopt, "it is larger than " + std::to_string(limits.max_bytes) + " bytes"};
  }
  return JsonTreeParser(text, limits.max_depth).parse();
}

std::optional<std::string> write_json_tree(const JsonNode& node, std::size_t max_bytes) {
  std::string out;
  if (!write_node(node, 0, out, max_bytes) || out.size() > max_bytes) return std::nullopt;
  return out;
}

std::optional<std::string> write_json_tree(const JsonDocument& document, std::size_t max_bytes) {
  std::string out = document.leading;
  if (!write_node(document.root, 0, out, max_bytes)) return std::nullopt;
  out += document.trailing;
  if (out.size() > max_bytes) return std::nullopt;
  return out;
}

}  // namespace kolvo::base
