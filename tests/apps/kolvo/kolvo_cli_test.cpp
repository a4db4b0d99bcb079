// Runs the real `kolvo` program against preference files in a temporary home.
#include <gtest/gtest.h>

#include "support/kolvo_cli_fixture.hpp"

#include <sys/wait.h>

#include <array>
#include <csignal>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <thread>

#include <nlohmann/json.hpp>

namespace {
namespace fs = std::filesystem;
using kolvo::testing::CommandResult;
using kolvo::testing::KolvoCli;

TEST_F(KolvoCli, SettingsShowTheEffectiveValuesOfHandWrittenPreferences) {
  std::ofstream(prefs_file()) << R"({
    "com.kolvo.leftEdgeMode": "sideways",
    "com.kolvo.cornerTopLeftMode": "",
    "com.kolvo.accentColorRGB": [0.1, 0.2, 0.3, 0.4],
    "com.kolvo.deck.stats.enabled": ["battery", "cpu", "cpu", "thermal"],
    "com.kolvo.liquidGlassControls": true,
    "com.kolvo.alignmentEdgeOffset": -40,
    "com.kolvo.timer.selectedMinutes": 90,
    "com.kolvo.selectedApps": {"$json": [{"id": "F0E84F8C-14D8-4735-82A7-4D8DD7BE2CF2", "name": "Notes",
      "bundleIdentifier": "com.apple.Notes", "appURL": "file:///System/Applications/Notes.app/"}]}
  })";
  const std::string before = read(prefs_file());
  const CommandResult run = kolvo("settings --json");
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const auto settings = nlohmann::json::parse(run.out);
  EXPECT_EQ(settings["com.kolvo.leftEdgeMode"], "dock");
  EXPECT_EQ(settings["com.kolvo.cornerTopLeftMode"], "off");
  EXPECT_EQ(settings["com.kolvo.accentColorRGB"], nlohmann::json::parse("[0.0392156862745098,0.5176470588235295,1.0]"));
  EXPECT_EQ(settings["com.kolvo.deck.stats.enabled"], nlohmann::json::parse(R"(["cpu","battery"])"));
  EXPECT_EQ(settings["com.kolvo.liquidGlass.configuration"]["frost"], 0.4);
  EXPECT_EQ(settings["com.kolvo.liquidGlass.configuration"]["highlightStrength"], 0.6);
  EXPECT_EQ(settings["com.kolvo.alignmentEdgeOffset"], -12.0);
  // The Hidden Dock's, the launcher's, the profiles' and the timer's keys are settings too.
  ASSERT_EQ(settings["com.kolvo.selectedApps"].size(), 1u);
  EXPECT_EQ(settings["com.kolvo.selectedApps"][0]["name"], "Notes");
  EXPECT_EQ(settings["com.kolvo.appLauncher.slots"].size(), 56u);
  EXPECT_EQ(settings["com.kolvo.appLauncher.configurationVersion"], 2);
  EXPECT_EQ(settings["com.kolvo.appProfiles"], nlohmann::json::array());
  EXPECT_EQ(settings["com.kolvo.timer.selectedMinutes"], 60);  // at most an hour
  EXPECT_EQ(settings["com.kolvo.timer.running"], false);
  EXPECT_TRUE(settings["com.kolvo.timer.endDate"].is_null());
  // Inspecting never writes.
  EXPECT_EQ(read(prefs_file()), before);
}

TEST_F(KolvoCli, PrefsWriteRefusesBadValuesAndLeavesTheFileAlone) {
  ASSERT_EQ(kolvo("prefs write com.kolvo.deckEnabled -bool true").exit_code, 0);
  const std::string before = read(prefs_file());
  for (const char* bad : {"prefs write com.kolvo.deckEnabled -bool maybe", "prefs write com.kolvo.x -intt 3",
                          "prefs write com.kolvo.x -int 2.5", "prefs write com.kolvo.x -date soon"}) {
    const CommandResult run = kolvo(bad);
    EXPECT_NE(run.exit_code, 0) << bad;
    EXPECT_NE(run.err.find("Not written:"), std::string::npos) << bad << ": " << run.err;
    EXPECT_EQ(read(prefs_file()), before) << bad;
  }
  const CommandResult read_back = kolvo("prefs read com.kolvo.deckEnabled");
  EXPECT_EQ(read_back.out, "1\n");
  EXPECT_EQ(kolvo("prefs delete com.kolvo.deckEnabled").exit_code, 0);
  EXPECT_NE(kolvo("prefs read com.kolvo.deckEnabled").exit_code, 0);
}

