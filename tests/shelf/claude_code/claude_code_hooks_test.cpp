#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include <nlohmann/json.hpp>

#include "shelf/claude_code/claude_code_hooks.hpp"
#include "support/temp_root.hpp"

extern char** environ;

namespace kolvo::shelf {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

std::string read_text(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::stringstream buffer;
  buffer << in.rdbuf();
  return buffer.str();
}

std::string data_file(const std::string& name) {
  return read_text(fs::path(KOLVO_SOURCE_DIR) / "tests" / "shelf" / "claude_code" / "data" / name);
}

std::size_t count(const std::string& text, std::string_view needle) {
  std::size_t n = 0;
  for (auto at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) ++n;
  return n;
}

// Runs `command` with /bin/sh -c, standard input from `input`; the exit code, standard output and
// standard error.
struct ShellRun {
  int exit_code;
  std::string out;
  std::string err;
};
ShellRun run_shell(const std::string& command, const fs::path& input, const fs::path& output) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, input.c_str(), O_RDONLY, 0);
  const std::string errors = output.string() + ".err";
  posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  std::string sh = "sh", dash_c = "-c", text = command;
  char* argv[] = {sh.data(), dash_c.data(), text.data(), nullptr};
  pid_t pid = 0;
  const int spawned = posix_spawn(&pid, "/bin/sh", &actions, nullptr, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) return {-1, {}, {}};
  int status = 0;
  ::waitpid(pid, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_text(output), read_text(errors)};
}

// Names in a folder, to show nothing else was made there.
std::set<std::string> listing(const fs::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename().string());
  return names;
}

// A home folder whose path holds an apostrophe and a space, as a user named O'Brien has.
class ClaudeCodeHooks : public ::testing::Test {
 protected:
  ClaudeCodeHooks() : root_("claude-hooks") {
    paths_.home = root_.path() / "Users" / "o'brien home";
    paths_.application_support = paths_.home / "Library" / "Application Support";
    fs::create_directories(paths_.home);
  }

  void write_settings(std::string_view text) const {
    fs::create_directories(paths_.claude_folder());
    std::ofstream(paths_.claude_settings(), std::ios::binary).write(text.data(), static_cast<std::streamsize>(text.size()));
  }
  std::string settings() const { return read_text(paths_.claude_settings()); }

  testing::TempRoot root_;
  AgentPaths paths_{};
};

// A fixed home for the pure rewrites, so expected files can spell out the commands.
const AgentPaths kMacPaths{.home = "/Users/o'brien", .application_support = "/Users/o'brien/Library/Application Support"};

TEST(ClaudeHookCommand, IsTheFourPartsWithPathsQuotedForTheShell) {
  EXPECT_EQ(claude_hook_command("Stop", kMacPaths),
            "# kolvo-agent-status\n"
            "mkdir -p '/Users/o'\\''brien/Library/Application Support/Kolvo/agents' && "
            "{ printf '{\"event\":\"Stop\",\"payload\":'; cat; printf '}'; } "
            "> '/Users/o'\\''brien/Library/Application Support/Kolvo/agents/claude-code.json.tmp' && "
            "mv '/Users/o'\\''brien/Library/Application Support/Kolvo/agents/claude-code.json.tmp' "
            "'/Users/o'\\''brien/Library/Application Support/Kolvo/agents/claude-code.json' || true");
}

TEST_F(ClaudeCodeHooks, SingleQuotingSurvivesTheShellForAnyText) {
  const std::string texts[] = {"", "plain", "o'brien", "''", "a b\tc", "$HOME `id` $(id) \\n \\", "line\nbreak", "\"q\"", "*?[a]"};
  const fs::path in = root_.path() / "empty-input";
  std::ofstream(in).close();
  for (const std::string& text : texts) {
    const ShellRun run = run_shell("printf %s " + shell_single_quoted(text), in, root_.path() / "out");
    EXPECT_EQ(run.exit_code, 0) << text;
    EXPECT_EQ(run.out, text);
  }
}

