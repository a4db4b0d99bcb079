#include <gtest/gtest.h>

#include "prefs_command.hpp"

namespace kolvo::host {
namespace {

using prefs::PreferenceValue;

TEST(PrefsWriteValue, TypeFlagsParseLikeDefaultsAndBadInputIsNamed) {
  struct Case {
    std::vector<std::string> words;
    std::optional<PreferenceValue> value;
    std::string error_mentions;
  };
  const std::vector<Case> cases = {
      {{"-string", "volume"}, PreferenceValue("volume"), ""},
      {{"-string", ""}, PreferenceValue(""), ""},
      {{"plain"}, PreferenceValue("plain"), ""},
      {{"-int", "42"}, PreferenceValue(42), ""},
      {{"-integer", "-3"}, PreferenceValue(-3), ""},
      {{"-int", "4.5"}, std::nullopt, "'4.5' is not a whole number"},
      {{"-float", "2"}, PreferenceValue(2.0), ""},
      {{"-float", "1,5"}, std::nullopt, "'1,5' is not a number"},
      {{"-bool", "true"}, PreferenceValue(true), ""},
      {{"-bool", "NO"}, PreferenceValue(false), ""},
      {{"-bool", "maybe"}, std::nullopt, "'maybe' is not a boolean"},
      {{"-array", "battery", "cpu"}, PreferenceValue(PreferenceValue::Array{"battery", "cpu"}), ""},
      {{"-array"}, PreferenceValue(PreferenceValue::Array{}), ""},
      {{"-array-float", "0.1", "1"}, PreferenceValue(PreferenceValue::Array{0.1, 1.0}), ""},
      {{"-array-float", "0.1", "x"}, std::nullopt, "'x' in the array"},
      {{"-data", "DEADbeef"}, PreferenceValue(prefs::PreferenceData{0xde, 0xad, 0xbe, 0xef}), ""},
      {{"-data", "abc"}, std::nullopt, "hexadecimal"},
      {{"-date", "2001-01-01T00:01:00Z"}, PreferenceValue(prefs::PreferenceDate{60}), ""},
      {{"-date", "tomorrow"}, std::nullopt, "ISO 8601"},
      {{"-intt", "3"}, std::nullopt, "'-intt' is not a type flag"},
      {{"-string"}, std::nullopt, "exactly one value"},
      {{"-int", "1", "2"}, std::nullopt, "exactly one value"},
      {{}, std::nullopt, "a value is missing"},
      {{"two", "words"}, std::nullopt, "needs a type flag"},
  };
  for (const Case& c : cases) {
    const auto parsed = parse_preference_value(c.words);
    std::string label;
    for (const auto& w : c.words) label += w + " ";
    EXPECT_EQ(parsed.value, c.value) << label;
    if (!c.value) {
      EXPECT_NE(parsed.error.find(c.error_mentions), std::string::npos) << label << "-> " << parsed.error;
    }
  }
}

}  // namespace
}  // namespace kolvo::host
