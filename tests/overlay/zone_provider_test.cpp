#include <gtest/gtest.h>

#include "overlay/hidden_dock_services.hpp"
#include "support/dock_fixture.hpp"

namespace kolvo::overlay {
namespace {

using prefs::CornerControlMode;
using prefs::EdgeMode;
using testing::external_right;
using testing::laptop_screen;

// The live zones of a simulated desk, with a frontmost application the test switches.
struct ZoneHarness {
  explicit ZoneHarness(std::vector<dock::ScreenInfo> screens)
      : geometry(testing::layout_of(std::move(screens))),
        hidden_dock(geometry.settings.prefs, geometry.desktop, geometry.settings.log,
                    geometry.settings.settings->activation_settings(), *geometry.services, [this] { return frontmost; }) {}

  app::Settings& settings() { return *geometry.settings.settings; }
  ZoneLayout zones() { return hidden_dock.zones().zone_layout(); }

  // A profile for `bundle_id` that overrides the sliders and the dials.
  void add_profile(const std::string& bundle_id, EdgeMode left, EdgeMode right,
                   const std::array<CornerControlMode, 4>& corners) {
    catalog::KolvoProfile profile =
        hidden_dock.profiles().add(bundle_id, bundle_id, EdgeMode::dock, EdgeMode::dock, {});
    profile.overrides_sliders = true;
    profile.left_edge_mode = left;
    profile.right_edge_mode = right;
    profile.overrides_dials = true;
    for (const prefs::Corner corner : {prefs::Corner::topLeft, prefs::Corner::topRight, prefs::Corner::bottomLeft,
                                       prefs::Corner::bottomRight}) {
      profile.corners[std::string(prefs::to_string(corner))] = corners[static_cast<std::size_t>(corner)];
    }
    hidden_dock.profiles().update(profile);
  }

