#include <gtest/gtest.h>

#include "support/tray_fixture.hpp"
#include "ui/tray_model.hpp"

namespace kolvo::ui {
namespace {

using dock::Rect;

// Icons stay in the tray, keep the size the tray's width was reckoned with, and shrink only
// when eight of them must fit a tray held at its widest.
TEST(TrayIconFrames, SizedFromTheDockAndFittedToTheTray) {
  struct Case {
    const char* name;
    double tray_width;
    double tray_height;
    double dock_height;
    std::size_t count;
    double side;
  };
  const Case cases[] = {
      {"a 70-point Dock", 24 + 3 * 43.4 + 2 * 8, 70, 70, 3, 43.4},
      {"a thin Dock takes the smallest size", 150, 60, 40, 2, 42},
      {"a tall Dock takes the largest size", 24 + 2 * 58 + 8, 100, 100, 2, 58},
      {"eight apps in the widest tray", 360, 70, 70, 8, (360 - 24 - 7 * 8) / 8.0},
      {"no taller than the tray", 200, 30, 70, 1, 30},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const auto frames = tray_icon_frames(c.tray_width, c.tray_height, c.dock_height, c.count);
    ASSERT_EQ(frames.size(), c.count);
    for (std::size_t i = 0; i < frames.size(); ++i) {
      EXPECT_NEAR(frames[i].width, c.side, 1e-9);
      EXPECT_EQ(frames[i].width, frames[i].height);
      EXPECT_GE(frames[i].min_x(), 0);
      EXPECT_LE(frames[i].max_x(), c.tray_width + 1e-9);
      EXPECT_NEAR(frames[i].mid_y(), c.tray_height / 2, 1e-9);
      if (i > 0) {
        EXPECT_NEAR(frames[i].min_x() - frames[i - 1].max_x(), kTrayIconSpacing, 1e-9);
      }
    }
    EXPECT_NEAR(frames.front().min_x(), c.tray_width - frames.back().max_x(), 1e-9) << "centred";
  }
  EXPECT_TRUE(tray_icon_frames(200, 70, 70, 0).empty());
}

TEST(ExpandedTrayFrame, GrowsUpAndAwayFromTheDockWithinTheDisplay) {
  const Rect screen{0, 0, 1512, 982};
  struct Case {
    const char* name;
    Rect tray;
    dock::Side side;
    double progress;
    Rect expected;
  };
  const Case cases[] = {
      {"collapsed", {1000, 8, 200, 70}, dock::Side::right, 0, {1000, 8, 200, 70}},
      {"right, open", {1000, 8, 200, 70}, dock::Side::right, 1, {1000 - (536 - 512), 8, 536, 70 + 460}},
      {"right, halfway", {600, 8, 200, 70}, dock::Side::right, 0.5, {600, 8, 368, 300}},
      {"left, open keeps its right edge", {300, 8, 200, 70}, dock::Side::left, 1, {0, 8, 536, 530}},
      {"past the end is open", {600, 8, 200, 70}, dock::Side::right, 3, {600, 8, 536, 530}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(expanded_tray_frame(c.tray, c.side, screen, c.progress), c.expected);
  }
  EXPECT_EQ(expanded_tray_frame({600, 8, 200, 70}, dock::Side::right, {0, 0, 1512, 400}, 1), (Rect{600, 8, 536, 392}))
      << "no taller than the display";
}

struct TrayHarness : testing::TrayFixture {
  TrayHarness() {
    observation = geometry.settings.center.observe("com.kolvo.appLaunchedFromTray", [this](std::string_view) { ++launched; });
    hidden.apps().set_apps({{"5A1F0000-0000-4000-8000-000000000001", "Safari", "com.apple.Safari",
                             "file:///Applications/Safari.app/"},
                            {"5A1F0000-0000-4000-8000-000000000002", "Gone", "com.example.gone",
                             "file:///Applications/Gone.app/"}});
  }

  base::Observation observation;
  int launched = 0;
};

TEST(TrayModel, AClickOpensTheAppPostsTheLaunchAndClicksOnlyWhenItOpened) {
  TrayHarness h;
  const auto icons = h.tray.icons(200, 70, 70);
  ASSERT_EQ(icons.size(), 2u);
  EXPECT_EQ(icons[0].title, "Safari");
  EXPECT_EQ(icons[0].location, "/Applications/Safari.app");
  EXPECT_TRUE(icons[0].installed);
  EXPECT_FALSE(icons[1].installed);

  struct Step {
    std::size_t index;
    bool opened;
    int launched;
    std::size_t sounds;
  };
  for (const Step& step : {Step{1, false, 0, 0}, Step{7, false, 0, 0}, Step{0, true, 1, 1}}) {
    SCOPED_TRACE(step.index);
    EXPECT_EQ(h.tray.open(step.index), step.opened);
    EXPECT_EQ(h.launched, step.launched);
    EXPECT_EQ(h.geometry.settings.mac.sound_plays().size(), step.sounds);
  }
  EXPECT_EQ(h.geometry.desktop.frontmost_bundle_id(), "com.apple.Safari");
  EXPECT_EQ(h.geometry.settings.mac.sound_plays()[0].sound, prefs::Sound::click);
}

TEST(TrayModel, TheLauncherGridHoldsEverySlotInEightColumnsFromTheTop) {
  TrayHarness h;
  h.hidden.launcher().clear(0);
  h.hidden.launcher().clear(9);
  const auto cells = h.tray.launcher_cells(800, 700);
  ASSERT_EQ(cells.size(), 56u);
  struct Expected {
    std::size_t slot;
    Rect frame;
  };
  for (const Expected& e : {Expected{0, {0, 600, 100, 100}}, Expected{7, {700, 600, 100, 100}},
                            Expected{8, {0, 500, 100, 100}}, Expected{55, {700, 0, 100, 100}}}) {
    EXPECT_EQ(cells[e.slot].frame, e.frame) << e.slot;
  }
  EXPECT_EQ(cells[0].title, "Empty \xE2\x80\x94 click to choose an app");
  EXPECT_FALSE(cells[0].filled);
  EXPECT_FALSE(h.tray.open_launcher_slot(0)) << "an empty slot opens nothing";
  EXPECT_FALSE(h.tray.open_launcher_slot(56));

  EXPECT_FALSE(h.tray.assign_launcher_slot(9, "/Users/me/notes.txt"));
  EXPECT_FALSE(h.tray.assign_launcher_slot(56, "/Applications/Safari.app"));
  ASSERT_TRUE(h.tray.assign_launcher_slot(9, "/Applications/Safari.app"));
  const auto after = h.tray.launcher_cells(800, 700);
  EXPECT_EQ(after[9].title, "Safari");
  EXPECT_TRUE(after[9].installed);
  EXPECT_TRUE(h.tray.open_launcher_slot(9));
  EXPECT_EQ(h.launched, 1);
}

}  // namespace
}  // namespace kolvo::ui
