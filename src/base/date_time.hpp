#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace kolvo::base {

using WallTime = std::chrono::system_clock::time_point;

// The reference date of Apple's date types and of the phone's wire format: 2001-01-01 UTC,
// 978307200 seconds after the Unix epoch.
inline constexpr double kSecondsFrom1970To2001 = 978307200.0;

double seconds_since_2001(WallTime time);
WallTime from_seconds_since_2001(double seconds);

// The Unix form, as some stored keys keep their dates.
inline double seconds_since_1970(WallTime time) { return seconds_since_2001(time) + kSecondsFrom1970To2001; }
inline WallTime from_seconds_since_1970(double seconds) { return from_seconds_since_2001(seconds - kSecondsFrom1970To2001); }

// "2026-11-22T10:15:30Z", with ".250" milliseconds when the time has a fraction.
std::string format_iso8601(WallTime time);
// Accepts "YYYY-MM-DD", "YYYY-MM-DDTHH:MM[:SS[.fff]]" with "T" or a blank, then "Z", "+HH:MM",
// "+HHMM" or nothing (UTC).
std::optional<WallTime> parse_iso8601(std::string_view text);

// "2026-11-22 10:15:30 +0000", the form reports show dates in.
std::string format_report_date(WallTime time);

// Source of wall-clock time, so that dates can be driven in tests.
class WallClock {
 public:
  virtual ~WallClock() = default;
  virtual WallTime now() const = 0;
};

class SystemWallClock final : public WallClock {
 public:
  WallTime now() const override { return std::chrono::system_clock::now(); }
};

}  // namespace kolvo::base
