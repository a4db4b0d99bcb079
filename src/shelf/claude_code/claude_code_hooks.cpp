#include "shelf/claude_code/claude_code_hooks.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "base/file_io.hpp"
#include "shelf/claude_code/agent_event.hpp"

namespace kolvo::shelf {
namespace fs = std::filesystem;
using base::JsonNode;

namespace {

// A written file comes out larger than it was read only by indentation; a file whose
// indentation would more than double it is nested beyond any settings Claude Code writes.
constexpr std::size_t kMaxWrittenBytes = 2 * kClaudeSettingsLimits.max_bytes;

using base::FileRead;

bool claude_present(const AgentPaths& paths) {
  std::error_code error;
  return fs::is_directory(paths.claude_folder(), error);
}

bool carries_marker(const JsonNode& hook) {
  const JsonNode* command = hook.find("command");
  if (command == nullptr || !command->is_string()) return false;
  return command->string_value()->find(kClaudeHookMarker) != std::string::npos;
}

// The hook objects of one entry of an event's list: {"matcher": …, "hooks": [ … ]}. Null for an
// entry of another shape, which is left as it is.
std::vector<JsonNode>* entry_hooks(JsonNode& entry) {
  JsonNode* hooks = entry.find("hooks");
  return hooks != nullptr && hooks->is_array() ? &hooks->elements() : nullptr;
}

// What a hook list must have been to be edited, as a clause; empty when it is fine.
std::string shape_problem(const JsonNode& settings) {
  if (!settings.is_object()) return "it does not hold a JSON object";
  const JsonNode* hooks = settings.find("hooks");
  if (hooks == nullptr) return {};
  if (!hooks->is_object()) return "its \"hooks\" setting is not a JSON object";
  for (const std::string_view event : kClaudeHookEvents) {
    const JsonNode* list = hooks->find(event);
    if (list != nullptr && !list->is_array()) {
      return "its \"hooks\" setting for " + std::string(event) + " is not a list";
    }
  }
  return {};
}

std::string settings_sentence(const AgentPaths& paths, const std::string& problem) {
  return "Left Claude Code's settings file " + paths.claude_settings().string() + " as it is: " + problem + ".";
}

ClaudeHookInstall refused(std::string sentence) { return {false, std::move(sentence), false}; }

}  // namespace

std::string shell_single_quoted(std::string_view text) {
  std::string quoted = "'";
  for (const char c : text) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  quoted += '\'';
  return quoted;
}

std::string claude_hook_command(std::string_view event, const AgentPaths& paths) {
  const std::string folder = shell_single_quoted(paths.status_directory().string());
  const std::string file = paths.claude_status_file().string();
  const std::string temporary = shell_single_quoted(file + ".tmp");
  std::string command = "# ";
  command += kClaudeHookMarker;
  command += "\n";
  command += "mkdir -p " + folder + " && ";
  command += "{ printf '{\"event\":\"" + std::string(event) + "\",\"payload\":'; cat; printf '}'; } ";
  command += "> " + temporary + " && mv " + temporary + " " + shell_single_quoted(file) + " || true";
  return command;
}

bool claude_hooks_installed(const JsonNode& settings) {
  const JsonNode* hooks = settings.find("hooks");
  if (hooks == nullptr) return false;
  return std::all_of(kClaudeHookEvents.begin(), kClaudeHookEvents.end(), [&](std::string_view event) {
    const JsonNode* list = hooks->find(event);
    if (list == nullptr || !list->is_array()) return false;
    return std::any_of(list->elements().begin(), list->elements().end(), [](const JsonNode& entry) {
      const JsonNode* inner = entry.find("hooks");
      return inner != nullptr && inner->is_array() &&
             std::any_of(inner->elements().begin(), inner->elements().end(), carries_marker);
    });
  });
}

ClaudeHookReport claude_hook_status(const AgentPaths& paths) {
  if (!claude_present(paths)) return {ClaudeHookStatus::claude_missing, std::string(kClaudeNotFoundSentence), {}};
  const ClaudeHookReport missing{ClaudeHookStatus::hooks_missing, std::string(kClaudeHooksNeededSentence), {}};
  const FileRead file = base::read_whole_file(paths.claude_settings(), kClaudeSettingsLimits.max_bytes);
  std::string problem = file.problem;
  if (file.exists && problem.empty()) {
    const auto parsed = base::parse_json_tree(file.text, kClaudeSettingsLimits);
    if (!parsed.document) {
      problem = parsed.error;
    } else if (claude_hooks_installed(parsed.document->root)) {
      return {ClaudeHookStatus::installed, std::string(kClaudeHooksInstalledSentence), {}};
    } else {
      problem = shape_problem(parsed.document->root);
    }
  }
  if (problem.empty()) return missing;
  ClaudeHookReport report = missing;
  report.problem = "Claude Code's settings file " + paths.claude_settings().string() + " cannot be read as settings: " +
                   problem + ".";
  return report;
}

ClaudeSettingsRewrite rewrite_claude_settings(std::string_view text, const AgentPaths& paths) {
  std::optional<base::JsonDocument> document;
  if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) {
    // Nothing written yet; the file Claude Code would make holds an empty object.
    document = base::JsonDocument{{}, JsonNode::object(), "\n"};
  } else {
    auto parsed = base::parse_json_tree(text, kClaudeSettingsLimits);
    if (!parsed.document) return {std::nullopt, parsed.error};
    document = std::move(parsed.document);
  }
  JsonNode& settings = document->root;
  if (std::string problem = shape_problem(settings); !problem.empty()) return {std::nullopt, problem};

