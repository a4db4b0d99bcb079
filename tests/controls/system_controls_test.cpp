#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <thread>

#include "base/diagnostics_log.hpp"
#include "base/manual_executor.hpp"
#include "controls/appearance_controller.hpp"
#include "controls/audio_controllers.hpp"
#include "controls/brightness_controllers.hpp"
#include "controls/keyboard_controllers.hpp"
#include "platform/sim/simulated_mac.hpp"
#include "support/settings_fixture.hpp"

namespace kolvo::controls {
namespace {

using sim::SimulatedMac;

TEST(SystemVolumeController, ClampsAndMutesAtTheThreshold) {
  struct Case {
    float requested;
    float written;
    bool muted;
  };
  const Case cases[] = {
      {0.00005f, 0.00005f, true}, {0.0001f, 0.0001f, true}, {0.0002f, 0.0002f, false},
      {-1.0f, 0.0f, true},        {2.0f, 1.0f, false},      {0.5f, 0.5f, false},
      {std::numeric_limits<float>::quiet_NaN(), 0.0f, true},
  };
  for (const Case& c : cases) {
    SimulatedMac mac;
    mac.set_output_muted(!c.muted);  // every case must change the mute state to pass
    SystemVolumeController volume(mac);
    volume.set_volume(c.requested);
    const auto* speakers = mac.device(mac.default_output_device_id());
    EXPECT_FLOAT_EQ(speakers->volume, c.written) << c.requested;
    EXPECT_EQ(speakers->muted, c.muted) << c.requested;
    EXPECT_FLOAT_EQ(*volume.volume(), c.written);
  }
}

TEST(SystemVolumeController, StopsAtTheFirstFailingStep) {
  struct Case {
    const char* name;
    void (*arrange)(SimulatedMac&);
    bool has_control;
  };
  const Case cases[] = {
      {"no default device", [](SimulatedMac& m) { m.set_has_output_device(false); }, false},
      {"no virtual main volume", [](SimulatedMac& m) { m.audio_devices()[0].has_volume = false; }, false},
      {"volume not settable", [](SimulatedMac& m) { m.audio_devices()[0].volume_settable = false; }, true},
  };
  for (const Case& c : cases) {
    SimulatedMac mac;
    mac.set_output_volume(0.5);
    c.arrange(mac);
    SystemVolumeController volume(mac);
    EXPECT_EQ(volume.has_volume_control(), c.has_control) << c.name;
    volume.set_volume(0.0f);
    EXPECT_FLOAT_EQ(mac.audio_devices()[0].volume, 0.5f) << c.name;
    EXPECT_FALSE(mac.audio_devices()[0].muted) << c.name << ": muted though the volume was not written";
  }
}

TEST(SystemVolumeController, ReadingClampsWhatTheDeviceReports) {
  SimulatedMac mac;
  mac.set_output_volume(1.7);
  EXPECT_FLOAT_EQ(*SystemVolumeController(mac).volume(), 1.0f);
  mac.set_has_output_device(false);
  EXPECT_FALSE(SystemVolumeController(mac).volume());
}

TEST(AudioOutputController, ListsOnlyChoosableOutputsInTheSystemsOrder) {
  SimulatedMac mac;
  mac.audio_devices().push_back({70, "Studio Display Speakers"});
  mac.audio_devices().back().name_readable = false;
  AudioOutputController outputs(mac);
  const std::vector<AudioOutputController::OutputDevice> expected = {{73, "MacBook Pro Speakers"},
                                                                      {60, "External Headphones"}};
  EXPECT_EQ(outputs.output_devices(), expected);

  outputs.set_default_output_device(60);
  EXPECT_EQ(outputs.default_output_device_id(), 60u);
  outputs.set_default_output_device(81);  // the microphone has no output: CoreAudio refuses
  EXPECT_EQ(outputs.default_output_device_id(), 60u);
}

TEST(DisplayBrightnessController, EachMissingPieceOnlyLosesItsOwnOperation) {
  struct Case {
    const char* name;
    void (*arrange)(sim::SimulatedPrivateFrameworks&);
    std::optional<float> read;
    float after_set;
  };
  const Case cases[] = {
      {"everything present", [](auto&) {}, 0.7f, 0.25f},
      {"no library", [](auto& f) { f.display_services = false; }, std::nullopt, 0.7f},
      {"no getter", [](auto& f) { f.get_brightness_symbol = false; }, std::nullopt, 0.25f},
      {"no setter", [](auto& f) { f.set_brightness_symbol = false; }, 0.7f, 0.7f},
      {"getter fails", [](auto& f) { f.get_brightness_status = -1; }, std::nullopt, 0.25f},
  };
  for (const Case& c : cases) {
    SimulatedMac mac;
    c.arrange(mac.frameworks());
    DisplayBrightnessController brightness(mac);
    EXPECT_EQ(brightness.brightness(), c.read) << c.name;
    brightness.set_brightness(0.25f);
    EXPECT_FLOAT_EQ(mac.display_brightness(), c.after_set) << c.name;
  }
  SimulatedMac mac;
  DisplayBrightnessController brightness(mac);
  brightness.set_brightness(3.0f);
  EXPECT_FLOAT_EQ(mac.display_brightness(), 1.0f);
  mac.set_display_brightness(-0.2f);
  EXPECT_EQ(brightness.brightness(), 0.0f);
}

TEST(KeyboardBacklightController, AnyFailureWhileConnectingMakesItUnavailable) {
  struct Case {
    const char* name;
    void (*arrange)(sim::SimulatedPrivateFrameworks&);
  };
  const Case cases[] = {
      {"no library", [](auto& f) { f.core_brightness = false; }},
      {"no class", [](auto& f) { f.keyboard_client_class = false; }},
      {"missing setter selector", [](auto& f) { f.client_selectors.pop_back(); }},
      {"ids not an array", [](auto& f) { f.keyboard_ids.reset(); }},
      {"no keyboards", [](auto& f) { f.keyboard_ids = std::vector<std::uint64_t>{}; }},
  };
  for (const Case& c : cases) {
    SimulatedMac mac;
    c.arrange(mac.frameworks());
    KeyboardBacklightController backlight(mac);
    EXPECT_TRUE(backlight.unavailable()) << c.name;
    EXPECT_FALSE(backlight.brightness()) << c.name;
    backlight.set_brightness(0.9f);
    EXPECT_FLOAT_EQ(mac.keyboard_backlight(), 0.4f) << c.name;
  }
}

TEST(KeyboardBacklightController, UsesTheFirstKeyboardAndReadsOnlyFiniteValues) {
  SimulatedMac mac;
  mac.frameworks().keyboard_ids = std::vector<std::uint64_t>{0x1234'5678'9ABCULL, 7};
  KeyboardBacklightController backlight(mac);
  ASSERT_FALSE(backlight.unavailable());
  EXPECT_EQ(backlight.keyboard_id(), 0x1234'5678'9ABCULL);
  const std::pair<float, std::optional<float>> readings[] = {
      {0.4f, 0.4f},
      {1.5f, 1.0f},
      {std::numeric_limits<float>::quiet_NaN(), std::nullopt},
      {std::numeric_limits<float>::infinity(), std::nullopt},
  };
  for (const auto& [raw, expected] : readings) {
    mac.set_keyboard_backlight(raw);
    EXPECT_EQ(backlight.brightness(), expected) << raw;
  }
  backlight.set_brightness(-2.0f);
  EXPECT_FLOAT_EQ(mac.keyboard_backlight(), 0.0f);
}

TEST(AppearanceController, ReadsTheInterfaceStyleLikeTheSystemDoes) {
  using V = prefs::PreferenceValue;
  const std::pair<std::optional<V>, bool> styles[] = {
      {V("Dark"), true}, {V("dark"), true}, {V("DARK"), true},     {V("Light"), false},
      {V(1), false},     {std::nullopt, false}, {V("Dark "), false},
  };
  for (const auto& [style, dark] : styles) {
    EXPECT_EQ(is_dark_interface_style(style), dark) << (style ? describe(*style) : "absent");
  }
}

TEST(AppearanceController, RunsTheScriptOnlyWhenTheModeMustChange) {
  struct Case {
    const char* name;
    bool dark_before;
    bool wish;
    bool automation_allowed;
    bool answer;
    bool dark_after;
    std::size_t scripts;
  };
  const Case cases[] = {
      {"already dark", true, true, true, true, true, 0},
      {"already light", false, false, false, true, false, 0},
      {"to dark", false, true, true, true, true, 1},
      {"to light", true, false, true, true, false, 1},
      {"automation refused", false, true, false, false, false, 1},
  };
  for (const Case& c : cases) {
    SimulatedMac mac;
    mac.set_dark_mode(c.dark_before);
    mac.set_automation_allowed(c.automation_allowed);
    AppearanceController appearance(mac, mac);
    EXPECT_EQ(appearance.set_dark_mode(c.wish), c.answer) << c.name;
    EXPECT_EQ(appearance.is_dark_mode(), c.dark_after) << c.name;
    EXPECT_EQ(mac.scripts_run().size(), c.scripts) << c.name;
  }
  EXPECT_EQ(AppearanceController::dark_mode_script(true),
            "tell application \"System Events\"\n    tell appearance preferences\n        set dark mode to true\n"
            "    end tell\nend tell");
}

TEST(ShowDesktopController, PostsF11AndFlipsOnlyWhenPosted) {
  struct Case {
    const char* name;
    bool trusted;
    bool creation_fails;
    bool posted;
  };
  const Case cases[] = {{"trusted", true, false, true},
                        {"not trusted", false, false, false},
                        {"events cannot be made", true, true, false}};
  for (const Case& c : cases) {
    SimulatedMac mac;
    mac.set_accessibility_trusted(c.trusted);
    mac.set_event_creation_fails(c.creation_fails);
    ShowDesktopController desktop(mac, mac);
    EXPECT_EQ(desktop.toggle(), c.posted) << c.name;
    EXPECT_EQ(desktop.desktop_shown().get(), c.posted) << c.name;
    if (!c.posted) continue;
    const std::vector<KeyboardEvent> expected = {{103, true, std::nullopt}, {103, false, std::nullopt}};
    EXPECT_EQ(mac.keyboard_events(), expected);
    desktop.toggle();
    EXPECT_FALSE(desktop.desktop_shown().get());
    EXPECT_FALSE(mac.desktop_shown());
  }
}

TEST(TabSwitchController, OneTabPerStepWhateverTheDelta) {
  struct Case {
    const char* name;
    std::optional<std::string> frontmost;
    bool trusted;
    int delta;
    std::optional<std::uint64_t> flags;  // absent: nothing posted
  };
  const Case cases[] = {
      {"forward", "com.apple.Safari", true, 1, 0x40000},
      {"far forward", "com.google.Chrome", true, 7, 0x40000},
      {"back three", "org.mozilla.firefox", true, -3, 0x60000},
      {"zero", "com.apple.Safari", true, 0, std::nullopt},
      {"editor in front", "com.apple.TextEdit", true, 1, std::nullopt},
      {"nothing in front", std::nullopt, true, 1, std::nullopt},
      {"not trusted", "com.apple.Safari", false, 1, std::nullopt},
  };
  for (const Case& c : cases) {
    SimulatedMac mac;
    mac.set_accessibility_trusted(c.trusted);
    TabSwitchController tabs(mac, mac, [&] { return c.frontmost; });
    EXPECT_EQ(tabs.step(c.delta), c.flags.has_value()) << c.name;
    if (!c.flags) {
      EXPECT_TRUE(mac.keyboard_events().empty()) << c.name;
      continue;
    }
    const std::vector<KeyboardEvent> expected = {{48, true, c.flags}, {48, false, c.flags}};
    EXPECT_EQ(mac.keyboard_events(), expected) << c.name;
  }
}

TEST(TabSwitchController, KnowsTheTwelveBrowsers) {
  for (const char* id : {"com.apple.Safari", "com.apple.SafariTechnologyPreview", "com.google.Chrome",
                         "com.google.Chrome.beta", "com.google.Chrome.canary", "company.thebrowser.Browser",
                         "org.mozilla.firefox", "org.mozilla.firefoxdeveloperedition", "com.microsoft.edgemac",
                         "com.brave.Browser", "com.vivaldi.Vivaldi", "com.operasoftware.Opera"}) {
    EXPECT_EQ(TabSwitchController::shortcut(id), (TabShortcut{48, 0x40000, 0x60000})) << id;
  }
  EXPECT_FALSE(TabSwitchController::is_supported(std::nullopt));
  EXPECT_FALSE(TabSwitchController::is_supported("com.apple.safari"));  // identifiers are exact
}

TEST(MediaPlaybackController, DropsASecondPressWithinThreeTenths) {
  struct Case {
    double gap;
    std::size_t pairs;
  };
  for (const Case& c : {Case{0.2, 1}, Case{0.299, 1}, Case{0.3, 2}, Case{1.0, 2}}) {
    SimulatedMac mac;
    double uptime = 5.0;
    mac.set_system_uptime([&] { return uptime; });
    MediaPlaybackController media(mac, mac);
    EXPECT_TRUE(media.play_pause());
    uptime += c.gap;
    EXPECT_EQ(media.play_pause(), c.pairs == 2) << c.gap;
    EXPECT_EQ(mac.system_defined_events().size(), 2 * c.pairs) << c.gap;
  }
}

TEST(MediaPlaybackController, PostsThePlayKeyDownAndUp) {
  SimulatedMac mac;
  mac.set_system_uptime([] { return 812.5; });
  MediaPlaybackController media(mac, mac);
  ASSERT_TRUE(media.play_pause());
  SystemDefinedEvent down;
  down.modifier_flags = 0xA00;
  down.data1 = 0x100A00;
  down.timestamp = 812.5;
  SystemDefinedEvent up;
  up.modifier_flags = 0xB00;
  up.data1 = 0x100B00;
  up.timestamp = 812.501;
  ASSERT_EQ(mac.system_defined_events().size(), 2u);
  EXPECT_EQ(mac.system_defined_events()[0], down);
  EXPECT_EQ(mac.system_defined_events()[1].data1, up.data1);
  EXPECT_EQ(mac.system_defined_events()[1].modifier_flags, up.modifier_flags);
  EXPECT_DOUBLE_EQ(mac.system_defined_events()[1].timestamp, up.timestamp);
  EXPECT_EQ(mac.system_defined_events()[1].data2, -1);
  EXPECT_EQ(mac.system_defined_events()[1].type, 14u);
  EXPECT_EQ(mac.system_defined_events()[1].subtype, 8);
  EXPECT_TRUE(mac.media_playing());

  SimulatedMac untrusted;
  untrusted.set_accessibility_trusted(false);
  EXPECT_FALSE(MediaPlaybackController(untrusted, untrusted).play_pause());
  EXPECT_TRUE(untrusted.system_defined_events().empty());
}

// Runs the main executor until `done` or a real-time limit: the work happens on the
// service's own thread.
template <typename Predicate>
bool drain_until(base::ManualExecutor& main, Predicate done) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!done() && std::chrono::steady_clock::now() < limit) {
    main.run_pending();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return done();
}

TEST(DesktopSpaceController, RunsOsascriptOffTheCallersThreadAndLogsFailures) {
  struct Case {
    const char* name;
    bool automation_allowed;
    std::vector<SpaceDirection> requests;
    int final_space;
    std::vector<bool> outcomes;
    std::size_t log_lines;
  };
  const Case cases[] = {
      {"right twice stops at the last", true, {SpaceDirection::right, SpaceDirection::right, SpaceDirection::right}, 3,
       {true, true, true}, 0},
      {"left from the first", true, {SpaceDirection::left}, 1, {true}, 0},
      {"automation refused", false, {SpaceDirection::right, SpaceDirection::left}, 1, {false, false}, 2},
  };
  for (const Case& c : cases) {
    testing::FixedWallClock clock;
    base::DiagnosticsLog log(clock, base::DiagnosticsLog::silent());
    base::ManualExecutor main;
    SimulatedMac mac;
    mac.set_automation_allowed(c.automation_allowed);
    DesktopSpaceController spaces(mac, main, log);
    std::vector<bool> outcomes;
    for (const auto direction : c.requests) spaces.switch_space(direction, [&](bool ok) { outcomes.push_back(ok); });
    ASSERT_TRUE(drain_until(main, [&] { return outcomes.size() == c.requests.size(); })) << c.name;
    EXPECT_EQ(outcomes, c.outcomes) << c.name;
    EXPECT_EQ(mac.current_space(), c.final_space) << c.name;
    const auto lines = log.lines();
    EXPECT_EQ(lines.size(), c.log_lines) << c.name;
    for (const auto& line : lines) {
      EXPECT_TRUE(line.ends_with(" [Desktop] execution error: Not authorized to send Apple events to System Events. (-1743)"))
          << line;
    }
  }
  EXPECT_EQ(DesktopSpaceController::script(SpaceDirection::left),
            "tell application \"System Events\" to key code 123 using {control down}");
}

}  // namespace
}  // namespace kolvo::controls
