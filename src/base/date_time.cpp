#include "base/date_time.hpp"

#include <cctype>
#include <cmath>
#include <cstdio>

namespace kolvo::base {
namespace {

using namespace std::chrono;

struct Civil {
  int year, month, day, hour, minute, second, millisecond;
};

Civil to_civil(WallTime time) {
  const auto ms_total = floor<milliseconds>(time);
  const auto day_point = floor<days>(ms_total);
  const year_month_day ymd{day_point};
  const auto in_day = ms_total - day_point;
  const hh_mm_ss<milliseconds> hms{in_day};
  return {static_cast<int>(ymd.year()), static_cast<int>(static_cast<unsigned>(ymd.month())),
          static_cast<int>(static_cast<unsigned>(ymd.day())), static_cast<int>(hms.hours().count()),
          static_cast<int>(hms.minutes().count()), static_cast<int>(hms.seconds().count()),
          static_cast<int>(hms.subseconds().count())};
}

// Reads exactly `width` digits at `pos`.
std::optional<int> digits(std::string_view text, std::size_t& pos, std::size_t width) {
  if (pos + width > text.size()) return std::nullopt;
  int value = 0;
  for (std::size_t i = 0; i < width; ++i) {
    const char c = text[pos + i];
    if (!std::isdigit(static_cast<unsigned char>(c))) return std::nullopt;
    value = value * 10 + (c - '0');
  }
  pos += width;
  return value;
}

bool expect(std::string_view text, std::size_t& pos, char c) {
  if (pos < text.size() && text[pos] == c) {
    ++pos;
    return true;
  }
  return false;
}

}  // namespace

// Whole seconds and the fraction are converted apart: a count of nanoseconds since 1970 has
// more digits than a double holds, and the lost ones would show as a changed fraction.
double seconds_since_2001(WallTime time) {
  const auto whole = floor<std::chrono::seconds>(time);
  const auto fraction = duration_cast<nanoseconds>(time - whole);
  return static_cast<double>(whole.time_since_epoch().count() - static_cast<long long>(kSecondsFrom1970To2001)) +
         static_cast<double>(fraction.count()) * 1e-9;
}

WallTime from_seconds_since_2001(double seconds) {
  if (!std::isfinite(seconds)) seconds = 0;
  const double whole = std::floor(seconds);
  const auto fraction = round<nanoseconds>(duration<double>(seconds - whole));
  const auto since_1970 = std::chrono::seconds(static_cast<long long>(whole) + static_cast<long long>(kSecondsFrom1970To2001));
  return WallTime(duration_cast<system_clock::duration>(since_1970 + fraction));
}

std::string format_iso8601(WallTime time) {
  const Civil c = to_civil(time);
  char buffer[40];
  if (c.millisecond != 0) {
    std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", c.year, c.month, c.day, c.hour,
                  c.minute, c.second, c.millisecond);
  } else {
    std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02dZ", c.year, c.month, c.day, c.hour,
                  c.minute, c.second);
  }
  return buffer;
}

std::string format_report_date(WallTime time) {
  const Civil c = to_civil(time);
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d +0000", c.year, c.month, c.day, c.hour,
                c.minute, c.second);
  return buffer;
}

std::optional<WallTime> parse_iso8601(std::string_view text) {
  std::size_t pos = 0;
  const auto y = digits(text, pos, 4);
  if (!y || !expect(text, pos, '-')) return std::nullopt;
  const auto mo = digits(text, pos, 2);
  if (!mo || !expect(text, pos, '-')) return std::nullopt;
  const auto d = digits(text, pos, 2);
  if (!d) return std::nullopt;
  const year_month_day ymd{year{*y}, month{static_cast<unsigned>(*mo)}, day{static_cast<unsigned>(*d)}};
  if (!ymd.ok()) return std::nullopt;

  int hour = 0, minute = 0, second = 0;
  long long fraction_ns = 0;
  int offset_minutes = 0;
  if (pos < text.size()) {
    if (text[pos] != 'T' && text[pos] != 't' && text[pos] != ' ') return std::nullopt;
    ++pos;
    const auto h = digits(text, pos, 2);
    if (!h || !expect(text, pos, ':')) return std::nullopt;
    const auto mi = digits(text, pos, 2);
    if (!mi) return std::nullopt;
    hour = *h;
    minute = *mi;
    if (expect(text, pos, ':')) {
      const auto s = digits(text, pos, 2);
      if (!s) return std::nullopt;
      second = *s;
      if (expect(text, pos, '.')) {
        // Whole nanoseconds, so that a printed fraction reads back exactly.
        long long scale = 100'000'000;
        const std::size_t start = pos;
        while (pos < text.size() && std::isdigit(static_cast<unsigned char>(text[pos]))) {
          fraction_ns += (text[pos] - '0') * scale;
          scale /= 10;
          ++pos;
        }
        if (pos == start) return std::nullopt;
      }
    }
    if (hour > 23 || minute > 59 || second > 60) return std::nullopt;
    if (pos < text.size() && text[pos] == ' ') ++pos;
    if (expect(text, pos, 'Z') || expect(text, pos, 'z')) {
    } else if (pos < text.size() && (text[pos] == '+' || text[pos] == '-')) {
      const int sign = text[pos] == '-' ? -1 : 1;
      ++pos;
      const auto oh = digits(text, pos, 2);
      if (!oh) return std::nullopt;
      expect(text, pos, ':');
      const auto om = digits(text, pos, 2);
      if (!om) return std::nullopt;
      offset_minutes = sign * (*oh * 60 + *om);
    }
    if (pos != text.size()) return std::nullopt;
  }

  const auto base = sys_days{ymd} + hours{hour} + minutes{minute} + std::chrono::seconds{second} -
                    minutes{offset_minutes};
  return time_point_cast<system_clock::duration>(base) + duration_cast<system_clock::duration>(nanoseconds(fraction_ns));
}

}  // namespace kolvo::base
