#pragma once

#include <memory>

#include "app/platform_ports.hpp"
#include "platform/sim/simulated_applications.hpp"
#include "platform/sim/simulated_desktop.hpp"
#include "platform/sim/simulated_mac.hpp"
#include "prefs/preference_store.hpp"

namespace kolvo::testing {

// The simulated Mac and desktop behind every port of a runtime, over an in-memory domain.
struct SimulatedMachine {
  sim::SimulatedMac mac;
  sim::SimulatedDesktop desktop{*sim::load_layout(std::nullopt, nullptr)};
  sim::SimulatedApplications applications;
};

// The ports of `machine` (a fresh one when null), as a runtime takes them.
inline app::PlatformPorts simulated_ports(std::shared_ptr<SimulatedMachine> machine = nullptr) {
  if (!machine) machine = std::make_shared<SimulatedMachine>();
  const auto share = [&machine](auto* part) { return std::shared_ptr<std::remove_pointer_t<decltype(part)>>(machine, part); };
  return {.prefs = std::make_shared<prefs::MemoryPreferenceStore>(),
          .process = nullptr,
          .accessibility = share(&machine->mac),
          .appearance = share(&machine->mac),
          .audibility = share(&machine->mac),
          .sounds = share(&machine->mac),
          .login_items = share(&machine->mac),
          .screens = share(&machine->desktop),
          .running = share(&machine->desktop),
          .elements = share(&machine->desktop),
          .applications = share(&machine->desktop),
          .focused_application = share(&machine->desktop),
          .opener = share(&machine->desktop),
          .core_audio = share(&machine->mac),
          .frameworks = share(&machine->mac),
          .events = share(&machine->mac),
          .scripts = share(&machine->mac),
          .processes = share(&machine->mac),
          .global_preferences = share(&machine->mac),
          .windows = share(&machine->desktop),
          .dock_domain = std::shared_ptr<const prefs::PreferenceStore>(machine, machine->desktop.dock_domain()),
          .preferences_location = "memory",
          .simulate_frontmost = {},
          .drive_simulation = {},
          .report_simulated_changes = {},
          .update_feed_url = {},
          .make_update_feed_fetcher = {},
          // No machine counters and no responder: the suites never read this machine's load or
          // announce themselves on the network unless a test asks for it.
          .system_stats = nullptr,
          .make_dns_service_registrar = {},
          .agent_paths = {},
          .programs = nullptr,
          .watch_directory = {},
          .apple_events = share(&machine->applications),
          .application_processes = share(&machine->applications),
          .downloader = nullptr,
          .thumbnailer = nullptr,
          .blender = nullptr,
          .blender_paths = {}};
}

}  // namespace kolvo::testing