  JsonNode* hooks = settings.find("hooks");
  if (hooks == nullptr) hooks = &settings.append("hooks", JsonNode::object());
  for (const std::string_view event : kClaudeHookEvents) {
    JsonNode* list = hooks->find(event);
    if (list == nullptr) list = &hooks->append(event, JsonNode::array());
    std::vector<JsonNode>& entries = list->elements();
    std::erase_if(entries, [](JsonNode& entry) {
      std::vector<JsonNode>* inner = entry_hooks(entry);
      if (inner == nullptr) return false;
      const std::size_t before = inner->size();
      std::erase_if(*inner, carries_marker);
      // An entry the user left empty is theirs to keep; one emptied here held only Kolvo's hooks.
      return inner->empty() && before > 0;
    });
    JsonNode hook = JsonNode::object();
    hook.append("type", JsonNode::string("command"));
    hook.append("command", JsonNode::string(claude_hook_command(event, paths)));
    JsonNode entry = JsonNode::object();
    entry.append("hooks", JsonNode::array()).elements().push_back(std::move(hook));
    entries.push_back(std::move(entry));
  }
  auto written = base::write_json_tree(*document, kMaxWrittenBytes);
  if (!written) return {std::nullopt, "it would grow past " + std::to_string(kMaxWrittenBytes >> 20) + " MiB"};
  return {std::move(written), {}};
}

fs::path claude_settings_backup(const AgentPaths& paths) {
  fs::path backup = paths.claude_settings();
  backup += ".kolvo-backup";
  return backup;
}

ClaudeHookInstall install_claude_hooks(const AgentPaths& paths) {
  if (!claude_present(paths)) return refused(std::string(kClaudeNotFoundSentence));
  const fs::path settings = paths.claude_settings();
  const FileRead original = base::read_whole_file(settings, kClaudeSettingsLimits.max_bytes);
  if (!original.problem.empty()) return refused(settings_sentence(paths, original.problem));
  const ClaudeSettingsRewrite rewrite = rewrite_claude_settings(original.text, paths);
  if (!rewrite.text) return refused(settings_sentence(paths, rewrite.problem));
  const ClaudeHookInstall installed{true, std::string(kClaudeHooksInstalledSentence), true};
  if (original.exists && *rewrite.text == original.text) return {true, installed.sentence, false};

  // A settings file kept elsewhere and linked here (a dotfiles folder, say) is edited where it
  // lies, so the link stays.
  fs::path target = settings;
  std::error_code error;
  if (fs::is_symlink(settings, error)) {
    target = fs::canonical(settings, error);
    if (error) return refused(settings_sentence(paths, "the file it links to cannot be found (" + error.message() + ")"));
  }
  if (original.exists) {
    const fs::path backup = claude_settings_backup(paths);
    const std::string problem = base::create_file_once(backup, original.text, original.mode);
    if (!problem.empty()) {
      return refused(settings_sentence(paths, "no backup could be kept as " + backup.string() + " (" + problem + ")"));
    }
  }
  // Claude Code writes this file too (when a permission is granted, say); a change made since it
  // was read would be lost by the rename, so it wins and the install can simply be run again.
  const FileRead now = base::read_whole_file(settings, kClaudeSettingsLimits.max_bytes);
  if (now.exists != original.exists || now.text != original.text) {
    return refused(settings_sentence(paths, "it changed while the hooks were being added; try again"));
  }
  // A file made here may come to hold API keys in its "env", so only its owner may read it.
  const std::string problem = base::write_file_atomically(target, *rewrite.text, original.exists ? original.mode : 0600);
  if (!problem.empty()) return refused(settings_sentence(paths, "it could not be rewritten (" + problem + ")"));
  return installed;
}

ClaudeStatusFile read_claude_status_file(const AgentPaths& paths) {
  std::error_code ignored;
  ClaudeStatusFile status{fs::exists(paths.claude_status_file(), ignored), std::nullopt};
  if (auto event = read_agent_event(paths.claude_status_file())) status.event = std::move(event->event);
  return status;
}

}  // namespace kolvo::shelf
