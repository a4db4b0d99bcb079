#include "platform/host_environment.hpp"
#include "platform/linux/json_file_preference_store_linux.hpp"
#include "platform/linux/process_environment_linux.hpp"
#include "platform/sim/simulated_desktop.hpp"
#include "platform/sim/simulated_mac.hpp"

namespace kolvo::platform {
namespace {

struct SimulatedMachine {
  sim::SimulatedMac mac;
  std::unique_ptr<sim::SimulatedDesktop> desktop;
};

}  // namespace

HostPortsResult make_host_ports(const HostIdentity& identity, const HostOptions& options) {
  std::string error;
  auto layout = sim::load_layout(options.sim_layout ? std::optional<std::string>(options.sim_layout->string())
                                                    : std::nullopt,
                                 &error);
  if (!layout) return {std::nullopt, error};
  auto machine = std::make_shared<SimulatedMachine>();
  if (layout->accessibility_trusted) machine->mac.set_accessibility_trusted(*layout->accessibility_trusted);
  if (options.frontmost) layout->frontmost_application = options.frontmost;
  machine->desktop = std::make_unique<sim::SimulatedDesktop>(std::move(*layout));

  auto prefs = std::make_unique<JsonFilePreferenceStore>(JsonFilePreferenceStore::default_path());
  HostPorts ports;
  ports.preferences_location = prefs->path().string();
  ports.prefs = std::move(prefs);
  ports.process = std::make_unique<LinuxProcessEnvironment>(identity);
  ports.accessibility = &machine->mac;
  ports.appearance = &machine->mac;
  ports.audio = &machine->mac;
  ports.sounds = &machine->mac;
  ports.login_items = &machine->mac;
  ports.screens = machine->desktop.get();
  ports.running = machine->desktop.get();
  ports.elements = machine->desktop.get();
  ports.applications = machine->desktop.get();
  ports.focused_application = machine->desktop.get();
  ports.core_audio = &machine->mac;
  ports.frameworks = &machine->mac;
  ports.events = &machine->mac;
  ports.scripts = &machine->mac;
  ports.processes = &machine->mac;
  ports.global_preferences = &machine->mac;
  ports.windows = machine->desktop.get();
  sim::SimulatedDesktop* desktop = machine->desktop.get();
  machine->mac.set_key_event_receiver([desktop](const controls::KeyboardEvent& event) { desktop->receive_key_event(event); });
  ports.report_simulated_changes = [mac = &machine->mac, desktop](std::function<void(std::string_view)> sink) {
    mac->set_change_sink(sink);
    desktop->set_change_sink(std::move(sink));
  };
  ports.dock_domain = machine->desktop->dock_domain();
  ports.owner = std::move(machine);
  return {std::move(ports), {}};
}

std::filesystem::path control_socket_path() {
  return JsonFilePreferenceStore::default_path().parent_path() / "control.sock";
}

}  // namespace kolvo::platform
