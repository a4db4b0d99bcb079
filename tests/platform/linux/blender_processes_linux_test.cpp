// Blender on Linux: a fake `blender` on a PATH the test lays out, and processes of that name in
// a /proc the test lays out, or the real one.
#include "platform/linux/blender_processes_linux.hpp"

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <thread>

#include "platform/posix/process_launcher_posix.hpp"
#include "support/blender_fakes.hpp"
#include "support/temp_root.hpp"

extern char** environ;

namespace kolvo::platform {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::FakeBlender;
using testing::TempRoot;
using testing::write_script;

std::shared_ptr<controls::ProcessLauncherPort> launcher() { return std::make_shared<PosixProcessLauncher>(); }

TEST(LinuxBlenderProcesses, TheFirstExecutableBlenderOnThePathIsTheOne) {
  TempRoot root("blender-path");
  const fs::path a = root.path() / "a", b = root.path() / "b", c = root.path() / "c", d = root.path() / "d";
  // a: a folder named blender; b: a blender that cannot be run; c and d: real ones.
  fs::create_directories(a / "blender");
  root.write("b/blender", "#!/bin/sh\necho Blender 9.9.9\n");
  FakeBlender{.folder = c, .user_files = root.path() / "config", .version = "4.2.3"}.write();
  FakeBlender{.folder = d, .user_files = root.path() / "config", .version = "3.6.0"}.write();
  struct Case {
    const char* name;
    std::string path;
    std::optional<fs::path> found;
  };
  const std::vector<Case> cases = {
      {"passing over what is not an executable file", a.string() + ":" + b.string() + ":" + c.string(), c / "blender"},
      {"the first of two", d.string() + ":" + c.string(), d / "blender"},
      {"empty entries", "::" + c.string() + ":", c / "blender"},
      {"none", a.string() + ":" + b.string(), std::nullopt},
      {"an empty PATH", "", std::nullopt},
  };
  for (const Case& k : cases) {
    const auto found = LinuxBlenderProcesses(launcher(), k.path).application();
    ASSERT_EQ(found.has_value(), k.found.has_value()) << k.name;
    if (found) {
      EXPECT_EQ(found->executable, *k.found) << k.name;
    }
  }
  EXPECT_EQ(LinuxBlenderProcesses(launcher(), c.string()).application()->version, "4.2.3");
  EXPECT_EQ(LinuxBlenderProcesses(launcher(), d.string()).application()->version, "3.6.0");
}

TEST(LinuxBlenderProcesses, BlenderIsAskedItsVersionOnceUntilTheProgramChanges) {
  TempRoot root("blender-version");
  FakeBlender blender{.folder = root.path() / "bin", .user_files = root.path() / "config", .version = "4.2.3"};
  blender.write();
  const LinuxBlenderProcesses processes(launcher(), blender.folder.string());
  EXPECT_EQ(processes.application()->version, "4.2.3");
  EXPECT_EQ(processes.application()->version, "4.2.3");
  EXPECT_EQ(blender.calls(), std::vector<std::string>{"--version"});

  // A new Blender in its place: written anew, so its modification time moves on.
  blender.version = "4.3.1";
  fs::remove(blender.executable());
  blender.write();
  fs::last_write_time(blender.executable(), fs::last_write_time(blender.executable()) + 1s);
  EXPECT_EQ(processes.application()->version, "4.3.1");
  EXPECT_EQ(blender.calls(), (std::vector<std::string>{"--version", "--version"}));
}

TEST(LinuxBlenderProcesses, AVersionThatCannotBeReadIsAbsent) {
  TempRoot root("blender-version");
  struct Case {
    const char* name;
    std::string body;
  };
  for (const Case& c : {Case{"another program", "echo 'sleep (GNU coreutils) 9.1'\n"},
                        Case{"nothing said", "exit 0\n"}, Case{"a failure", "echo 'Segmentation fault' >&2; exit 139\n"}}) {
    write_script(root.path() / "bin" / "blender", c.body);
    const auto found = LinuxBlenderProcesses(launcher(), (root.path() / "bin").string()).application();
    ASSERT_TRUE(found) << c.name;
    EXPECT_EQ(found->version, std::nullopt) << c.name;
  }
}

TEST(LinuxBlenderProcesses, TheRunningBlendersAreTheLiveProcessesOfThatName) {
  TempRoot root("blender-proc");
  const auto process = [&root](const std::string& pid, const std::string& comm, char state) {
    root.write(fs::path("proc") / pid / "comm", comm + "\n");
    root.write(fs::path("proc") / pid / "stat", pid + " (" + comm + ") " + state + " 1 1 1 0 -1 4194560\n");
  };
  process("12", "blender", 'S');
  process("30", "bash", 'S');
  process("31", "blender", 'Z');
  process("44", "blender", 'R');
  process("45", "blender-launch", 'S');
  process("46", "xblender", 'S');
  fs::create_directories(root.path() / "proc" / "self");
  const LinuxBlenderProcesses processes(launcher(), "", root.path() / "proc");
  auto running = processes.running();
  std::sort(running.begin(), running.end());
  EXPECT_EQ(running, (std::vector<std::int32_t>{12, 44}));
  EXPECT_TRUE(LinuxBlenderProcesses(launcher(), "", root.path() / "none").running().empty());
}

// A real process whose executable is named "blender": a copy of sleep.
TEST(LinuxBlenderProcesses, SeesARealBlenderWhileItRuns) {
  TempRoot root("blender-real");
  const fs::path blender = root.path() / "blender";
  fs::copy_file("/bin/sleep", blender);
  fs::permissions(blender, fs::perms::owner_all);
  const LinuxBlenderProcesses processes(launcher(), root.path().string());

  const std::string path = blender.string();
  char* const arguments[] = {const_cast<char*>(path.c_str()), const_cast<char*>("30"), nullptr};
  pid_t child = 0;
  ASSERT_EQ(::posix_spawn(&child, path.c_str(), nullptr, nullptr, arguments, environ), 0);
  const auto listed = [&] {
    const auto running = processes.running();
    return std::find(running.begin(), running.end(), child) != running.end();
  };
  bool seen = false;
  // posix_spawn returns before the child has replaced itself with the program.
  for (int spin = 0; spin < 2000 && !seen; ++spin) {
    seen = listed();
    if (!seen) std::this_thread::sleep_for(1ms);
  }
  EXPECT_TRUE(seen);
  ::kill(child, SIGKILL);
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_FALSE(listed());
}

// Sets environment variables for one test and puts them back.
class Environment {
 public:
  void set(const char* name, const char* value) {
    const char* old = std::getenv(name);
    saved_.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
    if (value) {
      ::setenv(name, value, 1);
    } else {
      ::unsetenv(name);
    }
  }
  ~Environment() {
    for (auto it = saved_.rbegin(); it != saved_.rend(); ++it) {
      if (it->second) {
        ::setenv(it->first.c_str(), it->second->c_str(), 1);
      } else {
        ::unsetenv(it->first.c_str());
      }
    }
  }

