#include "platform/linux/system_stats_linux.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/temp_root.hpp"

namespace kolvo::platform {
namespace {

using Kind = prefs::KolvoDeckStatKind;
using testing::TempRoot;

constexpr std::size_t kCap = LinuxSystemStats::kMaxFileBytes;
constexpr char kGarbage[] = "\0\xff\x01cpu 1 2 3 4\n";

TEST(LinuxSystemStats, ProcessorTicksComeFromTheFirstLineOfProcStat) {
  struct Case {
    const char* name;
    std::optional<std::string> file;  // absent: no such file
    std::optional<deck::CpuTicks> ticks;
  };
  // user nice system idle iowait irq softirq steal guest guest_nice
  const std::string modern = "cpu  4705 150 1120 16250 520 90 45 7 0 0\ncpu0 2352 75 560 8125 260 45 22 3 0 0\n";
  const std::vector<Case> cases = {
      {"every column", modern, deck::CpuTicks{.user = 4705, .system = 1120 + 90 + 45 + 7, .nice = 150, .idle = 16250 + 520}},
      {"a kernel with four columns", "cpu 10 20 30 40\n", deck::CpuTicks{10, 30, 20, 40}},
      {"no line break at the end", "cpu 10 20 30 40", deck::CpuTicks{10, 30, 20, 40}},
      {"a valid line before a megabyte of other lines", "cpu 1 2 3 4\n" + std::string(1 << 20, 'x') + "\n",
       deck::CpuTicks{1, 3, 2, 4}},
      {"three columns", "cpu 10 20 30\n", std::nullopt},
      {"a processor's line first", "cpu0 10 20 30 40\ncpu 10 20 30 40\n", std::nullopt},
      {"a word among the numbers", "cpu  12 abc 3 4\n", std::nullopt},
      {"a negative count", "cpu  12 -1 3 4\n", std::nullopt},
      {"a number too large to hold", "cpu  99999999999999999999999 1 2 3\n", std::nullopt},
      {"a sum too large to hold", "cpu  1 1 18446744073709551615 1 0 1 0 0\n", std::nullopt},
      // Cut at the cap, the line would read as idle 4 instead of 45.
      {"a first line longer than the cap", "cpu 1 2 3" + std::string(kCap - 10, ' ') + "45\n", std::nullopt},
      {"an empty file", "", std::nullopt},
      {"binary garbage", std::string(kGarbage, sizeof kGarbage - 1), std::nullopt},
      {"no file", std::nullopt, std::nullopt},
  };
  for (const auto& c : cases) {
    TempRoot root("stats");
    if (c.file) root.write("proc/stat", *c.file);
    const auto readings = LinuxSystemStats(root.path()).read({Kind::cpu});
    EXPECT_EQ(readings.cpu, c.ticks) << c.name;
  }
}

TEST(LinuxSystemStats, MemoryUsedIsWhatIsNotAvailableOfTheTotal) {
  struct Case {
    const char* name;
    std::string file;
    std::optional<double> used;
  };
  const std::string padding_line = "Padding:        1 kB\n";
  // MemAvailable's number is cut by the cap: it must not be read as a smaller number.
  std::string cut = "MemTotal:       1000000 kB\n";
  while (cut.size() + padding_line.size() < kCap - 18) cut += padding_line;
  cut += std::string(kCap - 18 - cut.size(), 'P') + "\n";
  cut += "MemAvailable:   250000 kB\n";
  ASSERT_GT(cut.size(), kCap);
  ASSERT_LT(cut.find("MemAvailable"), kCap);
  const std::vector<Case> cases = {
      {"a usual file", "MemTotal:       16000000 kB\nMemFree:         1000000 kB\nMemAvailable:    4000000 kB\n", 0.75},
      {"nothing available", "MemTotal: 100 kB\nMemAvailable: 0 kB\n", 1.0},
      {"an old kernel without MemAvailable", "MemTotal:       16000000 kB\nMemFree:         1000000 kB\n", std::nullopt},
      {"no total", "MemAvailable: 10 kB\n", std::nullopt},
      {"a total of zero", "MemTotal: 0 kB\nMemAvailable: 0 kB\n", std::nullopt},
      {"another unit", "MemTotal: 16 GB\nMemAvailable: 4 GB\n", std::nullopt},
      {"a word for a number", "MemTotal: lots kB\nMemAvailable: 4 kB\n", std::nullopt},
      {"a key that only starts alike", "MemTotalX: 100 kB\nMemTotal: 200 kB\nMemAvailable: 50 kB\n", 0.75},
      {"a number cut at the cap", cut, std::nullopt},
  };
  for (const auto& c : cases) {
    TempRoot root("stats");
    root.write("proc/meminfo", c.file);
    const auto readings = LinuxSystemStats(root.path()).read({Kind::ram});
    ASSERT_EQ(readings.memory_used.has_value(), c.used.has_value()) << c.name;
    if (c.used) {
      EXPECT_DOUBLE_EQ(*readings.memory_used, *c.used) << c.name;
    }
  }
}

TEST(LinuxSystemStats, TheBatteryIsTheSystemsOwnFirstBattery) {
  using Files = std::vector<std::pair<std::string, std::string>>;
  struct Case {
    const char* name;
    Files files;  // under sys/class/power_supply
    std::optional<deck::BatteryReading> battery;
  };
  const std::vector<Case> cases = {
      {"discharging", {{"BAT0/type", "Battery\n"}, {"BAT0/capacity", "57\n"}, {"BAT0/status", "Discharging\n"}},
       deck::BatteryReading{0.57, false}},
      {"charging", {{"BAT0/type", "Battery\n"}, {"BAT0/capacity", "40\n"}, {"BAT0/status", "Charging\n"}},
       deck::BatteryReading{0.40, true}},
      {"full on the adapter", {{"BAT0/type", "Battery\n"}, {"BAT0/capacity", "100\n"}, {"BAT0/status", "Full\n"}},
       deck::BatteryReading{1.0, true}},
      {"held below full", {{"BAT0/type", "Battery\n"}, {"BAT0/capacity", "80\n"}, {"BAT0/status", "Not charging\n"}},
       deck::BatteryReading{0.8, false}},
      {"no status", {{"BAT0/type", "Battery\n"}, {"BAT0/capacity", "33"}}, deck::BatteryReading{0.33, false}},
      {"a mouse's battery and the mains before the system's",
       {{"AC/type", "Mains\n"},
        {"AC/online", "1\n"},
        {"BAT1/type", "Battery\n"},
        {"BAT1/capacity", "64\n"},
        {"BAT1/status", "Discharging\n"},
        {"hidpp_battery_0/type", "Battery\n"},
        {"hidpp_battery_0/scope", "Device\n"},
        {"hidpp_battery_0/capacity", "5\n"}},
       deck::BatteryReading{0.64, false}},
      {"the first by name", {{"BAT1/type", "Battery\n"}, {"BAT1/capacity", "20\n"}, {"BAT0/type", "Battery\n"}, {"BAT0/capacity", "90\n"}},
       deck::BatteryReading{0.9, false}},
      {"an unreadable capacity, then a good battery",
       {{"BAT0/type", "Battery\n"}, {"BAT0/capacity", "full\n"}, {"BAT1/type", "Battery\n"}, {"BAT1/capacity", "70\n"}},
       deck::BatteryReading{0.7, false}},
      {"a capacity file without end", {{"BAT0/type", "Battery\n"}, {"BAT0/capacity", std::string(kCap * 4, '9')}},
       std::nullopt},
      {"only mains", {{"AC/type", "Mains\n"}, {"AC/online", "1\n"}}, std::nullopt},
      {"a desktop", {}, std::nullopt},
  };
  for (const auto& c : cases) {
    TempRoot root("stats");
    std::filesystem::create_directories(root.path() / "sys/class/power_supply");
    for (const auto& [file, text] : c.files) root.write("sys/class/power_supply/" + file, text);
    const auto battery = LinuxSystemStats(root.path()).read({Kind::battery}).battery;
    ASSERT_EQ(battery.has_value(), c.battery.has_value()) << c.name;
    if (!c.battery) continue;
    EXPECT_DOUBLE_EQ(battery->charge, c.battery->charge) << c.name;
    EXPECT_EQ(battery->charging, c.battery->charging) << c.name;
  }
}

TEST(LinuxSystemStats, AFolderCrowdedWithPowerSuppliesIsNotSearched) {
  TempRoot root("stats");
  for (std::size_t i = 0; i <= LinuxSystemStats::kMaxPowerSupplies; ++i) {
    root.write("sys/class/power_supply/hid-" + std::to_string(i) + "/type", "Mains\n");
  }
  root.write("sys/class/power_supply/BAT0/type", "Battery\n");
  root.write("sys/class/power_supply/BAT0/capacity", "50\n");
  EXPECT_FALSE(LinuxSystemStats(root.path()).read({Kind::battery}).battery);
  root.remove("sys/class/power_supply/hid-0");
  root.remove("sys/class/power_supply/hid-1");
  EXPECT_TRUE(LinuxSystemStats(root.path()).read({Kind::battery}).battery);
}

TEST(LinuxSystemStats, StorageIsTheUsedShareOfTheVolumeHoldingTheRoot) {
  TempRoot root("stats");
  const auto space = std::filesystem::space(root.path());
  const double expected = 1.0 - static_cast<double>(space.free) / static_cast<double>(space.capacity);
  const auto used = LinuxSystemStats(root.path()).read({Kind::storage}).storage_used;
  ASSERT_TRUE(used);
  // Other programs write to the same disk meanwhile.
  EXPECT_NEAR(*used, expected, 0.01);
  EXPECT_FALSE(LinuxSystemStats(root.path() / "missing").read({Kind::storage}).storage_used);
}

TEST(LinuxSystemStats, OnlyTheKindsAskedForAreRead) {
  TempRoot root("stats");
  root.write("proc/stat", "cpu 1 2 3 4\n");
  root.write("proc/meminfo", "MemTotal: 100 kB\nMemAvailable: 50 kB\n");
  root.write("sys/class/power_supply/BAT0/type", "Battery\n");
  root.write("sys/class/power_supply/BAT0/capacity", "50\n");
  const LinuxSystemStats stats(root.path());
  const auto memory_only = stats.read({Kind::ram});
  EXPECT_TRUE(memory_only.memory_used);
  EXPECT_FALSE(memory_only.cpu);
  EXPECT_FALSE(memory_only.storage_used);
  EXPECT_FALSE(memory_only.battery);
  const auto all = stats.read({Kind::cpu, Kind::ram, Kind::storage, Kind::battery, Kind::unknown});
  EXPECT_TRUE(all.cpu && all.memory_used && all.storage_used && all.battery);
}

TEST(LinuxSystemStats, ThisMachinesOwnCountersParse) {
  const auto readings = LinuxSystemStats().read({Kind::cpu, Kind::ram, Kind::storage});
  ASSERT_TRUE(readings.cpu) << "the running kernel's /proc/stat did not parse";
  EXPECT_GT(readings.cpu->idle + readings.cpu->user + readings.cpu->system, 0u);
  ASSERT_TRUE(readings.memory_used) << "the running kernel's /proc/meminfo did not parse";
  EXPECT_GT(*readings.memory_used, 0.0);
  EXPECT_LT(*readings.memory_used, 1.0);
  EXPECT_TRUE(readings.storage_used);
}

}  // namespace
}  // namespace kolvo::platform
