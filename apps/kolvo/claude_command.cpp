#include <iostream>
#include <system_error>

#include <nlohmann/json.hpp>

#include "cli.hpp"
#include "host_runtime.hpp"
#include "shelf/claude_code/claude_code_hooks.hpp"

// `kolvo claude install-hooks` is the settings window's "Set Up Claude Code Status" button for a
// shell, and `kolvo claude status` what the Claude Code widget would be told, with the status
// file the hooks write.
namespace kolvo::host {
namespace {

bool file_exists(const std::filesystem::path& file) {
  std::error_code error;
  return std::filesystem::exists(file, error);
}

int install_hooks(const shelf::AgentPaths& paths) {
  const shelf::ClaudeHookInstall result = shelf::install_claude_hooks(paths);
  if (!result.ok) return fail(kExitFailure, result.sentence);
  std::cout << result.sentence << '\n';
  std::cout << "Settings: " << paths.claude_settings().string()
            << (result.wrote ? "" : " (unchanged: the hooks were already there)") << '\n';
  const auto backup = shelf::claude_settings_backup(paths);
  if (file_exists(backup)) std::cout << "Original kept as: " << backup.string() << '\n';
  std::cout << "Status file: " << paths.claude_status_file().string() << '\n';
  return 0;
}

int print_status(const shelf::AgentPaths& paths, bool json) {
  const shelf::ClaudeHookReport report = shelf::claude_hook_status(paths);
  const shelf::ClaudeStatusFile file = shelf::read_claude_status_file(paths);
  if (json) {
    nlohmann::ordered_json out;
    out["status"] = shelf::kClaudeHookStatusTable.to_string(report.status);
    out["sentence"] = report.sentence;
    if (!report.problem.empty()) out["problem"] = report.problem;
    out["settings"] = paths.claude_settings().string();
    out["statusFile"] = paths.claude_status_file().string();
    out["statusFileExists"] = file.exists;
    out["lastEvent"] = file.event ? nlohmann::ordered_json(*file.event) : nlohmann::ordered_json(nullptr);
    // Paths and events are the machine's own bytes, which need not be UTF-8.
    std::cout << out.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << '\n';
    return 0;
  }
  std::cout << report.sentence << '\n';
  if (!report.problem.empty()) std::cout << report.problem << '\n';
  std::cout << "Settings: " << paths.claude_settings().string() << '\n';
  std::cout << "Status file: " << paths.claude_status_file().string();
  if (!file.exists) {
    std::cout << " (none yet)\n";
  } else if (file.event) {
    std::cout << " (last event " << *file.event << ")\n";
  } else {
    std::cout << " (it holds no event)\n";
  }
  return 0;
}

}  // namespace

int run_claude(Arguments arguments) {
  constexpr std::string_view kUsage = "'kolvo claude' takes install-hooks, or status [--json].";
  const bool json = take_flag(arguments, "--json");
  if (arguments.size() != 1) return fail(kExitUsage, kUsage);
  const std::string verb = arguments.front();
  if (verb != "install-hooks" && verb != "status") return fail(kExitUsage, kUsage);
  if (verb == "install-hooks" && json) return fail(kExitUsage, "'kolvo claude install-hooks' takes no options.");
  // The ports alone: the folders are all these need, and nothing else is loaded or written.
  auto made = platform::make_host_ports(host_identity(), {});
  if (!made.ports) return fail(kExitFailure, made.error);
  const shelf::AgentPaths& paths = made.ports->agent_paths;
  if (verb == "install-hooks") return install_hooks(paths);
  return print_status(paths, json);
}

}  // namespace kolvo::host
