// The zone map over simulated desks, against rectangles worked out by hand from the desk: a
// bottom Dock of 5 apps, 2 others and recents at tile 48 is 640 points long, and a tray of 4
// apps beside a 70-point Dock is 24 + 4 × 43.4 + 3 × 8 = 221.6 points wide.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <tuple>

#include "overlay/hidden_dock_services.hpp"
#include "support/dock_fixture.hpp"
#include "ui/zone_map.hpp"

namespace kolvo::ui {
namespace {

using dock::Rect;
using prefs::CornerControlMode;
using prefs::EdgeMode;
using K = ZoneMapKind;

struct Expected {
  K kind;
  Rect rect;
};

struct MapHarness {
  explicit MapHarness(std::vector<dock::ScreenInfo> screens,
                      prefs::PreferenceValue::Dictionary dock = testing::dock_domain("bottom"))
      : geometry(testing::layout_of(std::move(screens), std::move(dock))),
        hidden_dock(geometry.settings.prefs, geometry.desktop, geometry.settings.log,
                    geometry.settings.settings->activation_settings(), *geometry.services,
                    [] { return std::optional<std::string>(); }) {
    std::vector<catalog::KolvoAppItem> apps;
    for (const char* name : {"Finder", "Safari", "Mail", "Notes"}) {
      apps.push_back({"00000000-0000-0000-0000-00000000000" + std::to_string(apps.size()), name,
                      std::string("com.apple.") + name, std::string("file:///Applications/") + name + ".app/"});
    }
    hidden_dock.apps().set_apps(apps);
  }

  app::Settings& settings() { return *geometry.settings.settings; }
  ZoneMap map() { return live_zone_map(hidden_dock.zones(), *geometry.services, 0, kZoneMapOverlayLabelSize); }

