#include <gtest/gtest.h>

#include "overlay/hidden_dock_services.hpp"
#include "overlay/panel_frames.hpp"
#include "support/dock_fixture.hpp"

namespace kolvo::overlay {
namespace {

using prefs::Corner;
using testing::external_right;
using testing::laptop_screen;

// A display whose menu bar hides: its visible frame reaches the top.
dock::ScreenInfo no_menu_bar_screen() {
  dock::ScreenInfo s;
  s.frame = {0, 0, 1920, 1080};
  s.visible_frame = s.frame;
  s.identity = {3, "Projector", s.frame, 1.0, std::string("PROJECTOR-UUID")};
  return s;
}

// A display whose visible frame the system did not give.
dock::ScreenInfo unknown_visible_frame_screen() {
  dock::ScreenInfo s = no_menu_bar_screen();
  s.visible_frame = {};
  return s;
}

struct SliderCase {
  const char* name;
  dock::ScreenInfo screen;
  Side side;
  Rect expected;
};

TEST(PanelFrames, EdgeSliderStandsOnTheSideEdgeJustAboveTheCornerStrip) {
  const SliderCase cases[] = {
      {"laptop left", laptop_screen(), Side::left, {8, 14, 56, 240}},
      {"laptop right", laptop_screen(), Side::right, {1448, 14, 56, 240}},
      {"external below the origin, left", external_right(), Side::left, {1520, -186, 56, 240}},
      {"external below the origin, right", external_right(), Side::right, {4008, -186, 56, 240}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Rect frame = edge_slider_frame(c.screen, c.side);
    EXPECT_EQ(frame, c.expected) << dock::describe(frame);
    EXPECT_FALSE(dock::intersects(frame, corner_strip(c.screen.frame, c.side)));
    EXPECT_GE(frame.min_x(), c.screen.frame.min_x());
    EXPECT_LE(frame.max_x(), c.screen.frame.max_x());
  }
}

struct DialCase {
  const char* name;
  dock::ScreenInfo screen;
  Corner corner;
  Rect expected;
};

TEST(PanelFrames, CornerDialSitsInItsCornerClearOfTheSquareAndTheMenuBar) {
  const DialCase cases[] = {
      {"laptop top left, below the menu bar", laptop_screen(), Corner::topLeft, {30, 789, 148, 148}},
      {"laptop top right", laptop_screen(), Corner::topRight, {1334, 789, 148, 148}},
      {"laptop bottom left", laptop_screen(), Corner::bottomLeft, {30, 30, 148, 148}},
      {"laptop bottom right", laptop_screen(), Corner::bottomRight, {1334, 30, 148, 148}},
      {"external top left", external_right(), Corner::topLeft, {1542, 1059, 148, 148}},
      {"external top right", external_right(), Corner::topRight, {3894, 1059, 148, 148}},
      {"external bottom left", external_right(), Corner::bottomLeft, {1542, -170, 148, 148}},
      {"external bottom right", external_right(), Corner::bottomRight, {3894, -170, 148, 148}},
      {"no menu bar: clear of the corner square", no_menu_bar_screen(), Corner::topRight, {1742, 902, 148, 148}},
      {"unknown visible frame", unknown_visible_frame_screen(), Corner::topLeft, {30, 902, 148, 148}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Rect frame = corner_dial_frame(c.screen, c.corner);
    EXPECT_EQ(frame, c.expected) << dock::describe(frame);
    const auto zones = make_display_zones(c.screen.frame, dock::DockGeometry{}, 0, 0);
    for (const Rect& square : zones.dial_squares) EXPECT_FALSE(dock::intersects(frame, square));
  }
}

TEST(PanelFrames, PressureCueCoversTheCornerStripTheZonesUse) {
  for (const auto& screen : {laptop_screen(), external_right()}) {
    const auto zones = make_display_zones(screen.frame, dock::DockGeometry{}, 0, 0);
    EXPECT_EQ(pressure_cue_frame(screen, Side::left), zones.corner_strips[0]);
    EXPECT_EQ(pressure_cue_frame(screen, Side::right), zones.corner_strips[1]);
  }
  EXPECT_EQ(pressure_cue_frame(laptop_screen(), Side::left), (Rect{0, 0, 96, 6}));
  EXPECT_EQ(pressure_cue_frame(laptop_screen(), Side::right), (Rect{1416, 0, 96, 6}));
  EXPECT_EQ(pressure_cue_frame(external_right(), Side::right), (Rect{3976, -200, 96, 6}));
}

TEST(PanelFrames, TimerCornerIsTheFirstActiveTimerDial) {
  ZoneLayout layout;
  EXPECT_EQ(timer_dial_corner(layout), std::nullopt);
  layout.active_dials = {prefs::CornerControlMode::volume, prefs::CornerControlMode::off, prefs::CornerControlMode::timer,
                         prefs::CornerControlMode::timer};
  EXPECT_EQ(timer_dial_corner(layout), Corner::bottomLeft);
  layout.active_dials[1] = prefs::CornerControlMode::timer;
  EXPECT_EQ(timer_dial_corner(layout), Corner::topRight);
}

// The placement over the live zones of a simulated desk.
struct PlacementHarness {
  explicit PlacementHarness(std::vector<dock::ScreenInfo> screens)
      : geometry(testing::layout_of(std::move(screens))),
        hidden_dock(geometry.settings.prefs, geometry.desktop, geometry.settings.log, geometry.settings.settings->activation_settings(),
                    *geometry.services, [] { return std::optional<std::string>(); }),
        placement(*geometry.services, hidden_dock.zones()) {}

  testing::GeometryFixture geometry;
  HiddenDockServices hidden_dock;
  PanelPlacement placement;
};

TEST(PanelPlacement, TrayFrameIsTheRectangleTheTrayZoneGrowsFrom) {
  PlacementHarness h({laptop_screen()});
  // Enough apps that the tray is wider than its minimum, so its width follows their number.
  std::vector<catalog::KolvoAppItem> apps;
  for (const char* name : {"Finder", "Safari", "Mail", "Notes"}) {
    apps.push_back({std::string("00000000-0000-0000-0000-00000000000") + std::to_string(apps.size()), name,
                    std::string("com.apple.") + name, std::string("file:///Applications/") + name + ".app/"});
  }
  h.hidden_dock.apps().set_apps(apps);
  ASSERT_EQ(h.hidden_dock.apps().apps().size(), 4u);
  const ZoneLayout layout = h.hidden_dock.zones().zone_layout();
  ASSERT_EQ(layout.displays.size(), 1u);
  for (const Side side : {Side::left, Side::right}) {
    const Rect tray = h.placement.tray_frame(laptop_screen(), side);
    EXPECT_GT(tray.width, 150);
    EXPECT_EQ(tray.grown(kTrayZoneMargin, kTrayZoneMargin), layout.displays[0].tray_zones[side == Side::left ? 0 : 1])
        << dock::describe(tray);
  }
  // Beside the Dock, on the side asked for.
  EXPECT_LT(h.placement.tray_frame(laptop_screen(), Side::left).mid_x(), layout.displays[0].dock.dock_rect.mid_x());
  EXPECT_GT(h.placement.tray_frame(laptop_screen(), Side::right).mid_x(), layout.displays[0].dock.dock_rect.mid_x());
}

TEST(PanelPlacement, FollowsADisplayThroughAChangeOfLayoutAndLosesItWhenUnplugged) {
  PlacementHarness h({laptop_screen(), external_right()});
  dock::ScreenInfo moved = external_right();
  moved.frame = {-2560, 0, 2560, 1440};
  moved.visible_frame = {-2560, 0, 2560, 1415};
  h.geometry.desktop.set_screens({laptop_screen(), moved});
  const auto now = h.placement.same_display_now(external_right());
  ASSERT_TRUE(now.has_value());
  EXPECT_EQ(now->frame, moved.frame);

  h.geometry.desktop.set_screens({laptop_screen()});
  EXPECT_FALSE(h.placement.same_display_now(external_right()).has_value());
  ASSERT_TRUE(h.placement.same_display_now(laptop_screen()).has_value());
}

TEST(PanelPlacement, PanelsOpenOnTheDisplayUnderThePointerOrTheDocksDisplay) {
  PlacementHarness h({laptop_screen(), external_right()});
  const auto target = h.geometry.services->target_screen();
  ASSERT_TRUE(target.has_value());
  EXPECT_EQ(target->frame, laptop_screen().frame);
  const auto under = h.placement.screen_for_pointer({700, 400});
  ASSERT_TRUE(under.has_value());
  EXPECT_EQ(under->frame, laptop_screen().frame);
  // The display that does not react, and a point off every display, give the Dock's display.
  for (const dock::Point p : {dock::Point{2500, 600}, dock::Point{-5000, -5000}}) {
    const auto screen = h.placement.screen_for_pointer(p);
    ASSERT_TRUE(screen.has_value());
    EXPECT_EQ(screen->frame, laptop_screen().frame);
  }
}

}  // namespace
}  // namespace kolvo::overlay
