#include <gtest/gtest.h>

#include "controls/window_snap_controller.hpp"
#include "platform/sim/simulated_desktop.hpp"
#include "platform/sim/simulated_mac.hpp"

namespace kolvo::controls {
namespace {

using dock::Rect;
using sim::SimulatedApplicationState;
using sim::SimulatedWindow;
using L = WindowLayout;

constexpr std::int64_t kSafari = 102;
// The built-in display's visible frame, seen from the top-left: a 37-point menu bar above and
// a 70-point Dock below on a 1512 × 982 screen.
constexpr Rect kVisible{0, 37, 1512, 875};

void expect_near(const Rect& actual, const Rect& expected, const std::string& what) {
  EXPECT_NEAR(actual.x, expected.x, 1e-9) << what;
  EXPECT_NEAR(actual.y, expected.y, 1e-9) << what;
  EXPECT_NEAR(actual.width, expected.width, 1e-9) << what;
  EXPECT_NEAR(actual.height, expected.height, 1e-9) << what;
}

SimulatedWindow window(Rect frame, std::optional<std::string> subrole = "AXStandardWindow") {
  SimulatedWindow w;
  w.title = "Document";
  w.frame = frame;
  w.subrole = std::move(subrole);
  return w;
}

TEST(SnapTarget, PlacesEveryLayoutInTheVisibleFrame) {
  const std::pair<L, Rect> cases[] = {
      {L::leftHalf, {0, 37, 756, 875}},          {L::rightHalf, {756, 37, 756, 875}},
      {L::maximize, kVisible},                   {L::topHalf, {0, 37, 1512, 437.5}},
      {L::bottomHalf, {0, 474.5, 1512, 437.5}},  {L::topLeft, {0, 37, 756, 437.5}},
      {L::topRight, {756, 37, 756, 437.5}},      {L::bottomLeft, {0, 474.5, 756, 437.5}},
      {L::bottomRight, {756, 474.5, 756, 437.5}}, {L::center, {302.4, 159.5, 907.2, 630}},
  };
  for (const auto& [layout, expected] : cases) {
    expect_near(snap_target(layout, kVisible, std::nullopt), expected,
                std::string(kWindowLayoutTable.to_string(layout)));
  }
  // Only `center` looks at the remembered frame, and only when it is still on this screen.
  const Rect remembered{100, 100, 400, 300};
  EXPECT_EQ(snap_target(L::center, kVisible, remembered), remembered);
  EXPECT_EQ(snap_target(L::leftHalf, kVisible, remembered), (Rect{0, 37, 756, 875}));
  EXPECT_EQ(snap_target(L::center, kVisible, Rect{2000, 100, 400, 300}).width, 1512 * 0.6);
}

TEST(VisibleFrameForWindow, FollowsTheWindowsCentreAcrossDisplays) {
  // A second display to the right, taller than the primary, so its top is above the primary's.
  std::vector<dock::ScreenInfo> screens(2);
  screens[0].frame = {0, 0, 1512, 982};
  screens[0].visible_frame = {0, 70, 1512, 875};
  screens[1].frame = {1512, 0, 1920, 1080};
  screens[1].visible_frame = {1512, 0, 1920, 1055};
  const Rect second_visible{1512, -73, 1920, 1055};
  const std::pair<Rect, Rect> cases[] = {
      {{200, 120, 1000, 700}, kVisible},
      {{1400, 100, 800, 500}, second_visible},   // centre on the second display
      {{3300, -90, 400, 300}, second_visible},   // centre off every display, overlapping the second
      {{9000, 9000, 400, 300}, kVisible},        // nowhere near: the primary
  };
  for (const auto& [frame, expected] : cases) {
    EXPECT_EQ(visible_frame_for_window(screens, frame), expected) << dock::describe(frame);
  }
  EXPECT_FALSE(visible_frame_for_window({}, Rect{0, 0, 10, 10}));
}

struct SnapBench {
  sim::SimulatedMac mac;
  sim::SimulatedDesktop desktop{sim::SimulatedLayout::built_in()};
  WindowSnapController snapper{mac, desktop, desktop, sim::SimulatedDesktop::kOwnPid};

