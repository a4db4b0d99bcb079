#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "app/app_ports.hpp"
#include "platform/host_ports.hpp"

namespace kolvo::platform {

// The headless host as a process: its "bundle" is the folder of its executable, and another
// running instance is another `kolvo serve`.
class LinuxProcessEnvironment final : public app::ProcessEnvironment {
 public:
  static constexpr std::string_view kSimulatedSystemVersion = "15.0";

  explicit LinuxProcessEnvironment(HostIdentity identity, std::filesystem::path proc_root = "/proc");

  std::int64_t pid() const override;
  std::string bundle_path() const override;
  std::string bundle_identifier() const override { return identity_.bundle_id; }
  std::string short_version() const override { return identity_.short_version; }
  std::string build_version() const override { return identity_.build_version; }
  std::string os_version() const override;
  // The simulated Mac's macOS, for the update check's minimum-system rule.
  std::string system_version() const override { return std::string(kSimulatedSystemVersion); }
  std::vector<app::RunningInstance> running_instances(std::string_view bundle_identifier) const override;

 private:
  HostIdentity identity_;
  std::filesystem::path proc_root_;
};

}  // namespace kolvo::platform
