#include "platform/linux/process_environment_linux.hpp"

#include <sys/utsname.h>
#include <unistd.h>

#include <fstream>

#include "platform/linux/proc_scan_linux.hpp"

namespace kolvo::platform {
namespace fs = std::filesystem;

LinuxProcessEnvironment::LinuxProcessEnvironment(HostIdentity identity, fs::path proc_root)
    : identity_(std::move(identity)), proc_root_(std::move(proc_root)) {}

std::int64_t LinuxProcessEnvironment::pid() const { return ::getpid(); }

std::string LinuxProcessEnvironment::bundle_path() const {
  std::error_code error;
  const fs::path executable = fs::read_symlink(proc_root_ / "self" / "exe", error);
  if (error) return "unknown";
  return executable.parent_path().string();
}

std::string LinuxProcessEnvironment::os_version() const {
  std::ifstream release("/etc/os-release");
  std::string line;
  std::string name;
  while (std::getline(release, line)) {
    if (line.rfind("PRETTY_NAME=", 0) == 0) {
      name = line.substr(12);
      if (name.size() >= 2 && name.front() == '"' && name.back() == '"') name = name.substr(1, name.size() - 2);
    }
  }
  utsname uts{};
  const std::string kernel = ::uname(&uts) == 0 ? std::string(uts.sysname) + " " + uts.release : "";
  // There is no macOS here; say what stands in for it.
  if (name.empty()) return "(simulated) " + kernel;
  return "(simulated) on " + name + (kernel.empty() ? "" : ", " + kernel);
}

std::vector<app::RunningInstance> LinuxProcessEnvironment::running_instances(std::string_view bundle_identifier) const {
  std::vector<app::RunningInstance> instances;
  if (bundle_identifier != identity_.bundle_id) return instances;
  for_each_process(proc_root_, [&instances](std::int64_t pid, const fs::path& folder) {
    std::error_code link_error;
    const fs::path executable = fs::read_symlink(folder / "exe", link_error);
    if (link_error || executable.filename() != "kolvo") return true;
    const auto arguments = process_arguments(folder);
    // Only a serving host is a running Kolvo; a one-shot command is not.
    if (arguments.size() < 2 || arguments[1] != "serve") return true;
    instances.push_back({pid, executable.parent_path().string()});
    return true;
  });
  return instances;
}

}  // namespace kolvo::platform
