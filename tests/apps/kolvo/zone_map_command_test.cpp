// `kolvo dock --svg` and the switch that shows the zones, through the real program.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <nlohmann/json.hpp>

#include "support/kolvo_cli_fixture.hpp"

namespace {
namespace fs = std::filesystem;
using kolvo::testing::CommandResult;
using kolvo::testing::KolvoCli;

constexpr const char* kTwoDisplays = R"({
  "screens": [
    {"name": "Laptop", "uuid": "LAPTOP", "frame": [0, 0, 1512, 982], "visibleFrame": [0, 70, 1512, 875]},
    {"name": "Studio <&\"> Display", "id": 5, "scale": 1, "frame": [1512, -200, 2560, 1440]}
  ],
  "dock": {"orientation": "bottom", "tilesize": 48, "show-recents": true,
           "persistent-apps": [{}, {}, {}, {}, {}], "persistent-others": [{}, {}]}
})";

std::vector<fs::path> files_in(const fs::path& folder) {
  std::vector<fs::path> out;
  for (const auto& entry : fs::directory_iterator(folder)) {
    // The fixture's own captures of each run's standard streams.
    const auto name = entry.path().filename();
    if (name != "stderr.txt" && name != "stdin.txt") out.push_back(name);
  }
  std::sort(out.begin(), out.end());
  return out;
}

// A reading command: the picture replaces the old one whole, and the preference file is left
// byte for byte as it was.
TEST_F(KolvoCli, DockSvgDrawsTheLayoutAndLeavesThePreferencesAlone) {
  const fs::path layout = home_ / "desk.json";
  std::ofstream(layout) << kTwoDisplays;
  ASSERT_EQ(kolvo("prefs write com.kolvo.usePressureZone -bool true").exit_code, 0);
  const std::string before = read(prefs_file());
  const fs::path pictures = home_ / "pictures";
  fs::create_directories(pictures);
  const fs::path svg = pictures / "zones.svg";
  std::ofstream(svg) << "an older picture";

  const CommandResult run = kolvo("dock --svg '" + svg.string() + "' --sim '" + layout.string() + "'");
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_NE(run.out.find("2 displays"), std::string::npos) << run.out;
  const std::string text = read(svg);
  EXPECT_EQ(text.rfind("<?xml", 0), 0u) << text.substr(0, 80);
  EXPECT_NE(text.find("viewBox=\"0 -1240 4072 1440\""), std::string::npos);
  EXPECT_NE(text.find("Studio &lt;&amp;&quot;&gt; Display"), std::string::npos);
  EXPECT_NE(text.find("data-kind=\"pressurePoint\""), std::string::npos) << "the stored setting applies";
  EXPECT_EQ(text.find("data-kind=\"dockTrigger\""), std::string::npos);
  EXPECT_EQ(files_in(pictures), std::vector<fs::path>{"zones.svg"}) << "no temporary file is left";
  EXPECT_EQ(read(prefs_file()), before);
}

// A picture that cannot be written says why and changes nothing, including a picture already
// in its place; a wrong command line is refused before anything is read.
TEST_F(KolvoCli, DockSvgFailuresSayWhyAndChangeNothing) {
  const fs::path layout = home_ / "desk.json";
  std::ofstream(layout) << kTwoDisplays;
  const fs::path kept = home_ / "kept.svg";
  std::ofstream(kept) << "an older picture";
  struct Case {
    std::string arguments;
    int exit_code;
    const char* says;
  };
  const Case cases[] = {
      {"dock --svg '" + (home_ / "no" / "such" / "folder.svg").string() + "'", 1, "could not be written to"},
      {"dock --svg '" + home_.string() + "'", 1, "could not be written to"},
      {"dock --svg '" + kept.string() + "' --sim '" + (home_ / "missing.json").string() + "'", 1, "cannot be read"},
      {"dock --svg", 2, "--svg needs the file"},
      {"dock --svg '" + kept.string() + "' --json", 2, "takes no --json"},
      {"dock --svg '" + kept.string() + "' extra", 2, "'kolvo dock' takes"},
  };
  for (const Case& c : cases) {
    const auto before = files_in(home_);
    const CommandResult run = kolvo(c.arguments);
    EXPECT_EQ(run.exit_code, c.exit_code) << c.arguments;
    EXPECT_NE(run.err.find(c.says), std::string::npos) << c.arguments << ": " << run.err;
    EXPECT_EQ(run.out, "") << c.arguments;
    EXPECT_EQ(read(kept), "an older picture") << c.arguments;
    EXPECT_EQ(files_in(home_), before) << c.arguments;
  }
}

// The switch is a setting like any other: listed, set with `prefs write`, and a value of the
// wrong type reads as off while staying in the file for the user to fix.
TEST_F(KolvoCli, ShowActivationZonesIsListedSetAndDrawnByTheHost) {
  const auto effective = [this] {
    return nlohmann::json::parse(kolvo("settings --json").out)["com.kolvo.showActivationZones"];
  };
  EXPECT_EQ(effective(), false);
  ASSERT_EQ(kolvo("prefs write com.kolvo.showActivationZones yes").exit_code, 0);
  EXPECT_EQ(effective(), false);
  EXPECT_EQ(nlohmann::json::parse(read(prefs_file()))["com.kolvo.showActivationZones"], "yes");

  ASSERT_EQ(kolvo("prefs write com.kolvo.showActivationZones -bool true").exit_code, 0);
  EXPECT_EQ(effective(), true);
  start_serve();
  ASSERT_TRUE(wait_for_log([](const std::string& log) { return log.find("[Overlay] show zone map:") != std::string::npos; }))
      << read(serve_log());
  stop_serve();
  EXPECT_NE(read(serve_log()).find("show zone map: Built-in Retina Display"), std::string::npos) << read(serve_log());
}

}  // namespace
