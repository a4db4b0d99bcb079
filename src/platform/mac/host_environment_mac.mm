#import <AppKit/AppKit.h>
#include <unistd.h>

#include <cstdlib>

#include "controls/audio_controllers.hpp"
#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/objc_text.hpp"
#include "platform/posix/process_launcher_posix.hpp"

namespace kolvo::platform {
namespace {

std::string info_string(NSString* key, const std::string& fallback) {
  id value = NSBundle.mainBundle.infoDictionary[key];
  if ([value isKindOfClass:NSString.class]) return [value UTF8String];
  return fallback;
}

// Everything the real Mac answers, held together for the host program.
struct MacHost {
  MacAccessibilityTrust accessibility;
  MacSystemAppearance appearance;
  MacCoreAudio core_audio;
  controls::CoreAudioOutputAudibility audio{core_audio};
  MacPrivateFrameworks frameworks;
  MacHIDEvents events;
  MacAppleScript scripts;
  PosixProcessLauncher processes;
  MacGlobalPreferences global_preferences;
  MacAXApplications windows;
  MacSoundLibrary sounds{KOLVO_RESOURCE_DIR "/Sounds"};
  MacLoginItemService login_items;
  MacScreens screens;
  MacRunningApplications running;
  MacAccessibilityElements elements;
  MacApplicationCatalog applications;
  MacApplicationOpener opener;
  MacFocusedApplicationMonitor focused;
  MacPreferenceStore dock_domain{"com.apple.dock"};
  MacSystemStats stats;
  MacRunningProgramProbe programs;
  MacScriptRunner apple_events;
  MacApplicationProcesses application_processes;
  MacDownloader downloader;
  MacImageThumbnailer thumbnailer;
  MacBlenderProcesses blender;
};

}  // namespace

std::int64_t MacProcessEnvironment::pid() const { return ::getpid(); }

std::string MacProcessEnvironment::bundle_path() const { return NSBundle.mainBundle.bundlePath.UTF8String; }

std::string MacProcessEnvironment::bundle_identifier() const {
  NSString* identifier = NSBundle.mainBundle.bundleIdentifier;
  return identifier ? identifier.UTF8String : fallback_.bundle_id;
}

std::string MacProcessEnvironment::short_version() const {
  return info_string(@"CFBundleShortVersionString", fallback_.short_version);
}

std::string MacProcessEnvironment::build_version() const {
  return info_string(@"CFBundleVersion", fallback_.build_version);
}

std::string MacProcessEnvironment::os_version() const {
  return NSProcessInfo.processInfo.operatingSystemVersionString.UTF8String;
}

std::string MacProcessEnvironment::system_version() const {
  const NSOperatingSystemVersion version = NSProcessInfo.processInfo.operatingSystemVersion;
  return std::to_string(version.majorVersion) + "." + std::to_string(version.minorVersion) + "." +
         std::to_string(version.patchVersion);
}

std::vector<app::RunningInstance> MacProcessEnvironment::running_instances(std::string_view bundle_identifier) const {
  std::vector<app::RunningInstance> instances;
  @autoreleasepool {
    NSString* identifier = ns_string(bundle_identifier);
    for (NSRunningApplication* app in [NSRunningApplication runningApplicationsWithBundleIdentifier:identifier]) {
      instances.push_back({app.processIdentifier, utf8(app.bundleURL.path)});
    }
  }
  return instances;
}

namespace {

// KOLVO_UPDATE_FEED_URL, for trying a build against another feed, then the bundle's key.
std::string configured_update_feed() {
  const char* variable = std::getenv(kUpdateFeedEnvironmentVariable);
  if (variable != nullptr && variable[0] != '\0') return variable;
  return info_string(@"KolvoUpdateFeedURL", "");
}

shelf::AgentPaths mac_agent_paths() {
  NSArray<NSString*>* support =
      NSSearchPathForDirectoriesInDomains(NSApplicationSupportDirectory, NSUserDomainMask, YES);
  const std::filesystem::path home = utf8(NSHomeDirectory());
  return {.home = home,
          .application_support = support.count > 0 ? std::filesystem::path(utf8(support.firstObject))
                                                    : home / "Library" / "Application Support"};
}

}  // namespace

app::PlatformPorts make_mac_platform_ports(const HostIdentity& identity) {
  auto host = std::make_shared<MacHost>();
  // Every port shares the host, so none outlives what answers it.
  const auto share = [&host](auto* part) { return std::shared_ptr<std::remove_pointer_t<decltype(part)>>(host, part); };
  return {
      .prefs = std::make_shared<MacPreferenceStore>(identity.bundle_id),
      .process = std::make_shared<MacProcessEnvironment>(identity),
      .accessibility = share(&host->accessibility),
      .appearance = share(&host->appearance),
      .audibility = share(&host->audio),
      .sounds = share(&host->sounds),
      .login_items = share(&host->login_items),
      .screens = share(&host->screens),
      .running = share(&host->running),
      .elements = share(&host->elements),
      .applications = share(&host->applications),
      .focused_application = share(&host->focused),
      .opener = share(&host->opener),
      .core_audio = share(&host->core_audio),
      .frameworks = share(&host->frameworks),
      .events = share(&host->events),
      .scripts = share(&host->scripts),
      .processes = share(&host->processes),
      .global_preferences = share(&host->global_preferences),
      .windows = share(&host->windows),
      .dock_domain = share(&host->dock_domain),
      .preferences_location = "the " + identity.bundle_id + " defaults domain",
      .simulate_frontmost = {},
      .drive_simulation = {},
      .report_simulated_changes = {},
      .update_feed_url = configured_update_feed(),
      .make_update_feed_fetcher = [](base::Executor& main) -> std::unique_ptr<update::UpdateFeedFetcher> {
        return std::make_unique<MacUpdateFeedFetcher>(main);
      },
      .system_stats = share(&host->stats),
      .make_dns_service_registrar = mac_dns_service_registrar_factory(),
      .agent_paths = mac_agent_paths(),
      .programs = share(&host->programs),
      .watch_directory = mac_directory_watch_factory(),
      .apple_events = share(&host->apple_events),
      .application_processes = share(&host->application_processes),
      .downloader = share(&host->downloader),
      .thumbnailer = share(&host->thumbnailer),
      .blender = share(&host->blender),
      .blender_paths = mac_blender_paths(),
      .blender_command_line = share(&host->processes),
  };
}

std::filesystem::path control_socket_path() {
  // The per-user temporary folder: private to the user, and short enough for a socket address.
  return std::filesystem::path(utf8(NSTemporaryDirectory())) / "com.kolvo.Kolvo.control.sock";
}

}  // namespace kolvo::platform
