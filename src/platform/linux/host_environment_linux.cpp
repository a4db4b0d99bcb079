#include <cstdlib>

#include "platform/host_ports.hpp"
#include "platform/linux/agent_paths_linux.hpp"
#include "platform/linux/blender_processes_linux.hpp"
#include "platform/linux/directory_watch_linux.hpp"
#include "platform/linux/dns_service_registrar_linux.hpp"
#include "platform/linux/image_thumbnailer_linux.hpp"
#include "platform/linux/json_file_preference_store_linux.hpp"
#include "platform/linux/process_environment_linux.hpp"
#include "platform/linux/running_program_probe_linux.hpp"
#include "platform/linux/system_stats_linux.hpp"
#include "platform/linux/update_feed_fetcher_linux.hpp"
#include "platform/posix/process_launcher_posix.hpp"
#include "platform/sim/simulated_adobe.hpp"
#include "platform/sim/simulated_applications.hpp"
#include "platform/sim/simulated_commands.hpp"
#include "platform/sim/simulated_desktop.hpp"
#include "platform/sim/simulated_mac.hpp"
#include "platform/sim/simulated_spotify.hpp"
#include "shelf/spotify/spotify_surface_session.hpp"

namespace kolvo::platform {
namespace {

// The simulated Mac: its hardware and system answers, and its desktop.
struct SimulatedMachine {
  explicit SimulatedMachine(sim::SimulatedLayout layout) : desktop(std::move(layout)) {
    // Spotify runs with a queue of three tracks, paused, their covers on the simulated web.
    spotify->set_tracks(sim::SimulatedSpotify::sample_tracks());
    for (const auto& track : spotify->tracks()) web.serve(track.artwork_url, 200, sim::simulated_cover(track.id, 640));
    applications.install(shelf::kSpotifyBundleID, spotify);
    applications.launch(shelf::kSpotifyBundleID);
    // The Adobe applications are installed but closed until `kolvo sim APP open`.
    adobe = sim::install_simulated_adobe(applications);
  }
  sim::SimulatedMac mac;
  sim::SimulatedDesktop desktop;
  // The applications the Shelf's media and creative widgets drive.
  sim::SimulatedApplications applications;
  std::shared_ptr<sim::SimulatedSpotify> spotify = std::make_shared<sim::SimulatedSpotify>();
  sim::SimulatedWeb web;
  sim::SimulatedAdobeApplications adobe;
};

}  // namespace

namespace {

// The folders the PATH names, where Blender is looked for.
std::string search_path() {
  const char* variable = std::getenv("PATH");
  return variable != nullptr ? std::string(variable) : std::string();
}

std::string configured_feed(const HostOptions& options) {
  if (options.update_feed_url) return *options.update_feed_url;
  const char* variable = std::getenv(kUpdateFeedEnvironmentVariable);
  return variable != nullptr ? std::string(variable) : std::string();
}

}  // namespace

HostPortsResult make_host_ports(const HostIdentity& identity, const HostOptions& options) {
  std::string error;
  auto layout = sim::load_layout(options.sim_layout ? std::optional<std::string>(options.sim_layout->string())
                                                    : std::nullopt,
                                 &error);
  if (!layout) return {std::nullopt, error};
  if (options.frontmost) layout->frontmost_application = options.frontmost;
  const auto trusted = layout->accessibility_trusted;
  auto machine = std::make_shared<SimulatedMachine>(std::move(*layout));
  if (trusted) machine->mac.set_accessibility_trusted(*trusted);
  sim::SimulatedMac* mac = &machine->mac;
  sim::SimulatedDesktop* desktop = &machine->desktop;
  mac->set_key_event_receiver([desktop](const controls::KeyboardEvent& event) { desktop->receive_key_event(event); });

  // Every port shares the machine, so none outlives what answers it.
  const auto share = [&machine](auto* part) { return std::shared_ptr<std::remove_pointer_t<decltype(part)>>(machine, part); };
  auto prefs = std::make_shared<JsonFilePreferenceStore>(JsonFilePreferenceStore::default_path());
  const std::string location = prefs->path().string();
  auto command_line = std::make_shared<PosixProcessLauncher>();
  return {app::PlatformPorts{
              .prefs = std::move(prefs),
              .process = std::make_shared<LinuxProcessEnvironment>(identity),
              .accessibility = share(mac),
              .appearance = share(mac),
              .audibility = share(mac),
              .sounds = share(mac),
              .login_items = share(mac),
              .screens = share(desktop),
              .running = share(desktop),
              .elements = share(desktop),
              .applications = share(desktop),
              .focused_application = share(desktop),
              .opener = share(desktop),
              .core_audio = share(mac),
              .frameworks = share(mac),
              .events = share(mac),
              .scripts = share(mac),
              .processes = share(mac),
              .global_preferences = share(mac),
              .windows = share(desktop),
              .dock_domain = std::shared_ptr<const prefs::PreferenceStore>(machine, desktop->dock_domain()),
              .preferences_location = location,
              .simulate_frontmost = [machine](std::optional<std::string> bundle_id) {
                machine->desktop.set_frontmost_application(std::move(bundle_id));
              },
              .drive_simulation =
                  [machine](const std::vector<std::string>& words) {
                    return sim::drive_simulation({machine->applications, *machine->spotify, machine->web}, words);
                  },
              .report_simulated_changes =
                  [machine](std::function<void(std::string_view)> sink) {
                    machine->mac.set_change_sink(sink);
                    machine->desktop.set_change_sink(std::move(sink));
                  },
              .update_feed_url = configured_feed(options),
              .make_update_feed_fetcher = [](base::Executor& main) -> std::unique_ptr<update::UpdateFeedFetcher> {
                return std::make_unique<CurlUpdateFeedFetcher>(main);
              },
              // The statistics and the advertising are this machine's own, not the simulated Mac's:
              // a phone driving the host sees the load and the name of the computer it runs on.
              .system_stats = std::make_shared<LinuxSystemStats>(),
              .make_dns_service_registrar = linux_dns_service_registrar_factory(),
              .agent_paths = linux_agent_paths(),
              // The coding agents, too, run on this machine.
              .programs = std::make_shared<LinuxRunningProgramProbe>(),
              .watch_directory = linux_directory_watch_factory(),
              .apple_events = share(&machine->applications),
              .application_processes = share(&machine->applications),
              .downloader = share(&machine->web),
              // Pictures are really decoded, scaled and encoded here, as ImageIO does on the Mac.
              .thumbnailer = std::make_shared<StbImageThumbnailer>(),
              // Blender, too, is this machine's.
              .blender = std::make_shared<LinuxBlenderProcesses>(command_line, search_path()),
              .blender_paths = linux_blender_paths(),
              .blender_command_line = command_line,
          },
          {}};
}

std::filesystem::path control_socket_path() {
  return JsonFilePreferenceStore::default_path().parent_path() / "control.sock";
}

}  // namespace kolvo::platform
