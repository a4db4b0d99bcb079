#include "deck/server/deck_stats_collector.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/unit_interval.hpp"

namespace kolvo::deck {
namespace {

using Kind = prefs::KolvoDeckStatKind;

// A reading the phone can show: finite, and held to 0 … 1 (a battery that reports 101 %, the
// rounding of a memory total, a volume that shrank under a full file system).
std::optional<double> fraction(std::optional<double> value) {
  if (!value || !std::isfinite(*value)) return std::nullopt;
  return base::clamp_unit(*value);
}

// Counts are summed as doubles: four counters near the top of their range would wrap as
// integers, and only the ratio matters.
double busy_ticks(const CpuTicks& t) {
  return static_cast<double>(t.user) + static_cast<double>(t.system) + static_cast<double>(t.nice);
}

std::optional<double> busy_share(double busy, double idle) {
  const double total = busy + idle;
  if (!(total > 0) || !std::isfinite(total)) return std::nullopt;
  return busy / total;
}

bool never_went_back(const CpuTicks& before, const CpuTicks& after) {
  return after.user >= before.user && after.system >= before.system && after.nice >= before.nice &&
         after.idle >= before.idle;
}

}  // namespace

KolvoDeckStatsCollector::KolvoDeckStatsCollector(const SystemStatsPort& port, const base::Executor& clock)
    : port_(port), clock_(clock) {}

std::vector<KolvoDeckStat> KolvoDeckStatsCollector::sample(const std::vector<Kind>& kinds) {
  std::vector<Kind> chosen;
  for (const Kind kind : kinds) {
    if (std::find(chosen.begin(), chosen.end(), kind) == chosen.end()) chosen.push_back(kind);
  }

  const base::TimePoint now = clock_.now();
  const bool due = !last_sample_ || now - *last_sample_ >= kMinSampleInterval;
  if (due) {
    // A new sample replaces the whole cache, so a kind the phone stopped showing cannot come
    // back later with a value from long ago.
    cached_.clear();
    last_sample_ = now;
  }
  std::vector<Kind> to_read;
  for (const Kind kind : chosen) {
    if (!cached_.contains(kind)) to_read.push_back(kind);
  }
  if (!to_read.empty()) {
    const SystemReadings readings = port_.read(to_read);
    for (const Kind kind : to_read) cached_[kind] = stat_of(kind, readings);
  }

  std::vector<KolvoDeckStat> stats;
  for (const Kind kind : chosen) {
    if (const auto& stat = cached_[kind]) stats.push_back(*stat);
  }
  return stats;
}

std::optional<KolvoDeckStat> KolvoDeckStatsCollector::stat_of(Kind kind, const SystemReadings& readings) {
  std::optional<double> value;
  std::optional<bool> charging;
  switch (kind) {
    case Kind::cpu:
      if (readings.cpu) value = fraction(cpu_load(*readings.cpu));
      break;
    case Kind::ram:
      value = fraction(readings.memory_used);
      break;
    case Kind::storage:
      value = fraction(readings.storage_used);
      break;
    case Kind::battery:
      if (readings.battery) {
        value = fraction(readings.battery->charge);
        charging = readings.battery->charging;
      }
      break;
    case Kind::unknown:
      break;
  }
  if (!value) return std::nullopt;
  return KolvoDeckStat{.kind = kind, .value = *value, .charging = charging};
}

std::optional<double> KolvoDeckStatsCollector::cpu_load(const CpuTicks& ticks) {
  const std::optional<CpuTicks> previous = std::exchange(prev_cpu_ticks_, ticks);
  std::optional<double> load;
  if (previous && never_went_back(*previous, ticks)) {
    // Differences are taken per counter, as integers, before any rounding to double.
    const CpuTicks elapsed{.user = ticks.user - previous->user,
                           .system = ticks.system - previous->system,
                           .nice = ticks.nice - previous->nice,
                           .idle = ticks.idle - previous->idle};
    load = busy_share(busy_ticks(elapsed), static_cast<double>(elapsed.idle));
    // No tick elapsed since the last sample: the load it measured still stands.
    if (!load) load = last_cpu_load_;
  }
  // The first sample, or counters that went back (a processor taken offline, a counter that
  // wrapped): the difference means nothing, so the shares since boot stand in.
  if (!load) load = busy_share(busy_ticks(ticks), static_cast<double>(ticks.idle));
  if (load) last_cpu_load_ = load;
  return load;
}

}  // namespace kolvo::deck
