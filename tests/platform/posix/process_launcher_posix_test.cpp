// Child processes through posix_spawn: real scripts, run to their end or stopped by the watchdog.
#include "platform/posix/process_launcher_posix.hpp"

#include <gtest/gtest.h>

#include <signal.h>

#include <filesystem>
#include <fstream>

#include "support/fake_programs.hpp"
#include "support/temp_root.hpp"

namespace kolvo::platform {
namespace {

namespace fs = std::filesystem;
using controls::ProcessOutcome;
using controls::ProcessRequest;
using Output = ProcessRequest::Output;
using testing::TempRoot;
using testing::write_script;
using namespace std::chrono_literals;

TEST(PosixProcessLauncher, RunsAScriptToItsEndAndReportsWhatItSaidAndHowItEnded) {
  struct Case {
    const char* name;
    std::string body;
    std::vector<std::string> arguments;
    Output output;
    std::optional<std::chrono::steady_clock::duration> watchdog;
    int exit_status;
    std::string said;
    bool timed_out;
  };
  const std::string two_streams = "echo out; echo err >&2; echo out again; exit 3\n";
  const std::vector<Case> cases = {
      {"both streams, in the order written", two_streams, {}, Output::joined, std::nullopt, 3, "out\nerr\nout again\n",
       false},
      {"standard error alone", two_streams, {}, Output::errors_only, std::nullopt, 3, "err\n", false},
      {"arguments exactly as given", "printf '[%s]' \"$@\"\n", {"a b", "", "--c=d"}, Output::joined, std::nullopt, 0,
       "[a b][][--c=d]", false},
      {"nothing to read on standard input", "cat; echo done\n", {}, Output::joined, 5s, 0, "done\n", false},
      {"ended by a signal", "echo going; kill -9 $$\n", {}, Output::joined, std::nullopt, 128 + 9, "going\n", false},
      {"invalid UTF-8 repaired", "printf 'a\\377b'\n", {}, Output::joined, std::nullopt, 0, "a\xEF\xBF\xBD" "b", false},
      // The helper it started goes with it: had it lived, it would have said "late" and held
      // the pipe open for a second.
      {"stopped by the watchdog with what it started", "echo started; (sleep 1; echo late) & sleep 30\n", {},
       Output::joined, 300ms, 128 + 15, "started\n", true},
      // SIGTERM ignored by the script and its sleep alike: SIGKILL follows the grace.
      {"killed when it ignores the watchdog", "trap '' TERM; echo stubborn; sleep 30\n", {}, Output::joined, 300ms,
       128 + 9, "stubborn\n", true},
      {"a quick one the watchdog never sees", "echo quick\n", {}, Output::joined, 30s, 0, "quick\n", false},
  };
  for (const Case& c : cases) {
    TempRoot root("launcher");
    write_script(root.path() / "program", c.body);
    PosixProcessLauncher launcher(100ms);
    const ProcessOutcome outcome = launcher.run_process(
        {.executable = (root.path() / "program").string(), .arguments = c.arguments, .output = c.output,
         .watchdog = c.watchdog});
    EXPECT_TRUE(outcome.launched) << c.name << ": " << outcome.launch_error;
    EXPECT_EQ(outcome.exit_status, c.exit_status) << c.name;
    EXPECT_EQ(outcome.output, c.said) << c.name;
    EXPECT_EQ(outcome.timed_out, c.timed_out) << c.name;
  }
}

// A helper that made itself a session of its own is out of the watchdog's reach and keeps the
// output open: the launcher must give up on the pipe rather than wait on it for an hour.
TEST(PosixProcessLauncher, AHelperThatLeftTheGroupDoesNotKeepTheLauncherWaiting) {
  TempRoot root("launcher");
  const fs::path helper_pid = root.path() / "helper.pid";
  write_script(root.path() / "program",
               "echo started; setsid sh -c 'echo $$ > \"$0\"; exec sleep 3600' '" + helper_pid.string() +
                   "' & sleep 3600\n");
  const ProcessOutcome outcome = PosixProcessLauncher(100ms).run_process(
      {.executable = (root.path() / "program").string(), .arguments = {}, .output = Output::joined, .watchdog = 300ms});
  EXPECT_TRUE(outcome.timed_out);
  EXPECT_EQ(outcome.exit_status, 128 + 15);
  EXPECT_EQ(outcome.output, "started\n");

  pid_t helper = 0;
  std::ifstream(helper_pid) >> helper;
  ASSERT_GT(helper, 0);
  EXPECT_EQ(::kill(helper, 0), 0) << "the helper was meant to outlive the group";
  ::kill(helper, SIGKILL);
}

TEST(PosixProcessLauncher, KeepsTheFirstPartOfALongOutputAndDrainsTheRest) {
  TempRoot root("launcher");
  // Far more than a pipe holds: a launcher that stopped reading would leave the child blocked.
  write_script(root.path() / "program", "head -c 300000 /dev/zero | tr '\\0' x; echo; echo end >&2\n");
  const ProcessOutcome outcome =
      PosixProcessLauncher().run_process({.executable = (root.path() / "program").string(),
                                          .arguments = {},
                                          .output = Output::joined,
                                          .watchdog = 20s});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_FALSE(outcome.timed_out);
  EXPECT_EQ(outcome.output, std::string(ProcessOutcome::kKeptOutputBytes, 'x'));
}

TEST(PosixProcessLauncher, SaysWhyAProgramCouldNotStart) {
  TempRoot root("launcher");
  const fs::path missing = root.path() / "missing";
  const fs::path plain = root.path() / "plain";
  root.write("plain", "echo not executable\n");
  const fs::path folder = root.path() / "folder";
  fs::create_directories(folder);
  struct Case {
    fs::path executable;
    std::string reason;
  };
  for (const Case& c : {Case{missing, "No such file or directory"}, Case{plain, "Permission denied"},
                        Case{folder, "Permission denied"}}) {
    const ProcessOutcome outcome = PosixProcessLauncher().run_process({.executable = c.executable.string()});
    EXPECT_FALSE(outcome.launched) << c.executable;
    EXPECT_EQ(outcome.launch_error, "Could not start " + c.executable.string() + ": " + c.reason + ".");
    EXPECT_EQ(outcome.output, "");
  }
}

}  // namespace
}  // namespace kolvo::platform
