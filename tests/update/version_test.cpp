#include <gtest/gtest.h>

#include <string>

#include "update/version.hpp"

namespace kolvo::update {
namespace {

int order(const Version& a, const Version& b) {
  const auto o = a <=> b;
  return o < 0 ? -1 : o > 0 ? 1 : 0;
}

TEST(Version, OrderTable) {
  struct Case {
    std::string a;
    std::string b;
    int expected;  // the sign of a <=> b
  };
  const std::vector<Case> cases = {
      {"1.10", "1.9", 1},
      {"1.9", "1.10", -1},
      {"2", "10", -1},
      {"1.2", "1.2.0", 0},
      {"1.2", "1.2.0.0.0", 0},
      {"1.2.1", "1.2", 1},
      {"1.01", "1.1", 0},
      {"v1.2", "1.2", 0},
      {" 1.2 ", "1.2", 0},
      {"123456789012345678901234567890", "123456789012345678901234567889", 1},
      {"00000000000000000000000000000007", "8", -1},
      {"1.0b1", "1.0", -1},
      {"1.0b1", "1", -1},
      {"1.0", "1.0b1", 1},
      {"2.0-rc.1", "2.0", -1},
      {"2.0", "2.0.1", -1},
      {"1.0b1", "1.0.1", -1},
      {"1.0b2", "1.0b10", -1},
      {"1.0alpha", "1.0beta", -1},
      {"1.0beta", "1.0RC", -1},
      {"1.0-beta", "1.0beta", 0},
      {"1.0b", "1.0b1", -1},
      {"1.0b1", "1.0-1", -1},
      {"1.3", "1.2.9b9", 1},
      {"45", "44", 1},
      {"beta", "0", -1},
  };
  for (const Case& c : cases) {
    const auto a = Version::parse(c.a);
    const auto b = Version::parse(c.b);
    ASSERT_TRUE(a && b) << c.a << " / " << c.b;
    EXPECT_EQ(order(*a, *b), c.expected) << c.a << " <=> " << c.b;
    EXPECT_EQ(order(*b, *a), -c.expected) << c.b << " <=> " << c.a;
    EXPECT_EQ(*a == *b, c.expected == 0) << c.a << " == " << c.b;
  }
}

TEST(Version, TextThatIsNotAVersion) {
  const std::vector<std::string> refused = {"", "   ", std::string(65, '1'), "1.\x01", "1.0\xC3\xA9", "1\t2"};
  for (const std::string& text : refused) {
    EXPECT_FALSE(Version::parse(text)) << text;
  }
  const auto longest = Version::parse(std::string(64, '9'));
  ASSERT_TRUE(longest);
  EXPECT_EQ(longest->text(), std::string(64, '9'));
  EXPECT_EQ(Version::parse("  2.1b3\n")->text(), "2.1b3");
}

}  // namespace
}  // namespace kolvo::update
