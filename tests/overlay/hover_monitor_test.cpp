#include <gtest/gtest.h>

#include "base/manual_executor.hpp"
#include "overlay/hover_monitor.hpp"
#include "platform/sim/simulated_overlay.hpp"
#include "ui/activation_texts.hpp"

namespace kolvo::overlay {
namespace {

using prefs::CornerControlMode;
using prefs::EdgeMode;
using prefs::KolvoActivationSide;

const Rect kScreen{0, 0, 1512, 982};

ZoneLayout layout_for(const ZoneSettings& settings, Rect dock = {464, 0, 584, 70}) {
  ZoneLayout layout;
  layout.settings = settings;
  layout.single_display = true;
  const auto geometry = dock::make_dock_geometry(
      kScreen, {dock, dock::DockRectSource::defaultsEstimate, dock::DockPosition::bottom, false});
  layout.displays.push_back(make_display_zones(kScreen, geometry, 6, 0));
  layout.displays.back().reacts = true;
  const std::array corners{prefs::Corner::topLeft, prefs::Corner::topRight, prefs::Corner::bottomLeft,
                           prefs::Corner::bottomRight};
  for (std::size_t i = 0; i < 4; ++i) {
    layout.active_dials[i] = is_dial_blocked(corners[i], settings) ? CornerControlMode::off : settings.corner_modes[i];
  }
  return layout;
}

class FixedZones final : public ZoneProvider {
 public:
  explicit FixedZones(ZoneLayout layout) : layout_(std::move(layout)) {}
  ZoneLayout zone_layout() override { return layout_; }
  void hidden_dock_opening() override { ++openings; }
  int openings = 0;

 private:
  ZoneLayout layout_;
};

// The real monitor on virtual time, with the simulated panels recording "t action".
struct Harness {
  explicit Harness(const ZoneSettings& settings, Rect dock = {464, 0, 584, 70}) : zones(layout_for(settings, dock)) {
    overlay = std::make_shared<sim::SimulatedOverlayWindowManager>([this](std::string_view action) {
      char time[16];
      std::snprintf(time, sizeof time, "%.2f ", std::chrono::duration<double>(clock.now() - start).count());
      actions.push_back(time + std::string(action));
    });
    monitor = std::make_unique<HoverMonitor>(clock, overlay, *overlay, zones);
  }
  // Moves at the given times, in seconds from the start.
  void moves(std::initializer_list<std::tuple<double, double, double>> trace) {
    for (const auto& [t, x, y] : trace) {
      clock.advance(start + base::seconds(t) - clock.now());
      monitor->pointer_moved({x, y});
    }
  }
  std::vector<std::string> settle() {
    clock.advance(base::seconds(5));
    return actions;
  }