  SimulatedApplicationState& safari() { return *desktop.application_state(kSafari); }
  Rect frame(std::size_t index = 0) { return safari().windows.at(index).frame; }
};

TEST(WindowSnapController, MovesOnlyWindowsItMay) {
  struct Case {
    const char* name;
    void (*arrange)(SnapBench&);
    std::int64_t pid;
    bool snapped;
  };
  const Case cases[] = {
      {"a standard window", [](SnapBench&) {}, kSafari, true},
      {"this process", [](SnapBench&) {}, sim::SimulatedDesktop::kOwnPid, false},
      {"no such process", [](SnapBench&) {}, 4242, false},
      {"a wide id whose low bits name a window's process", [](SnapBench&) {}, (std::int64_t{1} << 32) + kSafari, false},
      {"a wide id whose low bits name this process", [](SnapBench&) {},
       (std::int64_t{1} << 32) + sim::SimulatedDesktop::kOwnPid, false},
      {"a negative id", [](SnapBench&) {}, -kSafari, false},
      {"not trusted", [](SnapBench& b) { b.mac.set_accessibility_trusted(false); }, kSafari, false},
      {"full screen", [](SnapBench& b) { b.safari().windows[0].full_screen = true; }, kSafari, false},
      {"no windows", [](SnapBench& b) { b.safari() = SimulatedApplicationState{}; }, kSafari, false},
      {"only a panel", [](SnapBench& b) { b.safari().windows[0].subrole = "AXFloatingWindow"; }, kSafari, false},
      {"lands after one retry", [](SnapBench& b) { b.safari().windows[0].lagging_moves = 1; }, kSafari, true},
      {"still wrong after the retry", [](SnapBench& b) { b.safari().windows[0].lagging_moves = 2; }, kSafari, false},
  };
  for (const Case& c : cases) {
    SnapBench bench;
    c.arrange(bench);
    EXPECT_EQ(bench.snapper.snap(L::leftHalf, c.pid), c.snapped) << c.name;
    if (c.snapped) {
      EXPECT_EQ(bench.frame(), (Rect{0, 37, 756, 875})) << c.name;
    }
  }
}

TEST(WindowSnapController, PicksTheFocusedThenMainThenFirstOrdinaryWindow) {
  struct Case {
    const char* name;
    std::optional<std::size_t> focused, main;
    std::size_t moved;
  };
  const Case cases[] = {
      {"focused standard window", 1, 2, 1},
      {"focused dialog, main window", 0, 2, 2},
      {"neither: first standard window not in full screen", 0, std::nullopt, 3},
  };
  for (const Case& c : cases) {
    SnapBench bench;
    auto& app = bench.safari();
    app.windows = {window({10, 100, 300, 200}, "AXDialog"), window({20, 100, 300, 200}),
                   window({30, 100, 300, 200}), window({40, 100, 300, 200})};
    app.windows[1].full_screen = !c.focused || *c.focused != 1;
    app.windows[2].full_screen = false;
    app.focused_window = c.focused;
    app.main_window = c.main;
    if (!c.main) app.windows[2].subrole = "AXSystemDialog";
    ASSERT_TRUE(bench.snapper.snap(L::topLeft, kSafari)) << c.name;
    for (std::size_t i = 0; i < app.windows.size(); ++i) {
      EXPECT_EQ(app.windows[i].frame == (Rect{0, 37, 756, 437.5}), i == c.moved) << c.name << " window " << i;
    }
  }
}

TEST(WindowSnapController, CenterRestoresTheFrameFromBeforeTheFirstSnap) {
  SnapBench bench;
  const Rect original = bench.frame();
  ASSERT_TRUE(bench.snapper.snap(L::center, kSafari));
  EXPECT_EQ(bench.frame(), original) << "the remembered frame is the window's own, still on screen";

  SnapBench fresh;
  fresh.safari().windows[0].frame = {-3000, 100, 800, 600};  // left behind on a display now gone
  ASSERT_TRUE(fresh.snapper.snap(L::center, kSafari));
  expect_near(fresh.frame(), Rect{302.4, 159.5, 907.2, 630}, "centred");

  ASSERT_TRUE(bench.snapper.snap(L::leftHalf, kSafari));
  ASSERT_TRUE(bench.snapper.snap(L::bottomRight, kSafari));
  ASSERT_TRUE(bench.snapper.snap(L::center, kSafari));
  EXPECT_EQ(bench.frame(), original);
  EXPECT_EQ(bench.snapper.pre_snap_frames().at(kSafari), original);
}

TEST(WindowSnapController, AWindowThatRefusesTheSizeStillCountsWhenItLandsAtTheOrigin) {
  SnapBench bench;
  bench.safari().windows[0].max_size = AXSize{600, 400};
  ASSERT_TRUE(bench.snapper.snap(L::maximize, kSafari));
  EXPECT_EQ(bench.frame(), (Rect{0, 37, 600, 400}));
}

TEST(WindowSnapController, PausesTheEnhancedInterfaceAndPutsItBack) {
  for (const bool enhanced : {false, true}) {
    SnapBench bench;
    bench.safari().enhanced_user_interface = enhanced;
    ASSERT_TRUE(bench.snapper.snap(L::rightHalf, kSafari)) << enhanced;
    EXPECT_EQ(bench.frame(), (Rect{756, 37, 756, 875})) << enhanced;
    EXPECT_EQ(bench.safari().enhanced_user_interface, enhanced);
  }
}

}  // namespace
}  // namespace kolvo::controls
