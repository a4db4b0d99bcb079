#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "base/executor.hpp"
#include "base/serial_queue.hpp"
#include "blender/blender_ports.hpp"
#include "controls/control_ports.hpp"

// Putting the Kolvo Bridge extension into the user's Blender with Blender's own command line,
// and telling which version of it is there.
namespace kolvo::blender {

// Why an install did not happen.
class InstallError {
 public:
  struct Failed {
    std::string message;
    friend bool operator==(const Failed&, const Failed&) = default;
  };
  struct BlenderNotFound {
    friend bool operator==(const BlenderNotFound&, const BlenderNotFound&) = default;
  };
  struct BlenderRunning {
    friend bool operator==(const BlenderRunning&, const BlenderRunning&) = default;
  };
  using Reason = std::variant<Failed, BlenderNotFound, BlenderRunning>;

  static InstallError failed(std::string message) { return InstallError(Failed{std::move(message)}); }
  static InstallError blender_not_found() { return InstallError(BlenderNotFound{}); }
  static InstallError blender_running() { return InstallError(BlenderRunning{}); }

  const Reason& reason() const { return reason_; }
  // What the user is told.
  std::string text() const;

  friend bool operator==(const InstallError&, const InstallError&) = default;

 private:
  explicit InstallError(Reason reason) : reason_(std::move(reason)) {}
  Reason reason_;
};

inline constexpr std::string_view kBlenderNotFoundText = "Blender could not be found.";
inline constexpr std::string_view kBlenderRunningText = "Quit Blender, then install.";
inline constexpr std::string_view kPrepareFailedText = "Could not prepare the extension: ";
inline constexpr std::string_view kBuildFailedText = "Blender could not build the extension.";
inline constexpr std::string_view kInstallFailedText = "Blender could not install the extension.";
// Extensions, and the command line that builds and installs them, came with Blender 4.2; an
// older Blender would take the extension commands for a file to open and sit in its window.
inline constexpr std::string_view kTooOldTextStart = "Kolvo Bridge needs Blender 4.2 or later; this is Blender ";
// The note under the button after an install that worked.
inline constexpr std::string_view kInstalledNote = "Installed. Open Blender to connect.";

// The first two parts of a version ("4.2" of "4.2.3"), which name Blender's folder of user
// files for every release of that series. Absent for a version without a second part.
std::optional<std::string> blender_version_prefix(std::string_view version);

// The version in `blender --version`'s first "Blender X.Y.Z" line ("4.2.3" of "Blender 4.2.3
// LTS"); absent when there is none.
std::optional<std::string> blender_version_from_output(std::string_view output);

// The value of a manifest's top-level `version` key, without its quotes; absent without one.
std::optional<std::string> manifest_version(std::string_view manifest);

// Where Blender keeps the installed extension's manifest for a series ("4.2").
std::filesystem::path installed_manifest_path(const BlenderPaths& paths, std::string_view version_prefix);

// A manifest larger than this is no manifest of ours, and is not read.
inline constexpr std::size_t kMaxManifestBytes = 64 * 1024;

// The version of the extension installed for a series; absent when its manifest, or the
// manifest's version, is missing.
std::optional<std::string> installed_version(const BlenderPaths& paths, std::string_view version_prefix);

// The version of the extension installed for `blender`; absent when its version is unknown or
// nothing is installed for its series.
std::optional<std::string> installed_version(const BlenderPaths& paths, const BlenderApplication& blender);

// What the install takes from the machine.
struct BlenderBridgeInstallPorts {
  std::shared_ptr<BlenderProcesses> blender;
  // Runs Blender's command line.
  std::shared_ptr<controls::ProcessLauncherPort> command_line;
  BlenderPaths paths;
};

// The version of the extension installed for the Blender the system would open; absent when
// there is no Blender, its version is unknown or nothing is installed for it.
std::optional<std::string> installed_version(const BlenderBridgeInstallPorts& ports);

// A step of the install as it begins, for a progress line.
struct InstallProgress {
  enum class Step { building, installing };
  Step step;
  // The Blender doing it.
  std::filesystem::path executable;
};

struct InstallResult {
  // Absent: installed.
  std::optional<InstallError> error;
  // What Blender printed during the last step it ran, for the log.
  std::string blender_output;
  // The folder the extension was prepared in; it is left in place. Empty when none was made.
  std::filesystem::path work_folder;
};

// Blender's two runs each get this long before they are stopped.
inline constexpr base::Duration kBlenderWatchdog = std::chrono::seconds(120);

// The whole install, on the calling thread, which it blocks for as long as Blender runs:
// refuse while Blender runs, find it, write the extension's files into a new temporary folder,
// have Blender build them into a package and install that package with the extension enabled.
// `progress` is called on the calling thread as each of Blender's steps begins.
InstallResult install_blender_bridge(const BlenderBridgeInstallPorts& ports, base::Duration watchdog,
                                     const std::function<void(const InstallProgress&)>& progress);

// The install run on a serial queue of its own, so the main thread never waits for Blender;
// progress and the result come back on the main executor. Destroying it drops what has not
// been delivered; a Blender already running is waited for (the watchdog bounds that).
class BlenderBridge {
 public:
  BlenderBridge(BlenderBridgeInstallPorts ports, base::Executor& main, base::Duration watchdog = kBlenderWatchdog);
  ~BlenderBridge();
  BlenderBridge(const BlenderBridge&) = delete;
  BlenderBridge& operator=(const BlenderBridge&) = delete;

  const BlenderBridgeInstallPorts& ports() const { return ports_; }

  void install(std::function<void(const InstallProgress&)> progress, std::function<void(InstallResult)> done);

 private:
  BlenderBridgeInstallPorts ports_;
  base::Executor& main_;
  base::Duration watchdog_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
  // Last: it is stopped before anything its work reads goes.
  base::SerialQueue queue_;
};

}  // namespace kolvo::blender
