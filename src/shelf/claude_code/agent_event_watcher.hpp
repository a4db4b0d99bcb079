#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "base/executor.hpp"
#include "base/serial_queue.hpp"
#include "shelf/claude_code/agent_event.hpp"
#include "shelf/shelf_ports.hpp"

namespace kolvo::shelf {

// Follows one status file that hooks replace by renaming a finished file over it: each change
// in its folder reads it again, off the main thread, and reports the event it now holds.
class AgentEventWatcher {
 public:
  using Changed = std::function<void(const std::optional<AgentEvent>&)>;

  AgentEventWatcher(std::filesystem::path status_file, base::Executor& main, DirectoryWatchFactory watch_directory,
                    Changed on_change);

  // Creates the folder, starts watching it and reads the file once.
  void start();
  // No report arrives after this, not even one already being read.
  void stop();

  const std::optional<AgentEvent>& current_event() const { return current_event_; }

 private:
  void reload();

  std::filesystem::path status_file_;
  base::Executor& main_;
  DirectoryWatchFactory watch_directory_;
  Changed on_change_;
  std::unique_ptr<DirectoryWatch> watch_;
  std::optional<AgentEvent> current_event_;
  bool running_ = false;
  // Reads already queued when the watcher stopped are dropped by their generation.
  std::uint64_t generation_ = 0;
  base::SerialQueue reads_;
};

}  // namespace kolvo::shelf
