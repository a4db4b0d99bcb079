#include "shelf/codex/codex_log.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include "base/file_io.hpp"
#include "shelf/codex/rollout_lines.hpp"
#include "support/temp_root.hpp"

namespace kolvo::shelf {
namespace {

namespace fs = std::filesystem;
using testing::TempRoot;
using A = ShelfAgentActivity;
using namespace std::chrono_literals;

const base::WallTime kNow = base::from_seconds_since_2001(790'000'000);

std::string detail_of(const std::string& command_json) {
  const nlohmann::json command = nlohmann::json::parse(command_json);
  return codex_command_detail(&command);
}

std::size_t characters(const std::string& text) {
  std::size_t count = 0;
  for (const char c : text) count += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  return count;
}

TEST(CodexCommandDetail, NamesTheCommandWithoutItsShell) {
  struct Case {
    const char* name;
    std::string command;  // JSON
    std::string detail;
  };
  const std::string long_words = "cargo test --workspace --all-features -- --nocapture --test-threads 1";
  const std::vector<Case> cases = {
      {"arguments under bash -lc", R"(["bash","-lc","cargo test --workspace"])", "Running cargo test --workspace"},
      {"zsh by its path", R"(["/bin/zsh","-lc","swift build"])", "Running swift build"},
      {"plain arguments", R"(["git","status","--short"])", "Running git status --short"},
      {"one string", R"("npm run lint")", "Running npm run lint"},
      {"one string under bash -lc, quoted", R"("bash -lc 'cargo fmt --check'")", "Running cargo fmt --check"},
      {"quotes that belong to the script stay", R"(["bash","-lc","grep -n 'a' x && grep 'b' y"])",
       "Running grep -n 'a' x && grep 'b' y"},
      {"bash with another flag is a command of its own", R"(["bash","scripts/setup"])", "Running bash scripts/setup"},
      {"only the first line", R"(["bash","-lc","cd src\nmake -j4\nmake test"])", "Running cd src"},
      {"blank lines before the script", R"(["bash","-lc","\n\n  ls -la  \nrm x"])", "Running ls -la"},
      {"a tab shows as a blank", "[\"printf\",\"a\\tb\"]", "Running printf a b"},
      {"arguments that are not strings are left out", R"(["echo",7,"hi",null])", "Running echo hi"},
      {"no command", "null", "Running a command"},
      {"an empty list", "[]", "Running a command"},
      {"only blanks", R"("   ")", "Running a command"},
      {"only the shell", R"(["bash","-lc"])", "Running bash -lc"},
      {"a number", "42", "Running a command"},
  };
  for (const auto& c : cases) EXPECT_EQ(detail_of(c.command), c.detail) << c.name;
  EXPECT_EQ(codex_command_detail(nullptr), "Running a command");
}

TEST(CodexCommandDetail, IsCutToSixtyCharactersBetweenCharacters) {
  struct Case {
    const char* name;
    std::string script;
    std::string detail;
  };
  const std::string fifty_two(52, 'x');  // "Running " + 52 = 60 exactly
  const std::vector<Case> cases = {
      {"exactly sixty", fifty_two, "Running " + fifty_two},
      {"sixty-one", fifty_two + "y", "Running " + std::string(51, 'x') + "\u2026"},
      // Sixty characters of two bytes each is not too long; sixty-one is.
      {"sixty characters in more bytes", "echo " + [] { std::string s; for (int i = 0; i < 47; ++i) s += "\u00e9"; return s; }(),
       "Running echo " + [] { std::string s; for (int i = 0; i < 47; ++i) s += "\u00e9"; return s; }()},
      {"cut just before a four-byte character", std::string(50, 'a') + "\U0001F680\U0001F680\U0001F680",
       "Running " + std::string(50, 'a') + "\U0001F680\u2026"},
  };
  for (const auto& c : cases) {
    const nlohmann::json command = nlohmann::json::array({"bash", "-lc", c.script});
    const std::string detail = codex_command_detail(&command);
    EXPECT_EQ(detail, c.detail) << c.name;
    EXPECT_LE(characters(detail), kCodexDetailCharacters) << c.name;
  }
}

TEST(CodexLogLine, EventsSetWhatTheAgentIsDoing) {
  struct Case {
    const char* name;
    std::string line;
    std::optional<CodexPending> said;
  };
  const std::vector<Case> cases = {
      {"task started", rollout::task_started(), CodexPending{A::thinking, std::nullopt}},
      {"task complete", rollout::task_complete(), CodexPending{A::done, std::nullopt}},
      {"a command ran", rollout::command_completed(R"(["bash","-lc","cargo test --workspace"])"),
       CodexPending{A::working, "Running cargo test --workspace"}},
      {"a command without its command", rollout::command_completed(""), CodexPending{A::working, "Running a command"}},
      {"reasoning finished", rollout::item_completed("Reasoning"), CodexPending{A::thinking, std::nullopt}},
      {"a tool call finished", rollout::item_completed("McpToolCall"), CodexPending{A::thinking, std::nullopt}},
      {"a message finished", rollout::item_completed("AgentMessage"), CodexPending{A::thinking, std::nullopt}},
      {"an item of a kind to come", rollout::item_completed("ImageGeneration"), CodexPending{A::thinking, std::nullopt}},
      {"an item without a kind", rollout::at("event_msg", R"({"type":"item_completed","item":{}})"),
       CodexPending{A::thinking, std::nullopt}},
      {"the session's start", rollout::session_meta(), std::nullopt},
      {"the turn's settings", rollout::turn_context(), std::nullopt},
      {"a message to the user", rollout::agent_message("Done."), std::nullopt},
      {"token counts", rollout::token_count(), std::nullopt},
      {"the user's words", rollout::user_message("please run the tests"), std::nullopt},
      {"the model's call", rollout::function_call(), std::nullopt},
      {"output that quotes an event", rollout::function_call_output_quoting_an_event(), std::nullopt},
      {"an event's kind as a response item", rollout::at("response_item", R"({"type":"task_started"})"), std::nullopt},
      {"a payload that is a string", rollout::at("event_msg", R"("task_started")"), std::nullopt},
      {"a kind that is not a string", rollout::at("event_msg", R"({"type":["task_started"]})"), std::nullopt},
      {"no payload", R"({"type":"event_msg"})", std::nullopt},
      {"cut short", rollout::task_started().substr(0, 40), std::nullopt},
      {"not JSON", "event_msg task_started\x01\xff", std::nullopt},
      {"a list", R"(["event_msg",{"type":"task_started"}])", std::nullopt},
      {"empty", "", std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(interpret_codex_line(c.line), c.said) << c.name;
}

TEST(CodexLogLine, ActivityHoldsOnlyWhileTheLogIsFresh) {
  struct Case {
    const char* name;
    CodexPending pending;
    std::optional<base::Duration> age;  // absent: the log has no date
    CodexShownActivity shown;
  };
  const CodexPending working{A::working, "Running make"};
  const CodexPending thinking{A::thinking, std::nullopt};
  const CodexPending done{A::done, std::nullopt};
  const CodexPending failed{A::failed, "ignored"};
  const CodexShownActivity idle{A::idle, std::nullopt};
  const std::vector<Case> cases = {
      {"working, just written", working, 0s, {A::working, "Running make"}},
      {"working at the window's end", working, 120s, {A::working, "Running make"}},
      {"working just past it", working, 120s + 1ms, idle},
      {"thinking at the window's end", thinking, 120s, {A::thinking, std::nullopt}},
      {"thinking just past it", thinking, 121s, idle},
      {"a log written after now", thinking, -5s, {A::thinking, std::nullopt}},
      {"done within the linger", done, 45s, {A::done, std::nullopt}},
      {"done just past it", done, 45s + 1ms, idle},
      {"done long ago", done, 100s, idle},
      {"failed shows without detail", failed, 10s, {A::failed, std::nullopt}},
      {"nothing said yet", {}, 0s, idle},
      {"waiting is not something Codex says", {A::waiting, "x"}, 0s, idle},
      {"a log without a date", working, std::nullopt, idle},
  };
  for (const auto& c : cases) {
    const auto modified = c.age ? std::optional<base::WallTime>(kNow - *c.age) : std::nullopt;
    EXPECT_EQ(codex_shown_activity(c.pending, modified, kNow), c.shown) << c.name;
  }
}

TEST(CodexRollouts, TheNewestLogWithinTwelveHoursIsFollowed) {
  struct File {
    std::string path;
    base::Duration age;
  };
  struct Case {
    const char* name;
    std::vector<File> files;
    std::optional<std::string> newest;
  };
  const std::string day = "2025/10/14/";
  const std::vector<Case> cases = {
      {"nested by date", {{"2025/10/13/rollout-a.jsonl", 3h}, {day + "rollout-b.jsonl", 1h}}, day + "rollout-b.jsonl"},
      {"the newest, not the last by name",
       {{day + "rollout-2025-10-14T08.jsonl", 5min}, {day + "rollout-2025-10-14T09.jsonl", 2h}},
       day + "rollout-2025-10-14T08.jsonl"},
      {"a hidden folder is skipped", {{".tmp/rollout-x.jsonl", 1s}, {day + "rollout-b.jsonl", 1h}},
       day + "rollout-b.jsonl"},
      {"a hidden file is skipped", {{day + ".rollout-x.jsonl", 1s}, {day + "rollout-b.jsonl", 1h}},
       day + "rollout-b.jsonl"},
      {"another prefix", {{day + "session-x.jsonl", 1s}, {day + "rollout-b.jsonl", 1h}}, day + "rollout-b.jsonl"},
      {"another extension", {{day + "rollout-x.json", 1s}, {day + "rollout-x.jsonl.bak", 1s},
                             {day + "rollout-b.jsonl", 1h}},
       day + "rollout-b.jsonl"},
      {"a folder named like a log", {{day + "rollout-dir.jsonl/readme", 1s}, {day + "rollout-b.jsonl", 1h}},
       day + "rollout-b.jsonl"},
      {"just inside twelve hours", {{day + "rollout-b.jsonl", 12h - 1s}}, day + "rollout-b.jsonl"},
      {"exactly twelve hours", {{day + "rollout-b.jsonl", 12h}}, std::nullopt},
      {"older than twelve hours", {{"2025/10/13/rollout-a.jsonl", 13h}}, std::nullopt},
      {"nothing but other files", {{"config.toml", 1s}, {"history.jsonl", 1s}}, std::nullopt},
      {"an empty folder", {}, std::nullopt},
  };
  for (const auto& c : cases) {
    TempRoot root("codex-scan");
    const fs::path sessions = root.path() / "sessions";
    fs::create_directories(sessions);
    for (const auto& file : c.files) {
      root.write(fs::path("sessions") / file.path, rollout::session_meta());
      rollout::set_modified(sessions / file.path, kNow - file.age);
    }
    const auto newest = newest_codex_rollout(sessions, kNow, 12h);
    ASSERT_EQ(newest.has_value(), c.newest.has_value()) << c.name;
    if (!newest) continue;
    EXPECT_EQ(newest->path, sessions / *c.newest) << c.name;
    EXPECT_EQ(newest->modified, base::file_modification_time(sessions / *c.newest)) << c.name;
  }
}

TEST(CodexRollouts, TheSearchStaysWithinItsLimits) {
  TempRoot root("codex-limits");
  const fs::path sessions = root.path() / "sessions";
  root.write("sessions/a/b/c/rollout-deep.jsonl", "");
  root.write("sessions/a/rollout-shallow.jsonl", "");
  rollout::set_modified(sessions / "a/b/c/rollout-deep.jsonl", kNow - 1s);
  rollout::set_modified(sessions / "a/rollout-shallow.jsonl", kNow - 1h);
  // A link back up the tree is not entered, and the search still ends.
  fs::create_directory_symlink(sessions, sessions / "a" / "loop");

  const auto deep = newest_codex_rollout(sessions, kNow, 12h, {.max_depth = 3, .max_entries = 100});
  ASSERT_TRUE(deep);
  EXPECT_EQ(deep->path.filename(), "rollout-deep.jsonl");
  const auto shallow = newest_codex_rollout(sessions, kNow, 12h, {.max_depth = 2, .max_entries = 100});
  ASSERT_TRUE(shallow);
  EXPECT_EQ(shallow->path.filename(), "rollout-shallow.jsonl");
  // Counting stops the search: the root's one entry, then "a" holds three.
  EXPECT_FALSE(newest_codex_rollout(sessions, kNow, 12h, {.max_depth = 8, .max_entries = 1}));
  EXPECT_FALSE(newest_codex_rollout(root.path() / "missing", kNow, 12h));
}

// A log file written the way Codex writes it: appended to, a line at a time or in pieces.
class LogFile {
 public:
  explicit LogFile(fs::path path) : path_(std::move(path)) {}
  void append(const std::string& text) const {
    std::ofstream(path_, std::ios::binary | std::ios::app) << text;
  }
  void replace(const std::string& text) const { std::ofstream(path_, std::ios::binary | std::ios::trunc) << text; }
  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

std::vector<std::string> read_lines(LogTail& tail, const fs::path& file) {
  std::vector<std::string> lines;
  EXPECT_TRUE(tail.read(file, [&lines](std::string_view line) { lines.emplace_back(line); }));
  return lines;
}

using Lines = std::vector<std::string>;

TEST(LogTail, HandsOverWholeLinesOnceEach) {
  TempRoot root("codex-tail");
  const LogFile log(root.path() / "rollout-a.jsonl");
  LogTail tail;
  log.append("first\nsecond\n");
  EXPECT_EQ(read_lines(tail, log.path()), (Lines{"first", "second"}));
  EXPECT_EQ(tail.offset(), 13u);
  EXPECT_EQ(read_lines(tail, log.path()), Lines{});

  // A line written in two appends waits for its newline, and is then whole.
  log.append("thi");
  EXPECT_EQ(read_lines(tail, log.path()), Lines{});
  EXPECT_EQ(tail.offset(), 13u);
  log.append("rd\n\nfourth\nfif");
  EXPECT_EQ(read_lines(tail, log.path()), (Lines{"third", "fourth"}));
  EXPECT_EQ(tail.offset(), 27u);
  log.append("th\n");
  EXPECT_EQ(read_lines(tail, log.path()), (Lines{"fifth"}));
}

TEST(LogTail, StartsAgainWhenTheFileShrinksOrIsReplaced) {
  TempRoot root("codex-tail");
  const LogFile log(root.path() / "rollout-a.jsonl");
  LogTail tail;
  log.append("one\ntwo\nthree\n");
  EXPECT_EQ(read_lines(tail, log.path()).size(), 3u);

  log.replace("new\n");
  EXPECT_EQ(read_lines(tail, log.path()), (Lines{"new"}));

  // Cut back within the unfinished line only: what stands there now is read.
  log.append("partial-long");
  EXPECT_EQ(read_lines(tail, log.path()), Lines{});
  log.replace("new\npart");
  EXPECT_EQ(read_lines(tail, log.path()), Lines{});
  log.append("y\n");
  EXPECT_EQ(read_lines(tail, log.path()), (Lines{"party"}));

  // Another file renamed over it, longer than what was read: read from its start.
  const LogFile other(root.path() / "tmp.jsonl");
  other.append("alpha\nbeta\ngamma\ndelta\n");
  fs::rename(other.path(), log.path());
  EXPECT_EQ(read_lines(tail, log.path()), (Lines{"alpha", "beta", "gamma", "delta"}));

  fs::remove(log.path());
  EXPECT_FALSE(tail.read(log.path(), [](std::string_view) { ADD_FAILURE() << "no file, no line"; }));
}

TEST(LogTail, LinesLongerThanTheCapAreSkippedWhole) {
  struct Case {
    const char* name;
    LogTail::Limits limits;
    std::vector<std::string> appends;
    Lines lines;
  };
  const std::string over(40, 'L');
  const std::string under(30, 'u');
  const std::vector<Case> cases = {
      {"in one read", {.max_line_bytes = 32, .chunk_bytes = 1024, .max_bytes_per_read = 1 << 20},
       {"a\n" + over + "\nb\n"}, {"a", "b"}},
      {"across chunks", {.max_line_bytes = 32, .chunk_bytes = 7, .max_bytes_per_read = 1 << 20},
       {"a\n" + over + "\n" + under + "\nb\n"}, {"a", under, "b"}},
      {"across appends", {.max_line_bytes = 32, .chunk_bytes = 1024, .max_bytes_per_read = 1 << 20},
       {"a\n" + over.substr(0, 20), over.substr(20), over + "\nb", "\n"}, {"a", "b"}},
      {"exactly the cap", {.max_line_bytes = 40, .chunk_bytes = 16, .max_bytes_per_read = 1 << 20},
       {over + "\n"}, {over}},
  };
  for (const auto& c : cases) {
    TempRoot root("codex-tail");
    const LogFile log(root.path() / "rollout-a.jsonl");
    LogTail tail(c.limits);
    Lines lines;
    for (const auto& text : c.appends) {
      log.append(text);
      const auto read = read_lines(tail, log.path());
      lines.insert(lines.end(), read.begin(), read.end());
    }
    EXPECT_EQ(lines, c.lines) << c.name;
  }
}

TEST(LogTail, ReadsABoundedAmountEachTime) {
  TempRoot root("codex-tail");
  const LogFile log(root.path() / "rollout-a.jsonl");
  LogTail tail({.max_line_bytes = 64, .chunk_bytes = 4, .max_bytes_per_read = 10});
  log.append("aaaa\nbbbb\ncccc\ndddd\n");
  EXPECT_EQ(read_lines(tail, log.path()), (Lines{"aaaa", "bbbb"}));
  EXPECT_EQ(read_lines(tail, log.path()), (Lines{"cccc", "dddd"}));
  EXPECT_EQ(read_lines(tail, log.path()), Lines{});
}

}  // namespace
}  // namespace kolvo::shelf
