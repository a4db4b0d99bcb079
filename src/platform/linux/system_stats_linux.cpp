#include "platform/linux/system_stats_linux.hpp"

#include <sys/statvfs.h>

#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/capped_file_linux.hpp"

namespace kolvo::platform {
namespace fs = std::filesystem;
using prefs::KolvoDeckStatKind;

namespace {

std::string_view trimmed(std::string_view text) {
  const auto begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string_view::npos) return {};
  const auto end = text.find_last_not_of(" \t\r\n");
  return text.substr(begin, end - begin + 1);
}

// A decimal count that fills the whole word; absent for anything else, an overflow included.
std::optional<std::uint64_t> count_of(std::string_view word) {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || end != word.data() + word.size() || word.empty()) return std::nullopt;
  return value;
}

std::optional<std::uint64_t> sum(std::initializer_list<std::uint64_t> counts) {
  std::uint64_t total = 0;
  for (const std::uint64_t count : counts) {
    if (__builtin_add_overflow(total, count, &total)) return std::nullopt;
  }
  return total;
}

// The first line of /proc/stat: "cpu  user nice system idle iowait irq softirq steal guest
// guest_nice", in ticks summed over every processor. Kernels before 2.6 stop after idle.
std::optional<deck::CpuTicks> cpu_ticks(std::string_view text) {
  std::string_view line = first_line(text);
  if (!line.starts_with("cpu ")) return std::nullopt;
  line.remove_prefix(4);
  std::vector<std::uint64_t> columns;
  while (!(line = trimmed(line)).empty() && columns.size() < 8) {
    const auto end = line.find_first_of(" \t");
    const auto count = count_of(line.substr(0, end));
    if (!count) return std::nullopt;
    columns.push_back(*count);
    line = end == std::string_view::npos ? std::string_view() : line.substr(end);
  }
  if (columns.size() < 4) return std::nullopt;
  columns.resize(8, 0);
  const std::uint64_t user = columns[0], nice = columns[1], system = columns[2], idle = columns[3];
  const std::uint64_t iowait = columns[4], irq = columns[5], softirq = columns[6], steal = columns[7];
  // Waiting for I/O is idle time: the processor had nothing to run, and the Mac's counters,
  // which the phone's reading is modelled on, count it as idle too. Interrupt handling is the
  // system's work; time the hypervisor stole was wanted for work, so it counts as busy rather
  // than hiding a loaded virtual machine. Guest time is already part of user and nice.
  const auto system_total = sum({system, irq, softirq, steal});
  const auto idle_total = sum({idle, iowait});
  if (!system_total || !idle_total) return std::nullopt;
  return deck::CpuTicks{.user = user, .system = *system_total, .nice = nice, .idle = *idle_total};
}

// "MemTotal:       16318480 kB"
std::optional<std::uint64_t> meminfo_kib(std::string_view text, std::string_view key) {
  while (!text.empty()) {
    const std::string_view line = first_line(text);
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    if (!line.starts_with(key) || line.size() <= key.size() || line[key.size()] != ':') continue;
    std::string_view value = trimmed(line.substr(key.size() + 1));
    if (!value.ends_with(" kB")) return std::nullopt;
    value.remove_suffix(3);
    return count_of(trimmed(value));
  }
  return std::nullopt;
}

// What the kernel could hand out without swapping, as a share of all memory: the Linux
// counterpart of the Mac's active, wired and compressed pages.
std::optional<double> memory_used(std::string_view text) {
  const auto total = meminfo_kib(text, "MemTotal");
  const auto available = meminfo_kib(text, "MemAvailable");
  if (!total || !available || *total == 0) return std::nullopt;
  return 1.0 - static_cast<double>(*available) / static_cast<double>(*total);
}

std::optional<double> storage_used(const fs::path& volume) {
  struct statvfs stats {};
  if (::statvfs(volume.c_str(), &stats) != 0 || stats.f_blocks == 0) return std::nullopt;
  // Blocks in use over all blocks, as `df` counts them (both in f_frsize units).
  return static_cast<double>(stats.f_blocks - std::min(stats.f_bfree, stats.f_blocks)) /
         static_cast<double>(stats.f_blocks);
}

std::optional<std::string> attribute(const fs::path& device, const char* name) {
  const auto text = read_capped_lines(device / name, LinuxSystemStats::kMaxFileBytes);
  if (!text) return std::nullopt;
  return std::string(trimmed(first_line(*text)));
}

// The system's own battery: the first power supply, by name, of type "Battery" that powers the
// machine. A wireless mouse's or a phone's battery is a Battery too, but with scope "Device".
std::optional<deck::BatteryReading> battery(const fs::path& supplies) {
  std::vector<fs::path> devices;
  std::error_code error;
  for (fs::directory_iterator it(supplies, error), end; !error && it != end; it.increment(error)) {
    if (devices.size() == LinuxSystemStats::kMaxPowerSupplies) return std::nullopt;
    devices.push_back(it->path());
  }
  std::sort(devices.begin(), devices.end());
  for (const fs::path& device : devices) {
    if (attribute(device, "type") != "Battery" || attribute(device, "scope") == "Device") continue;
    const auto capacity_text = attribute(device, "capacity");
    const auto capacity = capacity_text ? count_of(*capacity_text) : std::nullopt;
    if (!capacity) continue;
    const auto status = attribute(device, "status");
    // On mains power is what the phone shows: charging, or full and held there.
    return deck::BatteryReading{.charge = static_cast<double>(*capacity) / 100.0,
                                .charging = status == "Charging" || status == "Full"};
  }
  return std::nullopt;
}

bool wants(const std::vector<KolvoDeckStatKind>& kinds, KolvoDeckStatKind kind) {
  return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

}  // namespace

LinuxSystemStats::LinuxSystemStats(fs::path root) : root_(std::move(root)) {}

deck::SystemReadings LinuxSystemStats::read(const std::vector<KolvoDeckStatKind>& kinds) const {
  deck::SystemReadings readings;
  if (wants(kinds, KolvoDeckStatKind::cpu)) {
    if (const auto text = read_capped_lines(root_ / "proc/stat", kMaxFileBytes)) readings.cpu = cpu_ticks(*text);
  }
  if (wants(kinds, KolvoDeckStatKind::ram)) {
    if (const auto text = read_capped_lines(root_ / "proc/meminfo", kMaxFileBytes)) {
      readings.memory_used = memory_used(*text);
    }
  }
  if (wants(kinds, KolvoDeckStatKind::storage)) readings.storage_used = storage_used(root_);
  if (wants(kinds, KolvoDeckStatKind::battery)) readings.battery = battery(root_ / "sys/class/power_supply");
  return readings;
}

}  // namespace kolvo::platform
