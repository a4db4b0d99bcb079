#include "platform/linux/blender_processes_linux.hpp"

#include <unistd.h>

#include <cstdlib>
#include <string_view>
#include <system_error>

#include "base/file_io.hpp"
#include "blender/blender_bridge_install.hpp"
#include "platform/linux/running_program_probe_linux.hpp"

namespace kolvo::platform {
namespace fs = std::filesystem;

namespace {

constexpr std::string_view kExecutableName = "blender";

bool is_executable_file(const fs::path& file) {
  std::error_code error;
  return fs::is_regular_file(file, error) && ::access(file.c_str(), X_OK) == 0;
}

// A variable's value when it is set to an absolute path; the XDG rule ignores relative ones.
std::optional<fs::path> absolute_variable(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0' || !fs::path(value).is_absolute()) return std::nullopt;
  return fs::path(value);
}

}  // namespace

LinuxBlenderProcesses::LinuxBlenderProcesses(std::shared_ptr<controls::ProcessLauncherPort> command_line,
                                             std::string search_path, fs::path proc_root)
    : command_line_(std::move(command_line)), search_path_(std::move(search_path)), proc_root_(std::move(proc_root)) {}

std::optional<blender::BlenderApplication> LinuxBlenderProcesses::application() const {
  std::string_view rest = search_path_;
  while (true) {
    const auto colon = rest.find(':');
    const std::string_view folder = rest.substr(0, colon);
    // An empty entry would mean the current folder, which depends on where Kolvo was started.
    if (!folder.empty()) {
      const fs::path candidate = fs::path(folder) / kExecutableName;
      if (is_executable_file(candidate)) return blender::BlenderApplication{candidate, version_of(candidate)};
    }
    if (colon == std::string_view::npos) return std::nullopt;
    rest.remove_prefix(colon + 1);
  }
}

std::optional<std::string> LinuxBlenderProcesses::version_of(const fs::path& executable) const {
  const auto modified = base::file_modification_time(executable);
  {
    std::lock_guard lock(mutex_);
    if (asked_ && asked_->executable == executable && asked_->modified == modified) return asked_->version;
  }
  const auto outcome = command_line_->run_process({.executable = executable.string(),
                                                   .arguments = {"--version"},
                                                   .output = controls::ProcessRequest::Output::joined,
                                                   .watchdog = kVersionWatchdog});
  const auto version = outcome.launched && !outcome.timed_out ? blender::blender_version_from_output(outcome.output)
                                                              : std::nullopt;
  std::lock_guard lock(mutex_);
  asked_ = Asked{executable, modified, version};
  return version;
}

std::vector<std::int32_t> LinuxBlenderProcesses::running() const {
  std::vector<std::int32_t> pids;
  for_each_process_named(proc_root_, std::string(kExecutableName), [&pids](std::int64_t pid) {
    pids.push_back(static_cast<std::int32_t>(pid));
    return true;
  });
  return pids;
}

std::unique_ptr<blender::BlenderLaunchObservation> LinuxBlenderProcesses::observe_launches(base::Executor&,
                                                                                           std::function<void()>) {
  return nullptr;
}

blender::BlenderPaths linux_blender_paths() {
  const char* home_variable = std::getenv("HOME");
  std::error_code no_folder;
  const fs::path home = home_variable && *home_variable ? fs::path(home_variable) : fs::current_path(no_folder);
  const auto config = absolute_variable("XDG_CONFIG_HOME");
  return {.home = home,
          .blender_user_files = config.value_or(home / ".config") / "blender",
          .temporary = absolute_variable("TMPDIR").value_or("/tmp")};
}

}  // namespace kolvo::platform