// The expected file is what node printed after applying the same edit to the parsed settings
// and writing them with JSON.stringify(settings, null, 2), as Claude Code writes them. The input
// has permissions, env, model, a status line and plugins around the hooks; hooks with matchers
// and options; another program's hooks; an old Kolvo hook sharing an entry with the user's, and
// one alone in its entry. Equal bytes mean none of it was lost or re-spelled.
TEST(ClaudeSettingsRewrite, AClaudeCodeFileChangesOnlyInItsHooks) {
  const std::string original = data_file("claude_settings.json");
  const std::string expected = data_file("claude_settings_with_hooks.json");
  const auto rewrite = rewrite_claude_settings(original, kMacPaths);
  ASSERT_TRUE(rewrite.text) << rewrite.problem;
  EXPECT_EQ(*rewrite.text, expected);
  // Everything before the hooks and after them is the same bytes.
  const std::size_t hooks_start = original.find("  \"hooks\": {");
  const std::size_t hooks_end = original.find("\n  },\n  \"statusLine\"");
  ASSERT_NE(hooks_end, std::string::npos);
  EXPECT_EQ(rewrite.text->substr(0, hooks_start), original.substr(0, hooks_start));
  EXPECT_TRUE(rewrite.text->ends_with(original.substr(hooks_end)));
  // Installing again over the result changes nothing.
  EXPECT_EQ(rewrite_claude_settings(expected, kMacPaths).text, expected);
}

TEST(ClaudeSettingsRewrite, InstallingTwiceGivesTheSameTextWithOneHookPerEvent) {
  const std::string inputs[] = {
      "",
      " \n",
      "{}",
      "{\n  \"hooks\": {}\n}\n",
      data_file("claude_settings.json"),
      data_file("claude_settings_with_hooks.json"),
      // Ours in the middle, an entry the user left empty, and entries of shapes Kolvo does not
      // know, all kept where they are.
      "{\n  \"hooks\": {\n    \"Stop\": [\n      {\n        \"hooks\": [\n          {\n            \"command\": \"# "
      "kolvo-agent-status\\nold\"\n          }\n        ]\n      },\n      {\n        \"hooks\": []\n      },\n"
      "      \"odd\",\n      {\n        \"hooks\": \"odd\"\n      }\n    ]\n  }\n}",
  };
  for (const std::string& input : inputs) {
    const auto once = rewrite_claude_settings(input, kMacPaths);
    ASSERT_TRUE(once.text) << input << once.problem;
    EXPECT_EQ(count(*once.text, "kolvo-agent-status"), kClaudeHookEvents.size()) << *once.text;
    const auto twice = rewrite_claude_settings(*once.text, kMacPaths);
    EXPECT_EQ(twice.text, once.text) << input;
  }
  const auto kept = rewrite_claude_settings(inputs[6], kMacPaths);
  ASSERT_TRUE(kept.text);
  EXPECT_EQ(Json::parse(*kept.text)["hooks"]["Stop"][0], (Json{{"hooks", Json::array()}}));
  EXPECT_EQ(Json::parse(*kept.text)["hooks"]["Stop"][1], "odd");
  EXPECT_EQ(Json::parse(*kept.text)["hooks"]["Stop"][2], (Json{{"hooks", "odd"}}));
}

TEST_F(ClaudeCodeHooks, InstallKeepsTheOriginalOnceAndThePermissions) {
  const std::string original = data_file("claude_settings.json");
  write_settings(original);
  ::chmod(paths_.claude_settings().c_str(), 0640);
  const fs::path backup = paths_.claude_folder() / "settings.json.kolvo-backup";

  const ClaudeHookInstall first = install_claude_hooks(paths_);
  EXPECT_TRUE(first.ok);
  EXPECT_TRUE(first.wrote);
  EXPECT_EQ(first.sentence, "Status hooks installed");
  EXPECT_EQ(read_text(backup), original);
  EXPECT_EQ(settings(), *rewrite_claude_settings(original, paths_).text);
  EXPECT_EQ(fs::status(paths_.claude_settings()).permissions(), fs::perms(0640));
  EXPECT_EQ(fs::status(backup).permissions(), fs::perms(0640));

  // Nothing to change: nothing written.
  const auto written_at = fs::last_write_time(paths_.claude_settings());
  const ClaudeHookInstall again = install_claude_hooks(paths_);
  EXPECT_TRUE(again.ok);
  EXPECT_FALSE(again.wrote);
  EXPECT_EQ(fs::last_write_time(paths_.claude_settings()), written_at);

  // The user edits the file; a later install changes it again but keeps the first original.
  write_settings("{\n  \"model\": \"sonnet\"\n}");
  EXPECT_TRUE(install_claude_hooks(paths_).ok);
  EXPECT_EQ(read_text(backup), original);
  EXPECT_TRUE(settings().starts_with("{\n  \"model\": \"sonnet\",\n  \"hooks\": {\n"));
  EXPECT_EQ(listing(paths_.claude_folder()), (std::set<std::string>{"settings.json", "settings.json.kolvo-backup"}));
}

