#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/app_ports.hpp"
#include "app/launch_at_login_manager.hpp"
#include "catalog/app_item.hpp"
#include "catalog/focused_application_monitor.hpp"
#include "controls/control_ports.hpp"
#include "dock/accessibility_trust.hpp"
#include "dock/screens_port.hpp"
#include "prefs/preference_store.hpp"
#include "sound/sound_ports.hpp"
#include "ui/system_appearance.hpp"

namespace kolvo::platform {

struct HostIdentity {
  std::string bundle_id;
  std::string short_version;
  std::string build_version;
};

// Everything the host program takes from the machine it runs on. On the Mac these are the
// real frameworks; on Linux, the JSON preference file, /proc, and the simulated Mac.
struct HostPorts {
  std::unique_ptr<prefs::PreferenceStore> prefs;
  std::unique_ptr<app::ProcessEnvironment> process;
  dock::AccessibilityTrust* accessibility = nullptr;
  ui::SystemAppearance* appearance = nullptr;
  sound::OutputAudibilityPort* audio = nullptr;
  sound::SoundLibrary* sounds = nullptr;
  app::LoginItemService* login_items = nullptr;
  dock::ScreensPort* screens = nullptr;
  dock::RunningApplicationsPort* running = nullptr;
  dock::AccessibilityElementReader* elements = nullptr;
  catalog::ApplicationCatalog* applications = nullptr;
  catalog::FocusedApplicationMonitor* focused_application = nullptr;
  // What the control services drive.
  controls::CoreAudioPort* core_audio = nullptr;
  controls::PrivateFrameworksPort* frameworks = nullptr;
  controls::HIDEventPort* events = nullptr;
  controls::AppleScriptPort* scripts = nullptr;
  controls::ProcessLauncherPort* processes = nullptr;
  const controls::GlobalPreferencesPort* global_preferences = nullptr;
  const controls::AXApplicationsPort* windows = nullptr;
  // Set when the Mac being driven is the simulated one: it reports each change it undergoes.
  std::function<void(std::function<void(std::string_view line)> sink)> report_simulated_changes;
  // "com.apple.dock"; null when it cannot be opened.
  const prefs::PreferenceStore* dock_domain = nullptr;
  // Where the preferences live, for messages ("~/.config/kolvo/preferences.json").
  std::string preferences_location;
  // Owns the objects the pointers above refer to.
  std::shared_ptr<void> owner;
};

struct HostOptions {
  // A simulated desktop to use instead of the machine's: displays, Dock and running apps.
  std::optional<std::filesystem::path> sim_layout;
  // The application to treat as frontmost, for profiles; overrides the layout's.
  std::optional<std::string> frontmost;
};

// Either the ports, or a sentence saying why they could not be made (a layout file that
// cannot be read, say).
struct HostPortsResult {
  std::optional<HostPorts> ports;
  std::string error;
};

HostPortsResult make_host_ports(const HostIdentity& identity, const HostOptions& options);

// Where a running host listens for `kolvo control` and `kolvo timer`: beside the preferences
// on Linux, so each preference domain has its own host; in the per-user temporary folder on
// the Mac.
std::filesystem::path control_socket_path();

}  // namespace kolvo::platform