// A legacy calibration made on a display this desk does not have waits in the file for that
// display to come back. Looking at anything, or changing something else, must not migrate it
// into an empty store; only a real start does.
TEST_F(KolvoCli, ReadingCommandsAndUnrelatedChangesNeverWriteTheFile) {
  const std::string legacy = R"({"dockMinX":2000,"dockMinY":-200,"dockWidth":900,"dockHeight":80,)"
                             R"("screenMinX":1512,"screenMinY":-200,"screenWidth":2560,"screenHeight":1440,)"
                             R"("dockPosition":"bottom","createdAt":700000000})";
  std::string hex;
  for (const unsigned char c : legacy) {
    static constexpr char kDigits[] = "0123456789abcdef";
    hex += kDigits[c >> 4];
    hex += kDigits[c & 15];
  }
  ASSERT_EQ(kolvo("prefs write com.kolvo.dockCalibration -data " + hex).exit_code, 0);
  ASSERT_EQ(kolvo("timer set 5").exit_code, 0);
  const std::string before = read(prefs_file());
  for (const char* command : {"prefs read com.kolvo.dockCalibration", "prefs read", "settings", "settings --json",
                              "dock", "dock --json", "diagnostics", "timer", "timer status --json",
                              "control volume", "control brightness", "control output", "control dark",
                              "control volume 0.3", "control snap leftHalf", "control tab 1", "ui general",
                              "ui apps --json", "ui advanced"}) {
    const CommandResult run = kolvo(command);
    EXPECT_EQ(run.exit_code, 0) << command << ": " << run.err;
    EXPECT_EQ(read(prefs_file()), before) << command;
  }
  EXPECT_EQ(before.find("multiDisplayCalibration"), std::string::npos);
}

// A settings page prints the texts and states the Mac shows, from the same stores: here a
// stored slider on the left edge and a dial under it.
TEST_F(KolvoCli, UiPagesShowTheStoredSettingsAndRefuseUnknownPages) {
  ASSERT_EQ(kolvo("prefs write com.kolvo.leftEdgeMode -string volume").exit_code, 0);
  ASSERT_EQ(kolvo("prefs write com.kolvo.cornerBottomLeftMode -string timer").exit_code, 0);
  const CommandResult controls = kolvo("ui controls --json");
  ASSERT_EQ(controls.exit_code, 0) << controls.err;
  const auto page = nlohmann::json::parse(controls.out);
  EXPECT_EQ(page["title"], "Controls");
  std::map<std::string, nlohmann::json> rows;
  for (const auto& section : page["sections"]) {
    for (const auto& row : section["rows"]) {
      if (row.contains("id")) rows[row["id"].get<std::string>()] = row;
    }
  }
  EXPECT_EQ(rows["leftEdgeMode"]["selected"], "volume");
  EXPECT_EQ(rows["corner.bottomLeft"]["selected"], "timer");
  EXPECT_EQ(rows["corner.bottomLeft"]["note"], "Inactive: the volume control already uses this corner.");
  EXPECT_NE(kolvo("ui general").out.find("Hidden Dock opens from the right edge of your Dock."), std::string::npos);

  for (const char* bad : {"ui", "ui Settings", "ui general extra"}) {
    const CommandResult run = kolvo(bad);
    EXPECT_EQ(run.exit_code, 2) << bad;
    EXPECT_EQ(run.err, "kolvo: 'kolvo ui' takes one page: general, controls, profiles, apps, deck, corvane, advanced.\n");
  }
}

// The first-run steps print from the stored edges: both edges given to sliders leave Hidden
// Dock nowhere to open, which the edges step says; an unknown step is refused.
TEST_F(KolvoCli, UiOnboardingPrintsAStepFromTheStoredSettings) {
  ASSERT_EQ(kolvo("prefs write com.kolvo.leftEdgeMode -string volume").exit_code, 0);
  const CommandResult welcome = kolvo("ui onboarding");
  ASSERT_EQ(welcome.exit_code, 0) << welcome.err;
  EXPECT_NE(welcome.out.find("Welcome to Kolvo"), std::string::npos) << welcome.out;
  const std::string warning = "Keep at least one edge on Hidden Dock, or it has nowhere to open.";
  const CommandResult one_slider = kolvo("ui onboarding edges");
  ASSERT_EQ(one_slider.exit_code, 0) << one_slider.err;
  EXPECT_EQ(one_slider.out.find(warning), std::string::npos) << one_slider.out;
  ASSERT_EQ(kolvo("prefs write com.kolvo.rightEdgeMode -string brightness").exit_code, 0);
  const CommandResult edges = kolvo("ui onboarding edges --json");
  ASSERT_EQ(edges.exit_code, 0) << edges.err;
  EXPECT_EQ(nlohmann::json::parse(edges.out)["id"], "edges");
  EXPECT_NE(edges.out.find(warning), std::string::npos) << edges.out;
  EXPECT_NE(kolvo("ui onboarding done").out.find("Finish"), std::string::npos);
  EXPECT_EQ(read(prefs_file()).find("onboardingCompleted"), std::string::npos);

  for (const char* bad : {"ui onboarding nowhere", "ui onboarding apps extra"}) {
    const CommandResult run = kolvo(bad);
    EXPECT_EQ(run.exit_code, 2) << bad;
    EXPECT_EQ(run.err, "kolvo: 'kolvo ui onboarding' takes one step: welcome, apps, edges, calibration, done.\n");
  }
}

