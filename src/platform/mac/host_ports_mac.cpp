// The command-line tool's ports on the Mac: the real Mac, or, with --sim FILE, a layout file
// standing in for its displays, Dock and applications. Only `kolvo` compiles this file, so the
// menu-bar application links no part of the simulator.

#include "platform/host_ports.hpp"
#include "platform/mac/mac_adapters.hpp"
#include "platform/sim/simulated_desktop.hpp"

namespace kolvo::platform {

HostPortsResult make_host_ports(const HostIdentity& identity, const HostOptions& options) {
  app::PlatformPorts ports = make_mac_platform_ports(identity);
  if (options.update_feed_url) ports.update_feed_url = *options.update_feed_url;
  if (!options.sim_layout) {
    // On the real Mac, --frontmost stands in for whatever is in front, as it does over a layout.
    if (options.frontmost) {
      auto stand_in = std::make_shared<catalog::StandInFrontmostApplication>(options.frontmost);
      ports.focused_application = stand_in;
      ports.simulate_frontmost = [stand_in](std::optional<std::string> bundle_id) {
        stand_in->bring_to_front(std::move(bundle_id));
      };
    }
    return {std::move(ports), {}};
  }

  std::string error;
  auto layout = sim::load_layout(options.sim_layout->string(), &error);
  if (!layout) return {std::nullopt, error};
  if (options.frontmost) layout->frontmost_application = options.frontmost;
  auto desktop = std::make_shared<sim::SimulatedDesktop>(std::move(*layout));
  ports.screens = desktop;
  ports.running = desktop;
  ports.elements = desktop;
  ports.applications = desktop;
  ports.focused_application = desktop;
  ports.opener = desktop;
  ports.windows = desktop;
  ports.dock_domain = std::shared_ptr<const prefs::PreferenceStore>(desktop, desktop->dock_domain());
  ports.simulate_frontmost = [desktop](std::optional<std::string> bundle_id) {
    desktop->set_frontmost_application(std::move(bundle_id));
  };
  return {std::move(ports), {}};
}

}  // namespace kolvo::platform
