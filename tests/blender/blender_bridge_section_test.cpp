// The settings section's line, button and note, from what is installed and what the bridge
// client says.
#include "blender/blender_bridge_section.hpp"

#include <gtest/gtest.h>

#include <thread>

#include "base/manual_executor.hpp"
#include "platform/posix/process_launcher_posix.hpp"
#include "support/blender_fakes.hpp"
#include "support/run_until.hpp"
#include "support/temp_root.hpp"

namespace kolvo::blender {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Status = BlenderBridgeStatus;
using testing::FakeBlender;
using testing::FakeBlenderProcesses;
using testing::run_until;
using testing::TempRoot;

TEST(BlenderBridgeSection, TheStatusLineIsTheFirstRowThatMatches) {
  struct Case {
    const char* name;
    BridgeSectionFacts facts;
    std::string line;
  };
  const std::optional<std::string> ours = "1.2.0";
  const std::vector<Case> cases = {
      {"no Blender", {false, false, std::nullopt, Status::connected}, "Blender is not installed"},
      {"no Blender, whatever else is there", {false, false, ours, std::nullopt}, "Blender is not installed"},
      {"not installed", {true, false, std::nullopt, Status::connected}, "Not installed"},
      {"the client not active", {true, false, ours, std::nullopt}, "Installed — add Blender to Shelf to connect"},
      {"Blender closed", {true, false, ours, Status::blenderClosed}, "Installed — open Blender to connect"},
      {"the bridge not running in a running Blender", {true, true, ours, Status::bridgeNotRunning},
       "Installed, but not running in Blender — enable Kolvo Bridge in Blender’s Add-ons"},
      {"connecting", {true, true, ours, Status::connecting}, "Connecting…"},
      {"connected", {true, true, ours, Status::connected}, "Connected"},
      {"busy", {true, true, ours, Status::busy}, "Connected — Blender is busy"},
      {"the client finds another protocol", {true, true, ours, Status::incompatible},
       "Update needed — reinstall the bridge"},
      // An installed extension of another version needs reinstalling, whatever the client says.
      {"an older extension, client not active", {true, false, "1.1.0", std::nullopt},
       "Update needed — reinstall the bridge"},
      {"an older extension, connected", {true, true, "1.1.0", Status::connected},
       "Update needed — reinstall the bridge"},
      {"a newer extension", {true, false, "1.10.0", Status::blenderClosed}, "Update needed — reinstall the bridge"},
      // The client and the section look at different moments; between the client's looks
      // Blender counts as closed.
      {"the client has not seen Blender yet", {true, false, ours, Status::blenderNotInstalled},
       "Installed — open Blender to connect"},
      {"the bridge not running, Blender since quit", {true, false, ours, Status::bridgeNotRunning},
       "Installed — open Blender to connect"},
  };
  for (const Case& c : cases) EXPECT_EQ(bridge_status_line(c.facts), c.line) << c.name;
}

TEST(BlenderBridgeSection, TheButtonSaysReinstallOnceInstalledAndWaitsForBlenderToQuit) {
  struct Case {
    const char* name;
    BridgeSectionFacts facts;
    bool installing;
    std::string button;
    bool enabled;
    std::optional<std::string> hint;
  };
  const std::vector<Case> cases = {
      {"nothing installed", {true, false, std::nullopt, std::nullopt}, false, "Install Blender Bridge", true,
       std::nullopt},
      {"installed", {true, false, "1.2.0", std::nullopt}, false, "Reinstall Blender Bridge", true, std::nullopt},
      {"an older one installed", {true, false, "1.0.0", std::nullopt}, false, "Reinstall Blender Bridge", true,
       std::nullopt},
      {"Blender running", {true, true, "1.2.0", Status::connected}, false, "Reinstall Blender Bridge", false,
       "Quit Blender to install the bridge."},
      {"installing", {true, false, std::nullopt, std::nullopt}, true, "Install Blender Bridge", false, std::nullopt},
      // Pressing it without Blender says that Blender cannot be found, as a note.
      {"no Blender", {false, false, std::nullopt, std::nullopt}, false, "Install Blender Bridge", true, std::nullopt},
  };
  for (const Case& c : cases) {
    const BridgeSectionView view = bridge_section_view(c.facts, c.installing, "a note");
    EXPECT_EQ(view.title, "Blender Bridge") << c.name;
    EXPECT_EQ(view.button_title, c.button) << c.name;
    EXPECT_EQ(view.button_enabled, c.enabled) << c.name;
    EXPECT_EQ(view.hint, c.hint) << c.name;
    EXPECT_EQ(view.note, "a note") << c.name;
    EXPECT_EQ(view.description,
              "A small Blender extension that lets Kolvo Deck switch Blender’s tools and viewport. It listens only on "
              "this Mac, accepts only Kolvo’s fixed commands, and never runs code sent to it.");
  }
}

struct SectionMachine {
  TempRoot root{"blender-section"};
  FakeBlender blender{.folder = root.path() / "bin", .user_files = root.path() / "blender"};
  std::shared_ptr<FakeBlenderProcesses> processes = std::make_shared<FakeBlenderProcesses>();
  base::ManualExecutor main;
  BlenderBridgeSection section{{.blender = processes,
                                .command_line = std::make_shared<platform::PosixProcessLauncher>(),
                                .paths = {.home = root.path() / "home",
                                          .blender_user_files = root.path() / "blender",
                                          .temporary = root.path()}},
                               main, 300ms};
  int changes = 0;
  base::Subscription watching = section.observe([this] { ++changes; });

