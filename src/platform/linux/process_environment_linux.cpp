#include "platform/linux/process_environment_linux.hpp"

#include <sys/utsname.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace kolvo::platform {
namespace fs = std::filesystem;

namespace {

std::vector<std::string> command_line(const fs::path& process_dir) {
  std::ifstream in(process_dir / "cmdline", std::ios::binary);
  std::vector<std::string> arguments;
  std::string argument;
  while (std::getline(in, argument, '\0')) arguments.push_back(argument);
  return arguments;
}

}  // namespace

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
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(proc_root_, error)) {
    const std::string name = entry.path().filename().string();
    if (name.empty() || name.find_first_not_of("0123456789") != std::string::npos) continue;
    std::error_code link_error;
    const fs::path executable = fs::read_symlink(entry.path() / "exe", link_error);
    if (link_error || executable.filename() != "kolvo") continue;
    const auto arguments = command_line(entry.path());
    // Only a serving host is a running Kolvo; a one-shot command is not.
    if (arguments.size() < 2 || arguments[1] != "serve") continue;
    instances.push_back({std::stoll(name), executable.parent_path().string()});
  }
  return instances;
}

}  // namespace kolvo::platform
