#pragma once

#include <map>
#include <optional>
#include <vector>

#include "base/executor.hpp"
#include "deck/protocol/deck_message.hpp"
#include "deck/server/system_stats.hpp"
#include "prefs/settings_enums.hpp"

namespace kolvo::deck {

// The machine statistics the phone shows beside its controls: processor load, memory, the
// boot volume and the battery, each a fraction 0 … 1. The state is assembled on every
// broadcast and every poll, and several phones may ask within the same moment, so the machine
// is read at most once per kMinSampleInterval and the values in between come from the last
// sample.
class KolvoDeckStatsCollector {
 public:
  static constexpr base::Duration kMinSampleInterval = base::seconds(0.9);

  KolvoDeckStatsCollector(const SystemStatsPort& port, const base::Executor& clock);

  // The chosen kinds in the given order, each at most once; a kind with no reading is left
  // out, and the battery carries `charging`. Sooner than kMinSampleInterval after the last
  // sample, the kinds that sample read come from it; a kind it did not read is read now.
  std::vector<KolvoDeckStat> sample(const std::vector<prefs::KolvoDeckStatKind>& kinds);

 private:
  std::optional<KolvoDeckStat> stat_of(prefs::KolvoDeckStatKind kind, const SystemReadings& readings);
  std::optional<double> cpu_load(const CpuTicks& ticks);

  const SystemStatsPort& port_;
  const base::Executor& clock_;
  std::optional<base::TimePoint> last_sample_;
  // Each kind the last sample read, with what it gave (nothing, when the machine had no reading).
  std::map<prefs::KolvoDeckStatKind, std::optional<KolvoDeckStat>> cached_;
  std::optional<CpuTicks> prev_cpu_ticks_;
  std::optional<double> last_cpu_load_;
};

}  // namespace kolvo::deck