TEST_F(ClaudeCodeHooks, AMissingSettingsFileIsCreatedWithoutABackup) {
  fs::create_directories(paths_.claude_folder());
  const ClaudeHookInstall result = install_claude_hooks(paths_);
  EXPECT_TRUE(result.ok) << result.sentence;
  EXPECT_EQ(listing(paths_.claude_folder()), std::set<std::string>{"settings.json"});
  EXPECT_EQ(settings(), *rewrite_claude_settings("{}", paths_).text + "\n");
  EXPECT_EQ(fs::status(paths_.claude_settings()).permissions(), fs::perms(0600));
  EXPECT_EQ(claude_hook_status(paths_).status, ClaudeHookStatus::installed);
}

TEST_F(ClaudeCodeHooks, WithoutClaudeCodeNothingIsMade) {
  const ClaudeHookInstall result = install_claude_hooks(paths_);
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.sentence, "Claude Code was not found in your home folder.");
  EXPECT_EQ(claude_hook_status(paths_).status, ClaudeHookStatus::claude_missing);
  EXPECT_EQ(claude_hook_status(paths_).sentence, "Claude Code was not found in your home folder.");
  EXPECT_TRUE(listing(paths_.home).empty());
}

TEST_F(ClaudeCodeHooks, AFileItCannotFullyReadIsRefusedAndLeftAlone) {
  struct Case {
    std::string text;
    std::string problem;
  };
  const Case cases[] = {
      {"[]", "it does not hold a JSON object"},
      {"\"settings\"", "it does not hold a JSON object"},
      {"null", "it does not hold a JSON object"},
      {"{\n  \"model\": \"opus\",\n}", "it is not valid JSON (expected a key in quotes at line 3, column 1)"},
      {"{} trailing", "it is not valid JSON (there is more text after the value at line 1, column 4)"},
      {"// mine\n{}", "it is not valid JSON (unexpected character at line 1, column 1)"},
      {"{\"hooks\": []}", "its \"hooks\" setting is not a JSON object"},
      {"{\"hooks\": \"none\"}", "its \"hooks\" setting is not a JSON object"},
      {"{\"hooks\": {\"Stop\": {\"hooks\": []}}}", "its \"hooks\" setting for Stop is not a list"},
      {"{\"hooks\": {\"SessionEnd\": null}}", "its \"hooks\" setting for SessionEnd is not a list"},
      {"{\"a\": " + std::string(600, '[') + std::string(600, ']') + "}", "it nests deeper than 512 levels"},
      {"{" + std::string((std::size_t{16} << 20) - 1, ' ') + "}", "it is larger than 16 MiB"},
  };
  for (const Case& c : cases) {
    write_settings(c.text);
    const ClaudeHookInstall result = install_claude_hooks(paths_);
    EXPECT_FALSE(result.ok) << c.text.substr(0, 40);
    EXPECT_EQ(result.sentence,
              "Left Claude Code's settings file " + paths_.claude_settings().string() + " as it is: " + c.problem + ".");
    EXPECT_TRUE(settings() == c.text) << c.text.substr(0, 40);
    EXPECT_EQ(listing(paths_.claude_folder()), std::set<std::string>{"settings.json"}) << c.text.substr(0, 40);
    // What status says agrees: hooks are needed, and why they cannot be added.
    const ClaudeHookReport report = claude_hook_status(paths_);
    EXPECT_EQ(report.status, ClaudeHookStatus::hooks_missing);
    EXPECT_NE(report.problem.find(c.problem), std::string::npos) << report.problem.substr(0, 200);
  }
}

TEST_F(ClaudeCodeHooks, StatusNeedsAHookForEveryEvent) {
  const std::string installed = *rewrite_claude_settings("{}", paths_).text;
  Json partial = Json::parse(installed);
  partial["hooks"].erase("SessionEnd");
  Json foreign = Json::parse(installed);
  foreign["hooks"]["Stop"][0]["hooks"][0]["command"] = "other-tool stop";
  struct Case {
    std::optional<std::string> settings;
    ClaudeHookStatus status;
  };
  const Case cases[] = {
      {std::nullopt, ClaudeHookStatus::hooks_missing},
      {"{}", ClaudeHookStatus::hooks_missing},
      {"{\"hooks\": {\"Stop\": [{\"hooks\": [{\"command\": \"# kolvo-agent-status\"}]}]}}", ClaudeHookStatus::hooks_missing},
      {partial.dump(2), ClaudeHookStatus::hooks_missing},
      {foreign.dump(2), ClaudeHookStatus::hooks_missing},
      {installed, ClaudeHookStatus::installed},
      // Hooks written for another place still carry the marker: they are Kolvo's.
      {*rewrite_claude_settings("{}", kMacPaths).text, ClaudeHookStatus::installed},
  };
  for (const Case& c : cases) {
    fs::remove_all(paths_.claude_folder());
    fs::create_directories(paths_.claude_folder());
    if (c.settings) write_settings(*c.settings);
    const ClaudeHookReport report = claude_hook_status(paths_);
    EXPECT_EQ(report.status, c.status) << c.settings.value_or("(no file)");
    EXPECT_EQ(report.sentence, c.status == ClaudeHookStatus::installed
                                   ? "Status hooks installed"
                                   : "Claude Code needs status hooks before it can report activity.");
    EXPECT_TRUE(report.problem.empty()) << report.problem;
    // Looking writes nothing.
    EXPECT_EQ(listing(paths_.claude_folder()).size(), c.settings ? 1u : 0u);
    EXPECT_FALSE(fs::exists(paths_.application_support));
  }
}

