#include <gtest/gtest.h>

#include <sys/stat.h>
#include <utime.h>

#include <chrono>
#include <thread>
#include <vector>

#include "shelf/claude_code/claude_code_surface_session.hpp"
#include "support/settings_fixture.hpp"
#include "support/temp_root.hpp"

namespace kolvo::shelf {
namespace {

using deck::ShelfAgentActivity;
using A = ShelfAgentActivity;

// A status folder in a temporary home. The folder watch is the test's own hand: `notify`
// stands for the system telling the watcher that the folder changed.
struct ClaudeBench {
  testing::TempRoot root{"claude-surface"};
  base::ManualExecutor executor;
  testing::FixedWallClock clock;
  base::DiagnosticsLog log{clock, base::DiagnosticsLog::silent()};
  AgentPaths paths{root.path() / "home", root.path() / "support"};
  std::function<void()> notify_folder;
  int watches_open = 0;
  int watches_made = 0;
  // Set false to stand for a system that gives no watch (out of inotify instances, say).
  bool watch_available = true;
  std::vector<ShelfSurfaceState> sent;
  std::unique_ptr<ClaudeCodeSurfaceSession> session;

  struct CountedWatch final : DirectoryWatch {
    explicit CountedWatch(int& open) : open_(open) { ++open_; }
    ~CountedWatch() override { --open_; }
    int& open_;
  };

  ClaudeBench() {
    DirectoryWatchFactory watch = [this](const std::filesystem::path& folder, base::Executor&,
                                         std::function<void()> changed) -> std::unique_ptr<DirectoryWatch> {
      EXPECT_EQ(folder, paths.status_directory());
      if (!watch_available) return nullptr;
      ++watches_made;
      notify_folder = std::move(changed);
      return std::make_unique<CountedWatch>(watches_open);
    };
    session = std::make_unique<ClaudeCodeSurfaceSession>(ClaudeCodeSurfaceSession::Ports{executor, clock, log, paths, watch});
    session->set_on_state([this](const ShelfSurfaceState& s) { sent.push_back(s); });
  }

  // Runs the main loop until the watcher's read came back.
  void settle(std::size_t expected_sent) {
    for (int i = 0; i < 300 && sent.size() < expected_sent; ++i) {
      executor.run_pending();
      if (sent.size() < expected_sent) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    // And a little longer, so a state that should not come has had its chance.
    for (int i = 0; i < 20; ++i) {
      executor.run_pending();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  // A hook's report, written as the hook writes it, `age` before the clock's now.
  void report(const std::string& json, std::chrono::seconds age = std::chrono::seconds(0)) {
    const auto file = paths.claude_status_file();
    std::filesystem::create_directories(file.parent_path());
    root.write(file, json);
    const auto when = std::chrono::duration_cast<std::chrono::seconds>((clock.time - age).time_since_epoch()).count();
    const struct utimbuf times{when, when};
    ::utime(file.c_str(), &times);
  }
  void report_and_notify(const std::string& json, std::size_t expected_sent,
                         std::chrono::seconds age = std::chrono::seconds(0)) {
    report(json, age);
    notify_folder();
    settle(expected_sent);
  }
};

std::string tool_event(const std::string& event, const std::string& tool, const std::string& input,
                       const std::string& cwd = "/Users/ana/Projects/kolvo") {
  return R"({"event":")" + event + R"(","payload":{"session_id":"4b2c","transcript_path":"/Users/ana/.claude/projects/x.jsonl","cwd":")" +
         cwd + R"(","permission_mode":"default","hook_event_name":")" + event + R"(","tool_name":")" + tool +
         R"(","tool_input":)" + input + "}}";
}

std::string plain_event(const std::string& event) {
  return R"({"event":")" + event + R"(","payload":{"session_id":"4b2c","cwd":"/Users/ana/Projects/kolvo","hook_event_name":")" +
         event + R"("}})";
}

