#import <Foundation/Foundation.h>
#import <IOKit/ps/IOPSKeys.h>
#import <IOKit/ps/IOPowerSources.h>
#include <mach/mach.h>
#include <sys/mount.h>
#include <sys/sysctl.h>

#include <algorithm>

#include "platform/mac/mac_adapters.hpp"

namespace kolvo::platform {
namespace {

using prefs::KolvoDeckStatKind;

bool wants(const std::vector<KolvoDeckStatKind>& kinds, KolvoDeckStatKind kind) {
  return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

// mach_host_self() hands out a send right on every call; this gives it back.
struct HostPort {
  mach_port_t port = mach_host_self();
  ~HostPort() { mach_port_deallocate(mach_task_self(), port); }
};

std::optional<deck::CpuTicks> cpu_ticks() {
  HostPort host;
  host_cpu_load_info_data_t load{};
  mach_msg_type_number_t count = HOST_CPU_LOAD_INFO_COUNT;
  if (host_statistics(host.port, HOST_CPU_LOAD_INFO, reinterpret_cast<host_info_t>(&load), &count) != KERN_SUCCESS) {
    return std::nullopt;
  }
  return deck::CpuTicks{.user = load.cpu_ticks[CPU_STATE_USER],
                        .system = load.cpu_ticks[CPU_STATE_SYSTEM],
                        .nice = load.cpu_ticks[CPU_STATE_NICE],
                        .idle = load.cpu_ticks[CPU_STATE_IDLE]};
}

// Active, wired and compressed pages over physical memory: what Activity Monitor calls memory
// used, less the cached files the system gives back at once.
std::optional<double> memory_used() {
  HostPort host;
  vm_statistics64_data_t vm{};
  mach_msg_type_number_t count = HOST_VM_INFO64_COUNT;
  if (host_statistics64(host.port, HOST_VM_INFO64, reinterpret_cast<host_info64_t>(&vm), &count) != KERN_SUCCESS) {
    return std::nullopt;
  }
  vm_size_t page_size = 0;
  if (host_page_size(host.port, &page_size) != KERN_SUCCESS || page_size == 0) return std::nullopt;
  std::uint64_t physical = 0;
  size_t size = sizeof physical;
  if (sysctlbyname("hw.memsize", &physical, &size, nullptr, 0) != 0 || physical == 0) return std::nullopt;
  const double pages = static_cast<double>(vm.active_count) + static_cast<double>(vm.wire_count) +
                       static_cast<double>(vm.compressor_page_count);
  return pages * static_cast<double>(page_size) / static_cast<double>(physical);
}

// On APFS the volumes of a container share its space, so the root volume's counts are the
// container's: what the disk has left, whichever volume fills it.
std::optional<double> storage_used() {
  struct statfs volume {};
  if (statfs("/", &volume) != 0 || volume.f_blocks == 0) return std::nullopt;
  return static_cast<double>(volume.f_blocks - std::min(volume.f_bfree, volume.f_blocks)) /
         static_cast<double>(volume.f_blocks);
}

std::optional<deck::BatteryReading> battery() {
  CFTypeRef info = IOPSCopyPowerSourcesInfo();
  if (info == nullptr) return std::nullopt;
  CFArrayRef sources = IOPSCopyPowerSourcesList(info);
  std::optional<deck::BatteryReading> reading;
  @autoreleasepool {
    for (id source in (__bridge NSArray*)sources) {
      NSDictionary* description = (__bridge NSDictionary*)IOPSGetPowerSourceDescription(info, (__bridge CFTypeRef)source);
      if (![description[@kIOPSTypeKey] isEqual:@kIOPSInternalBatteryType]) continue;
      NSNumber* current = description[@kIOPSCurrentCapacityKey];
      NSNumber* maximum = description[@kIOPSMaxCapacityKey];
      if (![current isKindOfClass:NSNumber.class] || ![maximum isKindOfClass:NSNumber.class] ||
          maximum.doubleValue <= 0) {
        continue;
      }
      // Charging, or full and held there on the adapter: on mains power, as the phone shows it.
      const bool charging = [description[@kIOPSIsChargingKey] boolValue];
      const bool on_adapter = [description[@kIOPSPowerSourceStateKey] isEqual:@kIOPSACPowerValue];
      const bool charged = [description[@kIOPSIsChargedKey] boolValue];
      reading = deck::BatteryReading{.charge = current.doubleValue / maximum.doubleValue,
                                     .charging = charging || (on_adapter && charged)};
      break;
    }
  }
  if (sources != nullptr) CFRelease(sources);
  CFRelease(info);
  return reading;
}

}  // namespace

deck::SystemReadings MacSystemStats::read(const std::vector<KolvoDeckStatKind>& kinds) const {
  deck::SystemReadings readings;
  if (wants(kinds, KolvoDeckStatKind::cpu)) readings.cpu = cpu_ticks();
  if (wants(kinds, KolvoDeckStatKind::ram)) readings.memory_used = memory_used();
  if (wants(kinds, KolvoDeckStatKind::storage)) readings.storage_used = storage_used();
  if (wants(kinds, KolvoDeckStatKind::battery)) readings.battery = battery();
  return readings;
}

}  // namespace kolvo::platform