TEST_F(ClaudeCodeHooks, ALinkedSettingsFileIsEditedWhereItLies) {
  const fs::path dotfiles = paths_.home / "dotfiles" / "claude.json";
  fs::create_directories(dotfiles.parent_path());
  std::ofstream(dotfiles) << "{\n  \"model\": \"opus\"\n}";
  fs::create_directories(paths_.claude_folder());
  fs::create_symlink(dotfiles, paths_.claude_settings());
  ASSERT_TRUE(install_claude_hooks(paths_).ok);
  EXPECT_TRUE(fs::is_symlink(paths_.claude_settings()));
  EXPECT_EQ(count(read_text(dotfiles), "kolvo-agent-status"), kClaudeHookEvents.size());
  EXPECT_EQ(read_text(paths_.claude_folder() / "settings.json.kolvo-backup"), "{\n  \"model\": \"opus\"\n}");
  EXPECT_EQ(listing(dotfiles.parent_path()), std::set<std::string>{"claude.json"});
}

// The installed command run as Claude Code runs it: by the shell, with the hook's JSON on
// standard input.
TEST_F(ClaudeCodeHooks, TheInstalledHookWritesTheEventAndItsInputWhole) {
  write_settings("{}");
  ASSERT_TRUE(install_claude_hooks(paths_).ok);
  const Json installed = Json::parse(settings());
  const fs::path status_file = paths_.claude_status_file();
  struct Case {
    std::string event;
    std::string input;
  };
  const Case cases[] = {
      {"PreToolUse",
       R"({"session_id":"4b1c7f7e-2d3a-4f0e-9d55-0c7e6a1b2c3d","transcript_path":"/Users/o'brien/.claude/projects/-Users-o-brien-proj/4b1c7f7e.jsonl","cwd":"/home/u/proj","hook_event_name":"PreToolUse","tool_name":"Edit","tool_input":{"file_path":"/home/u/proj/main.cpp","old_string":"a","new_string":"b"}})"},
      {"Notification",
       "{\"session_id\":\"s\",\"cwd\":\"/home/u/proj\",\"hook_event_name\":\"Notification\",\"message\":\"Claude needs your "
       "permission to use Bash\"}\n"},
      {"Stop", R"({"session_id":"s","hook_event_name":"Stop","stop_hook_active":false,"note":"50% done, 'quoted' \"too\""})"},
  };
  for (const Case& c : cases) {
    const std::string command = installed["hooks"][c.event].back()["hooks"][0]["command"];
    const fs::path input = root_.path() / "hook-input.json";
    std::ofstream(input, std::ios::binary) << c.input;
    const ShellRun run = run_shell(command, input, root_.path() / "hook-output");
    EXPECT_EQ(run.exit_code, 0) << c.event << run.err;
    EXPECT_EQ(run.out + run.err, "");
    const std::string written = read_text(status_file);
    EXPECT_EQ(written, "{\"event\":\"" + c.event + "\",\"payload\":" + c.input + "}");
    const Json parsed = Json::parse(written, nullptr, /*allow_exceptions=*/false);
    ASSERT_TRUE(parsed.is_object()) << written;
    EXPECT_EQ(parsed["event"], c.event);
    EXPECT_EQ(parsed["payload"], Json::parse(c.input));
    EXPECT_EQ(listing(paths_.status_directory()), std::set<std::string>{"claude-code.json"});
    EXPECT_EQ(read_claude_status_file(paths_).event, c.event);
  }
}

TEST_F(ClaudeCodeHooks, AHookThatCannotWriteNeverFailsClaudeCode) {
  // A file stands where the status folder's parent should be.
  std::ofstream(paths_.home / "Library") << "not a folder";
  const fs::path input = root_.path() / "hook-input.json";
  std::ofstream(input) << "{}";
  const ShellRun run = run_shell(claude_hook_command("Stop", paths_), input, root_.path() / "hook-output");
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_NE(run.err.find("mkdir"), std::string::npos) << run.err;
  EXPECT_FALSE(read_claude_status_file(paths_).exists);
}

}  // namespace
}  // namespace kolvo::shelf
