// Strings on the wire are always UTF-8: the phone refuses a whole frame over one bad byte, and
// names come from apps and devices that do not always send UTF-8.
#include <gtest/gtest.h>

#include "base/json_writer.hpp"
#include "base/utf8.hpp"
#include "deck/protocol/deck_message.hpp"

namespace kolvo {
namespace {

std::string written(const std::string& text) {
  std::string out;
  base::JsonWriter writer(out);
  writer.string(text);
  return out;
}

bool valid(const std::string& text) {
  return base::is_valid_utf8(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
}

#define FFFD "\uFFFD"

TEST(JsonWriterText, EachIllFormedSubpartBecomesOneReplacementCharacter) {
  struct Case {
    std::string name;
    std::string in;
    std::string out;  // without the quotes
  };
  const std::vector<Case> cases = {
      {"ascii", "Anna's iPhone", "Anna's iPhone"},
      {"two bytes", "caf\xC3\xA9", "caf\xC3\xA9"},
      {"three bytes", "\xE2\x82\xAC 5", "\xE2\x82\xAC 5"},
      {"four bytes", "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"},
      {"lowest two-byte", "\xC2\x80", "\xC2\x80"},
      {"last before surrogates", "\xED\x9F\xBF", "\xED\x9F\xBF"},
      {"first after surrogates", "\xEE\x80\x80", "\xEE\x80\x80"},
      {"U+FFFF", "\xEF\xBF\xBF", "\xEF\xBF\xBF"},
      {"U+10000", "\xF0\x90\x80\x80", "\xF0\x90\x80\x80"},
      {"U+10FFFF", "\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"},
      {"overlong slash", "a\xC0\xAF" "b", "a" FFFD FFFD "b"},
      {"overlong C1", "\xC1\xBF", FFFD FFFD},
      {"overlong three-byte", "\xE0\x80\xAF", FFFD FFFD FFFD},
      {"overlong four-byte", "\xF0\x80\x80\xAF", FFFD FFFD FFFD FFFD},
      {"high surrogate", "\xED\xA0\x80", FFFD FFFD FFFD},
      {"low surrogate", "x\xED\xBF\xBFy", "x" FFFD FFFD FFFD "y"},
      {"past U+10FFFF after F4", "\xF4\x90\x80\x80", FFFD FFFD FFFD FFFD},
      {"F5 lead", "\xF5\x80\x80\x80", FFFD FFFD FFFD FFFD},
      {"FF byte", "\xFF", FFFD},
      {"FE FF", "\xFE\xFF", FFFD FFFD},
      {"stray continuation", "a\x80" "b", "a" FFFD "b"},
      {"stray continuations", "\x80\xBF\x80", FFFD FFFD FFFD},
      {"two-byte cut short by text", "\xC3" "A", FFFD "A"},
      {"three-byte cut short by text", "\xE2\x82" "A", FFFD "A"},
      {"four-byte cut short by text", "\xF0\x9F\x98" "A", FFFD "A"},
      {"three-byte cut short at the end", "ok\xE2\x82", "ok" FFFD},
      {"four-byte cut short at the end", "\xF0\x9F", FFFD},
      {"lead at the very end", "\xC3", FFFD},
      {"bad then good", "\xFF\xC3\xA9", FFFD "\xC3\xA9"},
      {"good, bad, good", "\xE2\x82\xAC\xC0\xE2\x82\xAC", "\xE2\x82\xAC" FFFD "\xE2\x82\xAC"},
      {"escapes beside repairs", "\"\xFF\n\\", "\\\"" FFFD "\\n\\\\"},
      {"control byte", std::string("\x01\xFF", 2), "\\u0001" FFFD},
      {"NUL", std::string("a\0b", 3), "a\\u0000b"},
  };
  for (const Case& c : cases) {
    const std::string out = written(c.in);
    EXPECT_EQ(out, "\"" + c.out + "\"") << c.name;
    EXPECT_TRUE(valid(out)) << c.name;
  }
}

TEST(JsonWriterText, KeysAreRepairedToo) {
  std::string out;
  base::JsonWriter writer(out);
  writer.begin_object();
  writer.key("bad\xFFkey");
  writer.string("v");
  writer.end_object();
  EXPECT_EQ(out, "{\"bad" FFFD "key\":\"v\"}");
}

TEST(JsonWriterText, AMessageWithBadNamesEncodesToValidUtf8ThatDecodes) {
  deck::KolvoDeckState state;
  state.audio_devices = {{"73", "Speakers \xC0\xAF"}, {"91", "Air\xED\xA0\x80Pods"}};
  state.profile = deck::KolvoDeckProfileInfo{"Default", std::nullopt, true, "Caf\xC3", "com.cafe\xFF"};
  const deck::KolvoDeckMessage message = deck::StateUpdateMessage{state};
  const std::string json = deck::encode_json(message);
  EXPECT_TRUE(valid(json));
  const auto decoded = deck::decode_message_text(json);
  ASSERT_TRUE(decoded);
  const auto& read = *decoded->get_if<deck::StateUpdateMessage>()->state;
  EXPECT_EQ(read.audio_devices[0].name, "Speakers " FFFD FFFD);
  EXPECT_EQ(read.audio_devices[1].name, "Air" FFFD FFFD FFFD "Pods");
  EXPECT_EQ(read.profile->active_app_name, "Caf" FFFD);
  EXPECT_EQ(read.profile->active_app_bundle_id, "com.cafe" FFFD);
}

TEST(Utf8, TheValidatorAgreesWithTheWriter) {
  // Every one- and two-byte string, and every three-byte string that starts with a lead byte:
  // valid exactly when writing leaves it unchanged.
  std::string text;
  const auto agree = [&](const std::string& t) {
    const std::string out = written(t);
    const bool unchanged = out.size() == t.size() + 2 && out.compare(1, t.size(), t) == 0;
    const bool has_escape = t.find_first_of(std::string("\"\\\0\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C\x0D"
                                                        "\x0E\x0F\x10\x11\x12\x13\x14\x15\x16\x17\x18\x19\x1A\x1B"
                                                        "\x1C\x1D\x1E\x1F",
                                                        34)) != std::string::npos;
    if (has_escape) return true;
    return unchanged == valid(t);
  };
  for (int a = 0; a < 256; ++a) {
    ASSERT_TRUE(agree(std::string(1, static_cast<char>(a)))) << a;
    for (int b = 0; b < 256; ++b) {
      ASSERT_TRUE(agree(std::string{static_cast<char>(a), static_cast<char>(b)})) << a << " " << b;
    }
  }
  for (int a = 0xE0; a < 0x100; ++a) {
    for (int b = 0x80; b < 0xC0; ++b) {
      for (int c = 0; c < 256; ++c) {
        ASSERT_TRUE(agree(std::string{static_cast<char>(a), static_cast<char>(b), static_cast<char>(c)}))
            << a << " " << b << " " << c;
      }
    }
  }
}

#undef FFFD

}  // namespace
}  // namespace kolvo
