#include "shelf/claude_code/agent_event_watcher.hpp"

#include <system_error>

#include "base/file_time.hpp"

namespace kolvo::shelf {

AgentEventWatcher::AgentEventWatcher(std::filesystem::path status_file, base::Executor& main,
                                     DirectoryWatchFactory watch_directory, Changed on_change)
    : status_file_(std::move(status_file)),
      main_(main),
      watch_directory_(std::move(watch_directory)),
      on_change_(std::move(on_change)),
      reads_("com.kolvo.claude-code", main) {}

void AgentEventWatcher::start() {
  if (running_) return;
  running_ = true;
  ++generation_;
  std::error_code ignored;
  std::filesystem::create_directories(status_file_.parent_path(), ignored);
  if (watch_directory_) watch_ = watch_directory_(status_file_.parent_path(), main_, [this] { reload(); });
  reload();
}

void AgentEventWatcher::stop() {
  if (!running_) return;
  running_ = false;
  ++generation_;
  watch_.reset();
  current_event_.reset();
}

void AgentEventWatcher::reload() {
  const std::uint64_t generation = generation_;
  reads_.async(
      [file = status_file_]() -> std::optional<AgentEvent> {
        const auto read = base::read_whole_file(file, kMaximumAgentStatusBytes);
        if (!read.ok()) return std::nullopt;
        return parse_agent_event(read.text, read.modified);
      },
      [this, generation](std::optional<AgentEvent> event) {
        if (generation != generation_) return;
        current_event_ = std::move(event);
        if (on_change_) on_change_(current_event_);
      });
}

}  // namespace kolvo::shelf
