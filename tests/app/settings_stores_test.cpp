#include <gtest/gtest.h>

#include <cmath>

#include "prefs/settings_keys.hpp"
#include "support/settings_fixture.hpp"

namespace kolvo::app {
namespace {

using testing::SettingsFixture;
using Values = std::map<std::string, prefs::PreferenceValue>;
using Json = nlohmann::ordered_json;

// Hand-written domains and the effective value of one key after loading.
TEST(Settings, MalformedStoredValuesFallBackToTheirDefaultsAndAreNeverWrittenBack) {
  struct Case {
    std::string name;
    Values stored;
    std::string key;
    Json expected;
  };
  const std::vector<Case> cases = {
      {"edge naming no case", {{"com.kolvo.leftEdgeMode", "sideways"}}, "com.kolvo.leftEdgeMode", "dock"},
      {"edge of the wrong type", {{"com.kolvo.rightEdgeMode", 3}}, "com.kolvo.rightEdgeMode", "dock"},
      {"edge valid", {{"com.kolvo.rightEdgeMode", "brightness"}}, "com.kolvo.rightEdgeMode", "brightness"},
      {"empty corner", {{"com.kolvo.cornerTopLeftMode", ""}}, "com.kolvo.cornerTopLeftMode", "off"},
      {"corner valid", {{"com.kolvo.cornerBottomRightMode", "windowSnap"}}, "com.kolvo.cornerBottomRightMode", "windowSnap"},
      {"corner in other case", {{"com.kolvo.cornerTopRightMode", "Volume"}}, "com.kolvo.cornerTopRightMode", "off"},
      {"accent of 4 numbers", {{"com.kolvo.accentColorRGB", prefs::PreferenceValue::Array{0.1, 0.2, 0.3, 0.4}}},
       "com.kolvo.accentColorRGB", Json::array({10.0 / 255, 132.0 / 255, 1.0})},
      {"accent with a string", {{"com.kolvo.accentColorRGB", prefs::PreferenceValue::Array{0.1, "x", 0.3}}},
       "com.kolvo.accentColorRGB", Json::array({10.0 / 255, 132.0 / 255, 1.0})},
      {"accent of integers", {{"com.kolvo.accentColorRGB", prefs::PreferenceValue::Array{1, 0, 0}}},
       "com.kolvo.accentColorRGB", Json::array({1.0, 0.0, 0.0})},
      {"stats deduplicated and ordered",
       {{"com.kolvo.deck.stats.enabled", prefs::PreferenceValue::Array{"battery", "cpu", "cpu", "gpu"}}},
       "com.kolvo.deck.stats.enabled", Json::array({"cpu", "battery"})},
      {"stats unknown is dropped", {{"com.kolvo.deck.stats.enabled", prefs::PreferenceValue::Array{"unknown", "ram"}}},
       "com.kolvo.deck.stats.enabled", Json::array({"ram"})},
      {"stats not all strings", {{"com.kolvo.deck.stats.enabled", prefs::PreferenceValue::Array{"cpu", 1}}},
       "com.kolvo.deck.stats.enabled", Json::array()},
      {"activation side", {{"com.kolvo.activationSide", "rightOnly"}}, "com.kolvo.activationSide", "rightOnly"},
      {"activation side unknown", {{"com.kolvo.activationSide", "left"}}, "com.kolvo.activationSide", "both"},
      {"appearance raw is auto", {{"com.kolvo.controlAppearance", "dark"}}, "com.kolvo.controlAppearance", "dark"},
      {"appearance case name is not raw", {{"com.kolvo.controlAppearance", "automatic"}}, "com.kolvo.controlAppearance", "auto"},
      {"offset beyond the range", {{"com.kolvo.alignmentEdgeOffset", 30.0}}, "com.kolvo.alignmentEdgeOffset", 12.0},
      {"offset as integer", {{"com.kolvo.alignmentEdgeOffset", -5}}, "com.kolvo.alignmentEdgeOffset", -5.0},
      {"offset as string", {{"com.kolvo.alignmentEdgeOffset", "4"}}, "com.kolvo.alignmentEdgeOffset", 0.0},
      {"sounds absent", {}, "com.kolvo.soundEffectsEnabled", true},
      {"sounds as string", {{"com.kolvo.soundEffectsEnabled", "no"}}, "com.kolvo.soundEffectsEnabled", true},
      {"launch beta absent", {}, "com.kolvo.launchBetaEnabled", true},
      {"launch beta off", {{"com.kolvo.launchBetaEnabled", false}}, "com.kolvo.launchBetaEnabled", false},
      {"pressure zone as number", {{"com.kolvo.usePressureZone", 1}}, "com.kolvo.usePressureZone", false},
      {"zone map absent", {}, "com.kolvo.showActivationZones", false},
      {"zone map on", {{"com.kolvo.showActivationZones", true}}, "com.kolvo.showActivationZones", true},
      {"zone map as string", {{"com.kolvo.showActivationZones", "YES"}}, "com.kolvo.showActivationZones", false},
      {"zone map as number", {{"com.kolvo.showActivationZones", 1}}, "com.kolvo.showActivationZones", false},
      {"tool grid absent", {}, "com.kolvo.deck.shelf.toolGrid.premiere",
       Json::array({"pr.selection", "pr.trackForward", "pr.razor", "pr.ripple", "pr.rolling", "pr.slip",
                    "pr.rateStretch", "pr.pen", "pr.hand"})},
      {"tool grid of another application",
       {{"com.kolvo.deck.shelf.aeToolGrid",
         prefs::PreferenceValue::Array{"ps.move", "", "", "", "", "", "", "", ""}}},
       "com.kolvo.deck.shelf.aeToolGrid",
       Json::array({"selection", "hand", "zoom", "rotation", "panBehind", "pen", "type", "shape", "brush"})},
      {"tool grid with empty cells",
       {{"com.kolvo.deck.shelf.toolGrid.illustrator",
         prefs::PreferenceValue::Array{"", "ai.zoom", "", "", "", "", "", "", ""}}},
       "com.kolvo.deck.shelf.toolGrid.illustrator", Json::array({"", "ai.zoom", "", "", "", "", "", "", ""})},
  };
  for (const Case& c : cases) {
    SettingsFixture fixture(c.stored);
    const Json effective = effective_settings(*fixture.settings);
    ASSERT_TRUE(effective.contains(c.key)) << c.name;
    EXPECT_EQ(effective[c.key], c.expected) << c.name;
    // Loading writes nothing but the glass configuration's first default.
    for (const auto& [key, value] : c.stored) EXPECT_EQ(fixture.prefs.value(key), value) << c.name;
  }
}

TEST(AccentColorStore, ChoosingADarkColourRaisesItsBrightnessToTheFloor) {
  struct Case {
    ui::RGBColor chosen;
    ui::RGBColor stored;
  };
  const std::vector<Case> cases = {
      {{0, 0, 0}, {0.3, 0.3, 0.3}},        // pure black becomes a readable grey
      {{0.3, 0, 0}, {0.3, 0, 0}},          // exactly at the floor stays
      {{0.1, 0.05, 0}, {0.3, 0.15, 0}},    // hue and saturation are kept
      {{0.5, 0.25, 1.0}, {0.5, 0.25, 1.0}},  // bright colours pass untouched
  };
  for (const Case& c : cases) {
    SettingsFixture fixture;
    auto& store = fixture.settings->accent_color();
    store.set_color(c.chosen);
    const auto stored = fixture.prefs.read_real_array(prefs::keys::kAccentColorRGB);
    ASSERT_TRUE(stored.is_present());
    ASSERT_EQ(stored.value.size(), 3u);
    EXPECT_NEAR(stored.value[0], c.stored.red, 1e-12);
    EXPECT_NEAR(stored.value[1], c.stored.green, 1e-12);
    EXPECT_NEAR(stored.value[2], c.stored.blue, 1e-12);
    EXPECT_NEAR(to_hsb(store.color()).brightness, std::max(0.3, to_hsb(c.chosen).brightness), 1e-12);
  }
}

TEST(AccentColorStore, ResetRemovesTheKey) {
  SettingsFixture fixture({{"com.kolvo.accentColorRGB", prefs::PreferenceValue::Array{1.0, 0.0, 0.0}}});
  auto& store = fixture.settings->accent_color();
  EXPECT_EQ(store.color(), (ui::RGBColor{1, 0, 0}));
  store.reset_to_default();
  EXPECT_FALSE(fixture.prefs.value(prefs::keys::kAccentColorRGB));
  EXPECT_EQ(store.color(), ui::kDefaultAccentColor);
}

TEST(AlignmentSettingsStore, EdgeOffsetIsClampedWithOneNotificationPerEffectiveWrite) {
  struct Case {
    double assigned;
    double stored;
  };
  const std::vector<Case> cases = {{30, 12}, {-12.5, -12}, {-12, -12}, {12, 12}, {12.0001, 12}, {3.25, 3.25},
                                   {-INFINITY, -12}};
  for (const Case& c : cases) {
    SettingsFixture fixture;
    auto& store = fixture.settings->alignment();
    store.set_alignment_edge_offset(c.assigned);
    EXPECT_EQ(fixture.prefs.read_real(prefs::keys::kAlignmentEdgeOffset).value, c.stored) << c.assigned;
    EXPECT_EQ(store.alignment_edge_offset(), c.stored);
    EXPECT_EQ(fixture.count_posted("com.kolvo.alignmentEdgeOffsetChanged"), 1) << c.assigned;
  }
  SettingsFixture fixture;
  fixture.settings->alignment().set_alignment_edge_offset(NAN);
  EXPECT_FALSE(fixture.prefs.value(prefs::keys::kAlignmentEdgeOffset));
  EXPECT_EQ(fixture.count_posted("com.kolvo.alignmentEdgeOffsetChanged"), 0);
}

TEST(AlignmentSettingsStore, FollowingTheDockNeedsTrustAtLoad) {
  struct Case {
    std::optional<bool> stored;
    bool trusted;
    bool loaded;
  };
  for (const Case& c : std::vector<Case>{{true, false, false}, {true, true, true}, {false, true, false},
                                         {std::nullopt, true, false}}) {
    Values stored;
    if (c.stored) stored.emplace("com.kolvo.followDockChangesAutomatically", *c.stored);
    SettingsFixture fixture(stored);
    fixture.mac.set_accessibility_trusted(c.trusted);
    auto& store = fixture.settings->alignment();
    EXPECT_EQ(store.follow_dock_changes_automatically(), c.loaded);
    EXPECT_EQ(store.is_accessibility_trusted(), c.trusted);
    // The stored choice survives an untrusted start.
    if (c.stored) {
      EXPECT_EQ(fixture.prefs.read_bool(prefs::keys::kFollowDockChangesAutomatically).value, *c.stored);
    }
  }
}

TEST(AlignmentSettingsStore, RefreshingAccessibilityTurnsFollowingOnOverTheUsersChoice) {
  SettingsFixture fixture({{"com.kolvo.followDockChangesAutomatically", false}});
  fixture.mac.set_accessibility_trusted(false);
  auto& store = fixture.settings->alignment();

  fixture.mac.set_accessibility_trusted(true);
  store.refresh_accessibility();
  EXPECT_TRUE(store.follow_dock_changes_automatically());
  EXPECT_TRUE(store.is_accessibility_trusted());
  EXPECT_EQ(fixture.prefs.read_bool(prefs::keys::kFollowDockChangesAutomatically).value, true);
  EXPECT_EQ(fixture.count_posted("com.kolvo.followDockChangesChanged"), 2);
  ASSERT_EQ(fixture.log.lines().size(), 1u);
  EXPECT_NE(fixture.log.lines()[0].find("accessibility-granted"), std::string::npos);

  fixture.posted.clear();
  fixture.mac.set_accessibility_trusted(false);
  store.refresh_accessibility();
  EXPECT_FALSE(store.follow_dock_changes_automatically());
  EXPECT_EQ(fixture.prefs.read_bool(prefs::keys::kFollowDockChangesAutomatically).value, false);
  EXPECT_EQ(fixture.count_posted("com.kolvo.followDockChangesChanged"), 1);
}

TEST(StoredSettings, AssignmentWritesAtOnceAndPostsOnlyTheTablesNotifications) {
  SettingsFixture fixture;
  auto& settings = *fixture.settings;
  settings.edge_modes().set_left_edge_mode(prefs::EdgeMode::volume);
  settings.edge_modes().set_right_edge_mode(prefs::EdgeMode::appearance);
  settings.activation().set_activation_side(prefs::KolvoActivationSide::none);
  settings.alignment().set_lock_calibration(true);
  settings.corner_controls().set_mode(prefs::Corner::bottomLeft, prefs::CornerControlMode::keyboardBacklight);
  settings.pressure_zone().set_use_pressure_zone(true);
  settings.control_appearance().set_knob_style(prefs::KnobStyle::minimal);

  EXPECT_EQ(fixture.prefs.read_string(prefs::keys::kLeftEdgeMode).value, "volume");
  EXPECT_EQ(fixture.prefs.read_string(prefs::keys::kRightEdgeMode).value, "appearance");
  EXPECT_EQ(fixture.prefs.read_string(prefs::keys::kActivationSide).value, "none");
  EXPECT_EQ(fixture.prefs.read_string(prefs::keys::kCornerBottomLeftMode).value, "keyboardBacklight");
  EXPECT_EQ(fixture.prefs.read_string(prefs::keys::kKnobStyle).value, "minimal");
  EXPECT_EQ(fixture.prefs.read_bool(prefs::keys::kUsePressureZone).value, true);
  EXPECT_EQ(fixture.posted, (std::vector<std::string>{"com.kolvo.edgeModeChanged", "com.kolvo.edgeModeChanged",
                                                       "com.kolvo.activationSideChanged",
                                                       "com.kolvo.lockCalibrationChanged"}));
}

TEST(LiquidGlassStore, WritesTheDefaultForTheGlassSwitchBackAtFirstLoad) {
  struct Case {
    Values stored;
    double frost;
    double highlight;
  };
  const std::string garbage = "{\"frost\": 0.1}";  // missing keys: undecodable
  const std::vector<Case> cases = {
      {{{"com.kolvo.liquidGlassControls", true}}, 0.4, 0.6},
      {{}, 0.45, 0.55},
      {{{"com.kolvo.liquidGlassControls", true},
        {"com.kolvo.liquidGlass.configuration", prefs::PreferenceData(garbage.begin(), garbage.end())}},
       0.4,
       0.6},
      {{{"com.kolvo.liquidGlass.configuration", "not data"}}, 0.45, 0.55},
  };
  for (const Case& c : cases) {
    SettingsFixture fixture(c.stored);
    const auto& configuration = fixture.settings->liquid_glass().configuration();
    EXPECT_EQ(configuration.frost, c.frost);
    EXPECT_EQ(configuration.highlight_strength, c.highlight);
    const auto written = fixture.prefs.read_data(prefs::keys::kLiquidGlassConfiguration);
    ASSERT_TRUE(written.is_present());
    const auto json = nlohmann::ordered_json::parse(written.value.begin(), written.value.end());
    std::vector<std::string> order;
    for (const auto& [key, value] : json.items()) order.push_back(key);
    EXPECT_EQ(order, (std::vector<std::string>{"frost", "refraction", "materialStrength", "tint", "tintColor",
                                               "tintStrength", "highlightStrength"}));
    EXPECT_EQ(ui::liquid_glass_from_json(json), configuration);
  }
}

TEST(LiquidGlassStore, AValidStoredConfigurationLoadsUnchangedAndUnknownKeysAreIgnored) {
  const std::string text =
      R"({"frost":0.2,"refraction":1,"materialStrength":0.3,"tint":"custom","tintColor":{"red":1,"green":0,"blue":0.5},"tintStrength":0.1,"highlightStrength":0.9,"future":true})";
  SettingsFixture fixture({{"com.kolvo.liquidGlass.configuration", prefs::PreferenceData(text.begin(), text.end())}});
  const auto& configuration = fixture.settings->liquid_glass().configuration();
  EXPECT_EQ(configuration.tint, prefs::LiquidGlassTint::custom);
  EXPECT_EQ(configuration.refraction, 1.0);
  EXPECT_EQ(fixture.prefs.write_count(), 0);

  const std::string unknown_tint = R"({"frost":0.2,"refraction":1,"materialStrength":0.3,"tint":"purple",)"
                                   R"("tintColor":{"red":1,"green":0,"blue":0.5},"tintStrength":0.1,"highlightStrength":0.9})";
  EXPECT_FALSE(ui::liquid_glass_from_json(nlohmann::json::parse(unknown_tint)));
}

TEST(ControlAppearanceStore, DarkFollowsTheModeAndRepublishesOnThemeAndGlassChanges) {
  SettingsFixture fixture;
  fixture.mac.set_dark_mode(true);
  auto& store = fixture.settings->control_appearance();
  EXPECT_TRUE(store.dark());
  std::vector<bool> published;
  auto subscription = store.dark_observable().subscribe([&](bool dark) { published.push_back(dark); });
  store.set_mode(prefs::ControlAppearanceMode::light);
  fixture.mac.set_dark_mode(false);  // ignored in light mode, but dependants still redraw
  store.set_mode(prefs::ControlAppearanceMode::automatic);
  fixture.mac.set_dark_mode(true);
  fixture.settings->liquid_glass().set_configuration(ui::LiquidGlassConfiguration::defaults(true));
  EXPECT_EQ(published, (std::vector<bool>{false, false, false, true, true}));
  EXPECT_EQ(fixture.prefs.read_string(prefs::keys::kControlAppearance).value, "auto");
}

class RecordingDeckService final : public deck::DeckServiceControl {
 public:
  void start() override { calls.push_back("start"); }
  void stop() override { calls.push_back("stop"); }
  std::vector<std::string> calls;
};

TEST(KolvoDeckSettingsStore, TheSwitchPersistsAndStartsOrStopsTheServer) {
  SettingsFixture fixture;
  auto& deck = fixture.settings->deck();
  deck.set_enabled(true);  // no server yet: only persists
  RecordingDeckService service;
  deck.attach_service(&service);
  deck.set_enabled(false);
  deck.set_enabled(true);
  EXPECT_EQ(service.calls, (std::vector<std::string>{"stop", "start"}));
  EXPECT_EQ(fixture.prefs.read_bool(prefs::keys::kDeckEnabled).value, true);
}

TEST(SoundEffectsManager, PlaysAtTheSoundsLevelOnlyWhenEnabledAndAudible) {
  struct Case {
    std::string name;
    Values stored;
    bool has_device;
    bool muted;
    double volume;
    double intensity;
    std::optional<double> played_volume;
  };
  const std::vector<Case> cases = {
      {"absent key plays", {}, true, false, 0.5, 1.0, 0.2},
      {"disabled", {{"com.kolvo.soundEffectsEnabled", false}}, true, false, 0.5, 1.0, std::nullopt},
      {"muted", {}, true, true, 0.5, 1.0, std::nullopt},
      {"volume at 0.001 is silent", {}, true, false, 0.001, 1.0, std::nullopt},
      {"volume just above plays", {}, true, false, 0.0011, 1.0, 0.2},
      {"no device counts as audible", {}, false, false, 0.0, 0.5, 0.1},
      {"intensity is clamped", {}, true, false, 0.5, 3.0, 0.2},
      {"negative intensity is silent volume", {}, true, false, 0.5, -1.0, 0.0},
  };
  for (const Case& c : cases) {
    SettingsFixture fixture(c.stored);
    fixture.mac.set_has_output_device(c.has_device);
    fixture.mac.set_output_muted(c.muted);
    fixture.mac.set_output_volume(c.volume);
    fixture.settings->sound_effects().play(prefs::Sound::bubble, c.intensity);
    const auto& plays = fixture.mac.sound_plays();
    if (!c.played_volume) {
      EXPECT_TRUE(plays.empty()) << c.name;
      continue;
    }
    ASSERT_EQ(plays.size(), 1u) << c.name;
    EXPECT_EQ(plays[0].sound, prefs::Sound::bubble);
    EXPECT_NEAR(plays[0].volume, *c.played_volume, 1e-12) << c.name;
  }
}

TEST(SoundEffectsManager, DetentClicksCloserThan55MillisecondsAreDropped) {
  SettingsFixture fixture;
  auto& sounds = fixture.settings->sound_effects();
  sounds.play_detent_click(1.0);         // t = 0: plays
  fixture.executor.advance_seconds(0.054);
  sounds.play_detent_click(1.0);         // dropped, and does not move the reference
  fixture.executor.advance_seconds(0.001);
  sounds.play_detent_click(1.0);         // 55 ms after the first: plays
  fixture.executor.advance_seconds(0.06);
  sounds.play_detent_click(0.5);         // plays
  ASSERT_EQ(fixture.mac.sound_plays().size(), 3u);
  EXPECT_NEAR(fixture.mac.sound_plays()[0].volume, 0.18, 1e-12);
  EXPECT_NEAR(fixture.mac.sound_plays()[2].volume, 0.09, 1e-12);
}

}  // namespace
}  // namespace kolvo::app