  SectionMachine() { processes->set_application(BlenderApplication{blender.executable(), blender.version}); }
};

TEST(BlenderBridgeSection, AnInstallDisablesTheButtonUntilItEndsAndLeavesItsNote) {
  SectionMachine m;
  m.blender.write();
  EXPECT_EQ(m.section.view(nullptr).status_line, "Not installed");

  ASSERT_TRUE(m.section.install());
  EXPECT_TRUE(m.section.is_installing());
  EXPECT_FALSE(m.section.view(nullptr).button_enabled);
  EXPECT_EQ(m.changes, 1);
  EXPECT_FALSE(m.section.install()) << "a second press while the first runs";

  ASSERT_TRUE(run_until(m.main, [&] { return !m.section.is_installing(); }));
  EXPECT_EQ(m.changes, 2);
  const BridgeSectionView view = m.section.view(nullptr);
  EXPECT_EQ(view.note, "Installed. Open Blender to connect.");
  EXPECT_EQ(view.status_line, "Installed — add Blender to Shelf to connect");
  EXPECT_EQ(view.button_title, "Reinstall Blender Bridge");
  EXPECT_TRUE(view.button_enabled);
  EXPECT_EQ(m.blender.calls().size(), 2u);

  // A failed attempt replaces the note with what went wrong, and the next press clears it.
  m.blender.build = FakeBlender::Build::hangs;
  m.blender.write();
  ASSERT_TRUE(m.section.install());
  EXPECT_EQ(m.section.note(), std::nullopt);
  ASSERT_TRUE(run_until(m.main, [&] { return !m.section.is_installing(); }));
  EXPECT_EQ(m.section.note(), "Blender could not build the extension.");
  // What was installed before is still there.
  EXPECT_EQ(m.section.view(nullptr).status_line, "Installed — add Blender to Shelf to connect");
}

TEST(BlenderBridgeSection, PressingInstallWhileBlenderRunsStartsNothing) {
  SectionMachine m;
  m.blender.write();
  m.processes->set_running({77});
  m.processes->launched_or_quit();
  EXPECT_EQ(m.changes, 1) << "Blender's start is news to the section";
  const BridgeSectionView view = m.section.view(nullptr);
  EXPECT_FALSE(view.button_enabled);
  EXPECT_EQ(view.hint, "Quit Blender to install the bridge.");

  ASSERT_TRUE(m.section.install());
  ASSERT_TRUE(run_until(m.main, [&] { return !m.section.is_installing(); }));
  EXPECT_EQ(m.section.note(), "Quit Blender, then install.");
  EXPECT_FALSE(fs::exists(m.blender.arguments_file()));
}

}  // namespace
}  // namespace kolvo::blender
