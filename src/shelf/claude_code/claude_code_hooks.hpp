#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "base/enum_table.hpp"
#include "base/json_tree.hpp"
#include "shelf/shelf_ports.hpp"

// Claude Code reports on itself through hooks: shell commands it runs at each step, handing them
// the step's JSON on standard input. Kolvo's hooks write that JSON into its status file, which
// the Claude Code widget watches. Installing them means editing Claude Code's own settings file,
// which holds the user's permissions, environment and other programs' hooks, so the edit touches
// nothing but Kolvo's hooks and refuses any file it does not fully understand.
namespace kolvo::shelf {

// A shell comment on the first line of every command Kolvo installs; how its own hooks are told
// from the user's and other programs'.
inline constexpr std::string_view kClaudeHookMarker = "kolvo-agent-status";

// The events Kolvo installs a hook for, in the order they are added. "SubagentStop" is left out:
// a subagent finishing is not the session finishing, and reporting it would show "done" while
// the main agent still works.
inline constexpr std::array<std::string_view, 7> kClaudeHookEvents{
    "SessionStart", "UserPromptSubmit", "PreToolUse", "PostToolUse", "Notification", "Stop", "SessionEnd",
};

// Claude Code's settings are a few kilobytes; past these limits a file is refused unread.
inline constexpr base::JsonTreeLimits kClaudeSettingsLimits{.max_bytes = std::size_t{16} << 20,
                                                            .max_depth = base::kMaximumJsonDepth};

inline constexpr std::string_view kClaudeNotFoundSentence = "Claude Code was not found in your home folder.";
inline constexpr std::string_view kClaudeHooksNeededSentence =
    "Claude Code needs status hooks before it can report activity.";
inline constexpr std::string_view kClaudeHooksInstalledSentence = "Status hooks installed";

// `text` in single quotes for a POSIX shell; each ' inside becomes '\'' (user names may hold
// apostrophes).
std::string shell_single_quoted(std::string_view text);

// The command installed for `event` (a plain hook event name, written into the command as is):
// it wraps its standard input as {"event":<event>,"payload":<input>}, writes that beside the
// status file and renames it over the file, so a reader never sees half of it. It never fails
// Claude Code's own step.
std::string claude_hook_command(std::string_view event, const AgentPaths& paths);

// Whether a settings value (the whole file) holds a hook carrying the marker under every one of
// the installed events. A partial set counts as missing: the widget would miss steps.
bool claude_hooks_installed(const base::JsonNode& settings);

enum class ClaudeHookStatus { claude_missing, hooks_missing, installed };
inline constexpr auto kClaudeHookStatusTable = base::make_enum_table<ClaudeHookStatus>({
    {ClaudeHookStatus::claude_missing, "claudeMissing"},
    {ClaudeHookStatus::hooks_missing, "hooksMissing"},
    {ClaudeHookStatus::installed, "installed"},
});

struct ClaudeHookReport {
  ClaudeHookStatus status;
  // The sentence the settings and the command line show for the status.
  std::string sentence;
  // Set when the settings file exists but cannot be read as settings; the hooks then count as
  // missing, and installing them will be refused for the same reason.
  std::string problem;
};

// Reads Claude Code's folder and settings; never writes.
ClaudeHookReport claude_hook_status(const AgentPaths& paths);

// The settings text with Kolvo's hooks installed: for each event, the hook objects carrying the
// marker are removed (and an entry left with no hook because of that), then one entry holding
// the current command is appended. Everything else, down to each number's and string's spelling
// and the order of keys, stays as written; the text comes out in Claude Code's own layout (two
// spaces per level). Empty or blank text counts as an empty object. Null, with `problem` set to
// a clause, for text that is not a JSON object, or whose "hooks" or event lists have a shape
// Kolvo would have to guess about.
struct ClaudeSettingsRewrite {
  std::optional<std::string> text;
  std::string problem;
};
ClaudeSettingsRewrite rewrite_claude_settings(std::string_view text, const AgentPaths& paths);

struct ClaudeHookInstall {
  bool ok;
  // "Status hooks installed", or a sentence saying why nothing was changed.
  std::string sentence;
  // Whether the settings file was written (false when it already held exactly these hooks).
  bool wrote;
};

// "Set Up Claude Code Status": installs the hooks into Claude Code's settings file, creating it
// when missing. The first time the file is changed, its original is kept beside it as
// "settings.json.kolvo-backup"; an existing backup is never replaced. The file is replaced in
// one step (a temporary file in the same folder, flushed, then renamed) with its permissions
// kept, and is left untouched on any refusal.
ClaudeHookInstall install_claude_hooks(const AgentPaths& paths);

std::filesystem::path claude_settings_backup(const AgentPaths& paths);

// What the status file says now: read only, never written.
struct ClaudeStatusFile {
  bool exists;
  // Its "event" when it holds a JSON object with a string "event".
  std::optional<std::string> event;
};
ClaudeStatusFile read_claude_status_file(const AgentPaths& paths);

}  // namespace kolvo::shelf
