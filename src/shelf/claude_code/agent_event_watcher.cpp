#include "shelf/claude_code/agent_event_watcher.hpp"

#include <system_error>

namespace kolvo::shelf {

AgentEventWatcher::AgentEventWatcher(std::filesystem::path status_file, base::Executor& main, base::DiagnosticsLog& log,
                                     DirectoryWatchFactory watch_directory, Changed on_change)
    : status_file_(std::move(status_file)),
      main_(main),
      log_(log),
      watch_directory_(std::move(watch_directory)),
      on_change_(std::move(on_change)),
      fallback_(main),
      reads_("com.kolvo.claude-code", main) {}

void AgentEventWatcher::start() {
  if (running_) return;
  running_ = true;
  reported_ = false;
  watch_folder();
  reload();
}

void AgentEventWatcher::stop() {
  if (!running_) return;
  running_ = false;
  watch_.reset();
  watched_folder_.reset();
  fallback_.stop();
  current_event_.reset();
}

void AgentEventWatcher::watch_folder() {
  const auto folder = status_file_.parent_path();
  watch_.reset();
  std::error_code ignored;
  std::filesystem::create_directories(folder, ignored);
  watched_folder_ = base::file_identity(folder);
  if (watch_directory_ && watched_folder_) watch_ = watch_directory_(folder, main_, [this] { reload(); });
  if (watch_) {
    fallback_.stop();
    return;
  }
  if (!said_unwatchable_) {
    said_unwatchable_ = true;
    log_.record("Claude Code", "cannot watch " + folder.string() + "; reading the status file every 2 s instead");
  }
  if (!fallback_.is_running()) fallback_.start(kFallbackInterval, [this] { reload(); });
}

void AgentEventWatcher::reload() {
  reads_.async(
      [file = status_file_] { return Reading{read_agent_event(file), base::file_identity(file.parent_path())}; },
      [this](Reading reading) { read_finished(std::move(reading)); });
}

void AgentEventWatcher::read_finished(Reading reading) {
  if (!running_) return;
  // The folder went (or another took its place): the watch on it sees nothing any more.
  if (reading.folder != watched_folder_ || !reading.folder) watch_folder();
  // A folder changes for other reasons than a new report (the next hook's temporary file):
  // the same report read again is no news.
  if (reported_ && reading.event == current_event_) return;
  reported_ = true;
  current_event_ = std::move(reading.event);
  if (on_change_) on_change_(current_event_);
}

}  // namespace kolvo::shelf
