#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "base/diagnostics_log.hpp"
#include "base/executor.hpp"
#include "base/file_io.hpp"
#include "base/serial_queue.hpp"
#include "base/timers.hpp"
#include "shelf/claude_code/agent_event.hpp"
#include "shelf/shelf_ports.hpp"

namespace kolvo::shelf {

// Follows one status file that hooks replace by renaming a finished file over it: each change
// in its folder reads it again, off the main thread, and reports the event it holds whenever
// that is another report than the last. A folder that is deleted or replaced is made and
// watched again; where no watch can be had, the file is read every two seconds instead.
class AgentEventWatcher {
 public:
  static constexpr base::Duration kFallbackInterval = base::seconds(2.0);

  using Changed = std::function<void(const std::optional<AgentEvent>&)>;

  AgentEventWatcher(std::filesystem::path status_file, base::Executor& main, base::DiagnosticsLog& log,
                    DirectoryWatchFactory watch_directory, Changed on_change);

  // Creates the folder, starts watching it and reads the file once; that first read is always
  // reported.
  void start();
  // No report arrives after this, not even one already being read.
  void stop();

  const std::optional<AgentEvent>& current_event() const { return current_event_; }

 private:
  struct Reading {
    std::optional<AgentEvent> event;
    std::optional<base::FileIdentity> folder;
  };

  void watch_folder();
  void reload();
  void read_finished(Reading reading);

  std::filesystem::path status_file_;
  base::Executor& main_;
  base::DiagnosticsLog& log_;
  DirectoryWatchFactory watch_directory_;
  Changed on_change_;
  std::unique_ptr<DirectoryWatch> watch_;
  std::optional<base::FileIdentity> watched_folder_;
  base::RepeatingTimer fallback_;
  std::optional<AgentEvent> current_event_;
  bool running_ = false;
  bool reported_ = false;
  bool said_unwatchable_ = false;
  base::SerialQueue reads_;
};

}  // namespace kolvo::shelf