// The profile in force follows the frontmost application while the pointer moves: switching
// to Photoshop gives its right edge a slider and its top-left corner a dial, switching back
// restores the Hidden Dock.
TEST_F(KolvoCli, PointerFollowsTheFrontmostApplicationMidTrace) {
  std::ofstream(prefs_file()) << R"({
    "com.kolvo.appProfiles": {"$json": [{"id": "5E1F3A2B-0C4D-4E5F-8A9B-0C1D2E3F4A5B", "bundleID": "com.adobe.Photoshop",
      "appName": "Photoshop", "overridesDockApps": false, "dockApps": [], "overridesSliders": true,
      "leftEdgeMode": "dock", "rightEdgeMode": "volume", "overridesDials": true,
      "corners": {"topLeft": "brightness"}}]}
  })";
  const std::string trace =
      "1070 30 0.1\n700 400 0.2\napp com.adobe.Photoshop 1\n1070 30 1.1\n700 400 1.2\n5 980 1.3\n700 400 1.4\n"
      "app com.apple.Safari 3\n1070 30 3.1\n700 400 3.2\n5 980 3.3\n";
  const auto run = kolvo("pointer", trace);
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out,
            "0.100 open hidden dock right\n0.750 hide\n1.100 show slider right volume\n1.300 show dial topLeft\n"
            "2.400 hide slider\n2.600 hide dial\n3.100 open hidden dock right\n3.750 hide\n");

  struct Refused {
    const char* trace;
    const char* says;
  };
  for (const Refused& r : {Refused{"1 1 1e18\n", "at most 1000000000 s"}, Refused{"1 1 2\n1 1 1\n", "back in time"},
                           Refused{"app 1\n", "neither"}, Refused{"1 1 inf\n", "neither"}}) {
    const auto refused = kolvo("pointer", std::string(r.trace));
    EXPECT_EQ(refused.exit_code, 2) << r.trace;
    EXPECT_NE(refused.err.find(r.says), std::string::npos) << r.trace << refused.err;
    EXPECT_EQ(refused.out, "") << r.trace;
  }
}

// Hostile values never reach the output or the file: a Dock size of 1e308 is read as the
// largest the Dock allows, and a calibration that cannot belong to its display is refused.
TEST_F(KolvoCli, ImpossibleDockValuesAreBoundedOrRefused) {
  const path layout = home_ / "huge-dock.json";
  std::ofstream(layout) << R"({"screens":[{"frame":[0,0,1512,982],"visibleFrame":[0,70,1512,875]}],
    "dock":{"orientation":"bottom","tilesize":1e308,"largesize":1e308,"magnification":true}})";
  for (const char* format : {"", " --json"}) {
    const auto run = kolvo("dock --sim " + layout.string() + format);
    ASSERT_EQ(run.exit_code, 0) << run.err;
    for (const char* bad : {"inf", "nan", "e+3"}) EXPECT_EQ(run.out.find(bad), std::string::npos) << bad << run.out;
  }

  ASSERT_EQ(kolvo("prefs write com.kolvo.deckEnabled -bool true").exit_code, 0);
  const std::string before = read(prefs_file());
  for (const char* rect : {"1e300,2,3,4", "1512,0,10,70", "-50,-50,20,20"}) {
    const auto run = kolvo(std::string("dock calibrate --display 1 --rect ") + rect + " --position bottom");
    EXPECT_EQ(run.exit_code, 1) << rect;
    EXPECT_NE(run.err.find("does not touch the display"), std::string::npos) << rect << run.err;
    EXPECT_EQ(read(prefs_file()), before) << rect;
  }
  EXPECT_EQ(kolvo("dock calibrate --display 1 --rect 416,0,680,70 --position bottom").exit_code, 0);
  EXPECT_NE(read(prefs_file()), before);
}

