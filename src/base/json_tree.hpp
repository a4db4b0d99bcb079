#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/json_text.hpp"

// A JSON value kept exactly as it was written, for editing a file another program owns: every
// string and number keeps its source text ("1.50", "1e3", "\u00e9", "\/"), objects keep their
// key order and any repeated key, so a rewrite changes nothing but what the editor touched.
// nlohmann's values cannot do this: they re-spell numbers and strings and fold repeated keys.
namespace kolvo::base {

struct JsonMember;

class JsonNode {
 public:
  enum class Kind { object, array, string, number, literal };

  // A string holding `text` (UTF-8), escaped as JavaScript's JSON.stringify escapes it.
  static JsonNode string(std::string_view text);
  static JsonNode object();
  static JsonNode array();

  Kind kind() const { return kind_; }
  bool is_object() const { return kind_ == Kind::object; }
  bool is_array() const { return kind_ == Kind::array; }
  bool is_string() const { return kind_ == Kind::string; }

  // A scalar's source text: a string with its quotes and escapes, a number, true, false, null.
  const std::string& lexeme() const { return lexeme_; }
  // A string's value with its escapes undone; null for any other kind.
  std::optional<std::string> string_value() const;

  std::vector<JsonMember>& members() { return members_; }
  const std::vector<JsonMember>& members() const { return members_; }
  std::vector<JsonNode>& elements() { return elements_; }
  const std::vector<JsonNode>& elements() const { return elements_; }

  // The member named `key` (compared after unescaping); the last one when the key repeats, as
  // JSON.parse keeps the last. Null when absent or when this is not an object.
  JsonNode* find(std::string_view key);
  const JsonNode* find(std::string_view key) const;
  // Appends a member at the end and returns its value.
  JsonNode& append(std::string_view key, JsonNode value);

 private:
  friend class JsonTreeParser;
  // Out of line: JsonMember is incomplete here, and some standard libraries instantiate the
  // member vector's destructor wherever the constructor is defined.
  explicit JsonNode(Kind kind, std::string lexeme = {});

  Kind kind_;
  std::string lexeme_;
  std::vector<JsonMember> members_;
  std::vector<JsonNode> elements_;
};

struct JsonMember {
  // The key's source text, quotes included.
  std::string key;
  JsonNode value;
};

// A whole file: the value and the white space around it, which a rewrite keeps (a final
// newline, say).
struct JsonDocument {
  std::string leading;
  JsonNode root;
  std::string trailing;
};

struct JsonTreeLimits {
  std::size_t max_bytes;
  // Arrays and objects, counted from 1 for the outermost.
  std::size_t max_depth;
};

inline constexpr JsonTreeLimits kDefaultJsonTreeLimits{.max_bytes = std::size_t{16} << 20,
                                                       .max_depth = kMaximumJsonDepth};

struct JsonTreeParse {
  std::optional<JsonDocument> document;
  // Why the text was refused, as a clause ("it is not valid JSON (expected ',' or '}' at line
  // 3, column 7)").
  std::string error;
};

// Strict JSON (RFC 8259), as JavaScript's JSON.parse reads it: no comments, no trailing commas,
// no byte order mark. Bytes inside strings pass as written, so text that is not UTF-8 comes back
// as it was. Text over the size limit is refused before it is read, and nesting past the depth
// limit stops the parse, so hostile input costs memory in proportion to its size and stack in
// proportion to the limit.
JsonTreeParse parse_json_tree(std::string_view text, const JsonTreeLimits& limits = kDefaultJsonTreeLimits);

// The value as JSON.stringify(value, null, 2) writes it: two spaces per level, "key": value,
// an empty object or array as {} or []. Scalars and keys are written as their source text.
// Indentation grows with depth, so deep text can come out many times its size; past
// `max_bytes` the writing stops and the result is null.
std::optional<std::string> write_json_tree(const JsonNode& node, std::size_t max_bytes);
// The document with its surrounding white space.
std::optional<std::string> write_json_tree(const JsonDocument& document, std::size_t max_bytes);

}  // namespace kolvo::base
