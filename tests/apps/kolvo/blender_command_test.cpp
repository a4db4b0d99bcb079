// `kolvo blender install` and `kolvo blender status`, run as the real program with a fake
// Blender on a PATH of the test's own, and Blender's user folders in a temporary home.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include <nlohmann/json.hpp>

#include "support/blender_fakes.hpp"
#include "support/kolvo_cli_fixture.hpp"

extern char** environ;

namespace {
namespace fs = std::filesystem;
using kolvo::testing::CommandResult;
using kolvo::testing::FakeBlender;

class KolvoBlenderCli : public kolvo::testing::KolvoCli {
 protected:
  void SetUp() override {
    KolvoCli::SetUp();
    fs::create_directories(temporary());
    blender_.folder = home_ / "bin";
    blender_.user_files = home_ / "config" / "blender";
    use_path(blender_.folder);
  }
  void use_path(const fs::path& folder) {
    extra_environment_ = " PATH='" + folder.string() + "' TMPDIR='" + temporary().string() + "'";
  }
  fs::path temporary() const { return home_ / "tmp"; }
  // Every file under the home with its contents, but for the fake's record of its calls and the
  // fixture's capture of standard error.
  std::map<std::string, std::string> files() const {
    std::map<std::string, std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(home_)) {
      if (entry.path() == blender_.arguments_file() || entry.path() == home_ / "stderr.txt") continue;
      found[entry.path().string()] = entry.is_regular_file() ? read(entry.path()) : "(folder)";
    }
    return found;
  }
  std::string source_manifest() const {
    std::ifstream in(fs::path(KOLVO_SOURCE_DIR) / "src/blender/addon/blender_manifest.toml", std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }

  FakeBlender blender_;
};

TEST_F(KolvoBlenderCli, InstallsTheBridgeIntoTheBlenderOnThePathAndReportsIt) {
  blender_.write();
  const std::string executable = blender_.executable().string();
  const fs::path manifest = blender_.installed_manifest();

  auto before = files();
  CommandResult run = kolvo("blender status");
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, "Blender Bridge: Not installed\nBlender: " + executable +
                         " (version 4.2.3)\nInstalled version: none (this Kolvo carries 1.2.0)\nManifest: " +
                         manifest.string() + "\n");
  EXPECT_EQ(files(), before) << "looking writes nothing";

  run = kolvo("blender install");
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, "Building the extension with " + executable +
                         "…\nInstalling and enabling it…\nInstalled. Open Blender to connect.\nExtension: " +
                         manifest.parent_path().string() + " (version 1.2.0)\n");
  EXPECT_EQ(read(manifest), source_manifest());
  // Each run of the program asks Blender its version once: the status, then the install.
  const auto calls = blender_.calls();
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[0], "--version");
  EXPECT_EQ(calls[1], "--version");
  EXPECT_TRUE(calls[2].starts_with("--factory-startup --command extension build --source-dir " +
                                   temporary().string() + "/kolvo-blender-bridge-"))
      << calls[2];
  EXPECT_TRUE(calls[3].starts_with("--command extension install-file -r user_default --enable " +
                                   temporary().string() + "/kolvo-blender-bridge-"))
      << calls[3];

  run = kolvo("blender status");
  EXPECT_EQ(run.out.substr(0, run.out.find('\n')), "Blender Bridge: Installed — add Blender to Shelf to connect");
  run = kolvo("blender status --json");
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const auto report = nlohmann::json::parse(run.out);
  EXPECT_EQ(report["status"], "Installed — add Blender to Shelf to connect");
  EXPECT_EQ(report["blender"]["executable"], executable);
  EXPECT_EQ(report["blender"]["version"], "4.2.3");
  EXPECT_EQ(report["running"], nlohmann::json::array());
  EXPECT_EQ(report["installedVersion"], "1.2.0");
  EXPECT_EQ(report["manifest"], manifest.string());
  EXPECT_EQ(report["bundledVersion"], "1.2.0");

  // The settings page reads the same.
  const std::string corvane = kolvo("ui corvane").out;
  EXPECT_NE(corvane.find("Blender Bridge\n  Installed — add Blender to Shelf to connect\n"), std::string::npos)
      << corvane;
  EXPECT_NE(corvane.find("<Reinstall Blender Bridge>"), std::string::npos) << corvane;

  // An extension from an older Kolvo asks to be installed again.
  std::ofstream(manifest, std::ios::binary) << "id = \"kolvo_bridge\"\nversion = \"1.1.0\"\n";
  run = kolvo("blender status --json");
  EXPECT_EQ(nlohmann::json::parse(run.out)["status"], "Update needed — reinstall the bridge");
}

