// `kolvo claude install-hooks` and `kolvo claude status`, run as the real program in a temporary
// home and data folder.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include <nlohmann/json.hpp>

#include "support/kolvo_cli_fixture.hpp"

namespace {
namespace fs = std::filesystem;
using kolvo::testing::CommandResult;
using kolvo::testing::KolvoCli;

// Every file under `folder` with its contents, to show a command changed nothing.
std::map<std::string, std::string> snapshot(const fs::path& folder) {
  std::map<std::string, std::string> files;
  if (!fs::exists(folder)) return files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    std::string& seen = files[entry.path().string()];
    if (!entry.is_regular_file()) {
      seen = "(folder)";
      continue;
    }
    std::ifstream in(entry.path(), std::ios::binary);
    seen.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  return files;
}

const std::string kSettings =
    "{\n  \"permissions\": {\n    \"allow\": [\n      \"Bash(make:*)\"\n    ],\n    \"deny\": []\n  },\n"
    "  \"hooks\": {\n    \"PreToolUse\": [\n      {\n        \"matcher\": \"Bash\",\n        \"hooks\": [\n          {\n"
    "            \"type\": \"command\",\n            \"command\": \"guard.sh\"\n          }\n        ]\n      }\n    ]\n"
    "  },\n  \"model\": \"opus\"\n}";

TEST_F(KolvoCli, ClaudeHooksAreInstalledOnceAndStatusReportsTheLastEvent) {
  const fs::path claude = user_home() / ".claude";
  const fs::path settings = claude / "settings.json";
  const fs::path status_file = data_home() / "Kolvo" / "agents" / "claude-code.json";

  // No Claude Code: nothing to install into, and nothing is made.
  CommandResult run = kolvo("claude install-hooks");
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.err, "kolvo: Claude Code was not found in your home folder.\n");
  run = kolvo("claude status");
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, "Claude Code was not found in your home folder.\nSettings: " + settings.string() +
                         "\nStatus file: " + status_file.string() + " (none yet)\n");
  EXPECT_FALSE(fs::exists(user_home()));
  EXPECT_FALSE(fs::exists(data_home()));

  fs::create_directories(claude);
  std::ofstream(settings, std::ios::binary) << kSettings;
  run = kolvo("claude status");
  EXPECT_EQ(run.out.substr(0, run.out.find('\n')), "Claude Code needs status hooks before it can report activity.");

  run = kolvo("claude install-hooks");
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, "Status hooks installed\nSettings: " + settings.string() + "\nOriginal kept as: " +
                         settings.string() + ".kolvo-backup\nStatus file: " + status_file.string() + "\n");
  const std::string installed = read(settings);
  EXPECT_EQ(read(claude / "settings.json.kolvo-backup"), kSettings);
  EXPECT_EQ(count(installed, "kolvo-agent-status"), 7u);
  EXPECT_TRUE(installed.ends_with("  },\n  \"model\": \"opus\"\n}")) << installed;
  // The hooks write where this program looks: the data folder it was given.
  EXPECT_NE(installed.find("mkdir -p '" + status_file.parent_path().string() + "'"), std::string::npos);

  run = kolvo("claude install-hooks");
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_NE(run.out.find("(unchanged: the hooks were already there)"), std::string::npos) << run.out;
  EXPECT_EQ(read(settings), installed);

  fs::create_directories(status_file.parent_path());
  std::ofstream(status_file) << R"({"event":"PreToolUse","payload":{"tool_name":"Edit","cwd":"/home/u/proj"}})";
  const auto before = snapshot(home_);
  run = kolvo("claude status");
  EXPECT_EQ(run.out, "Status hooks installed\nSettings: " + settings.string() + "\nStatus file: " +
                         status_file.string() + " (last event PreToolUse)\n");
  run = kolvo("claude status --json");
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const auto report = nlohmann::json::parse(run.out);
  EXPECT_EQ(report["status"], "installed");
  EXPECT_EQ(report["sentence"], "Status hooks installed");
  EXPECT_EQ(report["statusFile"], status_file.string());
  EXPECT_EQ(report["statusFileExists"], true);
  EXPECT_EQ(report["lastEvent"], "PreToolUse");
  EXPECT_FALSE(report.contains("problem"));
  // Looking writes nothing (the fixture's own capture of standard error aside).
  auto after = snapshot(home_);
  after.erase((home_ / "stderr.txt").string());
  auto expected = before;
  expected.erase((home_ / "stderr.txt").string());
  EXPECT_EQ(after, expected);
}

TEST_F(KolvoCli, ClaudeInstallHooksRefusesAFileItCannotReadAndLeavesIt) {
  const fs::path claude = user_home() / ".claude";
  const fs::path settings = claude / "settings.json";
  fs::create_directories(claude);
  struct Case {
    std::string text;
    std::string problem;
  };
  const Case cases[] = {
      {"[1, 2]", "it does not hold a JSON object"},
      {"{\n  \"model\": \"opus\"\n  \"env\": {}\n}", "it is not valid JSON (expected ',' or '}' at line 3, column 3)"},
      {"{\"hooks\": {\"Stop\": \"notify\"}}", "its \"hooks\" setting for Stop is not a list"},
  };
  for (const Case& c : cases) {
    std::ofstream(settings, std::ios::binary) << c.text;
    CommandResult run = kolvo("claude install-hooks");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "kolvo: Left Claude Code's settings file " + settings.string() + " as it is: " + c.problem + ".\n");
    EXPECT_EQ(read(settings), c.text);
    EXPECT_FALSE(fs::exists(claude / "settings.json.kolvo-backup"));
    EXPECT_EQ(std::distance(fs::directory_iterator(claude), fs::directory_iterator()), 1);

    run = kolvo("claude status --json");
    EXPECT_EQ(run.exit_code, 0) << run.err;
    const auto report = nlohmann::json::parse(run.out);
    EXPECT_EQ(report["status"], "hooksMissing");
    EXPECT_NE(report.value("problem", "").find(c.problem), std::string::npos) << run.out;
  }
}

TEST_F(KolvoCli, ClaudeTakesOneOfItsTwoWords) {
  for (const std::string arguments : {"claude", "claude install", "claude status extra", "claude install-hooks --json"}) {
    const CommandResult run = kolvo(arguments);
    EXPECT_EQ(run.exit_code, 2) << arguments;
    EXPECT_NE(run.err.find("'kolvo claude"), std::string::npos) << run.err;
  }
  EXPECT_NE(kolvo("help").out.find("claude install-hooks"), std::string::npos);
}

}  // namespace
