#include <gtest/gtest.h>

#include <string>

#include "base/json_text.hpp"

namespace kolvo::base {
namespace {

std::string nested(std::size_t depth, char open = '[', char close = ']') {
  return std::string(depth, open) + std::string(depth, close);
}

TEST(JsonText, DepthIsCountedOutsideStringsOnly) {
  struct Case {
    std::string text;
    std::size_t limit;
    bool within;
  };
  const Case cases[] = {
      {"1", 0, true},
      {"[]", 1, true},
      {"[]", 0, false},
      {nested(3), 3, true},
      {nested(4), 3, false},
      {R"({"a":[{"b":[]}]})", 4, true},
      {R"({"a":[{"b":[]}]})", 3, false},
      // Brackets in strings, escaped quotes and escaped backslashes before a closing quote.
      {R"(["[[[[", "\"[[[", "\\", "]]]"])", 1, true},
      {R"(["\\", "[[", "]"])", 1, true},
      {R"(["\\"], [[]])", 1, false},
      {R"([["\\\"[["]])", 2, true},
      // Closing brackets never make the count negative, so they hide nothing deeper after them.
      {"]]]]" + nested(3), 3, true},
      {"]]]]" + nested(4), 3, false},
  };
  for (const auto& c : cases) EXPECT_EQ(json_depth_within(c.text, c.limit), c.within) << c.text;
}

TEST(JsonText, TooDeepIsRefusedWithASentenceAndWithinTheLimitParses) {
  std::string error;
  EXPECT_TRUE(parse_json(nested(20'000), &error).is_discarded());
  EXPECT_EQ(error, "it nests deeper than 512 levels");
  error.clear();
  EXPECT_TRUE(parse_json(nested(kMaximumJsonDepth, '[', ']').substr(0, kMaximumJsonDepth) + "]", &error).is_discarded());
  EXPECT_EQ(error, "it is not valid JSON");
  const auto deepest = parse_json<nlohmann::ordered_json>(nested(kMaximumJsonDepth), &error);
  ASSERT_FALSE(deepest.is_discarded());
  EXPECT_TRUE(deepest.is_array());
}

}  // namespace
}  // namespace kolvo::base
