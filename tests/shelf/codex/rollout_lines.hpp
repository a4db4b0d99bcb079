#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "base/date_time.hpp"

// Lines as Codex writes them into a session log, one JSON object each, newline included.
namespace kolvo::shelf::rollout {

inline std::string at(const std::string& type, const std::string& payload) {
  return R"({"timestamp":"2025-10-14T09:12:04.211Z","type":")" + type + R"(","payload":)" + payload + "}\n";
}

inline std::string session_meta() {
  return at("session_meta",
            R"({"id":"0199e3a4-5b1c-7d20-9f3e-2c41d8a7e6b0","timestamp":"2025-10-14T09:12:01.470Z",)"
            R"("cwd":"/Users/ana/src/kolvo","originator":"codex_cli_rs","cli_version":"0.46.0","instructions":null,)"
            R"("git":{"commit_hash":"5ec11a1","branch":"main"}})");
}
inline std::string user_message(const std::string& text) {
  return at("response_item", R"({"type":"message","role":"user","content":[{"type":"input_text","text":")" + text +
                                 R"("}]})");
}
inline std::string turn_context() {
  return at("turn_context", R"({"cwd":"/Users/ana/src/kolvo","approval_policy":"on-request","model":"gpt-5-codex"})");
}
inline std::string task_started() { return at("event_msg", R"({"type":"task_started","model_context_window":272000})"); }
inline std::string agent_message(const std::string& text) {
  return at("event_msg", R"({"type":"agent_message","message":")" + text + R"("})");
}
inline std::string token_count() {
  return at("event_msg", R"({"type":"token_count","info":{"total_token_usage":{"input_tokens":5120,"output_tokens":311}}})");
}
// `command` is the JSON of the item's "command" member; empty leaves the member out.
inline std::string command_completed(const std::string& command) {
  return at("event_msg", R"({"type":"item_completed","thread_id":"0199e3a4","turn_id":"1","item":{"type":"CommandExecution",)"
                         R"("id":"call_7Qk",)" +
                             (command.empty() ? std::string() : R"("command":)" + command + ",") +
                             R"("aggregated_output":"ok","exit_code":0,"status":"completed"}})");
}
inline std::string item_completed(const std::string& item_type) {
  return at("event_msg", R"({"type":"item_completed","thread_id":"0199e3a4","turn_id":"1","item":{"type":")" +
                             item_type + R"(","id":"rs_1"}})");
}
inline std::string task_complete() {
  return at("event_msg", R"({"type":"task_complete","last_agent_message":"All tests pass."})");
}
// The model's own call, and its output quoting what looks like an event: neither is an event.
inline std::string function_call() {
  return at("response_item", R"({"type":"function_call","name":"shell","arguments":"{\"command\":[\"bash\",\"-lc\",)"
                             R"(\"cat log.jsonl\"]}","call_id":"call_7Qk"})");
}
inline std::string function_call_output_quoting_an_event() {
  return at("response_item", R"({"type":"function_call_output","call_id":"call_7Qk","output":)"
                             R"("{\"type\":\"event_msg\",\"payload\":{\"type\":\"task_complete\"}}"})");
}

// Gives a log the modification time the test needs, as if Codex had last written it then.
inline void set_modified(const std::filesystem::path& file, base::WallTime time) {
  const auto since_1970 = std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch());
  const auto whole = std::chrono::floor<std::chrono::seconds>(since_1970);
  const timespec times[2] = {{.tv_sec = whole.count(), .tv_nsec = (since_1970 - whole).count()},
                             {.tv_sec = whole.count(), .tv_nsec = (since_1970 - whole).count()}};
  ::utimensat(AT_FDCWD, file.c_str(), times, 0);
}

}  // namespace kolvo::shelf::rollout
