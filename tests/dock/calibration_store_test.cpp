#include <gtest/gtest.h>

#include "dock/display_targeting.hpp"
#include "prefs/settings_keys.hpp"
#include "support/dock_fixture.hpp"

namespace kolvo::dock {
namespace {

using testing::external_above;
using testing::external_right;
using testing::GeometryFixture;
using testing::laptop_screen;
using testing::layout_of;

DockCalibration calibration_for(const ScreenInfo& screen, Rect dock, DockPosition position = DockPosition::bottom) {
  return {dock, screen.frame, position, 700000000, {}, {}, {}, {}, {}};
}

prefs::PreferenceData data_of(const nlohmann::ordered_json& json) {
  const std::string text = json.dump();
  return prefs::PreferenceData(text.begin(), text.end());
}

TEST(CalibrationKey, ADisplayWhoseIdentityDriftedKeepsItsCalibration) {
  const ScreenInfo laptop = laptop_screen();
  struct Case {
    std::string name;
    KolvoDisplayIdentity now;  // the display as it reports itself today
    std::optional<std::string> expected;
  };
  KolvoDisplayIdentity same = laptop.identity;
  KolvoDisplayIdentity new_uuid = laptop.identity;
  new_uuid.display_uuid = "UPDATED-UUID";
  KolvoDisplayIdentity new_uuid_and_number = new_uuid;
  new_uuid_and_number.cg_direct_display_id = 9;
  KolvoDisplayIdentity renumbered_renamed = new_uuid_and_number;
  renumbered_renamed.localized_name = "Color LCD";
  KolvoDisplayIdentity rescaled_moved = renumbered_renamed;
  rescaled_moved.backing_scale_factor = 1.0;
  rescaled_moved.screen_frame = {3000, 0, 1512, 982};
  KolvoDisplayIdentity nudged = rescaled_moved;
  nudged.screen_frame = {24, -24, 1488, 1006};  // within 24 points on every measure
  KolvoDisplayIdentity scale_close = renumbered_renamed;
  scale_close.localized_name = laptop.identity.localized_name;
  scale_close.backing_scale_factor = 2.009;
  scale_close.screen_frame = {3000, 0, 10, 10};
  KolvoDisplayIdentity no_uuid_same_number = laptop.identity;
  no_uuid_same_number.display_uuid.reset();

  const std::vector<Case> cases = {
      {"primary key", same, "LAPTOP-UUID"},
      {"uuid changed, number matches", new_uuid, "LAPTOP-UUID"},
      {"name and scale match", scale_close, "LAPTOP-UUID"},
      {"frame matches the identity", nudged, "LAPTOP-UUID"},
      {"nothing matches", rescaled_moved, std::nullopt},
      {"same number, no uuid", no_uuid_same_number, "LAPTOP-UUID"},
  };
  for (const Case& c : cases) {
    GeometryFixture f(layout_of({laptop}));
    f.services->store().save(calibration_for(laptop, {416, 0, 680, 70}), laptop);
    EXPECT_EQ(f.services->store().calibration_key(c.now), c.expected) << c.name;
  }
}

TEST(CalibrationKey, RecordsStoredUnderTheDisplayNumberAreFoundByRule2AndRule4UsesTheCalibrationFrame) {
  const ScreenInfo laptop = laptop_screen();
  StoredCalibrations stored;
  stored.calibrations["1"] = calibration_for(laptop, {416, 0, 680, 70});
  stored.calibrations["ORPHAN"] = calibration_for(external_right(), {2000, -200, 900, 80});
  GeometryFixture f(layout_of({laptop}), {{"com.kolvo.multiDisplayCalibration", data_of(to_json(stored))}});
  EXPECT_EQ(f.services->store().calibration_key(laptop.identity), "1");
  KolvoDisplayIdentity stranger{42, "Other", external_right().frame, 1.0, "NEW"};
  EXPECT_EQ(f.services->store().calibration_key(stranger), "ORPHAN");
}

TEST(CalibrationKey, TwoDisplaysWithIdenticalFramesEachKeepTheirOwnRecord) {
  ScreenInfo left = external_right("LEFT-UUID");
  left.frame = left.identity.screen_frame = {0, 0, 1920, 1080};
  ScreenInfo mirror = left;
  mirror.identity.display_uuid = "MIRROR-UUID";
  mirror.identity.cg_direct_display_id = 6;
  mirror.identity.localized_name = "Second";
  GeometryFixture f(layout_of({left, mirror}));
  f.services->store().save(calibration_for(left, {600, 0, 700, 60}), left);
  // The second display has no record yet: the frame rule finds the first one's.
  EXPECT_EQ(f.services->store().calibration_key(mirror.identity), "LEFT-UUID");
  f.services->store().save(calibration_for(mirror, {500, 0, 900, 60}), mirror);
  EXPECT_EQ(f.services->store().calibration_key(left.identity), "LEFT-UUID");
  EXPECT_EQ(f.services->store().calibration_key(mirror.identity), "MIRROR-UUID");
  EXPECT_EQ(f.services->store().calibrations().size(), 2u);
}

TEST(CalibrationStore, SaveMovesARecordToThePrimaryKeySelectsTheDisplayAndNotifies) {
  const ScreenInfo laptop = laptop_screen();
  GeometryFixture f(layout_of({laptop, external_right()}));
  auto& store = f.services->store();
  store.save(calibration_for(laptop, {416, 0, 680, 70}), laptop);

  ScreenInfo updated = laptop;
  updated.identity.display_uuid = "UPDATED-UUID";  // after a system update
  f.desktop.set_screens({updated, external_right()});
  f.settings.posted.clear();
  store.save(calibration_for(updated, {400, 0, 700, 70}), updated);
  EXPECT_EQ(store.calibrations().size(), 1u);
  EXPECT_TRUE(store.calibrations().contains("UPDATED-UUID"));
  EXPECT_FALSE(store.identities().contains("LAPTOP-UUID"));
  EXPECT_EQ(store.display_mode(), KolvoDisplayMode{SelectedDisplay{"UPDATED-UUID"}});
  EXPECT_EQ(f.settings.count_posted("com.kolvo.selectedDisplayChanged"), 1);

  store.set_display_mode(AllCalibratedDisplays{});
  store.save(calibration_for(external_right(), {2000, -200, 900, 80}), external_right());
  EXPECT_EQ(store.display_mode(), KolvoDisplayMode{AllCalibratedDisplays{}});

  // What was written reads back the same in a fresh store.
  const Calibrations written = store.calibrations();
  f.make_services();
  EXPECT_EQ(f.services->store().calibrations(), written);
  EXPECT_EQ(f.services->store().display_mode(), KolvoDisplayMode{AllCalibratedDisplays{}});
}

TEST(CalibrationStore, ResetRemovesEverythingIncludingTheOlderKey) {
  const ScreenInfo laptop = laptop_screen();
  const auto legacy = calibration_for(laptop, {416, 0, 680, 70});
  GeometryFixture f(layout_of({laptop}), {{"com.kolvo.dockCalibration", data_of(to_json(legacy))}});
  EXPECT_EQ(f.services->store().calibrations().size(), 1u);
  f.services->store().reset_all();
  EXPECT_TRUE(f.services->store().calibrations().empty());
  EXPECT_FALSE(f.settings.prefs.value(prefs::keys::kDockCalibration));
  f.make_services();
  EXPECT_TRUE(f.services->store().calibrations().empty());
}

TEST(CalibrationStore, MigratesTheOlderSingleRecordToTheDisplayItWasMadeOn) {
  const ScreenInfo laptop = laptop_screen();
  const ScreenInfo studio = external_right();
  struct Case {
    std::string name;
    std::vector<ScreenInfo> screens;
    std::optional<std::string> key;
  };
  const auto legacy = calibration_for(studio, {2000, -200, 900, 80});
  for (const Case& c : std::vector<Case>{{"display present", {laptop, studio}, "STUDIO-UUID"},
                                         {"display absent", {laptop}, std::nullopt}}) {
    GeometryFixture f(layout_of(c.screens), {{"com.kolvo.dockCalibration", data_of(to_json(legacy))}});
    const auto& calibrations = f.services->store().calibrations();
    EXPECT_EQ(calibrations.size(), c.key ? 1u : 0u) << c.name;
    if (c.key) {
      EXPECT_EQ(calibrations.at(*c.key), legacy) << c.name;
    }
    // Loading only adopts it; the new store is written at the program's start, either way, and
    // the older key is left where it was.
    EXPECT_EQ(f.settings.prefs.write_count(), 0) << c.name;
    f.services->store().finish_migration();
    EXPECT_TRUE(f.settings.prefs.value(prefs::keys::kMultiDisplayCalibration)) << c.name;
    EXPECT_TRUE(f.settings.prefs.value(prefs::keys::kDockCalibration)) << c.name;
  }
}

TEST(CalibrationStore, AnUndecodableStoreIsKeptAsABackupBeforeMigrationWritesOverIt) {
  const ScreenInfo laptop = laptop_screen();
  const std::string garbage = R"({"calibrations":{"X":{"dockPosition":"top"}}})";
  GeometryFixture f(layout_of({laptop}),
                    {{"com.kolvo.multiDisplayCalibration", prefs::PreferenceData(garbage.begin(), garbage.end())},
                     {"com.kolvo.dockCalibration", data_of(to_json(calibration_for(laptop, {416, 0, 680, 70})))}});
  EXPECT_EQ(f.services->store().calibrations().size(), 1u);
  f.services->store().finish_migration();
  EXPECT_EQ(f.settings.prefs.value("com.kolvo.multiDisplayCalibration.backup"),
            prefs::PreferenceValue(prefs::PreferenceData(garbage.begin(), garbage.end())));

  // Without an older record to migrate, nothing is written at all.
  GeometryFixture untouched(layout_of({laptop}), {{"com.kolvo.multiDisplayCalibration",
                                                   prefs::PreferenceData(garbage.begin(), garbage.end())}});
  EXPECT_TRUE(untouched.services->store().calibrations().empty());
  EXPECT_EQ(untouched.settings.prefs.write_count(), 0);
}

TEST(CalibrationStore, ReconnectingWithANewUuidReKeysTheRecordAndFollowsTheSelection) {
  const ScreenInfo studio = external_right();
  GeometryFixture f(layout_of({laptop_screen(), studio}));
  f.services->store().save(calibration_for(studio, {2000, -200, 900, 80}), studio);
  ScreenInfo reconnected = studio;
  reconnected.identity.display_uuid = "STUDIO-UUID-2";
  f.desktop.set_screens({laptop_screen(), reconnected});
  f.services->store().screens_changed();
  EXPECT_TRUE(f.services->store().calibrations().contains("STUDIO-UUID-2"));
  EXPECT_FALSE(f.services->store().calibrations().contains("STUDIO-UUID"));
  EXPECT_EQ(f.services->store().display_mode(), KolvoDisplayMode{SelectedDisplay{"STUDIO-UUID-2"}});
  // Unplugged: the record stays for when it comes back.
  f.desktop.set_screens({laptop_screen()});
  f.services->store().screens_changed();
  EXPECT_TRUE(f.services->store().calibrations().contains("STUDIO-UUID-2"));
  EXPECT_TRUE(f.services->store().is_selected_display_missing());
}

TEST(TargetScreen, SelectedThenOlderRecordThenDockHostThenMain) {
  const ScreenInfo laptop_hidden = laptop_screen(0);   // Dock hidden: no inset
  const ScreenInfo laptop_shown = laptop_screen(70);
  ScreenInfo studio_with_dock = external_right();
  studio_with_dock.visible_frame = {1512, -120, 2560, 1440 - 25 - 80};
  ScreenInfo studio_autohide = external_right();
  studio_autohide.visible_frame = {1512, -198, 2560, 1440 - 25 - 2};

  struct Case {
    std::string name;
    std::vector<ScreenInfo> screens;
    std::optional<std::size_t> main;
    const char* orientation;
    std::string expected_uuid;
  };
  const std::vector<Case> cases = {
      {"dock host by inset", {laptop_hidden, studio_with_dock}, 0, "bottom", "STUDIO-UUID"},
      {"a 2-point inset is an auto-hidden dock", {laptop_hidden, studio_autohide}, 1, "bottom", "STUDIO-UUID"},
      {"auto-hidden everywhere falls to main", {laptop_hidden, studio_autohide}, 0, "bottom", "LAPTOP-UUID"},
      {"earlier screen wins a tie", {laptop_shown, laptop_screen(70, "TWIN")}, 1, "bottom", "LAPTOP-UUID"},
      {"left dock measured on the left", {laptop_hidden, [&] {
                                             ScreenInfo s = external_right();
                                             s.visible_frame = {1512 + 64, -200, 2560 - 64, 1415};
                                             return s;
                                           }()},
       0, "left", "STUDIO-UUID"},
  };
  for (const Case& c : cases) {
    auto layout = layout_of(c.screens, testing::dock_domain(c.orientation));
    layout.main_screen = c.main;
    GeometryFixture f(layout);
    const auto target = f.services->target_screen();
    ASSERT_TRUE(target) << c.name;
    EXPECT_EQ(target->identity.display_uuid, c.expected_uuid) << c.name;
  }

  // A selected display beats the Dock host; once it is gone, the rules below it apply again.
  GeometryFixture f(layout_of({laptop_shown, external_right()}));
  f.services->store().save(calibration_for(external_right(), {2000, -200, 900, 80}), external_right());
  EXPECT_EQ(f.services->target_screen()->identity.display_uuid, "STUDIO-UUID");
  f.desktop.set_screens({laptop_shown, external_above()});
  EXPECT_EQ(f.services->target_screen()->identity.display_uuid, "LAPTOP-UUID");
}

TEST(ScreenForPoint, EachModeAndTheSingleScreenRule) {
  const ScreenInfo laptop = laptop_screen();
  const ScreenInfo studio = external_right();
  const ScreenInfo above = external_above();
  struct Case {
    std::string name;
    std::vector<ScreenInfo> screens;
    KolvoDisplayMode mode;
    bool calibrate_studio;
    Point point;
    std::optional<std::string> expected;
  };
  const std::vector<Case> cases = {
      {"one screen answers for any point", {laptop}, AutomaticDisplay{}, false, {5000, 5000}, "LAPTOP-UUID"},
      {"automatic: target contains", {laptop, studio}, AutomaticDisplay{}, false, {700, 10}, "LAPTOP-UUID"},
      {"automatic: other screen is ignored", {laptop, studio}, AutomaticDisplay{}, false, {2000, 10}, std::nullopt},
      {"all calibrated: calibrated screen", {laptop, studio}, AllCalibratedDisplays{}, true, {2000, 10}, "STUDIO-UUID"},
      {"all calibrated: uncalibrated screen", {laptop, studio}, AllCalibratedDisplays{}, true, {700, 10}, std::nullopt},
      {"selected: inside", {laptop, studio}, SelectedDisplay{"STUDIO-UUID"}, true, {2000, 10}, "STUDIO-UUID"},
      {"selected: outside", {laptop, studio}, SelectedDisplay{"STUDIO-UUID"}, true, {700, 10}, std::nullopt},
      {"selected but absent falls back to target", {laptop, above}, SelectedDisplay{"STUDIO-UUID"}, false, {700, 10},
       "LAPTOP-UUID"},
      {"top edge of the laptop belongs to it", {laptop, above}, AutomaticDisplay{}, false, {100, 982}, "LAPTOP-UUID"},
      {"bottom edge of the display above does not", {laptop, above}, AllCalibratedDisplays{}, true, {100, 982},
       std::nullopt},
  };
  for (const Case& c : cases) {
    GeometryFixture f(layout_of(c.screens));
    auto& store = f.services->store();
    if (c.calibrate_studio) {
      const ScreenInfo& target = c.screens.size() > 1 ? c.screens[1] : c.screens[0];
      store.save(calibration_for(target, {target.frame.x + 500, target.frame.y, 900, 80}), target);
    }
    store.set_display_mode(c.mode);
    const auto screen = f.services->screen_for_point(c.point);
    EXPECT_EQ(screen ? screen->identity.display_uuid : std::nullopt, c.expected) << c.name;
  }
}

}  // namespace
}  // namespace kolvo::dock
