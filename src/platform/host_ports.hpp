#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "app/platform_ports.hpp"

namespace kolvo::platform {

struct HostIdentity {
  std::string bundle_id;
  std::string short_version;
  std::string build_version;
};

struct HostOptions {
  // A simulated desktop to use instead of the machine's: displays, Dock and running apps.
  std::optional<std::filesystem::path> sim_layout;
  // The application to treat as frontmost, for profiles; overrides the layout's.
  std::optional<std::string> frontmost;
  // The update feed to check; without it, KOLVO_UPDATE_FEED_URL, then in the app the
  // bundle's KolvoUpdateFeedURL.
  std::optional<std::string> update_feed_url;
};

// The variable that names an update feed for a program started from a shell.
inline constexpr const char* kUpdateFeedEnvironmentVariable = "KOLVO_UPDATE_FEED_URL";

// Either the ports, or a sentence saying why they could not be made (a layout file that
// cannot be read, say).
struct HostPortsResult {
  std::optional<app::PlatformPorts> ports;
  std::string error;
};

// The ports of the `kolvo` command: on Linux the preference file and the simulated Mac; on the
// Mac the real one, with its displays, Dock and applications replaced by a layout file when
// one is given.
HostPortsResult make_host_ports(const HostIdentity& identity, const HostOptions& options);

// Where a running host listens for `kolvo control` and `kolvo timer`: beside the preferences
// on Linux, so each preference domain has its own host; in the per-user temporary folder on
// the Mac.
std::filesystem::path control_socket_path();

}  // namespace kolvo::platform
