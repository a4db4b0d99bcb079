#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "base/date_time.hpp"
#include "blender/blender_ports.hpp"
#include "controls/control_ports.hpp"

namespace kolvo::platform {

// Blender on Linux: the `blender` on the PATH, and the processes of that name in /proc. Linux
// has no notice of programs starting, so launches are not observed; the bridge client's
// regular look notices alone.
class LinuxBlenderProcesses final : public blender::BlenderProcesses {
 public:
  // How long `blender --version` may take; it answers in a fraction of a second.
  static constexpr std::chrono::seconds kVersionWatchdog{10};

  // `search_path` is a PATH: folders separated by colons.
  LinuxBlenderProcesses(std::shared_ptr<controls::ProcessLauncherPort> command_line, std::string search_path,
                        std::filesystem::path proc_root = "/proc");

  // The first executable regular file named `blender` on the PATH, with the version it gives
  // for --version. Asking costs a run of Blender (a third of a second), so the answer is kept
  // until the file changes.
  std::optional<blender::BlenderApplication> application() const override;
  std::vector<std::int32_t> running() const override;
  std::unique_ptr<blender::BlenderLaunchObservation> observe_launches(base::Executor& main,
                                                                      std::function<void()> changed) override;

 private:
  std::optional<std::string> version_of(const std::filesystem::path& executable) const;

  std::shared_ptr<controls::ProcessLauncherPort> command_line_;
  std::string search_path_;
  std::filesystem::path proc_root_;

  // The last program asked, when it was last changed, and its answer.
  struct Asked {
    std::filesystem::path executable;
    std::optional<base::WallTime> modified;
    std::optional<std::string> version;
  };
  mutable std::mutex mutex_;
  mutable std::optional<Asked> asked_;
};

// $HOME; $XDG_CONFIG_HOME/blender (else ~/.config/blender), where Blender keeps its user files;
// $TMPDIR, else /tmp.
blender::BlenderPaths linux_blender_paths();

}  // namespace kolvo::platform