  base::ManualExecutor clock;
  base::TimePoint start = clock.now();
  FixedZones zones;
  std::shared_ptr<sim::SimulatedOverlayWindowManager> overlay;
  std::unique_ptr<HoverMonitor> monitor;
  std::vector<std::string> actions;
};

using Actions = std::vector<std::string>;

TEST(ActivationZones, RequestedSideForEachActivationAndTheShortDockTie) {
  ZoneSettings s;
  // Trigger rectangles that overlap between x = 990 and 1030, around a Dock from 980 to 1040.
  auto zones = layout_for(s, {980, 0, 60, 70}).displays[0];
  zones.dock.left_trigger_rect = {950, -9, 80, 88};
  zones.dock.right_trigger_rect = {990, -9, 80, 88};
  struct Case {
    KolvoActivationSide side;
    bool pressure;
    Point p;
    std::optional<Side> expected;
  };
  const std::vector<Case> cases = {
      {KolvoActivationSide::both, false, {1009, 30}, Side::left},     // nearer the left end
      {KolvoActivationSide::both, false, {1010, 30}, Side::left},     // equal distance: left
      {KolvoActivationSide::both, false, {1011, 30}, Side::right},
      {KolvoActivationSide::both, false, {960, 30}, Side::left},      // only in the left one
      {KolvoActivationSide::rightOnly, false, {1000, 30}, Side::right},
      {KolvoActivationSide::leftOnly, false, {1025, 30}, Side::left},
      {KolvoActivationSide::none, false, {1000, 30}, std::nullopt},
      {KolvoActivationSide::both, false, {1000, 80}, std::nullopt},   // above the 9-point overhang
      {KolvoActivationSide::both, true, {1500, 3}, Side::right},
      {KolvoActivationSide::leftOnly, true, {1500, 3}, std::nullopt},
      {KolvoActivationSide::leftOnly, true, {10, 3}, Side::left},
      {KolvoActivationSide::both, true, {10, 7}, std::nullopt},       // above the 6-point strip
  };
  for (const Case& c : cases) {
    s.activation_side = c.side;
    s.pressure_mode = c.pressure;
    EXPECT_EQ(requested_side(zones, s, c.p), c.expected) << c.p.x << "," << c.p.y;
  }
}

TEST(ActivationZones, BlockedDialsAndTheirTexts) {
  struct Case {
    KolvoActivationSide side;
    bool pressure;
    EdgeMode left;
    prefs::Corner corner;
    std::optional<std::string> text;
  };
  const std::vector<Case> cases = {
      {KolvoActivationSide::both, false, EdgeMode::volume, prefs::Corner::bottomLeft,
       "Inactive: the volume control already uses this corner."},
      {KolvoActivationSide::rightOnly, false, EdgeMode::volume, prefs::Corner::bottomLeft, std::nullopt},
      {KolvoActivationSide::both, true, EdgeMode::dock, prefs::Corner::bottomRight,
       "Inactive: Hidden Dock's pressure point on the right already uses this corner."},
      {KolvoActivationSide::both, true, EdgeMode::dock, prefs::Corner::topLeft, std::nullopt},
      {KolvoActivationSide::none, true, EdgeMode::volume, prefs::Corner::bottomLeft, std::nullopt},
  };
  for (const Case& c : cases) {
    ZoneSettings s;
    s.activation_side = c.side;
    s.pressure_mode = c.pressure;
    s.left_edge_mode = c.left;
    EXPECT_EQ(ui::dial_conflict(c.corner, s), c.text);
  }
  ZoneSettings pressure;
  pressure.pressure_mode = true;
  EXPECT_EQ(ui::dial_conflict(prefs::Corner::bottomLeft, pressure, true), "Left Dock pressure zone already uses this corner.");
  EXPECT_EQ(ui::pressure_point_advice(pressure),
            "Keep the bottom-left and bottom-right corners free. Pressure Point uses them to open Hidden Dock.");
  pressure.activation_side = KolvoActivationSide::rightOnly;
  EXPECT_EQ(ui::pressure_point_advice(pressure),
            "Keep the bottom-right corner free. Pressure Point uses it to open Hidden Dock.");
}

TEST(ActivationTexts, HiddenDockStatusForEachEdgeSetting) {
  struct Case {
    KolvoActivationSide side;
    EdgeMode left, right;
    std::string text;
  };
  const std::vector<Case> cases = {
      {KolvoActivationSide::none, EdgeMode::dock, EdgeMode::dock, "No edge is turned on. Turn on an edge to use Hidden Dock."},
      {KolvoActivationSide::both, EdgeMode::volume, EdgeMode::brightness,
       "Both edges are set to Edge Sliders. Set one back to Hidden Dock to use it."},
      {KolvoActivationSide::leftOnly, EdgeMode::appearance, EdgeMode::dock,
       "The left edge is set to appearance. Set an edge to Hidden Dock to use it."},
      {KolvoActivationSide::both, EdgeMode::dock, EdgeMode::dock, "Hidden Dock opens from both edges of your Dock."},
      {KolvoActivationSide::both, EdgeMode::volume, EdgeMode::dock, "Hidden Dock opens from the right edge of your Dock."},
      {KolvoActivationSide::rightOnly, EdgeMode::volume, EdgeMode::dock, "Hidden Dock opens from the right edge of your Dock."},
  };
  for (const Case& c : cases) {
    ZoneSettings s;
    s.activation_side = c.side;
    s.left_edge_mode = c.left;
    s.right_edge_mode = c.right;
    EXPECT_EQ(ui::hidden_dock_status(s), c.text);
  }
}

TEST(HoverMonitor, HoverOpensAtOnceAndReturningWithinTheHideDelayKeepsTheTrayOpen) {
  Harness h{ZoneSettings{}};
  h.moves({{0.0, 700, 400}, {0.1, 440, 30}, {0.3, 700, 400}, {0.8, 300, 40}, {1.0, 700, 400}});
  // Out at 0.3, back into the tray at 0.8 (< 0.55 later), out again at 1.0: hidden at 1.55.
  EXPECT_EQ(h.settle(), (Actions{"0.10 open hidden dock left", "1.55 hide"}));
  EXPECT_EQ(h.zones.openings, 1);
}

TEST(HoverMonitor, MovesCloserThan30MillisecondsAreNotEvaluated) {
  Harness h{ZoneSettings{}};
  h.moves({{0.0, 700, 400}, {0.02, 440, 30}, {0.04, 700, 400}});
  EXPECT_EQ(h.settle(), Actions{});
  Harness later{ZoneSettings{}};
  later.moves({{0.0, 700, 400}, {0.03, 440, 30}});
  EXPECT_EQ(later.settle(), (Actions{"0.03 open hidden dock left"}));
}

TEST(HoverMonitor, PressurePointRevealsAfterAHoldOnceWithOneHaptic) {
  ZoneSettings s;
  s.pressure_mode = true;
  Harness held{s};
  held.moves({{0.0, 700, 400}, {0.1, 10, 2}, {0.2, 12, 3}, {0.25, 14, 2}});
  EXPECT_EQ(held.settle(), (Actions{"0.10 pressure cue", "0.10 haptic", "0.32 hide pressure cue",
                                    "0.32 open hidden dock left"}));

  Harness passing{s};
  passing.moves({{0.0, 700, 400}, {0.1, 10, 2}, {0.3, 700, 400}});
  EXPECT_EQ(passing.settle(), (Actions{"0.10 pressure cue", "0.10 haptic", "0.30 hide pressure cue"}));

  s.activation_side = KolvoActivationSide::leftOnly;
  Harness left_only{s};
  left_only.moves({{0.0, 700, 400}, {0.1, 1500, 2}, {0.5, 1505, 3}});
  EXPECT_EQ(left_only.settle(), Actions{});
}

TEST(HoverMonitor, ASliderTakesItsEdgeAndHides1Point2SecondsAfterLeavingItsStrip) {
  ZoneSettings s;
  s.left_edge_mode = EdgeMode::volume;
  Harness h{s};
  // The left Dock trigger shows the slider, never the Hidden Dock; so does the corner strip.
  h.moves({{0.0, 700, 400}, {0.1, 440, 30}, {0.2, 700, 400}, {1.0, 50, 3}, {1.1, 700, 400}});
  EXPECT_EQ(h.settle(), (Actions{"0.10 show slider left volume", "2.30 hide slider"}));

  ZoneSettings none = s;
  none.activation_side = KolvoActivationSide::none;
  Harness off{none};
  off.moves({{0.0, 700, 400}, {0.1, 50, 3}, {0.2, 440, 30}});
  EXPECT_EQ(off.settle(), Actions{});
}

TEST(HoverMonitor, DialsShowInTheirSquareAndBlockedDialsStayQuiet) {
  ZoneSettings s;
  s.corner_modes = {CornerControlMode::volume, CornerControlMode::off, CornerControlMode::timer, CornerControlMode::off};
  s.left_edge_mode = EdgeMode::brightness;  // blocks the bottom-left dial
  Harness h{s};
  h.moves({{0.0, 700, 400}, {0.1, 5, 980}, {0.2, 6, 982}, {0.5, 700, 400}, {1.0, 10, 975}, {1.2, 700, 400},
           {2.0, 5, 5}});
  // The blocked bottom-left dial never shows; the slider there stays while the pointer does.
  EXPECT_EQ(h.settle(), (Actions{"0.10 show dial topLeft", "2.00 show slider left brightness", "2.40 hide dial"}));
}

TEST(HoverMonitor, NothingHappensWhileTheMenuIsOpen) {
  Harness h{ZoneSettings{}};
  h.monitor->set_menu_open(true);
  h.moves({{0.0, 700, 400}, {0.1, 440, 30}});
  h.monitor->set_menu_open(false);
  h.moves({{0.2, 441, 30}});
  EXPECT_EQ(h.settle(), (Actions{"0.20 open hidden dock left"}));
}

TEST(HoverMonitor, APinnedHiddenDockIsNotHiddenByThePointer) {
  Harness h{ZoneSettings{}};
  h.overlay->show_hidden_dock(Side::right, /*pinned=*/true);
  h.moves({{0.0, 1060, 30}, {0.1, 700, 400}});
  EXPECT_EQ(h.settle(), (Actions{"0.00 open hidden dock right pinned"}));
}

}  // namespace
}  // namespace kolvo::overlay

