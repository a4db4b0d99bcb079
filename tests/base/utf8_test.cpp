#include <gtest/gtest.h>

#include <string>

#include "base/utf8.hpp"

namespace kolvo::base {
namespace {

// Text cut off mid-character or holding stray bytes comes out as valid UTF-8, one U+FFFD per
// ill-formed subpart, with everything well-formed around it kept.
TEST(RepairedUtf8, EachIllFormedSubpartBecomesOneReplacement) {
  const std::string r = kReplacementCharacter;
  struct Case {
    const char* name;
    std::string bytes;
    std::string expected;
  };
  const Case cases[] = {
      {"plain text", "error: -1743", "error: -1743"},
      {"well-formed multibyte", "caf\xC3\xA9 \xE2\x9C\x85 \xF0\x9F\x8E\xA8", "caf\xC3\xA9 \xE2\x9C\x85 \xF0\x9F\x8E\xA8"},
      {"cut inside a three-byte character", "ok \xE2\x9C", "ok " + r},
      {"a lone continuation byte", "a\x80" "b", "a" + r + "b"},
      {"an overlong slash", "\xC0\xAF", r + r},
      {"a surrogate", "\xED\xA0\x80", r + r + r},
      {"Latin-1 text", "na\xEFve", "na" + r + "ve"},
      {"empty", "", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string repaired = repaired_utf8(c.bytes);
    EXPECT_EQ(repaired, c.expected);
    EXPECT_TRUE(is_valid_utf8(reinterpret_cast<const std::uint8_t*>(repaired.data()), repaired.size()));
  }
}

}  // namespace
}  // namespace kolvo::base
