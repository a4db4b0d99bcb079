#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "base/executor.hpp"
#include "deck/protocol/deck_message.hpp"
#include "prefs/settings_enums.hpp"

namespace kolvo::deck {

// Cumulative processor ticks since boot, summed over every core.
struct CpuTicks {
  std::uint64_t user = 0;
  std::uint64_t system = 0;
  std::uint64_t nice = 0;
  std::uint64_t idle = 0;
  friend bool operator==(const CpuTicks&, const CpuTicks&) = default;
};

struct BatteryReading {
  double charge = 0;  // 0 … 1
  bool charging = false;
};

// What the machine reports at one moment. A reading the machine could not give is absent.
struct SystemReadings {
  std::optional<CpuTicks> cpu;
  // (active + wired + compressed) / physical memory, 0 … 1.
  std::optional<double> memory_used;
  // Used / total bytes of the boot volume, 0 … 1.
  std::optional<double> storage_used;
  // Absent on a machine without a battery.
  std::optional<BatteryReading> battery;
};

// Reads the machine's counters: host statistics on the Mac, /proc and /sys on Linux. Only the
// kinds asked for are read, so a phone that shows no battery never wakes the power source API.
class SystemStatsPort {
 public:
  virtual ~SystemStatsPort() = default;
  virtual SystemReadings read(const std::vector<prefs::KolvoDeckStatKind>& kinds) const = 0;
};

}  // namespace kolvo::deck