  testing::GeometryFixture geometry;
  overlay::HiddenDockServices hidden_dock;
};

dock::ScreenInfo side_dock_laptop(dock::DockPosition position) {
  dock::ScreenInfo s = testing::laptop_screen();
  s.visible_frame = position == dock::DockPosition::left ? Rect{70, 0, 1442, 945} : Rect{0, 0, 1442, 945};
  return s;
}

bool same(const Rect& a, const Rect& b) {
  constexpr double kTolerance = 1e-6;
  return std::fabs(a.x - b.x) < kTolerance && std::fabs(a.y - b.y) < kTolerance &&
         std::fabs(a.width - b.width) < kTolerance && std::fabs(a.height - b.height) < kTolerance;
}

std::string describe(const std::vector<Expected>& zones) {
  std::string out;
  for (const Expected& z : zones) out += std::string(style_of(z.kind).kind_name) + " " + dock::describe(z.rect) + "\n";
  return out;
}

// The zones of a display as (kind, rectangle), in one order whatever order they were drawn in.
std::vector<Expected> sorted(std::vector<Expected> zones) {
  std::sort(zones.begin(), zones.end(), [](const Expected& a, const Expected& b) {
    return std::tie(a.kind, a.rect.x, a.rect.y, a.rect.width) < std::tie(b.kind, b.rect.x, b.rect.y, b.rect.width);
  });
  return zones;
}

void expect_zones(const ZoneMapDisplay& display, const std::vector<Expected>& expected) {
  std::vector<Expected> actual;
  for (const ZoneMapZone& zone : display.zones) actual.push_back({zone.kind, zone.rect});
  const auto a = sorted(actual);
  const auto e = sorted(expected);
  bool equal = a.size() == e.size();
  for (std::size_t i = 0; equal && i < a.size(); ++i) equal = a[i].kind == e[i].kind && same(a[i].rect, e[i].rect);
  EXPECT_TRUE(equal) << "got:\n" << describe(a) << "expected:\n" << describe(e);
}

// The laptop's zones in hover mode with the Dock on both sides: a Dock at (436, 0, 640, 70),
// triggers cut at the screen's bottom edge, strips and bands 6 points into the Dock.
const Rect kLaptop{0, 0, 1512, 982};
const Rect kLaptopDock{436, 0, 640, 70};
const std::vector<Expected> kLaptopHover = {
    {K::display, kLaptop},
    {K::dock, kLaptopDock},
    {K::dockTrigger, {382, 0, 54, 79}},
    {K::dockTrigger, {1076, 0, 54, 79}},
    {K::triggerStrip, {434, 0, 8, 70}},
    {K::triggerStrip, {1070, 0, 8, 70}},
    {K::hoverBand, {62, 0, 380, 70}},
    {K::hoverBand, {1070, 0, 380, 70}},
    {K::tray, {220.4, 0, 221.6, 70}},
    {K::tray, {1070, 0, 221.6, 70}},
};

std::vector<Expected> plus(std::vector<Expected> a, const std::vector<Expected>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

struct DisplayCase {
  bool reacts;
  dock::DockRectSource source;
  std::vector<Expected> zones;
};

struct LayoutCase {
  const char* name;
  std::vector<dock::ScreenInfo> screens;
  prefs::PreferenceValue::Dictionary dock;
  std::function<void(MapHarness&)> set_up;
  std::vector<DisplayCase> displays;
};

TEST(ZoneMap, ShowsWhatReactsUnderTheSettingsOnEachDesk) {
  using dock::DockRectSource;
  const auto nothing = [](MapHarness&) {};
  const LayoutCase cases[] = {
      {"one laptop, hover on both edges", {testing::laptop_screen()}, testing::dock_domain("bottom"), nothing,
       {{true, DockRectSource::defaultsEstimate, kLaptopHover}}},
      {"Pressure Point: bottom corners instead of the Dock's ends",
       {testing::laptop_screen()},
       testing::dock_domain("bottom"),
       [](MapHarness& h) { h.settings().pressure_zone().set_use_pressure_zone(true); },
       {{true,
         DockRectSource::defaultsEstimate,
         {{K::display, kLaptop},
          {K::dock, kLaptopDock},
          {K::pressurePoint, {0, 0, 96, 6}},
          {K::pressurePoint, {1416, 0, 96, 6}},
          {K::tray, {220.4, 0, 221.6, 70}},
          {K::tray, {1070, 0, 221.6, 70}}}}}},
      {"a volume slider on the left: its corner and the Dock's end, and the dial below it blocked",
       {testing::laptop_screen()},
       testing::dock_domain("bottom"),
       [](MapHarness& h) {
         h.settings().edge_modes().set_left_edge_mode(EdgeMode::volume);
         h.settings().corner_controls().set_mode(prefs::Corner::bottomLeft, CornerControlMode::brightness);
         h.settings().corner_controls().set_mode(prefs::Corner::topLeft, CornerControlMode::volume);
       },
       {{true,
         DockRectSource::defaultsEstimate,
         {{K::display, kLaptop},
          {K::dock, kLaptopDock},
          {K::sliderZone, {0, 0, 96, 6}},
          {K::sliderZone, {382, 0, 54, 79}},
          {K::dockTrigger, {1076, 0, 54, 79}},
          {K::triggerStrip, {1070, 0, 8, 70}},
          {K::hoverBand, {1070, 0, 380, 70}},
          {K::tray, {1070, 0, 221.6, 70}},
          {K::dialZone, {0, 960, 22, 22}}}}}},
      {"a slider with Pressure Point: only the corner opens it",
       {testing::laptop_screen()},
       testing::dock_domain("bottom"),
       [](MapHarness& h) {
         h.settings().edge_modes().set_right_edge_mode(EdgeMode::brightness);
         h.settings().pressure_zone().set_use_pressure_zone(true);
       },
       {{true,
         DockRectSource::defaultsEstimate,
         {{K::display, kLaptop},
          {K::dock, kLaptopDock},
          {K::pressurePoint, {0, 0, 96, 6}},
          {K::tray, {220.4, 0, 221.6, 70}},
          {K::sliderZone, {1416, 0, 96, 6}}}}}},
      {"left side only: nothing on the right, where a bottom dial is free",
       {testing::laptop_screen()},
       testing::dock_domain("bottom"),
       [](MapHarness& h) {
         h.settings().activation().set_activation_side(prefs::KolvoActivationSide::leftOnly);
         h.settings().corner_controls().set_mode(prefs::Corner::bottomRight, CornerControlMode::timer);
       },
       {{true,
         DockRectSource::defaultsEstimate,
         {{K::display, kLaptop},
          {K::dock, kLaptopDock},
          {K::dockTrigger, {382, 0, 54, 79}},
          {K::triggerStrip, {434, 0, 8, 70}},
          {K::hoverBand, {62, 0, 380, 70}},
          {K::tray, {220.4, 0, 221.6, 70}},
          {K::dialZone, {1490, 0, 22, 22}}}}}},
      {"no side: only the dials",
       {testing::laptop_screen()},
       testing::dock_domain("bottom"),
       [](MapHarness& h) {
         h.settings().activation().set_activation_side(prefs::KolvoActivationSide::none);
         h.settings().edge_modes().set_left_edge_mode(EdgeMode::volume);
         h.settings().corner_controls().set_mode(prefs::Corner::topRight, CornerControlMode::playPause);
       },
       {{true,
         DockRectSource::defaultsEstimate,
         {{K::display, kLaptop}, {K::dock, kLaptopDock}, {K::dialZone, {1490, 960, 22, 22}}}}}},
      {"a display to the right, lower: it does not react and shows only its Dock",
       {testing::laptop_screen(), testing::external_right()},
       testing::dock_domain("bottom"),
       nothing,
       {{true, DockRectSource::defaultsEstimate, kLaptopHover},
        {false,
         DockRectSource::defaultsEstimate,
         {{K::display, {1512, -200, 2560, 1440}}, {K::dock, {2472, -192, 640, 72}}}}}},
      {"the display to the right chosen and calibrated: its zones, from its own origin",
       {testing::laptop_screen(), testing::external_right()},
       testing::dock_domain("bottom"),
       [](MapHarness& h) {
         const dock::ScreenInfo studio = testing::external_right();
         h.geometry.services->save_calibration(studio, {2500, -200, 600, 70}, dock::DockPosition::bottom);
         h.geometry.services->store().set_display_mode(dock::SelectedDisplay{dock::primary_key(studio.identity)});
         h.settings().corner_controls().set_mode(prefs::Corner::topRight, CornerControlMode::volume);
       },
       {{false, DockRectSource::defaultsEstimate, {{K::display, kLaptop}, {K::dock, kLaptopDock}}},
        {true,
         DockRectSource::calibration,
         {{K::display, {1512, -200, 2560, 1440}},
          {K::dock, {2500, -200, 600, 70}},
          {K::dockTrigger, {2446, -200, 54, 79}},
          {K::dockTrigger, {3100, -200, 54, 79}},
          {K::triggerStrip, {2498, -200, 8, 70}},
          {K::triggerStrip, {3094, -200, 8, 70}},
          {K::hoverBand, {2126, -200, 380, 70}},
          {K::hoverBand, {3094, -200, 380, 70}},
          {K::tray, {2284.4, -200, 221.6, 70}},
          {K::tray, {3094, -200, 221.6, 70}},
          {K::dialZone, {4050, 1218, 22, 22}}}}}},
      {"a display above: the dial shows only where the pointer reacts",
       {testing::laptop_screen(), testing::external_above()},
       testing::dock_domain("bottom"),
       [](MapHarness& h) { h.settings().corner_controls().set_mode(prefs::Corner::topLeft, CornerControlMode::volume); },
       {{true, DockRectSource::defaultsEstimate, plus(kLaptopHover, {{K::dialZone, {0, 960, 22, 22}}})},
        {false,
         DockRectSource::defaultsEstimate,
         {{K::display, {-300, 982, 1920, 1080}}, {K::dock, {340, 990, 640, 72}}}}}},
      {"a left Dock: the left trigger would lie off the screen, so there is none",
       {side_dock_laptop(dock::DockPosition::left)},
       testing::dock_domain("left"),
       nothing,
       {{true,
         DockRectSource::defaultsEstimate,
         {{K::display, kLaptop},
          {K::dock, {0, 171, 70, 640}},
          {K::dockTrigger, {70, 162, 54, 658}},
          {K::triggerStrip, {0, 171, 6, 640}},
          {K::triggerStrip, {64, 171, 8, 640}},
          {K::hoverBand, {0, 171, 6, 640}},
          {K::hoverBand, {64, 171, 380, 640}},
          {K::tray, {8, 171, 150, 640}},
          {K::tray, {64, 171, 280, 640}}}}}},
      {"a right Dock: the right tray kept on the screen",
       {side_dock_laptop(dock::DockPosition::right)},
       testing::dock_domain("right"),
       nothing,
       {{true,
         DockRectSource::defaultsEstimate,
         {{K::display, kLaptop},
          {K::dock, {1442, 171, 70, 640}},
          {K::dockTrigger, {1388, 162, 54, 658}},
          {K::triggerStrip, {1440, 171, 8, 640}},
          {K::triggerStrip, {1506, 171, 6, 640}},
          {K::hoverBand, {1068, 171, 380, 640}},
          {K::hoverBand, {1506, 171, 6, 640}},
          {K::tray, {1168, 171, 280, 640}},
          {K::tray, {1354, 171, 150, 640}}}}}},
  };
  for (const LayoutCase& c : cases) {
    SCOPED_TRACE(c.name);
    MapHarness h(c.screens, c.dock);
    c.set_up(h);
    const ZoneMap map = h.map();
    ASSERT_EQ(map.displays.size(), c.displays.size());
    for (std::size_t i = 0; i < c.displays.size(); ++i) {
      SCOPED_TRACE("display " + std::to_string(i));
      EXPECT_EQ(map.displays[i].reacts, c.displays[i].reacts);
      EXPECT_EQ(map.displays[i].dock_source, c.displays[i].source);
      EXPECT_EQ(map.displays[i].frame, c.screens[i].frame);
      expect_zones(map.displays[i], c.displays[i].zones);
    }
  }
}

// Each label names its zone plainly, and the map draws the same label for the same setting
// the next time it is built.
TEST(ZoneMap, LabelsNameTheZoneTheControlAndTheDocksSource) {
  MapHarness h({testing::laptop_screen(), testing::external_right()});
  h.settings().edge_modes().set_right_edge_mode(EdgeMode::brightness);
  h.settings().corner_controls().set_mode(prefs::Corner::topLeft, CornerControlMode::keyboardBacklight);
  const ZoneMap map = h.map();
  std::vector<std::string> texts;
  for (const auto& display : map.displays) {
    for (const ZoneMapZone& zone : display.zones) texts.push_back(zone.label.text);
  }
  for (const char* wanted : {"Built-in Retina Display — reacts", "Studio Display — does not react",
                             "Dock (defaultsEstimate)", "Left Hidden Dock trigger", "Right brightness slider",
                             "Right brightness slider (Dock end)", "Left tray", "Top-left dial: keyboard backlight"}) {
    EXPECT_NE(std::find(texts.begin(), texts.end(), wanted), texts.end()) << wanted << " in " << ::testing::PrintToString(texts);
  }
  EXPECT_EQ(h.map(), map);
}

// However crowded a display is, and at any label size, every label stays on its display and
// none covers another; one pushed away from its zone has a leader that ends on the zone.
TEST(ZoneMap, LabelsStayOnTheirDisplayAndNeverOverlap) {
  struct Case {
    const char* name;
    std::vector<dock::ScreenInfo> screens;
    bool pressure;
    double size;
  };
  const Case cases[] = {
      {"laptop at the overlay's size", {testing::laptop_screen()}, false, kZoneMapOverlayLabelSize},
      {"laptop with large labels", {testing::laptop_screen()}, false, 30},
      {"two displays with pressure points", {testing::laptop_screen(), testing::external_right()}, true, 20},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    MapHarness h(c.screens);
    h.settings().pressure_zone().set_use_pressure_zone(c.pressure);
    for (const prefs::Corner corner : {prefs::Corner::topLeft, prefs::Corner::topRight, prefs::Corner::bottomLeft,
                                       prefs::Corner::bottomRight}) {
      h.settings().corner_controls().set_mode(corner, CornerControlMode::volume);
    }
    ZoneMap map = h.map();
    place_labels(map, c.size);
    for (const ZoneMapDisplay& display : map.displays) {
      for (std::size_t i = 0; i < display.zones.size(); ++i) {
        const ZoneMapLabel& a = display.zones[i].label;
        EXPECT_EQ(a.size, c.size);
        EXPECT_GE(a.box.min_x(), display.frame.min_x()) << a.text;
        EXPECT_LE(a.box.max_x(), display.frame.max_x()) << a.text;
        EXPECT_GE(a.box.min_y(), display.frame.min_y()) << a.text;
        EXPECT_LE(a.box.max_y(), display.frame.max_y()) << a.text;
        for (std::size_t j = i + 1; j < display.zones.size(); ++j) {
          EXPECT_FALSE(dock::intersects(a.box, display.zones[j].label.box)) << a.text << " / " << display.zones[j].label.text;
        }
        if (a.has_leader) {
          const Rect& zone = display.zones[i].rect;
          EXPECT_TRUE(a.leader_to.x >= zone.min_x() && a.leader_to.x <= zone.max_x() && a.leader_to.y >= zone.min_y() &&
                      a.leader_to.y <= zone.max_y())
              << a.text;
        }
      }
    }
  }
}

}  // namespace
}  // namespace kolvo::ui
