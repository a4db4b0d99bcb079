#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "app/app_ports.hpp"
#include "app/launch_at_login_manager.hpp"
#include "app/requests.hpp"
#include "blender/blender_ports.hpp"
#include "catalog/app_item.hpp"
#include "catalog/application_opener.hpp"
#include "catalog/focused_application_monitor.hpp"
#include "controls/control_ports.hpp"
#include "deck/server/dns_service_registrar.hpp"
#include "deck/server/system_stats.hpp"
#include "dock/accessibility_trust.hpp"
#include "dock/screens_port.hpp"
#include "overlay/hover_monitor.hpp"
#include "overlay/overlay_window_manager.hpp"
#include "prefs/preference_store.hpp"
#include "shelf/apple_events.hpp"
#include "shelf/artwork_ports.hpp"
#include "shelf/shelf_ports.hpp"
#include "sound/sound_ports.hpp"
#include "ui/system_appearance.hpp"
#include "ui/zone_map.hpp"
#include "update/update_feed_fetcher.hpp"

namespace kolvo::app {

// Everything the program takes from the machine it runs on: the real frameworks on the Mac,
// the preference file and the simulated Mac on the headless host. Each port shares ownership
// of whatever object answers it, so the set can be handed around and outlives no part of it.
struct PlatformPorts {
  std::shared_ptr<prefs::PreferenceStore> prefs;
  std::shared_ptr<const ProcessEnvironment> process;
  std::shared_ptr<const dock::AccessibilityTrust> accessibility;
  std::shared_ptr<ui::SystemAppearance> appearance;
  std::shared_ptr<const sound::OutputAudibilityPort> audibility;
  std::shared_ptr<sound::SoundLibrary> sounds;
  std::shared_ptr<LoginItemService> login_items;
  std::shared_ptr<const dock::ScreensPort> screens;
  std::shared_ptr<const dock::RunningApplicationsPort> running;
  std::shared_ptr<const dock::AccessibilityElementReader> elements;
  std::shared_ptr<const catalog::ApplicationCatalog> applications;
  std::shared_ptr<catalog::FocusedApplicationMonitor> focused_application;
  std::shared_ptr<catalog::ApplicationOpener> opener;
  // What the control services drive.
  std::shared_ptr<controls::CoreAudioPort> core_audio;
  std::shared_ptr<controls::PrivateFrameworksPort> frameworks;
  std::shared_ptr<controls::HIDEventPort> events;
  std::shared_ptr<controls::AppleScriptPort> scripts;
  std::shared_ptr<controls::ProcessLauncherPort> processes;
  std::shared_ptr<const controls::GlobalPreferencesPort> global_preferences;
  std::shared_ptr<const controls::AXApplicationsPort> windows;
  // "com.apple.dock"; null when it cannot be opened.
  std::shared_ptr<const prefs::PreferenceStore> dock_domain;
  // Where the preferences live, for messages ("~/.config/kolvo/preferences.json").
  std::string preferences_location;
  // Set when the frontmost application is simulated or stood in for: brings another one to the
  // front, as a click on it would, for replayed traces.
  std::function<void(std::optional<std::string> bundle_id)> simulate_frontmost;
  // Set when the Mac is simulated: carries out `kolvo sim WORDS…` on its applications.
  std::function<Reply(const std::vector<std::string>& words)> drive_simulation;
  // Set when the Mac being driven is the simulated one: it reports each change it undergoes.
  std::function<void(std::function<void(std::string_view line)> sink)> report_simulated_changes;
  // The update feed's address; empty when none is configured, and then nothing is checked.
  std::string update_feed_url;
  // Makes what fetches the feed, answering on the given executor.
  update::UpdateFeedFetcherFactory make_update_feed_fetcher;
  // The machine's counters for the phone's statistics; null where there are none to read.
  std::shared_ptr<const deck::SystemStatsPort> system_stats;
  // Advertises the phone link on the local network; unset where there is no mDNS responder.
  deck::DnsServiceRegistrarFactory make_dns_service_registrar;
  // The Shelf's coding-agent widgets: the folders they read, which programs run, and notice of
  // a folder's changes. Those are this machine's own even on the simulated Mac: the agents run
  // here. Null or unset where there is nothing to watch, and those widgets then show nothing.
  shelf::AgentPaths agent_paths;
  std::shared_ptr<const shelf::RunningProgramProbe> programs;
  shelf::DirectoryWatchFactory watch_directory;
  // The media and creative widgets' way to the applications they drive: AppleScript, the
  // running applications and keystrokes to them, and cover pictures. The simulated Mac's own
  // applications on the headless host; null where there are none, and those widgets then say
  // the application is not open.
  std::shared_ptr<shelf::ScriptRunner> apple_events;
  std::shared_ptr<shelf::ApplicationProcesses> application_processes;
  std::shared_ptr<shelf::Downloader> downloader;
  std::shared_ptr<const shelf::ImageThumbnailer> thumbnailer;
  // The Blender bridge: where Blender is and whether it runs, where its files go, and how its
  // command line is run to install the extension. This machine's own even on the simulated Mac,
  // as Blender runs here. Null where Blender cannot be looked for, and the settings then offer
  // no Blender section.
  std::shared_ptr<blender::BlenderProcesses> blender = nullptr;
  blender::BlenderPaths blender_paths = {};
  std::shared_ptr<controls::ProcessLauncherPort> blender_command_line = nullptr;
};

// How a platform shows the panels and feeds them the pointer: AppKit panels and event
// monitors on the Mac, lines of text on the headless host.
class OverlayPlatform {
 public:
  virtual ~OverlayPlatform() = default;
  virtual std::shared_ptr<overlay::OverlayWindowManager> make_panels() = 0;
  virtual overlay::HapticPerformer& haptics() = 0;
  // The platform's pointer event monitors around the monitor; what the delegate then keeps.
  virtual std::shared_ptr<overlay::HoverMonitorControl> attach_pointer_monitors(
      std::shared_ptr<overlay::HoverMonitor> monitor) = 0;
  // Starts delivering pointer moves, once launch has everything in place.
  virtual void install_pointer_monitors() = 0;
  // The panels the activation zones are drawn on while "Show activation zones" is on.
  virtual std::shared_ptr<ui::ZoneMapPanels> make_zone_map_panels() = 0;
};

}  // namespace kolvo::app