TEST(ClaudeCodeSurfaceSession, ReportsBecomeActivitiesWithOneLineOfDetail) {
  struct Case {
    std::string report;
    A activity;
    std::optional<std::string> detail;
  };
  const Case cases[] = {
      {tool_event("PreToolUse", "Edit", R"({"file_path":"/a/b/main.cpp","old_string":"x","new_string":"y"})"), A::working, "Editing main.cpp"},
      {tool_event("PostToolUse", "Edit", R"({"file_path":"/a/b/main.cpp"})"), A::thinking, "Editing main.cpp"},
      {tool_event("PreToolUse", "Write", R"({"file_path":"/a/notes.md","content":"…"})"), A::working, "Editing notes.md"},
      {tool_event("PreToolUse", "NotebookEdit", R"({"file_path":"/a/n.ipynb"})"), A::working, "Editing n.ipynb"},
      {tool_event("PreToolUse", "NotebookEdit", R"({"notebook_path":"/a/m.ipynb","new_source":"x"})"), A::working, "Editing m.ipynb"},
      {tool_event("PreToolUse", "Read", R"({"file_path":"/etc/hosts"})"), A::working, "Reading hosts"},
      {tool_event("PreToolUse", "Bash", R"({"command":"ctest","description":"run tests"})"), A::working, "Run tests"},
      {tool_event("PreToolUse", "Bash", R"({"command":"ctest"})"), A::working, std::nullopt},
      {tool_event("PreToolUse", "Bash", R"({"command":"ctest","description":""})"), A::working, std::nullopt},
      {tool_event("PreToolUse", "Grep", R"({"pattern":"TODO"})"), A::working, "Searching for TODO"},
      {tool_event("PreToolUse", "Glob", R"({"pattern":"**/*.cpp"})"), A::working, "Searching for **/*.cpp"},
      {tool_event("PreToolUse", "WebSearch", R"({"query":"asio"})"), A::working, "Searching the web"},
      {tool_event("PreToolUse", "WebFetch", R"({})"), A::working, "Searching the web"},
      {tool_event("PreToolUse", "Task", R"({"description":"Review the diff","prompt":"…"})"), A::working, "Delegating: Review the diff"},
      {tool_event("PreToolUse", "TodoWrite", R"({"todos":[]})"), A::working, std::nullopt},
      {tool_event("PreToolUse", "Edit", R"({"file_path":42})"), A::working, std::nullopt},
      {tool_event("PreToolUse", "Edit", R"("not an object")"), A::working, std::nullopt},
      {plain_event("UserPromptSubmit"), A::thinking, std::nullopt},
      {plain_event("SessionStart"), A::idle, std::nullopt},
      {plain_event("Notification"), A::waiting, std::nullopt},
      {plain_event("Stop"), A::done, std::nullopt},
      {plain_event("SubagentStop"), A::done, std::nullopt},
  };
  for (const auto& c : cases) {
    ClaudeBench bench;
    bench.report(c.report);
    bench.session->start();
    bench.settle(1);
    ASSERT_EQ(bench.sent.size(), 1u) << c.report;
    const auto& state = bench.sent.back();
    EXPECT_TRUE(state.available) << c.report;
    EXPECT_EQ(state.agent_activity, c.activity) << c.report;
    EXPECT_EQ(state.agent_detail, c.detail) << c.report;
    EXPECT_EQ(state.title, "kolvo") << c.report;
    EXPECT_EQ(state.timestamp, base::seconds_since_2001(bench.clock.time));
  }
}

TEST(ClaudeCodeSurfaceSession, WithoutAFreshReportTheWidgetAsksForClaudeCode) {
  const std::pair<const char*, std::optional<std::string>> cases[] = {
      {"no file", std::nullopt},
      {"empty", ""},
      {"not JSON", "{\"event\":"},
      {"an array", "[1,2]"},
      {"no event", R"({"payload":{}})"},
      {"event not a string", R"({"event":3})"},
      {"deeply nested", std::string(100000, '[') + std::string(100000, ']')},
  };
  for (const auto& [name, contents] : cases) {
    ClaudeBench bench;
    if (contents) bench.report(*contents);
    bench.session->start();
    bench.settle(1);
    ASSERT_EQ(bench.sent.size(), 1u) << name;
    EXPECT_FALSE(bench.sent[0].available) << name;
    EXPECT_EQ(bench.sent[0].unavailable, "Open Claude Code on your Mac") << name;
    EXPECT_EQ(bench.sent[0].agent_activity, std::nullopt) << name;
  }
  // Thirteen hours old: a session long gone.
  ClaudeBench stale;
  stale.report(plain_event("UserPromptSubmit"), std::chrono::hours(13));
  stale.session->start();
  stale.settle(1);
  ASSERT_EQ(stale.sent.size(), 1u);
  EXPECT_FALSE(stale.sent[0].available);
  // The status folder is made at start, so the hooks' folder is watched from the first report.
  EXPECT_TRUE(std::filesystem::is_directory(stale.paths.status_directory()));
}

TEST(ClaudeCodeSurfaceSession, DoneTurnsIdleAfterTheLingerUnlessANewerReportCame) {
  ClaudeBench bench;
  bench.session->start();
  bench.settle(1);
  bench.report_and_notify(tool_event("PreToolUse", "Read", R"({"file_path":"/a/x.h"})"), 2);
  bench.report_and_notify(plain_event("Stop"), 3);
  ASSERT_EQ(bench.sent.size(), 3u);
  EXPECT_EQ(bench.sent.back().agent_activity, A::done);

  bench.executor.advance_seconds(44);
  EXPECT_EQ(bench.sent.size(), 3u);
  bench.clock.time += std::chrono::seconds(45);
  bench.executor.advance_seconds(1);
  ASSERT_EQ(bench.sent.size(), 4u);
  EXPECT_EQ(bench.sent.back().agent_activity, A::idle);
  EXPECT_EQ(bench.sent.back().agent_detail, std::nullopt);
  EXPECT_EQ(bench.sent.back().title, "kolvo");
  EXPECT_EQ(bench.sent.back().timestamp, base::seconds_since_2001(bench.clock.time));

  // A new prompt within the linger cancels the turn to idle.
  bench.report_and_notify(plain_event("Stop"), 5);
  bench.executor.advance_seconds(10);
  bench.report_and_notify(plain_event("UserPromptSubmit"), 6);
  bench.executor.advance_seconds(60);
  ASSERT_EQ(bench.sent.size(), 6u);
  EXPECT_EQ(bench.sent.back().agent_activity, A::thinking);
}

TEST(ClaudeCodeSurfaceSession, TheSameReportReadAgainIsNoNews) {
  ClaudeBench bench;
  bench.report(plain_event("Stop"));
  bench.session->start();
  bench.settle(1);
  // The next hook's temporary file, say: the folder changed, the report did not.
  bench.executor.advance_seconds(30);
  bench.notify_folder();
  bench.settle(2);
  EXPECT_EQ(bench.sent.size(), 1u);
  // The linger was not started again: idle comes 45 s after the report, not after the re-read.
  bench.executor.advance_seconds(15);
  ASSERT_EQ(bench.sent.size(), 2u);
  EXPECT_EQ(bench.sent.back().agent_activity, A::idle);
  bench.notify_folder();
  bench.settle(3);
  EXPECT_EQ(bench.sent.size(), 2u) << "done is not shown again";
}

TEST(ClaudeCodeSurfaceSession, AReportLeftForTwelveHoursGoesStale) {
  ClaudeBench bench;
  bench.report(tool_event("PreToolUse", "Bash", R"({"command":"make","description":"build"})"), std::chrono::hours(2));
  bench.session->start();
  bench.settle(1);
  EXPECT_EQ(bench.sent.back().agent_activity, A::working);
  bench.clock.time += std::chrono::hours(10);
  bench.executor.advance(std::chrono::hours(10));
  ASSERT_EQ(bench.sent.size(), 2u);
  EXPECT_FALSE(bench.sent.back().available);
}

TEST(ClaudeCodeSurfaceSession, AFolderThatWentIsMadeAndWatchedAgain) {
  ClaudeBench bench;
  bench.session->start();
  bench.settle(1);
  ASSERT_EQ(bench.watches_made, 1);
  std::filesystem::remove_all(bench.paths.status_directory());
  bench.notify_folder();
  bench.settle(1);
  EXPECT_EQ(bench.watches_made, 2);
  EXPECT_EQ(bench.watches_open, 1);
  EXPECT_TRUE(std::filesystem::is_directory(bench.paths.status_directory()));
  bench.report_and_notify(plain_event("UserPromptSubmit"), 2);
  ASSERT_EQ(bench.sent.size(), 2u);
  EXPECT_EQ(bench.sent.back().agent_activity, A::thinking);
}

TEST(ClaudeCodeSurfaceSession, WithoutAWatchTheFileIsReadEveryTwoSeconds) {
  ClaudeBench bench;
  bench.watch_available = false;
  bench.session->start();
  bench.settle(1);
  bench.report(plain_event("Notification"));
  bench.executor.advance_seconds(2);
  bench.settle(2);
  ASSERT_EQ(bench.sent.size(), 2u);
  EXPECT_EQ(bench.sent.back().agent_activity, A::waiting);
}

TEST(ClaudeCodeSurfaceSession, AnEndedSessionLeavesTheWidgetAsItWas) {
  ClaudeBench bench;
  bench.session->start();
  bench.settle(1);
  bench.report_and_notify(plain_event("Stop"), 2);
  bench.report_and_notify(plain_event("SessionEnd"), 3);
  EXPECT_EQ(bench.sent.size(), 2u);
  // The pending turn to idle still happens.
  bench.executor.advance_seconds(45);
  ASSERT_EQ(bench.sent.size(), 3u);
  EXPECT_EQ(bench.sent.back().agent_activity, A::idle);

  // The same report again is no news.
  bench.report_and_notify(plain_event("SessionStart"), 4);
  EXPECT_EQ(bench.sent.size(), 3u);
  bench.session->refresh();
  EXPECT_EQ(bench.sent.size(), 4u);

  // With nothing sent yet, an ended session is simply no Claude Code.
  ClaudeBench fresh;
  fresh.report(plain_event("SessionEnd"));
  fresh.session->start();
  fresh.settle(1);
  ASSERT_EQ(fresh.sent.size(), 1u);
  EXPECT_FALSE(fresh.sent[0].available);
}

TEST(ClaudeCodeSurfaceSession, StoppingEndsTheWatchAndDropsAReadInFlight) {
  ClaudeBench bench;
  bench.session->start();
  bench.settle(1);
  EXPECT_EQ(bench.watches_open, 1);
  bench.report(plain_event("Stop"));
  bench.notify_folder();
  bench.session->stop();
  EXPECT_EQ(bench.watches_open, 0);
  bench.settle(2);
  EXPECT_EQ(bench.sent.size(), 1u);
  bench.executor.advance_seconds(60);
  EXPECT_EQ(bench.sent.size(), 1u);
  bench.session->refresh();
  EXPECT_EQ(bench.sent.size(), 1u) << "a stopped session forgets its last state";
}

}  // namespace
}  // namespace kolvo::shelf
