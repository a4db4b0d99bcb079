#include <gtest/gtest.h>

#include "overlay/activation_zones.hpp"
#include "overlay/zone_provider.hpp"

namespace kolvo::overlay {
namespace {

DisplayZones zones_of(const Rect& frame) {
  const Rect dock{frame.min_x() + 464, frame.min_y(), 584, 70};
  const auto geometry = dock::make_dock_geometry(
      frame, {dock, dock::DockRectSource::defaultsEstimate, dock::DockPosition::bottom, false});
  return make_display_zones(frame, geometry, 6, 0);
}

// The corner rectangles sit exactly at the display's edges, wherever the display is in the
// global space: one point off and a push into the corner opens nothing.
TEST(ActivationZones, CornerRectanglesSitExactlyAtEachDisplaysEdges) {
  struct Case {
    Rect frame;
    Rect left_strip, right_strip;
    Rect top_left, top_right, bottom_left, bottom_right;
  };
  const Case cases[] = {
      {{0, 0, 1512, 982},
       {0, 0, 96, 6}, {1416, 0, 96, 6},
       {0, 960, 22, 22}, {1490, 960, 22, 22}, {0, 0, 22, 22}, {1490, 0, 22, 22}},
      {{-2560, -200, 2560, 1440},  // left of the primary and lower
       {-2560, -200, 96, 6}, {-96, -200, 96, 6},
       {-2560, 1218, 22, 22}, {-22, 1218, 22, 22}, {-2560, -200, 22, 22}, {-22, -200, 22, 22}},
  };
  for (const Case& c : cases) {
    const DisplayZones z = zones_of(c.frame);
    EXPECT_EQ(z.corner_strips[0], c.left_strip) << dock::describe(c.frame);
    EXPECT_EQ(z.corner_strips[1], c.right_strip) << dock::describe(c.frame);
    EXPECT_EQ(z.dial_squares[0], c.top_left) << dock::describe(c.frame);
    EXPECT_EQ(z.dial_squares[1], c.top_right) << dock::describe(c.frame);
    EXPECT_EQ(z.dial_squares[2], c.bottom_left) << dock::describe(c.frame);
    EXPECT_EQ(z.dial_squares[3], c.bottom_right) << dock::describe(c.frame);
    // A pointer pushed into the corner is inside (the strip is open at its bottom edge, closed
    // at its top, as the pointer's hit test is).
    EXPECT_TRUE(dock::contains_pointer(z.corner_strips[1], {c.frame.max_x() - 1, c.frame.min_y() + 1}));
    EXPECT_TRUE(dock::contains_pointer(z.dial_squares[1], {c.frame.max_x() - 1, c.frame.max_y()}));
  }
}

// Which display answers a point, in each way displays can react.
TEST(ActivationZones, DisplayForAcrossDisplays) {
  ZoneLayout layout;
  layout.displays = {zones_of({0, 0, 1512, 982}), zones_of({1512, -200, 2560, 1440})};
  struct Case {
    const char* name;
    bool single, first_containing, left_reacts, right_reacts;
    Point p;
    int expected;  // index, or -1 for none
  };
  const Case cases[] = {
      {"single display answers everywhere", true, false, false, false, {3000, 0}, 0},
      {"selected display holds the point", false, false, false, true, {3000, 0}, 1},
      {"selected display does not hold it", false, false, false, true, {100, 100}, -1},
      {"all calibrated: first holding decides", false, true, true, true, {100, 100}, 0},
      {"all calibrated: holder not calibrated", false, true, false, true, {100, 100}, -1},
      {"all calibrated: right one", false, true, true, true, {1512, 500}, 1},
      {"outside every display", false, true, true, true, {-5, -5}, -1},
  };
  for (const Case& c : cases) {
    layout.single_display = c.single;
    layout.first_containing_decides = c.first_containing;
    layout.displays[0].reacts = c.left_reacts;
    layout.displays[1].reacts = c.right_reacts;
    const DisplayZones* found = layout.display_for(c.p);
    const int index = found ? static_cast<int>(found - layout.displays.data()) : -1;
    EXPECT_EQ(index, c.expected) << c.name;
  }
}

}  // namespace
}  // namespace kolvo::overlay
