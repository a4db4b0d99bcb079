#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "base/date_time.hpp"
#include "base/executor.hpp"
#include "deck/protocol/shelf_vocabulary.hpp"

// Reading what Codex writes about itself: it keeps one log per session under
// ~/.codex/sessions (by year, month and day), one JSON object per line, appended as it works.
namespace kolvo::shelf {

using deck::ShelfAgentActivity;

// One session log and when it was last written to.
struct CodexRollout {
  std::filesystem::path path;
  base::WallTime modified;
  friend bool operator==(const CodexRollout&, const CodexRollout&) = default;
};

// Bounds on one search for the newest log: Codex nests three folders deep and a busy user
// collects a few thousand logs a year, so these are reached only by a folder that is not
// Codex's own (a link loop, a planted tree).
struct CodexScanLimits {
  std::size_t max_depth = 8;
  std::size_t max_entries = 200'000;
};

// The most recently modified "rollout-*.jsonl" under `sessions`, searched recursively,
// skipping hidden files and folders and never following a linked folder; only a log modified
// less than `window` before `now` counts. Folders that cannot be read are passed over.
std::optional<CodexRollout> newest_codex_rollout(const std::filesystem::path& sessions, base::WallTime now,
                                                 base::Duration window, const CodexScanLimits& limits = {});

// Follows a file that only grows: each read hands over the whole lines appended since the last
// one. A line still being written waits for its newline; a file that shrank below what was read
// (rewritten, truncated) or was replaced by another is read again from its start.
class LogTail {
 public:
  struct Limits {
    // A line longer than this is skipped whole, and never held in memory beyond this much.
    std::size_t max_line_bytes = std::size_t{16} << 20;
    // The buffer each read goes through.
    std::size_t chunk_bytes = std::size_t{1} << 20;
    // At most this much of the file is read in one call; the rest waits for the next.
    std::size_t max_bytes_per_read = std::size_t{64} << 20;
  };
  using LineHandler = std::function<void(std::string_view line)>;

  LogTail() : LogTail(Limits{}) {}
  explicit LogTail(Limits limits) : limits_(limits) {}

  // Calls `line` with each complete line appended since the last read, without its line
  // break. False when the file cannot be opened as a regular file; nothing is forgotten then.
  bool read(const std::filesystem::path& file, const LineHandler& line);
  // Bytes of the file taken as whole lines: where the next line begins.
  std::uint64_t offset() const { return offset_; }

 private:
  void restart();

  Limits limits_;
  std::uint64_t offset_ = 0;
  // Where reading goes on: past `offset_` by the partial line held, or by a long line skipped.
  std::uint64_t read_position_ = 0;
  std::string partial_;
  bool skipping_ = false;
  std::optional<std::pair<std::uint64_t, std::uint64_t>> file_identity_;  // device, inode
};

// What the log says the agent is doing, as of the last line that said anything.
struct CodexPending {
  std::optional<ShelfAgentActivity> activity;
  std::optional<std::string> detail;
  friend bool operator==(const CodexPending&, const CodexPending&) = default;
};

// What one log line says, or absent when it changes nothing (another kind of record, an event
// that says nothing about progress, text that is not JSON).
std::optional<CodexPending> interpret_codex_line(std::string_view line);

// "Running " and the first line of the command an item ran (a list of arguments or one
// string), without the shell that wraps it, at most 60 characters.
std::string codex_command_detail(const nlohmann::json* command);
inline constexpr std::size_t kCodexDetailCharacters = 60;

// How long a report stays believable without the log being written again: Codex writes while
// it works, so a log quiet for two minutes belongs to a session that stopped without saying so.
inline constexpr base::Duration kCodexActivityWindow = std::chrono::seconds(120);
// How long "done" (or "failed") stays on the widget before it settles back to idle.
inline constexpr base::Duration kCodexDoneLinger = std::chrono::seconds(45);

struct CodexShownActivity {
  ShelfAgentActivity activity = ShelfAgentActivity::idle;
  std::optional<std::string> detail;
  friend bool operator==(const CodexShownActivity&, const CodexShownActivity&) = default;
};

// What the widget shows for `pending`, given when the log was last modified (absent: never,
// infinitely old).
CodexShownActivity codex_shown_activity(const CodexPending& pending, std::optional<base::WallTime> modified,
                                        base::WallTime now);

}  // namespace kolvo::shelf
