#include "platform/linux/running_program_probe_linux.hpp"

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <thread>

#include "platform/linux/process_environment_linux.hpp"
#include "platform/linux/proc_scan_linux.hpp"
#include "support/temp_root.hpp"

extern char** environ;

namespace kolvo::platform {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::TempRoot;

const shelf::ProgramIdentity kCodex{.bundle_id = "com.openai.codex", .executable_name = "codex"};

// A process folder as /proc shows it: the kernel's short name, the state and the arguments.
struct FakeProcess {
  std::string pid;
  std::optional<std::string> comm;  // absent: no such file
  char state = 'S';
  std::string cmdline;              // arguments, each ended by a zero byte
  std::string exe;                  // where "exe" links; empty: no link
};

void lay_out(const TempRoot& root, const FakeProcess& process) {
  const fs::path folder = fs::path("proc") / process.pid;
  fs::create_directories(root.path() / folder);
  if (process.comm) root.write(folder / "comm", *process.comm + "\n");
  const std::string name = process.comm.value_or("x");
  root.write(folder / "stat", process.pid + " (" + name + ") " + process.state + " 1 1 1 0 -1 4194560\n");
  root.write(folder / "cmdline", process.cmdline);
  if (!process.exe.empty()) fs::create_symlink(process.exe, root.path() / folder / "exe");
}

TEST(LinuxRunningProgramProbe, FindsAProgramByTheNameOfItsExecutable) {
  struct Case {
    const char* name;
    std::vector<FakeProcess> processes;
    shelf::ProgramIdentity program;
    bool running;
  };
  using std::string_literals::operator""s;
  const shelf::ProgramIdentity long_name{.bundle_id = "", .executable_name = "codex-app-server-helper"};
  const std::vector<Case> cases = {
      {"by its short name", {{"1", "bash", 'S', "", ""}, {"4242", "codex", 'S', "codex\0"s, ""}}, kCodex, true},
      {"running or waiting alike", {{"77", "codex", 'R', "", ""}}, kCodex, true},
      {"a name that only begins alike", {{"77", "codex-tui", 'S', "", ""}, {"78", "xcodex", 'S', "", ""}}, kCodex,
       false},
      {"exited, not yet collected", {{"77", "codex", 'Z', "", ""}}, kCodex, false},
      {"not a process", {{"self", "codex", 'S', "", ""}, {"77abc", "codex", 'S', "", ""}}, kCodex, false},
      {"an id too large to be one", {{"99999999999999999999999", "codex", 'S', "", ""}}, kCodex, false},
      {"a process without a name", {{"77", std::nullopt, 'S', "", ""}}, kCodex, false},
      {"no processes", {}, kCodex, false},
      {"a name cut short, confirmed by the executable",
       {{"9", "codex-app-serve", 'S', "", "/opt/codex/codex-app-server-helper"}}, long_name, true},
      {"a name cut short, confirmed by the first argument",
       {{"9", "codex-app-serve", 'S', "/opt/codex/codex-app-server-helper\0--port\0"s, ""}}, long_name, true},
      {"a name cut short, but another program",
       {{"9", "codex-app-serve", 'S', "/opt/codex/codex-app-server-other\0"s, "/opt/codex/codex-app-server-other"}},
       long_name, false},
      {"nothing to look for", {{"9", "", 'S', "", ""}}, {.bundle_id = "com.openai.codex", .executable_name = ""},
       false},
  };
  for (const auto& c : cases) {
    TempRoot root("probe");
    fs::create_directories(root.path() / "proc");
    for (const auto& process : c.processes) lay_out(root, process);
    EXPECT_EQ(LinuxRunningProgramProbe(root.path() / "proc").is_running(c.program), c.running) << c.name;
  }
  EXPECT_FALSE(LinuxRunningProgramProbe("/nonexistent/proc").is_running(kCodex));
}

TEST(LinuxProcScan, ArgumentsAreReadUpToTheirCap) {
  using std::string_literals::operator""s;
  TempRoot root("procscan");
  root.write("proc/5/cmdline", "kolvo\0serve\0--port\0"s + "8\0"s);
  EXPECT_EQ(process_arguments(root.path() / "proc/5"), (std::vector<std::string>{"kolvo", "serve", "--port", "8"}));
  EXPECT_EQ(process_arguments(root.path() / "proc/5", 9), (std::vector<std::string>{"kolvo", "ser"}));
  EXPECT_TRUE(process_arguments(root.path() / "proc/6").empty());
}

// A real process whose executable is named "codex": a copy of sleep.
TEST(LinuxRunningProgramProbe, SeesARealProcessWhileItRuns) {
  TempRoot root("probe");
  const fs::path codex = root.path() / "codex";
  fs::copy_file("/bin/sleep", codex);
  fs::permissions(codex, fs::perms::owner_all);
  const LinuxRunningProgramProbe probe;
  ASSERT_FALSE(probe.is_running(kCodex)) << "another codex is already running on this machine";

  const std::string path = codex.string();
  char* const arguments[] = {const_cast<char*>(path.c_str()), const_cast<char*>("30"), nullptr};
  pid_t child = 0;
  ASSERT_EQ(::posix_spawn(&child, path.c_str(), nullptr, nullptr, arguments, environ), 0);
  bool seen = false;
  // posix_spawn returns before the child has replaced itself with the program.
  for (int spin = 0; spin < 2000 && !seen; ++spin) {
    seen = probe.is_running(kCodex);
    if (!seen) std::this_thread::sleep_for(1ms);
  }
  EXPECT_TRUE(seen);
  EXPECT_FALSE(probe.is_running({.bundle_id = "", .executable_name = "codex-not"}));

  ::kill(child, SIGKILL);
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_FALSE(probe.is_running(kCodex));
}

// The host's own instance check walks /proc the same way.
TEST(LinuxProcessEnvironment, ARunningInstanceIsAServingKolvo) {
  using std::string_literals::operator""s;
  TempRoot root("procscan");
  const HostIdentity identity{.bundle_id = "com.kolvo.Kolvo", .short_version = "1.0", .build_version = "1"};
  const auto add = [&root](const std::string& pid, const std::string& exe, const std::string& cmdline) {
    fs::create_directories(root.path() / "proc" / pid);
    root.write(fs::path("proc") / pid / "cmdline", cmdline);
    fs::create_symlink(exe, root.path() / "proc" / pid / "exe");
  };
  add("10", "/opt/kolvo/bin/kolvo", "kolvo\0serve\0"s);
  add("11", "/opt/kolvo/bin/kolvo", "kolvo\0prefs\0"s);
  add("12", "/usr/bin/python3", "python3\0serve\0"s);
  const auto instances = LinuxProcessEnvironment(identity, root.path() / "proc").running_instances("com.kolvo.Kolvo");
  ASSERT_EQ(instances.size(), 1u);
  EXPECT_EQ(instances[0].pid, 10);
  EXPECT_EQ(instances[0].bundle_path, "/opt/kolvo/bin");
  EXPECT_TRUE(LinuxProcessEnvironment(identity, root.path() / "proc").running_instances("com.other").empty());
}

}  // namespace
}  // namespace kolvo::platform
