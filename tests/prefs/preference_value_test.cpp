#include <gtest/gtest.h>

#include "base/base64.hpp"
#include "base/date_time.hpp"
#include "base/number_text.hpp"
#include "prefs/preference_value.hpp"

namespace kolvo::prefs {
namespace {

TEST(PreferenceValue, TypedReadsKeepAbsentAndInvalidApart) {
  using Status = LookupStatus;
  struct Case {
    std::optional<PreferenceValue> stored;
    Status as_bool, as_integer, as_real, as_string;
  };
  const std::vector<Case> cases = {
      {std::nullopt, Status::absent, Status::absent, Status::absent, Status::absent},
      {PreferenceValue(true), Status::present, Status::invalid, Status::invalid, Status::invalid},
      {PreferenceValue(3), Status::invalid, Status::present, Status::present, Status::invalid},
      {PreferenceValue(2.0), Status::invalid, Status::present, Status::present, Status::invalid},
      {PreferenceValue(2.5), Status::invalid, Status::invalid, Status::present, Status::invalid},
      {PreferenceValue("yes"), Status::invalid, Status::invalid, Status::invalid, Status::present},
      {PreferenceValue(PreferenceValue::Array{}), Status::invalid, Status::invalid, Status::invalid, Status::invalid},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(as_bool(c.stored).status, c.as_bool);
    EXPECT_EQ(as_integer(c.stored).status, c.as_integer);
    EXPECT_EQ(as_real(c.stored).status, c.as_real);
    EXPECT_EQ(as_string(c.stored).status, c.as_string);
  }
  EXPECT_EQ(as_integer(PreferenceValue(2.0)).value, 2);
  EXPECT_EQ(as_real_array(PreferenceValue(PreferenceValue::Array{1, 2.5})).value, (std::vector<double>{1, 2.5}));
  EXPECT_EQ(as_real_array(PreferenceValue(PreferenceValue::Array{1, "2"})).status, Status::invalid);
  EXPECT_EQ(as_string_array(PreferenceValue(PreferenceValue::Array{"a", true})).status, Status::invalid);
}

TEST(Base64, RoundTripsEveryPaddingAndRejectsWhatFoundationRejects) {
  for (const std::string& text : std::vector<std::string>{"", "f", "fo", "foo", "foob", "fooba", "foobar"}) {
    const std::vector<std::uint8_t> bytes(text.begin(), text.end());
    EXPECT_EQ(base::base64_decode(base::base64_encode(bytes)), bytes) << text;
  }
  EXPECT_EQ(base::base64_encode(std::vector<std::uint8_t>{'f', 'o'}), "Zm8=");
  for (const char* bad : {"Zm8", "Zm8=\n", "Z=m8", "Zm==Zm8=", "Zm8*", "Zg=a"}) {
    EXPECT_FALSE(base::base64_decode(bad)) << bad;
  }
}

TEST(Hex, DecodesDefaultsStyleDataAndRefusesOddOrForeignDigits) {
  EXPECT_EQ(base::hex_decode("DEad be ef"), (std::vector<std::uint8_t>{0xde, 0xad, 0xbe, 0xef}));
  EXPECT_FALSE(base::hex_decode("abc"));
  EXPECT_FALSE(base::hex_decode("zz"));
  EXPECT_EQ(base::hex_encode(std::vector<std::uint8_t>{0x00, 0xff}), "00ff");
}

TEST(Iso8601, ParsesTheFormsPeopleTypeAndRejectsImpossibleDates) {
  struct Case {
    std::string text;
    std::optional<double> seconds_since_2001;
  };
  const std::vector<Case> cases = {
      {"2001-01-01T00:00:00Z", 0.0},
      {"2001-01-01", 0.0},
      {"2001-01-01 00:01", 60.0},
      {"2001-01-01T01:00:00+01:00", 0.0},
      {"2001-01-01T00:00:00-0130", 5400.0},
      {"2001-01-01T00:00:00.250Z", 0.25},
      {"2024-02-29T12:00:00Z", 730900800.0},
      {"2023-02-29T12:00:00Z", std::nullopt},
      {"2001-13-01", std::nullopt},
      {"2001-01-01T24:00:00Z", std::nullopt},
      {"2001-01-01T00:00:00Zjunk", std::nullopt},
      {"yesterday", std::nullopt},
  };
  for (const Case& c : cases) {
    const auto parsed = base::parse_iso8601(c.text);
    ASSERT_EQ(parsed.has_value(), c.seconds_since_2001.has_value()) << c.text;
    if (parsed) {
      EXPECT_NEAR(base::seconds_since_2001(*parsed), *c.seconds_since_2001, 1e-6) << c.text;
    }
  }
  const base::WallTime moment = base::from_seconds_since_2001(730900800.5);
  EXPECT_EQ(base::format_iso8601(moment), "2024-02-29T12:00:00.500Z");
  EXPECT_EQ(base::format_report_date(moment), "2024-02-29 12:00:00 +0000");
  EXPECT_EQ(base::parse_iso8601(base::format_iso8601(moment)), moment);
}

TEST(NumberText, IsLocaleFreeShortestAndStrict) {
  EXPECT_EQ(base::swift_real_text(2), "2.0");
  EXPECT_EQ(base::swift_real_text(0.4), "0.4");
  EXPECT_EQ(base::swift_real_text(1512), "1512.0");
  EXPECT_EQ(base::shortest_real_text(0.1 + 0.2), "0.30000000000000004");
  EXPECT_EQ(base::parse_real("1.5"), 1.5);
  EXPECT_EQ(base::parse_real("+2"), 2.0);
  EXPECT_FALSE(base::parse_real("1,5"));
  EXPECT_FALSE(base::parse_real("1.5x"));
  EXPECT_FALSE(base::parse_real(""));
  EXPECT_EQ(base::parse_integer("-42"), -42);
  EXPECT_FALSE(base::parse_integer("4.0"));
}

}  // namespace
}  // namespace kolvo::prefs