TEST_F(KolvoCli, ServeStartsOverACorruptFileKeepsItAsideAndStopsOnSigterm) {
  std::ofstream(prefs_file()) << "{\"com.kolvo.deckEnabled\": tru";
  start_serve();
  stop_serve();
  const std::string log = read(serve_log());
  // Other tests may run a host at the same time, so whether another instance shows is not checked.
  EXPECT_NE(log.find("[SHELF THROW] pid="), std::string::npos) << log;
  EXPECT_NE(log.find("could not be read"), std::string::npos) << log;
  EXPECT_NE(log.find("onboarding window: Welcome to Kolvo"), std::string::npos) << log;
  EXPECT_NE(log.find("[Host] stopped"), std::string::npos) << log;

  int set_aside = 0;
  for (const auto& entry : fs::directory_iterator(prefs_file().parent_path())) {
    if (entry.path().filename().string().rfind("preferences.json.corrupt-", 0) == 0) {
      ++set_aside;
      EXPECT_EQ(read(entry.path()), "{\"com.kolvo.deckEnabled\": tru");
    }
  }
  EXPECT_EQ(set_aside, 1);
  // The fresh file holds what start-up wrote: the glass configuration's default.
  const auto fresh = nlohmann::json::parse(read(prefs_file()));
  EXPECT_TRUE(fresh.contains("com.kolvo.liquidGlass.configuration"));
}

}  // namespace

namespace {

TEST_F(KolvoCli, DockReportsEveryDisplayOfALayoutAndCalibrateSavesThroughTheStore) {
  const fs::path layout = home_ / "layout.json";
  std::ofstream(layout) << R"({
    "screens": [
      {"name": "Laptop", "id": 1, "uuid": "LAPTOP", "frame": [0, 0, 1512, 982], "visibleFrame": [0, 70, 1512, 875]},
      {"name": "Studio", "id": 5, "scale": 1, "frame": [1512, -200, 2560, 1440], "visibleFrame": [1512, -200, 2560, 1415]}
    ],
    "dock": {"orientation": "bottom", "tilesize": 48, "show-recents": true,
             "persistent-apps": [{}, {}, {}, {}, {}], "persistent-others": [{}, {}]},
    "runningApplications": [{"bundleID": "com.apple.dock", "pid": 100, "regular": false}],
    "dockAccessibility": {"role": "AXApplication", "children": [{"role": "AXList", "axFrame": [360, 920, 792, 62]}]}
  })";
  const std::string sim = " --sim '" + layout.string() + "'";
  auto report = nlohmann::json::parse(kolvo("dock --json" + sim).out);
  ASSERT_EQ(report["displays"].size(), 2u);
  EXPECT_EQ(report["displays"][0]["detection"]["source"], "defaultsEstimate");
  EXPECT_EQ(report["displays"][0]["isTarget"], true);  // it hosts the Dock
  EXPECT_EQ(report["displays"][1]["key"], "5");         // no UUID: keyed by number

  const CommandResult saved = kolvo("dock calibrate --display LAPTOP --rect 416,0,680,70 --position bottom" + sim);
  ASSERT_EQ(saved.exit_code, 0) << saved.err;
  ASSERT_EQ(kolvo("prefs write com.kolvo.followDockChangesAutomatically -bool true").exit_code, 0);
  report = nlohmann::json::parse(kolvo("dock --json" + sim).out);
  const auto& laptop = report["displays"][0];
  EXPECT_EQ(laptop["calibrationKey"], "LAPTOP");
  EXPECT_EQ(report["displayMode"], "selectedDisplay(LAPTOP)");
  EXPECT_EQ(report["liveFollow"], true);
  // The live list (flipped from the accessibility space) is wider than the calibration.
  EXPECT_EQ(laptop["detection"]["source"], "liveAccessibilityBounds");
  EXPECT_EQ(laptop["detection"]["dockRect"], nlohmann::json::parse(R"({"x":360.0,"y":0.0,"width":792.0,"height":70.0})"));
  EXPECT_EQ(laptop["leftTriggerRect"], nlohmann::json::parse(R"({"x":306.0,"y":-9.0,"width":54.0,"height":88.0})"));

  for (const char* bad : {"dock calibrate --display NOPE --rect 1,2,3,4 --position bottom",
                          "dock calibrate --display LAPTOP --rect 1,2,3 --position bottom",
                          "dock calibrate --display LAPTOP --rect 1,2,3,4 --position top"}) {
    const CommandResult result = kolvo(std::string(bad) + sim);
    EXPECT_NE(result.exit_code, 0) << bad;
    EXPECT_FALSE(result.err.empty()) << bad;
  }
  const CommandResult broken = kolvo("dock --sim /nonexistent.json");
  EXPECT_EQ(broken.exit_code, 1);
  EXPECT_NE(broken.err.find("cannot be read"), std::string::npos);
}

}  // namespace

