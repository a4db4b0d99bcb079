#pragma once

#include <cstddef>
#include <filesystem>
#include <vector>

#include "deck/server/system_stats.hpp"

namespace kolvo::platform {

// The machine's counters from /proc/stat, /proc/meminfo, statvfs and
// /sys/class/power_supply. Whatever cannot be read, or does not parse, is an absent reading.
class LinuxSystemStats final : public deck::SystemStatsPort {
 public:
  // Every file these readings come from is far smaller.
  static constexpr std::size_t kMaxFileBytes = 64 * 1024;
  // More power supplies than any machine has; a folder with more is not looked through.
  static constexpr std::size_t kMaxPowerSupplies = 64;

  // `root` stands for "/": tests point it at a folder of files of their own.
  explicit LinuxSystemStats(std::filesystem::path root = "/");

  deck::SystemReadings read(const std::vector<prefs::KolvoDeckStatKind>& kinds) const override;

 private:
  std::filesystem::path root_;
};

}  // namespace kolvo::platform
