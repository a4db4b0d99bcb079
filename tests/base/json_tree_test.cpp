#include <gtest/gtest.h>

#include <string>

#include "base/json_tree.hpp"

namespace kolvo::base {
namespace {

using namespace std::string_literals;

constexpr std::size_t kRoomy = std::size_t{1} << 20;

std::string rewritten(std::string_view text) {
  auto parsed = parse_json_tree(text);
  if (!parsed.document) return "refused: " + parsed.error;
  return write_json_tree(*parsed.document, kRoomy).value_or("too large");
}

// Each expected text is what node's JSON.stringify(JSON.parse(input), null, 2) printed, except
// where a lexeme JSON.stringify would re-spell is kept as written.
TEST(JsonTree, WritesInJsonStringifysLayoutKeepingEveryLexeme) {
  struct Case {
    std::string input;
    std::string output;
  };
  const Case cases[] = {
      {"{}", "{}"},
      {"[]", "[]"},
      {" [ ] \n", " [] \n"},
      {R"({"a":[1,{"b":[]},"x",[[]]],"c":{},"d":null,"e":true})",
       "{\n  \"a\": [\n    1,\n    {\n      \"b\": []\n    },\n    \"x\",\n    [\n      []\n    ]\n  ],\n  \"c\": {},\n"
       "  \"d\": null,\n  \"e\": true\n}"},
      // Numbers and strings keep their spelling; a repeated key is kept, in place.
      {R"({"n":1.50,"e":1E3,"z":-0,"big":123456789012345678901234567890,"s":"\u00e9\/","s":"two"})",
       "{\n  \"n\": 1.50,\n  \"e\": 1E3,\n  \"z\": -0,\n  \"big\": 123456789012345678901234567890,\n"
       "  \"s\": \"\\u00e9\\/\",\n  \"s\": \"two\"\n}"},
      // Keys keep their escapes too, and bytes that are not UTF-8 pass through.
      {"{\"k\\u0065y\":\"\xff\"}", "{\n  \"k\\u0065y\": \"\xff\"\n}"},
      // The white space around the value is the file's own: a final newline stays.
      {"\n\t{\"a\":\"\"}\r\n", "\n\t{\n  \"a\": \"\"\n}\r\n"},
      {"\"alone\"", "\"alone\""},
      {"1.50", "1.50"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(rewritten(c.input), c.output) << c.input;
    // Text already in that layout comes back unchanged.
    EXPECT_EQ(rewritten(c.output), c.output) << c.output;
  }
}

TEST(JsonTree, RefusesWhatJsonParseRefusesAndSaysWhere) {
  struct Case {
    std::string text;
    std::string error;
  };
  // Every one of these is refused by node's JSON.parse as well.
  const Case cases[] = {
      {"", "the text ends where a value should be at line 1, column 1"},
      {"{", "expected a key in quotes"},
      {"[1,]", "unexpected character at line 1, column 4"},
      {"{\"a\":1,}", "expected a key in quotes"},
      {"{'a':1}", "expected a key in quotes"},
      {"01", "more text after the value"},
      {"-01", "more text after the value"},
      {"1.", "without digits after its point at line 1, column 3"},
      {".5", "unexpected character"},
      {"-", "a number without digits"},
      {"[-]", "a number without digits"},
      {"1e", "without digits in its exponent"},
      {"1e+", "without digits in its exponent"},
      {"+1", "unexpected character"},
      {"NaN", "unexpected character"},
      {"tru", "unexpected character"},
      {"nul", "unexpected character"},
      {"\"\t\"", "a control character inside a string"},
      {"\"\\x\"", "an unknown escape"},
      {"\"\\u12g4\"", "without four hex digits"},
      {"\"\\u12", "without four hex digits"},
      {"\"\\", "an unknown escape"},
      {"\"abc", "a string that never ends at line 1, column 1"},
      {"{} x", "more text after the value at line 1, column 4"},
      {"{}{}", "more text after the value"},
      {"// note\n{}", "unexpected character"},
      {"\xEF\xBB\xBF{}", "unexpected character"},
      {"\xC2\xA0{}", "unexpected character"},
      {"[1 2]", "expected ',' or ']' at line 1, column 4"},
      {"{\"a\" 1}", "expected ':' after a key"},
      {"{\n  \"a\": 1,\n  \"b\" 2\n}", "expected ':' after a key at line 3, column 7"},
      {"{\"a\":1}\n\0"s, "more text after the value at line 2, column 1"},
  };
  for (const Case& c : cases) {
    const auto parsed = parse_json_tree(c.text);
    EXPECT_FALSE(parsed.document) << c.text;
    EXPECT_NE(parsed.error.find("it is not valid JSON ("), std::string::npos) << c.text << " -> " << parsed.error;
    EXPECT_NE(parsed.error.find(c.error), std::string::npos) << c.text << " -> " << parsed.error;
  }
}

TEST(JsonTree, SizeAndDepthLimitsBoundWhatIsRead) {
  const auto nested = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
  struct Case {
    std::string text;
    JsonTreeLimits limits;
    std::string error;  // empty: accepted
  };
  const Case cases[] = {
      {nested(8), {.max_bytes = 100, .max_depth = 8}, ""},
      {nested(9), {.max_bytes = 100, .max_depth = 8}, "it nests deeper than 8 levels"},
      {"{\"a\":{\"b\":[{}]}}", {.max_bytes = 100, .max_depth = 4}, ""},
      {"{\"a\":{\"b\":[{}]}}", {.max_bytes = 100, .max_depth = 3}, "it nests deeper than 3 levels"},
      // Brackets inside strings are not nesting.
      {"[\"[[[[[[\"]", {.max_bytes = 100, .max_depth = 1}, ""},
      {"[1234567]", {.max_bytes = 9, .max_depth = 8}, ""},
      {"[1234567] ", {.max_bytes = 9, .max_depth = 8}, "it is larger than 9 bytes"},
      {nested(kMaximumJsonDepth), kDefaultJsonTreeLimits, ""},
      {nested(kMaximumJsonDepth + 1), kDefaultJsonTreeLimits, "nests deeper than 512 levels"},
  };
  for (const Case& c : cases) {
    const auto parsed = parse_json_tree(c.text, c.limits);
    EXPECT_EQ(parsed.document.has_value(), c.error.empty()) << c.text.substr(0, 40);
    if (!c.error.empty()) {
      EXPECT_NE(parsed.error.find(c.error), std::string::npos) << parsed.error;
    }
  }
}

TEST(JsonTree, WritingStopsPastItsLimitSoIndentationCannotBlowUp) {
  // 200 bytes nested 100 deep indent to about 20 kB.
  const std::string deep = std::string(100, '[') + std::string(100, ']');
  const auto parsed = parse_json_tree(deep);
  ASSERT_TRUE(parsed.document);
  const auto full = write_json_tree(*parsed.document, kRoomy);
  ASSERT_TRUE(full);
  EXPECT_GT(full->size(), 19'000u);
  EXPECT_TRUE(write_json_tree(*parsed.document, full->size()));
  EXPECT_FALSE(write_json_tree(*parsed.document, full->size() - 1));
  EXPECT_FALSE(write_json_tree(parsed.document->root, 1000));
}

TEST(JsonTree, StringValuesUndoEscapesAndFindUsesThem) {
  struct Case {
    std::string lexeme;
    std::string value;
  };
  const Case cases[] = {
      {R"("plain")", "plain"},
      {R"("a\nb\t\"c\"\\\/\b\f\r")", "a\nb\t\"c\"\\/\b\f\r"},
      {R"("\u00e9\u00E9")", "\xC3\xA9\xC3\xA9"},
      {R"("\ud83d\ude00")", "\xF0\x9F\x98\x80"},
      // A surrogate without its partner is no character; JSON.parse keeps it, UTF-8 cannot.
      {R"("\ud800")", "\xEF\xBF\xBD"},
      {R"("\ude00x")", "\xEF\xBF\xBDx"},
      {R"("\ud800\u0041")", "\xEF\xBF\xBD" "A"},
      {R"("\ud800\\ude00")", "\xEF\xBF\xBD\\ude00"},
  };
  for (const Case& c : cases) {
    const auto parsed = parse_json_tree("{" + c.lexeme + ":" + c.lexeme + "}");
    ASSERT_TRUE(parsed.document) << c.lexeme << parsed.error;
    const JsonNode& root = parsed.document->root;
    EXPECT_EQ(root.members().front().value.string_value(), c.value) << c.lexeme;
    EXPECT_EQ(root.find(c.value), &root.members().front().value) << c.lexeme;
  }
}

TEST(JsonTree, FindTakesTheLastOfARepeatedKeyAsJsonParseDoes) {
  const auto parsed = parse_json_tree(R"({"a":1,"b":{"a":4},"\u0061":3})");
  ASSERT_TRUE(parsed.document);
  const JsonNode& root = parsed.document->root;
  EXPECT_EQ(root.find("a")->lexeme(), "3");
  EXPECT_EQ(root.find("b")->find("a")->lexeme(), "4");
  EXPECT_EQ(root.find("A"), nullptr);
  EXPECT_EQ(root.find("a")->find("a"), nullptr);  // not an object
}

TEST(JsonTree, NewStringsAreEscapedAsJsonStringifyEscapesThem) {
  struct Case {
    std::string value;
    std::string lexeme;
  };
  // The lexemes are node's JSON.stringify output for the same values.
  const Case cases[] = {
      {"", R"("")"},
      {"a\"b\\c\n\t\x01\x1f\x7f/", R"("a\"b\\c\n\t\u0001\u001f)" "\x7f" R"(/")"},
      {"\b\f\r", R"("\b\f\r")"},
      {"caf\xC3\xA9 \xE2\x80\xA8", "\"caf\xC3\xA9 \xE2\x80\xA8\""},
      {"# marker\nmkdir -p '/a b' && printf '{\"e\":1}'", R"("# marker\nmkdir -p '/a b' && printf '{\"e\":1}'")"},
  };
  for (const Case& c : cases) {
    const JsonNode node = JsonNode::string(c.value);
    EXPECT_EQ(node.lexeme(), c.lexeme);
    EXPECT_EQ(node.string_value(), c.value);
    // And the parser reads it back as one string.
    const auto parsed = parse_json_tree(node.lexeme());
    ASSERT_TRUE(parsed.document) << parsed.error;
    EXPECT_EQ(parsed.document->root.string_value(), c.value);
  }
}

}  // namespace
}  // namespace kolvo::base