 private:
  std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};

TEST(LinuxBlenderPaths, BlendersUserFilesFollowTheXdgConfigFolder) {
  struct Case {
    const char* config;
    const char* temporary;
    fs::path user_files;
    fs::path temporary_folder;
  };
  const std::vector<Case> cases = {
      {"/xdg/config", "/var/tmp/u", "/xdg/config/blender", "/var/tmp/u"},
      {nullptr, nullptr, "/home/u/.config/blender", "/tmp"},
      {"", "", "/home/u/.config/blender", "/tmp"},
      {"relative/config", "relative/tmp", "/home/u/.config/blender", "/tmp"},
  };
  for (const Case& c : cases) {
    Environment environment;
    environment.set("HOME", "/home/u");
    environment.set("XDG_CONFIG_HOME", c.config);
    environment.set("TMPDIR", c.temporary);
    const blender::BlenderPaths paths = linux_blender_paths();
    EXPECT_EQ(paths.home, "/home/u");
    EXPECT_EQ(paths.blender_user_files, c.user_files) << (c.config ? c.config : "(unset)");
    EXPECT_EQ(paths.temporary, c.temporary_folder) << (c.temporary ? c.temporary : "(unset)");
    EXPECT_EQ(paths.bridge_info_file(), "/home/u/Library/Application Support/Kolvo/Blender/bridge.json");
  }
}

}  // namespace
}  // namespace kolvo::platform
