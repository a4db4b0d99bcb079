// Installing the Kolvo Bridge with a fake Blender: a script that records how it was called and
// builds, installs, fails or hangs as each case wants.
#include "blender/blender_bridge_install.hpp"

#include <gtest/gtest.h>

#include <thread>

#include "base/manual_executor.hpp"
#include "base/uuid.hpp"
#include "blender/bridge_addon.hpp"
#include "platform/posix/process_launcher_posix.hpp"
#include "support/blender_fakes.hpp"
#include "support/run_until.hpp"
#include "support/temp_root.hpp"

namespace kolvo::blender {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::FakeBlender;
using testing::FakeBlenderProcesses;
using testing::run_until;
using testing::TempRoot;

std::string file_text(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A home, Blender's user folders and a temporary folder under one root, with a fake Blender
// that the port finds.
struct Machine {
  TempRoot root{"blender-install"};
  FakeBlender blender{.folder = root.path() / "bin", .user_files = root.path() / "config" / "blender"};
  std::shared_ptr<FakeBlenderProcesses> processes = std::make_shared<FakeBlenderProcesses>();
  BlenderBridgeInstallPorts ports{.blender = processes,
                                  .command_line = std::make_shared<platform::PosixProcessLauncher>(100ms),
                                  .paths = {.home = root.path() / "home",
                                            .blender_user_files = root.path() / "config" / "blender",
                                            .temporary = root.path() / "tmp"}};

  Machine() {
    fs::create_directories(ports.paths.temporary);
    processes->set_application(BlenderApplication{blender.executable(), blender.version});
  }
  void write_blender() const { blender.write(); }
};

TEST(BlenderBridgeInstall, BuildsThePackageFromTheEmbeddedFilesAndInstallsItEnabled) {
  Machine machine;
  machine.write_blender();
  std::vector<InstallProgress> steps;
  const InstallResult result = install_blender_bridge(machine.ports, 30s, [&](const InstallProgress& p) {
    steps.push_back(p);
  });
  ASSERT_FALSE(result.error) << result.error->text();

  // A fresh folder named for a new UUID, in the temporary folder.
  const std::string name = result.work_folder.filename().string();
  EXPECT_EQ(result.work_folder.parent_path(), machine.ports.paths.temporary);
  ASSERT_TRUE(name.starts_with("kolvo-blender-bridge-")) << name;
  EXPECT_TRUE(base::canonical_uuid(name.substr(std::string("kolvo-blender-bridge-").size()))) << name;
  const fs::path source = result.work_folder / "kolvo_bridge";
  const fs::path package = result.work_folder / "kolvo_bridge-1.2.0.zip";
  EXPECT_EQ(file_text(source / "blender_manifest.toml"), bridge_manifest_text());
  EXPECT_EQ(file_text(source / "__init__.py"), bridge_module_text());
  EXPECT_EQ(std::distance(fs::directory_iterator(source), fs::directory_iterator()), 2);

  EXPECT_EQ(machine.blender.calls(),
            (std::vector<std::string>{"--factory-startup --command extension build --source-dir " + source.string() +
                                          " --output-filepath " + package.string(),
                                      "--command extension install-file -r user_default --enable " +
                                          package.string()}));
  ASSERT_EQ(steps.size(), 2u);
  EXPECT_EQ(steps[0].step, InstallProgress::Step::building);
  EXPECT_EQ(steps[1].step, InstallProgress::Step::installing);
  EXPECT_EQ(steps[1].executable, machine.blender.executable());

  // Blender 4.2.3 keeps it with every 4.2 release's user files; the manifest there is ours.
  EXPECT_EQ(machine.blender.installed_manifest(),
            machine.ports.paths.blender_user_files / "4.2/extensions/user_default/kolvo_bridge/blender_manifest.toml");
  EXPECT_EQ(file_text(machine.blender.installed_manifest()), bridge_manifest_text());
  EXPECT_EQ(installed_version(machine.ports), "1.2.0");
}

TEST(BlenderBridgeInstall, EachWayItCanFailEndsWithItsOwnSentence) {
  struct Case {
    const char* name;
    std::function<void(Machine&)> arrange;
    std::string text;
    // How many times Blender was run.
    std::size_t calls;
    bool folder_made;
  };
  const std::vector<Case> cases = {
      {"no Blender", [](Machine& m) { m.processes->set_application(std::nullopt); }, "Blender could not be found.", 0,
       false},
      {"Blender running", [](Machine& m) { m.processes->set_running({4242}); }, "Quit Blender, then install.", 0,
       false},
      // Looking for it could run it (Linux asks its version): a running one is refused first.
      {"Blender running, and not where Blender is looked for",
       [](Machine& m) {
         m.processes->set_running({4242});
         m.processes->set_application(std::nullopt);
       },
       "Quit Blender, then install.", 0, false},
      {"a Blender from before extensions",
       [](Machine& m) { m.processes->set_application(BlenderApplication{m.blender.executable(), "3.4.1"}); },
       "Kolvo Bridge needs Blender 4.2 or later; this is Blender 3.4.1.", 0, false},
      {"a temporary folder that is not one",
       [](Machine& m) {
         fs::remove(m.ports.paths.temporary);
         std::ofstream(m.ports.paths.temporary) << "a file";
       },
       "Could not prepare the extension: Not a directory.", 0, false},
      {"a build that hangs", [](Machine& m) { m.blender.build = FakeBlender::Build::hangs; },
       "Blender could not build the extension.", 1, true},
      {"a build that writes no package", [](Machine& m) { m.blender.build = FakeBlender::Build::writes_nothing; },
       "Blender could not build the extension.", 1, true},
      {"an install that fails", [](Machine& m) { m.blender.install = FakeBlender::Install::fails; },
       "Blender could not install the extension.", 2, true},
      {"a Blender that is gone",
       [](Machine& m) {
         m.processes->set_application(BlenderApplication{m.root.path() / "gone" / "blender", "4.2.3"});
       },
       "", 0, true},
  };
  for (const Case& c : cases) {
    Machine machine;
    c.arrange(machine);
    machine.write_blender();
    const InstallResult result = install_blender_bridge(machine.ports, 300ms, {});
    ASSERT_TRUE(result.error) << c.name;
    const std::string expected =
        c.text.empty() ? "Could not start " + (machine.root.path() / "gone" / "blender").string() +
                             ": No such file or directory."
                       : c.text;
    EXPECT_EQ(result.error->text(), expected) << c.name;
    EXPECT_EQ(machine.blender.calls().size(), c.calls) << c.name;
    // Refused before anything was started: Blender never ran, not even to be asked its version.
    if (c.calls == 0) {
      EXPECT_FALSE(fs::exists(machine.blender.arguments_file())) << c.name;
    }
    EXPECT_EQ(!result.work_folder.empty() && fs::is_directory(result.work_folder), c.folder_made) << c.name;
    EXPECT_FALSE(installed_version(machine.ports)) << c.name;
  }
}

TEST(BlenderBridgeInstall, WhatBlenderSaidOfAFailureIsKept) {
  Machine machine;
  machine.blender.install = FakeBlender::Install::fails;
  machine.write_blender();
  const InstallResult result = install_blender_bridge(machine.ports, 30s, {});
  EXPECT_EQ(result.blender_output, "Error: the repository user_default is read-only\n");
}

TEST(BlenderBridgeInstall, TheErrorsCompareByCaseAndMessage) {
  EXPECT_EQ(InstallError::blender_running(), InstallError::blender_running());
  EXPECT_NE(InstallError::blender_running(), InstallError::blender_not_found());
  EXPECT_NE(InstallError::failed("a"), InstallError::failed("b"));
  EXPECT_EQ(InstallError::failed("Blender could not build the extension.").text(),
            "Blender could not build the extension.");
}

TEST(BlenderVersions, TheSeriesOfAVersionNamesItsFolder) {
  struct Case {
    std::string version;
    std::optional<std::string> series;
  };
  for (const Case& c : std::vector<Case>{{"4.2.3", "4.2"},
                                         {"4.2", "4.2"},
                                         {"10.15.1.7", "10.15"},
                                         {"4", std::nullopt},
                                         {"", std::nullopt},
                                         {"4.", std::nullopt},
                                         {".4", std::nullopt},
                                         {"4..2", "4.2"}}) {
    EXPECT_EQ(blender_version_prefix(c.version), c.series) << c.version;
  }
}

TEST(BlenderVersions, TheVersionIsReadFromBlendersOwnAnswer) {
  struct Case {
    std::string output;
    std::optional<std::string> version;
  };
  for (const Case& c : std::vector<Case>{
           {"Blender 4.2.3 LTS\n\tbuild date: 2024-10-14\n", "4.2.3"},
           {"Blender 3.4.1\n", "3.4.1"},
           {"Blender 2.79 (sub 0)\n", "2.79"},
           {"Read prefs: /home/u/.config/blender/4.2/config/userpref.blend\nBlender 4.2.0\n", "4.2.0"},
           {"Blender 4.1.\n", "4.1"},
           {"Blender LTS\n", std::nullopt},
           {"Not Blender 4.2.3\n", std::nullopt},
           {"sleep (GNU coreutils) 9.1\n", std::nullopt},
           {"", std::nullopt},
       }) {
    EXPECT_EQ(blender_version_from_output(c.output), c.version) << c.output;
  }
}

TEST(BlenderVersions, TheManifestsVersionIsItsTopLevelValueWithoutQuotes) {
  struct Case {
    const char* name;
    std::string manifest;
    std::optional<std::string> version;
  };
  for (const Case& c : std::vector<Case>{
           {"double quotes", "schema_version = \"1.0.0\"\nid = \"kolvo_bridge\"\nversion = \"1.2.0\"\n", "1.2.0"},
           {"single quotes", "version = '1.1.0'\n", "1.1.0"},
           {"no blanks, a comment, Windows line ends", "version=\"1.2.0\" # ours\r\nname = \"x\"\r\n", "1.2.0"},
           {"indented", "  version   =   \"0.9\"\n", "0.9"},
           {"not quoted", "version = 1.2.0  # as written\n", "1.2.0"},
           {"no version line", "schema_version = \"1.0.0\"\nblender_version_min = \"4.2.0\"\n", std::nullopt},
           {"only inside a table", "id = \"x\"\n[build]\nversion = \"2.0.0\"\n", std::nullopt},
           {"commented out", "# version = \"1.2.0\"\n", std::nullopt},
           {"an unclosed string", "version = \"1.2.0\n", std::nullopt},
           {"the last line without a line end", "id = \"x\"\nversion = \"1.2.0\"", "1.2.0"},
           {"empty", "", std::nullopt},
       }) {
    EXPECT_EQ(manifest_version(c.manifest), c.version) << c.name;
  }
}

TEST(BlenderVersions, TheEmbeddedManifestDeclaresTheVersionAndIdTheProgramExpects) {
  EXPECT_EQ(manifest_version(bridge_manifest_text()), kBridgeVersion);
  EXPECT_NE(bridge_manifest_text().find("\nid = \"" + std::string(kBridgePackageID) + "\"\n"), std::string_view::npos);
}

TEST(BlenderVersions, TheInstalledVersionIsFoundInTheFolderOfTheBlendersSeries) {
  TempRoot root("blender-installed");
  const BlenderPaths paths{.home = root.path() / "home", .blender_user_files = root.path() / "blender",
                           .temporary = root.path() / "tmp"};
  const auto manifest_in = [&](const std::string& folder) {
    return fs::path("blender") / folder / "extensions/user_default/kolvo_bridge/blender_manifest.toml";
  };
  EXPECT_FALSE(installed_version(paths, "4.2"));
  root.write(manifest_in("4.2.3"), "version = \"1.2.0\"\n");
  EXPECT_FALSE(installed_version(paths, "4.2")) << "a full version is not Blender's folder";
  root.write(manifest_in("4.2"), "id = \"kolvo_bridge\"\nversion = \"1.1.0\"\n");
  EXPECT_EQ(installed_version(paths, "4.2"), "1.1.0");
  EXPECT_FALSE(installed_version(paths, "4.3"));
  root.write(manifest_in("4.2"), "id = \"kolvo_bridge\"\n");
  EXPECT_FALSE(installed_version(paths, "4.2"));
  // A manifest past the cap is not ours, and is not read whole.
  root.write(manifest_in("4.2"), "version = \"1.2.0\"\n# " + std::string(kMaxManifestBytes, 'x') + "\n");
  EXPECT_FALSE(installed_version(paths, "4.2"));

  // Through the Blender found: its version picks the folder, and without a second part none.
  auto processes = std::make_shared<FakeBlenderProcesses>();
  BlenderBridgeInstallPorts ports{.blender = processes, .command_line = nullptr, .paths = paths};
  root.write(manifest_in("4.2"), "version = \"1.2.0\"\n");
  for (const auto& [version, installed] :
       std::vector<std::pair<std::optional<std::string>, std::optional<std::string>>>{
           {"4.2.3", "1.2.0"}, {"4.2", "1.2.0"}, {"4", std::nullopt}, {std::nullopt, std::nullopt}}) {
    processes->set_application(BlenderApplication{"/opt/blender/blender", version});
    EXPECT_EQ(installed_version(ports), installed) << version.value_or("(none)");
  }
  processes->set_application(std::nullopt);
  EXPECT_FALSE(installed_version(ports));
}

TEST(BlenderBridge, InstallsOffTheMainThreadAndAnswersOnIt) {
  Machine machine;
  machine.write_blender();
  base::ManualExecutor main;
  const auto main_thread = std::this_thread::get_id();
  std::vector<std::string> heard;
  std::optional<InstallResult> result;
  {
    BlenderBridge bridge(machine.ports, main, 30s);
    bridge.install(
        [&](const InstallProgress& p) {
          EXPECT_EQ(std::this_thread::get_id(), main_thread);
          heard.push_back(p.step == InstallProgress::Step::building ? "building" : "installing");
        },
        [&](InstallResult r) {
          EXPECT_EQ(std::this_thread::get_id(), main_thread);
          heard.push_back("done");
          result = std::move(r);
        });
    // Nothing arrives until the main loop runs.
    EXPECT_TRUE(heard.empty());
    ASSERT_TRUE(run_until(main, [&] { return result.has_value(); }));
  }
  EXPECT_EQ(heard, (std::vector<std::string>{"building", "installing", "done"}));
  EXPECT_FALSE(result->error);
}

TEST(BlenderBridge, NothingIsDeliveredOnceTheBridgeIsGone) {
  Machine machine;
  machine.write_blender();
  base::ManualExecutor main;
  bool called = false;
  {
    BlenderBridge bridge(machine.ports, main, 30s);
    bridge.install([&](const InstallProgress&) { called = true; }, [&](InstallResult) { called = true; });
  }
  // The bridge waited for Blender's runs as it went; what they posted finds no one.
  main.run_pending();
  EXPECT_FALSE(called);
}

}  // namespace
}  // namespace kolvo::blender
