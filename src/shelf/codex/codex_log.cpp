#include "shelf/codex/codex_log.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "base/file_io.hpp"
#include "base/json_text.hpp"

namespace kolvo::shelf {
namespace fs = std::filesystem;

namespace {

bool is_hidden(const std::string& name) { return !name.empty() && name.front() == '.'; }

bool is_rollout_name(const fs::path& path) {
  return path.filename().string().starts_with("rollout-") && path.extension() == ".jsonl";
}

}  // namespace

std::optional<CodexRollout> newest_codex_rollout(const fs::path& sessions, base::WallTime now, base::Duration window,
                                                 const CodexScanLimits& limits) {
  std::optional<CodexRollout> newest;
  // Depth first, by hand: one folder that cannot be read, or vanishes while it is read, is
  // passed over, where a recursive iterator would end the whole search.
  std::vector<std::pair<fs::path, std::size_t>> folders{{sessions, 0}};
  std::size_t visited = 0;
  while (!folders.empty()) {
    const auto [folder, depth] = std::move(folders.back());
    folders.pop_back();
    std::error_code error;
    fs::directory_iterator entries(folder, fs::directory_options::skip_permission_denied, error);
    for (const fs::directory_iterator end; !error && entries != end; entries.increment(error)) {
      if (++visited > limits.max_entries) return newest;
      const fs::directory_entry& entry = *entries;
      if (is_hidden(entry.path().filename().string())) continue;
      std::error_code status_error;
      // A linked folder is not entered: a link back up the tree would be searched forever.
      if (entry.is_directory(status_error) && !entry.is_symlink(status_error)) {
        if (depth < limits.max_depth) folders.emplace_back(entry.path(), depth + 1);
        continue;
      }
      if (!is_rollout_name(entry.path()) || !entry.is_regular_file(status_error)) continue;
      const auto modified = base::file_modification_time(entry.path());
      if (!modified || now - *modified >= window) continue;
      // Two logs written in the same instant: the later name, which carries the later start.
      if (!newest || *modified > newest->modified ||
          (*modified == newest->modified && entry.path().filename() > newest->path.filename())) {
        newest = CodexRollout{entry.path(), *modified};
      }
    }
  }
  return newest;
}

namespace {

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace

void LogTail::restart() {
  offset_ = 0;
  read_position_ = 0;
  std::string().swap(partial_);
  skipping_ = false;
}

bool LogTail::read(const fs::path& file, const LineHandler& line) {
  // Non-blocking, so that a pipe planted under a log's name cannot hold the reader forever;
  // it is refused below as not a regular file.
  const Descriptor fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (fd.get() < 0) return false;
  struct stat info {};
  if (::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
  const std::pair<std::uint64_t, std::uint64_t> identity{static_cast<std::uint64_t>(info.st_dev),
                                                         static_cast<std::uint64_t>(info.st_ino)};
  const auto size = static_cast<std::uint64_t>(info.st_size);
  if (identity != file_identity_ || size < offset_) {
    restart();
  } else if (size < read_position_) {
    // Only the unfinished line was cut back: read it again as it now stands.
    std::string().swap(partial_);
    skipping_ = false;
    read_position_ = offset_;
  }
  file_identity_ = identity;

  std::uint64_t budget = limits_.max_bytes_per_read;
  std::string chunk;
  while (read_position_ < size && budget > 0) {
    const auto want = static_cast<std::size_t>(std::min<std::uint64_t>(
        {size - read_position_, static_cast<std::uint64_t>(limits_.chunk_bytes), budget}));
    if (chunk.size() < want) chunk.resize(want);
    const ssize_t got = ::pread(fd.get(), chunk.data(), want, static_cast<off_t>(read_position_));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    const std::string_view data(chunk.data(), static_cast<std::size_t>(got));
    std::size_t start = 0;
    while (start < data.size()) {
      const std::size_t newline = data.find('\n', start);
      const std::string_view piece = data.substr(start, newline == std::string_view::npos ? newline : newline - start);
      if (!skipping_ && partial_.size() + piece.size() > limits_.max_line_bytes) {
        // Far longer than any record Codex writes: drop what is held and pass over the rest.
        std::string().swap(partial_);
        skipping_ = true;
      }
      if (newline == std::string_view::npos) {
        if (!skipping_) partial_.append(piece);
        break;
      }
      if (!skipping_) {
        if (partial_.empty()) {
          if (!piece.empty()) line(piece);
        } else {
          partial_.append(piece);
          line(partial_);
          if (partial_.capacity() > limits_.chunk_bytes) std::string().swap(partial_);
          partial_.clear();
        }
      }
      skipping_ = false;
      offset_ = read_position_ + newline + 1;
      start = newline + 1;
    }
    read_position_ += static_cast<std::uint64_t>(got);
    budget -= static_cast<std::uint64_t>(got);
  }
  return true;
}

namespace {

const nlohmann::json* member(const nlohmann::json& object, const char* key) {
  if (!object.is_object()) return nullptr;
  const auto found = object.find(key);
  return found == object.end() ? nullptr : &*found;
}

bool string_member_is(const nlohmann::json& object, const char* key, std::string_view expected) {
  const nlohmann::json* value = member(object, key);
  return value != nullptr && value->is_string() && value->get_ref<const std::string&>() == expected;
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kSpace = " \t\r\n\f\v";
  const auto first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

// The command without the login shell Codex wraps it in ("bash -lc <script>"; "zsh" on a Mac
// whose user shell it is), and without the quotes around the script when nothing inside them
// needed quoting.
std::string_view without_shell(std::string_view command) {
  const auto first_blank = command.find(' ');
  if (first_blank == std::string_view::npos) return command;
  std::string_view shell = command.substr(0, first_blank);
  if (const auto slash = shell.rfind('/'); slash != std::string_view::npos) shell.remove_prefix(slash + 1);
  if (shell != "bash" && shell != "zsh" && shell != "sh") return command;
  std::string_view rest = command.substr(first_blank + 1);
  const auto second_blank = rest.find(' ');
  const std::string_view flag = rest.substr(0, second_blank);
  if (second_blank == std::string_view::npos || (flag != "-lc" && flag != "-c")) return command;
  std::string_view script = trimmed(rest.substr(second_blank + 1));
  if (script.empty()) return command;
  if (script.size() >= 2 && (script.front() == '\'' || script.front() == '"') && script.back() == script.front() &&
      script.substr(1, script.size() - 2).find(script.front()) == std::string_view::npos) {
    script = script.substr(1, script.size() - 2);
  }
  return script;
}

// At most `limit` characters, the last of them "…" when the text was longer; never splits a
// character's bytes.
std::string cut_to_characters(std::string_view text, std::size_t limit) {
  const auto is_lead = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
  std::size_t characters = 0;
  std::size_t keep = text.size();  // bytes of the first limit - 1 characters
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!is_lead(text[i])) continue;
    if (characters == limit - 1) keep = i;
    if (++characters > limit) return std::string(text.substr(0, keep)) + "\u2026";
  }
  return std::string(text);
}

}  // namespace

std::string codex_command_detail(const nlohmann::json* command) {
  std::string joined;
  if (command != nullptr && command->is_string()) {
    joined = command->get<std::string>();
  } else if (command != nullptr && command->is_array()) {
    for (const nlohmann::json& argument : *command) {
      if (!argument.is_string()) continue;
      if (!joined.empty()) joined += ' ';
      joined += argument.get_ref<const std::string&>();
    }
  }
  std::string_view script = trimmed(without_shell(trimmed(joined)));
  script = trimmed(script.substr(0, script.find('\n')));
  if (script.empty()) return "Running a command";
  std::string first_line(script);
  // A tab or another control character would show as nothing, or as a box.
  std::replace_if(
      first_line.begin(), first_line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; },
      ' ');
  return cut_to_characters("Running " + first_line, kCodexDetailCharacters);
}

std::optional<CodexPending> interpret_codex_line(std::string_view line) {
  // Most lines are the conversation itself, some of them large: only a line that mentions an
  // event is worth parsing.
  if (line.find("event_msg") == std::string_view::npos) return std::nullopt;
  const nlohmann::json record = base::parse_json(line);
  if (!string_member_is(record, "type", "event_msg")) return std::nullopt;
  const nlohmann::json* payload = member(record, "payload");
  if (payload == nullptr) return std::nullopt;
  if (string_member_is(*payload, "type", "task_started")) return CodexPending{ShelfAgentActivity::thinking, std::nullopt};
  if (string_member_is(*payload, "type", "task_complete")) return CodexPending{ShelfAgentActivity::done, std::nullopt};
  if (string_member_is(*payload, "type", "item_completed")) {
    const nlohmann::json* item = member(*payload, "item");
    if (item != nullptr && string_member_is(*item, "type", "CommandExecution")) {
      return CodexPending{ShelfAgentActivity::working, codex_command_detail(member(*item, "command"))};
    }
    // A tool call, a thought or a message finished: the agent is between steps, thinking.
    return CodexPending{ShelfAgentActivity::thinking, std::nullopt};
  }
  return std::nullopt;
}

CodexShownActivity codex_shown_activity(const CodexPending& pending, std::optional<base::WallTime> modified,
                                        base::WallTime now) {
  const auto within = [&](base::Duration window) { return modified && now - *modified <= window; };
  switch (pending.activity.value_or(ShelfAgentActivity::idle)) {
    case ShelfAgentActivity::thinking:
    case ShelfAgentActivity::working:
      if (within(kCodexActivityWindow)) return {*pending.activity, pending.detail};
      break;
    case ShelfAgentActivity::done:
    case ShelfAgentActivity::failed:
      if (within(kCodexDoneLinger)) return {*pending.activity, std::nullopt};
      break;
    case ShelfAgentActivity::idle:
    case ShelfAgentActivity::waiting:
      break;
  }
  return {ShelfAgentActivity::idle, std::nullopt};
}

}  // namespace kolvo::shelf
