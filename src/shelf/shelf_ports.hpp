#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "base/executor.hpp"

// What the Shelf's surfaces take from the machine: where the coding agents keep their files,
// which programs run, and notice of changes in a folder.
namespace kolvo::shelf {

struct AgentPaths {
  // The user's home folder.
  std::filesystem::path home;
  // Where Kolvo keeps its own files: Application Support on the Mac, the XDG data folder on
  // a Linux host.
  std::filesystem::path application_support;

  // Where the Claude Code hooks write their status file.
  std::filesystem::path status_directory() const { return application_support / "Kolvo" / "agents"; }
  std::filesystem::path claude_status_file() const { return status_directory() / "claude-code.json"; }
  std::filesystem::path claude_folder() const { return home / ".claude"; }
  std::filesystem::path claude_settings() const { return claude_folder() / "settings.json"; }
  std::filesystem::path codex_sessions() const { return home / ".codex" / "sessions"; }
};

// A program as each platform recognises it running: by bundle identifier on the Mac, by the
// name of its executable on a Linux host.
struct ProgramIdentity {
  std::string bundle_id;
  std::string executable_name;
};

class RunningProgramProbe {
 public:
  virtual ~RunningProgramProbe() = default;
  // May be called from a serial queue.
  virtual bool is_running(const ProgramIdentity& program) const = 0;
};

// Watches one folder while it lives; destroying it stops the watch, and no call follows.
class DirectoryWatch {
 public:
  virtual ~DirectoryWatch() = default;
};

// Starts watching `folder` (which exists) for files written, renamed into, out of or deleted
// in it, and calls `changed` on `main` after each. Null when the folder cannot be watched.
using DirectoryWatchFactory = std::function<std::unique_ptr<DirectoryWatch>(
    const std::filesystem::path& folder, base::Executor& main, std::function<void()> changed)>;

}  // namespace kolvo::shelf
