#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "base/date_time.hpp"
#include "deck/protocol/shelf_vocabulary.hpp"

namespace kolvo::shelf {

// A report of a Write step carries the whole file written; far larger is no report of ours.
inline constexpr std::size_t kMaximumAgentStatusBytes = std::size_t{32} << 20;

// One status report a Claude Code hook left: the hook's event and what it was given.
struct AgentEvent {
  std::string event;
  std::optional<std::string> tool_name;
  // The tool's arguments as Claude Code passed them; an object, or absent.
  std::optional<nlohmann::json> tool_input;
  std::optional<std::string> cwd;
  // When the hook wrote the report: the status file's modification time.
  base::WallTime received_at;

  // The last folder of `cwd`: the project the agent works in.
  std::optional<std::string> project_name() const;

  friend bool operator==(const AgentEvent&, const AgentEvent&) = default;
};

// The report in a status file's bytes; absent unless they are a JSON object with a string
// "event". A payload that is not an object, or fields of the wrong type, leave those fields out.
std::optional<AgentEvent> parse_agent_event(std::string_view bytes, base::WallTime modified);

// The report in the status file now; absent when there is none, or it is no report.
std::optional<AgentEvent> read_agent_event(const std::filesystem::path& status_file);

// What the agent is doing after `event`; absent for a report that says nothing about it
// ("SessionEnd", or an event this program does not know).
std::optional<deck::ShelfAgentActivity> claude_activity_for(std::string_view event);

// One line about the tool a tool event concerns ("Editing main.cpp"); absent for other events,
// other tools, or when the input it needs is missing.
std::optional<std::string> claude_detail_for(const AgentEvent& event);

}  // namespace kolvo::shelf