TEST_F(KolvoBlenderCli, AFailedInstallSaysWhyAndShowsWhatBlenderSaid) {
  struct Case {
    const char* name;
    FakeBlender::Build build;
    FakeBlender::Install install;
    std::string err;
  };
  const std::vector<Case> cases = {
      {"a build that fails", FakeBlender::Build::writes_nothing, FakeBlender::Install::succeeds,
       "kolvo: Blender could not build the extension.\nBlender said:\n  Building " + temporary().string()},
      {"an install that fails", FakeBlender::Build::writes_zip, FakeBlender::Install::fails,
       "kolvo: Blender could not install the extension.\nBlender said:\n  Error: the repository user_default is "
       "read-only\n"},
  };
  for (const Case& c : cases) {
    blender_.build = c.build;
    blender_.install = c.install;
    blender_.write();
    const CommandResult run = kolvo("blender install");
    EXPECT_EQ(run.exit_code, 1) << c.name;
    EXPECT_TRUE(run.err.starts_with(c.err)) << c.name << ": " << run.err;
    EXPECT_FALSE(fs::exists(blender_.installed_manifest())) << c.name;
    EXPECT_EQ(kolvo("blender status").out.substr(0, 29), "Blender Bridge: Not installed") << c.name;
  }
}

TEST_F(KolvoBlenderCli, WithoutBlenderThereIsNothingToInstallInto) {
  use_path(home_ / "empty");
  CommandResult run = kolvo("blender install");
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "kolvo: Blender could not be found.\n");
  run = kolvo("blender status");
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, "Blender Bridge: Blender is not installed\nBlender: not found\nInstalled version: none (this "
                     "Kolvo carries 1.2.0)\n");
  EXPECT_EQ(nlohmann::json::parse(kolvo("blender status --json").out)["blender"], nullptr);
  EXPECT_TRUE(fs::is_empty(temporary()));
}

// A running program named blender: a copy of sleep.
TEST_F(KolvoBlenderCli, WhileBlenderRunsNothingIsStarted) {
  blender_.write();
  const fs::path running = home_ / "running" / "blender";
  fs::create_directories(running.parent_path());
  fs::copy_file("/bin/sleep", running);
  fs::permissions(running, fs::perms::owner_all);
  const std::string program = running.string();
  char* const arguments[] = {const_cast<char*>(program.c_str()), const_cast<char*>("30"), nullptr};
  pid_t child = 0;
  ASSERT_EQ(::posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ), 0);
  // posix_spawn returns before the child has become the program.
  const fs::path comm = "/proc/" + std::to_string(child) + "/comm";
  for (int spin = 0; spin < 2000 && read(comm) != "blender\n"; ++spin) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  ASSERT_EQ(read(comm), "blender\n");

  const CommandResult run = kolvo("blender install");
  const std::string status = kolvo("blender status --json").out;
  ::kill(child, SIGKILL);
  int ended = 0;
  ::waitpid(child, &ended, 0);

  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.err, "kolvo: Quit Blender, then install.\n");
  EXPECT_EQ(run.out, "");
  // The install started nothing, not even Blender to ask its version; only the status did.
  EXPECT_EQ(blender_.calls(), std::vector<std::string>{"--version"});
  EXPECT_TRUE(fs::is_empty(temporary()));
  const auto report = nlohmann::json::parse(status);
  EXPECT_NE(std::find(report["running"].begin(), report["running"].end(), child), report["running"].end()) << status;
}

TEST_F(KolvoBlenderCli, BlenderTakesOneOfItsTwoWords) {
  for (const std::string arguments : {"blender", "blender start", "blender status extra", "blender install --json",
                                      "blender install status"}) {
    const CommandResult run = kolvo(arguments);
    EXPECT_EQ(run.exit_code, 2) << arguments;
    EXPECT_NE(run.err.find("'kolvo blender"), std::string::npos) << run.err;
    EXPECT_EQ(run.out, "") << arguments;
  }
  EXPECT_FALSE(fs::exists(blender_.arguments_file()));
  const std::string help = kolvo("help").out;
  EXPECT_NE(help.find("blender install"), std::string::npos);
  EXPECT_NE(help.find("blender status [--json]"), std::string::npos);
}

}  // namespace