namespace kolvo::overlay {
namespace {

// Two displays side by side, only the left one reacting (the selected display). A slider opened
// there belongs to its strip: resting in the same strip of the other display must not keep it.
TEST(HoverMonitor, ASliderHidesByTheStripOfItsOwnDisplay) {
  ZoneSettings settings;
  settings.left_edge_mode = EdgeMode::volume;
  ZoneLayout two = layout_for(settings);
  const Rect right{1512, 0, 1512, 982};
  const auto geometry = dock::make_dock_geometry(
      right, {{1976, 0, 584, 70}, dock::DockRectSource::defaultsEstimate, dock::DockPosition::bottom, false});
  two.displays.push_back(make_display_zones(right, geometry, 6, 0));
  two.displays.back().reacts = false;
  two.single_display = false;

  struct Case {
    const char* name;
    double rest_x;  // where the pointer rests after opening the slider, in a left corner strip
    bool hides;
  };
  for (const Case& c : {Case{"own display's strip", 20, false}, Case{"the other display's strip", 1530, true}}) {
    Harness h(settings);
    h.zones = FixedZones(two);
    h.monitor->rebuild_zones();
    h.moves({{0.0, 700, 500}, {0.1, 440, 30}, {0.2, c.rest_x, 2}, {0.6, c.rest_x, 3}, {1.0, c.rest_x, 2},
             {1.4, c.rest_x, 3}, {1.8, c.rest_x, 2}});
    const Actions actions = h.settle();
    ASSERT_FALSE(actions.empty()) << c.name;
    EXPECT_EQ(actions.front(), "0.10 show slider left volume") << c.name;
    const bool hid = std::find(actions.begin(), actions.end(), "1.40 hide slider") != actions.end();
    EXPECT_EQ(hid, c.hides) << c.name << ": " << ::testing::PrintToString(actions);
  }
}

}  // namespace
}  // namespace kolvo::overlay
