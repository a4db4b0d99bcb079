#import <AppKit/AppKit.h>
#include <unistd.h>

#include "controls/audio_controllers.hpp"
#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/objc_text.hpp"
#include "platform/sim/simulated_desktop.hpp"

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
  MacProcessLauncher processes;
  MacGlobalPreferences global_preferences;
  MacAXApplications windows;
  MacSoundLibrary sounds{KOLVO_RESOURCE_DIR "/Sounds"};
  MacLoginItemService login_items;
  MacScreens screens;
  MacRunningApplications running;
  MacAccessibilityElements elements;
  MacApplicationCatalog applications;
  MacFocusedApplicationMonitor focused;
  MacPreferenceStore dock_domain{"com.apple.dock"};
  std::unique_ptr<sim::SimulatedDesktop> simulated;
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

std::vector<app::RunningInstance> MacProcessEnvironment::running_instances(std::string_view bundle_identifier) const {
  std::vector<app::RunningInstance> instances;
  @autoreleasepool {
    NSString* identifier = ns_string(bundle_identifier);
    for (NSRunningApplication* app in [NSRunningApplication runningApplicationsWithBundleIdentifier:identifier]) {
      instances.push_back({app.processIdentifier, app.bundleURL.path.UTF8String ?: ""});
    }
  }
  return instances;
}

HostPortsResult make_host_ports(const HostIdentity& identity, const HostOptions& options) {
  auto host = std::make_shared<MacHost>();
  HostPorts ports;
  ports.screens = &host->screens;
  ports.running = &host->running;
  ports.elements = &host->elements;
  ports.applications = &host->applications;
  ports.focused_application = &host->focused;
  ports.dock_domain = &host->dock_domain;
  if (options.sim_layout) {
    // A layout file stands in for this Mac's displays, Dock and applications.
    std::string error;
    auto layout = sim::load_layout(options.sim_layout->string(), &error);
    if (!layout) return {std::nullopt, error};
    host->simulated = std::make_unique<sim::SimulatedDesktop>(std::move(*layout));
    ports.screens = host->simulated.get();
    ports.running = host->simulated.get();
    ports.elements = host->simulated.get();
    ports.applications = host->simulated.get();
    if (options.frontmost) host->simulated->set_frontmost_application(options.frontmost);
    ports.focused_application = host->simulated.get();
    ports.windows = host->simulated.get();
    ports.dock_domain = host->simulated->dock_domain();
  }
  ports.prefs = std::make_unique<MacPreferenceStore>(identity.bundle_id);
  ports.process = std::make_unique<MacProcessEnvironment>(identity);
  ports.accessibility = &host->accessibility;
  ports.appearance = &host->appearance;
  ports.audio = &host->audio;
  ports.sounds = &host->sounds;
  ports.login_items = &host->login_items;
  ports.core_audio = &host->core_audio;
  ports.frameworks = &host->frameworks;
  ports.events = &host->events;
  ports.scripts = &host->scripts;
  ports.processes = &host->processes;
  ports.global_preferences = &host->global_preferences;
  if (!ports.windows) ports.windows = &host->windows;
  ports.preferences_location = "the " + identity.bundle_id + " defaults domain";
  ports.owner = std::move(host);
  return {std::move(ports), {}};
}

std::filesystem::path control_socket_path() {
  // The per-user temporary folder: private to the user, and short enough for a socket address.
  return std::filesystem::path(utf8(NSTemporaryDirectory())) / "com.kolvo.Kolvo.control.sock";
}

}  // namespace kolvo::platform
