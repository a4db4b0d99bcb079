#import <AppKit/AppKit.h>
#include <unistd.h>

#include "platform/mac/mac_adapters.hpp"

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
  MacOutputAudibility audio;
  MacSoundLibrary sounds{KOLVO_RESOURCE_DIR "/Sounds"};
  MacLoginItemService login_items;
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
    NSString* identifier = [[NSString alloc] initWithBytes:bundle_identifier.data()
                                                    length:bundle_identifier.size()
                                                  encoding:NSUTF8StringEncoding];
    for (NSRunningApplication* app in [NSRunningApplication runningApplicationsWithBundleIdentifier:identifier]) {
      instances.push_back({app.processIdentifier, app.bundleURL.path.UTF8String ?: ""});
    }
  }
  return instances;
}

HostPorts make_host_ports(const HostIdentity& identity) {
  auto host = std::make_shared<MacHost>();
  HostPorts ports;
  ports.prefs = std::make_unique<MacPreferenceStore>(identity.bundle_id);
  ports.process = std::make_unique<MacProcessEnvironment>(identity);
  ports.accessibility = &host->accessibility;
  ports.appearance = &host->appearance;
  ports.audio = &host->audio;
  ports.sounds = &host->sounds;
  ports.login_items = &host->login_items;
  ports.preferences_location = "the " + identity.bundle_id + " defaults domain";
  ports.owner = std::move(host);
  return ports;
}

}  // namespace kolvo::platform
