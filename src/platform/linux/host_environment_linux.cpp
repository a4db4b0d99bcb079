#include "platform/host_environment.hpp"
#include "platform/linux/json_file_preference_store_linux.hpp"
#include "platform/linux/process_environment_linux.hpp"
#include "platform/sim/simulated_mac.hpp"

namespace kolvo::platform {

HostPorts make_host_ports(const HostIdentity& identity) {
  auto mac = std::make_shared<sim::SimulatedMac>();
  auto prefs = std::make_unique<JsonFilePreferenceStore>(JsonFilePreferenceStore::default_path());
  HostPorts ports;
  ports.preferences_location = prefs->path().string();
  ports.prefs = std::move(prefs);
  ports.process = std::make_unique<LinuxProcessEnvironment>(identity);
  ports.accessibility = mac.get();
  ports.appearance = mac.get();
  ports.audio = mac.get();
  ports.sounds = mac.get();
  ports.login_items = mac.get();
  ports.owner = std::move(mac);
  return ports;
}

}  // namespace kolvo::platform