namespace {


TEST_F(KolvoCli, PointerReplaysATraceAndAProfileOverridesTheEdgesOfItsApp) {
  // A profile for Photoshop turns its right edge into a volume slider and its top-left corner
  // into a dial, written in the file's readable JSON form.
  std::ofstream(prefs_file()) << R"({
    "com.kolvo.appProfiles": {"$json": [{"id": "5E1F3A2B-0C4D-4E5F-8A9B-0C1D2E3F4A5B", "bundleID": "com.adobe.Photoshop",
      "appName": "Photoshop", "overridesDockApps": false, "dockApps": [], "overridesSliders": true,
      "leftEdgeMode": "dock", "rightEdgeMode": "volume", "overridesDials": true,
      "corners": {"topLeft": "brightness"}}]}
  })";
  // Into the right Dock trigger, out, then the top-left corner. The default Dock spans 464 to 1048.
  const std::string trace = "700 400 0\n1070 30 0.1\n700 400 0.2\n5 980 0.3\n700 400 0.4\n";
  const auto plain = kolvo("pointer", trace);
  ASSERT_EQ(plain.exit_code, 0) << plain.err;
  EXPECT_EQ(plain.out, "0.100 open hidden dock right\n0.750 hide\n");

  const auto photoshop = kolvo("pointer --frontmost com.adobe.Photoshop", trace);
  ASSERT_EQ(photoshop.exit_code, 0) << photoshop.err;
  EXPECT_EQ(photoshop.out, "0.100 show slider right volume\n0.300 show dial topLeft\n1.400 hide slider\n1.600 hide dial\n");

  const auto json = kolvo("pointer --json", trace);
  EXPECT_EQ(nlohmann::json::parse(json.out)[0]["action"], "open hidden dock right");

  const auto bad = kolvo("pointer", "1 2\n");
  EXPECT_EQ(bad.exit_code, 2);
  EXPECT_NE(bad.err.find("Line 1"), std::string::npos);
  const auto backwards = kolvo("pointer", "1 2 3\n1 2 1\n");
  EXPECT_NE(backwards.err.find("goes back in time"), std::string::npos);
}

}  // namespace

namespace {

TEST_F(KolvoCli, FramesEncodeThenDecodeRoundTripsAndReportsErrorsAndLeftovers) {
  const std::string messages =
      "{\"type\":\"ping\",\"unknownKey\":true}\n"
      "{\"type\":\"setControl\",\"control\":\"volume\",\"value\":1.0}\n"
      "{\"type\":\"approvalRequired\"}\n"
      "\n"
      "{\"type\":\"tabStep\",\"step\":-2}\n";
  const auto encoded = kolvo("frames encode", messages);
  EXPECT_EQ(encoded.exit_code, 1);  // one line was not a message
  EXPECT_NE(encoded.err.find("line 3"), std::string::npos) << encoded.err;

  const auto decoded = kolvo("frames decode", encoded.out + std::string("\x00\x00", 2));
  EXPECT_EQ(decoded.exit_code, 0) << decoded.err;
  EXPECT_EQ(decoded.out,
            "{\"payloadBytes\":15,\"skippedOversize\":false,\"message\":{\"type\":\"ping\"}}\n"
            "{\"payloadBytes\":50,\"skippedOversize\":false,\"message\":{\"type\":\"setControl\",\"control\":\"volume\","
            "\"value\":1}}\n"
            "{\"payloadBytes\":28,\"skippedOversize\":false,\"message\":{\"type\":\"tabStep\",\"step\":-2}}\n"
            "{\"remainingBytes\":2}\n");

  const std::string bad_frame = std::string("\x00\x00\x00\x04", 4) + "nope" + std::string("\x00\x80\x00\x01", 4);
  const auto failed = kolvo("frames decode", bad_frame);
  EXPECT_EQ(failed.exit_code, 1);
  EXPECT_EQ(failed.out,
            "{\"payloadBytes\":4,\"skippedOversize\":false,\"message\":null}\n"
            "{\"error\":\"declared frame length 8388609 exceeds the recoverable ceiling 8388608 (buffer 4 bytes) — "
            "stream desynchronised\"}\n");
}

}  // namespace
