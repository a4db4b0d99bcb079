#include "shelf/claude_code/agent_event.hpp"

#include <array>
#include <utility>

#include "base/file_io.hpp"
#include "base/json_text.hpp"

namespace kolvo::shelf {
namespace {

using deck::ShelfAgentActivity;

std::optional<std::string> string_member(const nlohmann::json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end() || !found->is_string()) return std::nullopt;
  return found->get<std::string>();
}

// The text after the last "/", ignoring slashes at the end.
std::string last_component(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  const auto slash = path.rfind('/');
  return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

// A tool input's string; an empty one counts as missing.
std::optional<std::string> input(const AgentEvent& event, const char* key) {
  if (!event.tool_input) return std::nullopt;
  auto value = string_member(*event.tool_input, key);
  if (value && value->empty()) return std::nullopt;
  return value;
}

std::string capitalized(std::string text) {
  if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 'a' + 'A');
  return text;
}

}  // namespace

std::optional<std::string> AgentEvent::project_name() const {
  if (!cwd) return std::nullopt;
  auto name = last_component(*cwd);
  if (name.empty() || name == "/") return std::nullopt;
  return name;
}

std::optional<AgentEvent> read_agent_event(const std::filesystem::path& status_file) {
  const auto read = base::read_whole_file(status_file, kMaximumAgentStatusBytes);
  if (!read.ok()) return std::nullopt;
  return parse_agent_event(read.text, read.modified);
}

std::optional<AgentEvent> parse_agent_event(std::string_view bytes, base::WallTime modified) {
  const auto json = base::parse_json(bytes);
  if (!json.is_object()) return std::nullopt;
  auto event = string_member(json, "event");
  if (!event) return std::nullopt;
  AgentEvent parsed{std::move(*event), std::nullopt, std::nullopt, std::nullopt, modified};
  if (const auto payload = json.find("payload"); payload != json.end() && payload->is_object()) {
    parsed.tool_name = string_member(*payload, "tool_name");
    parsed.cwd = string_member(*payload, "cwd");
    if (const auto tool_input = payload->find("tool_input"); tool_input != payload->end() && tool_input->is_object()) {
      parsed.tool_input = *tool_input;
    }
  }
  return parsed;
}

std::optional<ShelfAgentActivity> claude_activity_for(std::string_view event) {
  static constexpr std::array<std::pair<std::string_view, ShelfAgentActivity>, 7> kActivities{{
      {"SessionStart", ShelfAgentActivity::idle},
      {"UserPromptSubmit", ShelfAgentActivity::thinking},
      {"PreToolUse", ShelfAgentActivity::working},
      {"PostToolUse", ShelfAgentActivity::thinking},
      {"Notification", ShelfAgentActivity::waiting},
      {"Stop", ShelfAgentActivity::done},
      {"SubagentStop", ShelfAgentActivity::done},
  }};
  for (const auto& [name, activity] : kActivities) {
    if (name == event) return activity;
  }
  return std::nullopt;
}

std::optional<std::string> claude_detail_for(const AgentEvent& event) {
  if ((event.event != "PreToolUse" && event.event != "PostToolUse") || !event.tool_name) return std::nullopt;
  const std::string& tool = *event.tool_name;
  const auto prefixed = [](std::string prefix, std::optional<std::string> value) -> std::optional<std::string> {
    if (!value) return std::nullopt;
    return prefix + *value;
  };
  const auto file = [&] {
    // A notebook's edit names its file "notebook_path".
    auto path = input(event, "file_path");
    if (!path) path = input(event, "notebook_path");
    return path ? std::optional(last_component(*path)) : std::nullopt;
  };
  if (tool == "Edit" || tool == "Write" || tool == "NotebookEdit") return prefixed("Editing ", file());
  if (tool == "Read") return prefixed("Reading ", file());
  if (tool == "Bash") {
    auto description = input(event, "description");
    return description ? std::optional(capitalized(std::move(*description))) : std::nullopt;
  }
  if (tool == "Grep" || tool == "Glob") return prefixed("Searching for ", input(event, "pattern"));
  if (tool == "WebFetch" || tool == "WebSearch") return std::string("Searching the web");
  if (tool == "Task") return prefixed("Delegating: ", input(event, "description"));
  return std::nullopt;
}

}  // namespace kolvo::shelf
