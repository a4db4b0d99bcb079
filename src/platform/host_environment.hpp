#pragma once

#include <memory>
#include <string>

#include "core/app_ports.hpp"
#include "core/launch_at_login_manager.hpp"
#include "core/preference_store.hpp"
#include "core/system_ports.hpp"

namespace kolvo::platform {

struct HostIdentity {
  std::string bundle_id;
  std::string short_version;
  std::string build_version;
};

// Everything the host program takes from the machine it runs on. On the Mac these are the
// real frameworks; on Linux, the JSON preference file, /proc, and the simulated Mac.
struct HostPorts {
  std::unique_ptr<core::PreferenceStore> prefs;
  std::unique_ptr<core::ProcessEnvironment> process;
  core::AccessibilityTrust* accessibility = nullptr;
  core::SystemAppearance* appearance = nullptr;
  core::OutputAudibilityPort* audio = nullptr;
  core::SoundLibrary* sounds = nullptr;
  core::LoginItemService* login_items = nullptr;
  // Where the preferences live, for messages ("~/.config/kolvo/preferences.json").
  std::string preferences_location;
  // Owns the objects the pointers above refer to.
  std::shared_ptr<void> owner;
};

HostPorts make_host_ports(const HostIdentity& identity);

}  // namespace kolvo::platform
