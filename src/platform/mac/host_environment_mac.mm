#import <AppKit/AppKit.h>
#include <unistd.h>

#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/objc_text.hpp"
#include "controls/audio_controllers.hpp"

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

std::vector<core::RunningInstance> MacProcessEnvironment::running_instances(std::string_view bundle_identifier) const {
  std::vector<core::RunningInstance> instances;
  @autoreleasepool {
    NSString* identifier = ns_string(bundle_identifier);
    for (NSRunningApplication* app in [NSRunningApplication runningApplicationsWithBundleIdentifier:identifier]) {
      instances.push_back({app.processIdentifier, utf8(app.bundleURL.path)});
    }
  }
  return instances;
}

HostPorts make_mac_host_ports(const HostIdentity& identity) {
  auto host = std::make_shared<MacHost>();
  HostPorts ports;
  ports.screens = &host->screens;
  ports.running = &host->running;
  ports.elements = &host->elements;
  ports.applications = &host->applications;
  ports.focused_application = &host->focused;
  ports.dock_domain = &host->dock_domain;
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
  ports.windows = &host->windows;
  ports.preferences_location = "the " + identity.bundle_id + " defaults domain";
  ports.owner = std::move(host);
  return ports;
}

std::filesystem::path control_socket_path() {
  // The per-user temporary folder: private to the user, and short enough for a socket address.
  return std::filesystem::path(utf8(NSTemporaryDirectory())) / "com.kolvo.Kolvo.control.sock";
}

}  // namespace kolvo::platform
