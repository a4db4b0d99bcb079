// The command-line tool's ports on the Mac: the real Mac, or, with --sim FILE, a layout file
// standing in for its displays, Dock and applications. Only `kolvo` compiles this file, so the
// menu-bar application links no part of the simulator.

#include "platform/host_environment.hpp"
#include "platform/mac/mac_adapters.hpp"
#include "platform/sim/simulated_desktop.hpp"

namespace kolvo::platform {
namespace {

struct MacWithSimulatedDesktop {
  std::shared_ptr<void> mac;
  std::unique_ptr<sim::SimulatedDesktop> desktop;
};

}  // namespace

HostPortsResult make_host_ports(const HostIdentity& identity, const HostOptions& options) {
  HostPorts ports = make_mac_host_ports(identity);
  if (!options.sim_layout) return {std::move(ports), {}};

  std::string error;
  auto layout = sim::load_layout(options.sim_layout->string(), &error);
  if (!layout) return {std::nullopt, error};
  auto owner = std::make_shared<MacWithSimulatedDesktop>();
  owner->mac = std::move(ports.owner);
  owner->desktop = std::make_unique<sim::SimulatedDesktop>(std::move(*layout));
  sim::SimulatedDesktop* desktop = owner->desktop.get();
  if (options.frontmost) desktop->set_frontmost_application(options.frontmost);
  ports.screens = desktop;
  ports.running = desktop;
  ports.elements = desktop;
  ports.applications = desktop;
  ports.focused_application = desktop;
  ports.windows = desktop;
  ports.dock_domain = desktop->dock_domain();
  ports.owner = std::move(owner);
  return {std::move(ports), {}};
}

}  // namespace kolvo::platform
