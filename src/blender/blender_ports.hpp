#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/executor.hpp"

// What the Blender bridge takes from the machine: where Blender is, whether it runs and where
// its user files live. Its command line is run through controls::ProcessLauncherPort, the one
// port for child programs.
namespace kolvo::blender {

// How Blender is known on the Mac.
inline constexpr std::string_view kBlenderBundleID = "org.blenderfoundation.blender";

// An installed Blender.
struct BlenderApplication {
  // The program itself: Contents/MacOS/Blender inside the bundle, or the `blender` on PATH.
  std::filesystem::path executable;
  // Its full version ("4.2.3"): the bundle's short version string on the Mac, what
  // `blender --version` says on Linux. Absent when none can be read.
  std::optional<std::string> version;
};

// Watching for Blender's launches and exits while it lives; destroying it ends the watch, and
// no call follows.
class BlenderLaunchObservation {
 public:
  virtual ~BlenderLaunchObservation() = default;
};

class BlenderProcesses {
 public:
  virtual ~BlenderProcesses() = default;
  // The Blender the system would open; absent when none is installed. Any thread.
  virtual std::optional<BlenderApplication> application() const = 0;
  // The process ids of the running Blenders, in the order the system reports them. Any thread.
  virtual std::vector<std::int32_t> running() const = 0;
  // Calls `changed` on `main` after a Blender starts or quits. Null where the platform cannot
  // tell; the bridge client's two-second look then notices alone.
  virtual std::unique_ptr<BlenderLaunchObservation> observe_launches(base::Executor& main,
                                                                     std::function<void()> changed) = 0;
};

// Where the bridge's files live.
struct BlenderPaths {
  // The user's home folder: the add-on writes its connection file under it, on every platform,
  // at "Library/Application Support/Kolvo/Blender/bridge.json".
  std::filesystem::path home;
  // Blender's own folder of per-version user files: ~/Library/Application Support/Blender on
  // the Mac, $XDG_CONFIG_HOME/blender (~/.config/blender) on Linux.
  std::filesystem::path blender_user_files;
  // Where the install prepares the extension before Blender builds it.
  std::filesystem::path temporary;

  std::filesystem::path bridge_info_file() const {
    return home / "Library" / "Application Support" / "Kolvo" / "Blender" / "bridge.json";
  }
};

}  // namespace kolvo::blender