  std::optional<std::string> frontmost;
  testing::GeometryFixture geometry;
  HiddenDockServices hidden_dock;
};

std::vector<bool> reacting(const ZoneLayout& layout) {
  std::vector<bool> out;
  for (const auto& display : layout.displays) out.push_back(display.reacts);
  return out;
}

// Each build reads the frontmost application and the stores afresh: a profile holds exactly while
// its application is frontmost, and a changed setting shows in the next build with no other event.
TEST(LiveZoneProvider, EachBuildReadsTheFrontmostAppAndTheStoresNow) {
  ZoneHarness h({laptop_screen()});
  h.settings().edge_modes().set_left_edge_mode(EdgeMode::volume);
  h.settings().corner_controls().set_mode(prefs::Corner::topLeft, CornerControlMode::appearance);
  h.add_profile("com.example.editor", EdgeMode::dock, EdgeMode::brightness,
                {CornerControlMode::off, CornerControlMode::timer, CornerControlMode::off, CornerControlMode::off});

  struct Step {
    const char* name;
    std::function<void(ZoneHarness&)> act;
    EdgeMode left;
    EdgeMode right;
    CornerControlMode top_left;
    CornerControlMode top_right;
    bool pressure;
  };
  const Step steps[] = {
      {"no frontmost app: the Default", [](ZoneHarness&) {}, EdgeMode::volume, EdgeMode::dock,
       CornerControlMode::appearance, CornerControlMode::off, false},
      {"the profile's app comes to the front", [](ZoneHarness& z) { z.frontmost = "com.example.editor"; }, EdgeMode::dock,
       EdgeMode::brightness, CornerControlMode::off, CornerControlMode::timer, false},
      {"an app without a profile", [](ZoneHarness& z) { z.frontmost = "com.example.other"; }, EdgeMode::volume,
       EdgeMode::dock, CornerControlMode::appearance, CornerControlMode::off, false},
      {"a Default setting changes", [](ZoneHarness& z) { z.settings().edge_modes().set_right_edge_mode(EdgeMode::appearance); },
       EdgeMode::volume, EdgeMode::appearance, CornerControlMode::appearance, CornerControlMode::off, false},
      {"Pressure Point turns on", [](ZoneHarness& z) { z.settings().pressure_zone().set_use_pressure_zone(true); },
       EdgeMode::volume, EdgeMode::appearance, CornerControlMode::appearance, CornerControlMode::off, true},
      {"back to the profile's app", [](ZoneHarness& z) { z.frontmost = "com.example.editor"; }, EdgeMode::dock,
       EdgeMode::brightness, CornerControlMode::off, CornerControlMode::timer, true},
      {"the profile is removed while its app is frontmost",
       [](ZoneHarness& z) { z.hidden_dock.profiles().remove(z.hidden_dock.profiles().profiles().front().id); },
       EdgeMode::volume, EdgeMode::appearance, CornerControlMode::appearance, CornerControlMode::off, true},
  };
  for (const Step& step : steps) {
    SCOPED_TRACE(step.name);
    step.act(h);
    const ZoneLayout layout = h.zones();
    EXPECT_EQ(layout.settings.left_edge_mode, step.left);
    EXPECT_EQ(layout.settings.right_edge_mode, step.right);
    EXPECT_EQ(layout.active_dials[0], step.top_left);
    EXPECT_EQ(layout.active_dials[1], step.top_right);
    EXPECT_EQ(layout.settings.pressure_mode, step.pressure);
  }
}

// A bottom corner on an active side that holds a slider or a pressure point has no dial, whatever
// the dial setting says; the dial comes back when its side stops being active.
TEST(LiveZoneProvider, BottomDialsGiveWayToTheSliderOrPressurePointOnTheirSide) {
  ZoneHarness h({laptop_screen()});
  h.settings().corner_controls().set_mode(prefs::Corner::bottomLeft, CornerControlMode::volume);
  h.settings().corner_controls().set_mode(prefs::Corner::bottomRight, CornerControlMode::brightness);
  h.settings().corner_controls().set_mode(prefs::Corner::topRight, CornerControlMode::playPause);

  struct Case {
    const char* name;
    EdgeMode left;
    EdgeMode right;
    bool pressure;
    prefs::KolvoActivationSide side;
    CornerControlMode bottom_left;
    CornerControlMode bottom_right;
  };
  const Case cases[] = {
      {"Dock on both edges", EdgeMode::dock, EdgeMode::dock, false, prefs::KolvoActivationSide::both,
       CornerControlMode::volume, CornerControlMode::brightness},
      {"a slider on the left", EdgeMode::volume, EdgeMode::dock, false, prefs::KolvoActivationSide::both,
       CornerControlMode::off, CornerControlMode::brightness},
      {"a slider on the right", EdgeMode::dock, EdgeMode::brightness, false, prefs::KolvoActivationSide::both,
       CornerControlMode::volume, CornerControlMode::off},
      {"Pressure Point on both sides", EdgeMode::dock, EdgeMode::dock, true, prefs::KolvoActivationSide::both,
       CornerControlMode::off, CornerControlMode::off},
      {"Pressure Point, left side only", EdgeMode::dock, EdgeMode::dock, true, prefs::KolvoActivationSide::leftOnly,
       CornerControlMode::off, CornerControlMode::brightness},
      {"sliders on both, no side active", EdgeMode::volume, EdgeMode::volume, true, prefs::KolvoActivationSide::none,
       CornerControlMode::volume, CornerControlMode::brightness},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    h.settings().edge_modes().set_left_edge_mode(c.left);
    h.settings().edge_modes().set_right_edge_mode(c.right);
    h.settings().pressure_zone().set_use_pressure_zone(c.pressure);
    h.settings().activation().set_activation_side(c.side);
    const ZoneLayout layout = h.zones();
    EXPECT_EQ(layout.active_dials[2], c.bottom_left);
    EXPECT_EQ(layout.active_dials[3], c.bottom_right);
    EXPECT_EQ(layout.active_dials[1], CornerControlMode::playPause);
    // The settings keep what the user chose; only the dial that shows gives way.
    EXPECT_EQ(layout.settings.corner_modes[2], CornerControlMode::volume);
  }
}

// Which displays react follows the display mode: the Dock's display, the chosen one (or the Dock's
// when the chosen one is not connected), or every calibrated display.
TEST(LiveZoneProvider, TheDisplayModeDecidesWhichDisplaysReact) {
  ZoneHarness h({laptop_screen(), external_right()});
  auto& store = h.geometry.services->store();

  const ZoneLayout automatic = h.zones();
  ASSERT_EQ(automatic.displays.size(), 2u);
  EXPECT_FALSE(automatic.single_display);
  EXPECT_FALSE(automatic.first_containing_decides);
  EXPECT_EQ(reacting(automatic), (std::vector<bool>{true, false})) << "the Dock is on the laptop";
  EXPECT_EQ(automatic.displays[1].frame, external_right().frame);

  store.set_display_mode(dock::AllCalibratedDisplays{});
  EXPECT_EQ(reacting(h.zones()), (std::vector<bool>{false, false})) << "nothing calibrated yet";
  const dock::ScreenInfo studio = external_right();
  h.geometry.services->save_calibration(studio, {2500, -200, 600, 70}, dock::DockPosition::bottom);
  const ZoneLayout calibrated = h.zones();
  EXPECT_TRUE(calibrated.first_containing_decides);
  EXPECT_EQ(reacting(calibrated), (std::vector<bool>{false, true}));

  // A display is chosen by its calibration, so only a calibrated one can be.
  store.set_display_mode(dock::SelectedDisplay{dock::primary_key(studio.identity)});
  EXPECT_EQ(reacting(h.zones()), (std::vector<bool>{false, true}));
  store.set_display_mode(dock::SelectedDisplay{"UNPLUGGED-UUID"});
  EXPECT_EQ(reacting(h.zones()), (std::vector<bool>{true, false})) << "an absent choice falls back to the Dock's display";

  // The first display holding the point decides, so the laptop answers nothing in this mode.
  EXPECT_EQ(calibrated.display_for({700, 400}), nullptr);
  ASSERT_NE(calibrated.display_for({2500, 600}), nullptr);
  EXPECT_EQ(calibrated.display_for({2500, 600})->frame, studio.frame);
}

// The tray zones grow with the Dock apps of the effective layout, so a profile's apps size them.
TEST(LiveZoneProvider, TrayZonesFollowTheFrontmostProfilesDockApps) {
  ZoneHarness h({laptop_screen()});
  const auto app = [](int i) {
    return catalog::KolvoAppItem{"00000000-0000-0000-0000-00000000000" + std::to_string(i), "App " + std::to_string(i),
                                 "com.example.app" + std::to_string(i),
                                 "file:///Applications/App" + std::to_string(i) + ".app/"};
  };
  h.hidden_dock.apps().set_apps({app(0)});
  catalog::KolvoProfile profile = h.hidden_dock.profiles().add("com.example.editor", "Editor", EdgeMode::dock,
                                                               EdgeMode::dock, {});
  profile.overrides_dock_apps = true;
  profile.dock_apps = {app(1), app(2), app(3), app(4), app(5), app(6)};
  h.hidden_dock.profiles().update(profile);

  const double default_width = h.zones().displays.at(0).tray_zones[0].width;
  h.frontmost = "com.example.editor";
  const double profile_width = h.zones().displays.at(0).tray_zones[0].width;
  EXPECT_GT(profile_width, default_width);
  EXPECT_EQ(h.hidden_dock.zones().effective().dock_apps.size(), 6u);
}

}  // namespace
}  // namespace kolvo::overlay
