#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "support/tray_fixture.hpp"
#include "ui/launcher_drag.hpp"

namespace kolvo::ui {
namespace {

using dock::Point;
using Kind = LauncherDrop::Kind;

// An 800 × 700 grid: cells of 100 × 100, slot 0 at the top left (x 0…100, y 600…700), slot 55
// at the bottom right. Only the listed slots hold an app.
std::vector<LauncherCell> grid(std::initializer_list<std::size_t> filled) {
  const auto frames = launcher_cell_frames(800, 700);
  std::vector<LauncherCell> cells;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const bool app = std::find(filled.begin(), filled.end(), i) != filled.end();
    cells.push_back({i, app ? "App" : "Empty", app ? "/Applications/App.app" : "", app, app, frames[i]});
  }
  return cells;
}

// The cells tile the grid: the gap between two drawn icons is still a cell, and a point on a
// shared edge belongs to exactly one of them, the one right of it or below it.
TEST(LauncherCellAt, EveryPointOfTheGridHasOneCellAndEdgesGoRightAndDown) {
  const auto cells = grid({});
  struct Case {
    const char* name;
    Point point;
    std::optional<std::size_t> cell;
  };
  const Case cases[] = {
      {"middle of the first cell", {50, 650}, 0},
      {"the grid's top-left corner", {0, 700}, 0},
      {"just left of the first vertical edge", {99.99, 650}, 0},
      {"on the first vertical edge", {100, 650}, 1},
      {"last column", {799.99, 650}, 7},
      {"right edge of the grid", {800, 650}, std::nullopt},
      {"just above the first row's lower edge", {50, 600.01}, 0},
      {"on the line between the first two rows", {50, 600}, 8},
      {"second row, second column", {150, 550}, 9},
      {"the corner shared by four cells", {100, 600}, 9},
      {"bottom-right cell", {750, 50}, 55},
      {"just above the grid's foot", {50, 0.01}, 48},
      {"on the grid's foot", {50, 0}, std::nullopt},
      {"above the grid", {50, 700.01}, std::nullopt},
      {"left of the grid", {-0.01, 650}, std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(launcher_cell_at(cells, c.point), c.cell);
  }
}

TEST(LauncherDrag, OnlyAPressOnAnAppPicksUp) {
  const auto cells = grid({0, 9});
  EXPECT_TRUE(launcher_press_picks_up(cells, {50, 650}));
  EXPECT_TRUE(launcher_press_picks_up(cells, {100, 600})) << "the corner goes to slot 9";
  EXPECT_FALSE(launcher_press_picks_up(cells, {150, 650})) << "slot 1 is empty";
  EXPECT_FALSE(launcher_press_picks_up(cells, {50, 600})) << "the edge goes to slot 8, which is empty";
  EXPECT_FALSE(launcher_press_picks_up(cells, {900, 650})) << "outside";
  EXPECT_FALSE(LauncherDrag::press(cells, {-5, 650}).has_value());
}

// A press on an app becomes a drag only once the pointer is more than 5 points away from it,
// measured as a straight line, in any direction.
TEST(LauncherDrag, TheAppIsPickedUpPastTheThresholdInAnyDirection) {
  const auto cells = grid({2});
  const Point press{250, 650};
  struct Case {
    const char* name;
    Point to;
    bool dragging;
  };
  const Case cases[] = {
      {"still", {250, 650}, false},
      {"exactly 5 right", {255, 650}, false},
      {"just past 5 right", {255.01, 650}, true},
      {"exactly 5 left", {245, 650}, false},
      {"exactly 5 down", {250, 645}, false},
      {"3 across and 4 down is 5", {253, 646}, false},
      {"4 across and 4 down is 5.7", {254, 646}, true},
      {"4.9 across and 1 up is 5.0001", {254.9, 651}, true},
      {"far into the next row", {250, 500}, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto drag = LauncherDrag::press(cells, press);
    ASSERT_TRUE(drag);
    EXPECT_EQ(drag->pressed_slot(), 2u);
    drag->move_to(c.to);
    EXPECT_EQ(drag->dragging(), c.dragging);
  }
}

TEST(LauncherDrag, APickedUpAppStaysPickedUpAndItsIconFollowsThePointer) {
  auto drag = LauncherDrag::press(grid({2}), {250, 650});
  ASSERT_TRUE(drag);
  drag->move_to({280, 610});
  ASSERT_TRUE(drag->dragging());
  EXPECT_EQ(drag->floating_frame(), (dock::Rect{230, 560, 100, 100}));
  EXPECT_EQ(drag->target(), std::nullopt) << "still over its own cell";
  drag->move_to({420, 550});
  EXPECT_EQ(drag->target(), 12u);
  EXPECT_EQ(drag->floating_frame(), (dock::Rect{370, 500, 100, 100}));
  drag->move_to({251, 650});
  EXPECT_TRUE(drag->dragging()) << "coming back within the threshold does not put it down";
  EXPECT_EQ(drag->release({251, 650}), LauncherRelease{}) << "dropped back on its own cell: nothing, and no click";
}

// What each release does, after the pointer went where the case says.
TEST(LauncherDrag, TheReleaseClicksMovesSwapsOrDoesNothing) {
  struct Case {
    const char* name;
    Point press;
    std::vector<Point> path;
    LauncherRelease release;
  };
  const LauncherRelease nothing;
  const Case cases[] = {
      {"a click on an app", {250, 650}, {{252, 648}}, {2, {}}},
      {"a click on an empty cell", {150, 650}, {{151, 650}}, {1, {}}},
      {"an empty cell's press is never a drag", {150, 650}, {{150, 300}, {151, 650}}, {1, {}}},
      {"an empty cell's press released elsewhere", {150, 650}, {{450, 350}}, nothing},
      {"a small slip off the app is no click", {202, 650}, {{198, 650}}, nothing},
      {"into an empty cell", {250, 650}, {{450, 650}}, {std::nullopt, {Kind::move, 2, 4}}},
      {"onto another app", {250, 650}, {{350, 650}}, {std::nullopt, {Kind::swap, 2, 3}}},
      {"onto the app in the last cell", {250, 650}, {{799, 1}}, {std::nullopt, {Kind::swap, 2, 55}}},
      {"from the last cell to the first", {750, 50}, {{1, 699}}, {std::nullopt, {Kind::move, 55, 0}}},
      {"on the line below an app goes to the cell under it", {250, 650}, {{350, 600}},
       {std::nullopt, {Kind::move, 2, 11}}},
      {"out of the grid", {250, 650}, {{250, 720}}, nothing},
      {"back on its own cell", {250, 650}, {{450, 650}, {260, 640}}, nothing},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto drag = LauncherDrag::press(grid({2, 3, 55}), c.press);
    ASSERT_TRUE(drag);
    for (const Point& p : c.path) drag->move_to(p);
    EXPECT_EQ(drag->release(c.path.back()), c.release);
  }
}

struct LauncherHarness : testing::TrayFixture {
  LauncherHarness() {
    auto& launcher = hidden.launcher();
    for (std::size_t slot = 0; slot < catalog::AppLauncherStore::kSlotCount; ++slot) launcher.clear(slot);
    launcher.assign(2, app("Alpha", 1));
    launcher.assign(3, app("Beta", 2));
    launcher.assign(55, app("Gamma", 3));
  }

  static catalog::KolvoAppItem app(const std::string& name, int n) {
    return {"5A1F0000-0000-4000-8000-00000000000" + std::to_string(n), name, "com.example." + name,
            "file:///Applications/" + name + ".app/"};
  }

  // Each slot's app name, "" for an empty slot.
  std::vector<std::string> names() {
    std::vector<std::string> out;
    for (const auto& slot : hidden.launcher().slots()) out.push_back(slot ? slot->name : "");
    return out;
  }
};

// A drag on the grid as drawn, applied to the store: the apps land where the drop says, no app
// is lost or doubled, and the new order is what is stored.
TEST(LauncherDrag, ADropRearrangesTheStoreAndLosesNoApp) {
  struct Case {
    const char* name;
    Point press;
    Point release;
    bool changed;
    std::vector<std::pair<std::size_t, std::string>> expected;
  };
  const Case cases[] = {
      {"move into an empty cell", {250, 650}, {450, 650}, true, {{2, ""}, {4, "Alpha"}, {3, "Beta"}, {55, "Gamma"}}},
      {"swap with a neighbour", {250, 650}, {350, 650}, true, {{2, "Beta"}, {3, "Alpha"}, {55, "Gamma"}}},
      {"swap across the grid", {750, 50}, {250, 650}, true, {{2, "Gamma"}, {55, "Alpha"}, {3, "Beta"}}},
      {"dropped outside", {250, 650}, {250, 750}, false, {{2, "Alpha"}, {3, "Beta"}, {55, "Gamma"}}},
      {"a click", {250, 650}, {251, 651}, false, {{2, "Alpha"}, {3, "Beta"}, {55, "Gamma"}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    LauncherHarness h;
    const auto before = h.names();
    int published = 0;
    auto subscription = h.hidden.launcher().observable().subscribe([&](const auto&) { ++published; });
    auto drag = LauncherDrag::press(h.tray.launcher_cells(800, 700), c.press);
    ASSERT_TRUE(drag);
    EXPECT_EQ(h.tray.drop_in_launcher(drag->release(c.release).drop), c.changed);
    EXPECT_EQ(published, c.changed ? 1 : 0);

    const auto after = h.names();
    for (const auto& [slot, name] : c.expected) EXPECT_EQ(after[slot], name) << "slot " << slot;
    EXPECT_EQ(std::multiset<std::string>(after.begin(), after.end()),
              std::multiset<std::string>(before.begin(), before.end()));

    // What is stored reads back as the same arrangement.
    catalog::AppLauncherStore reloaded(h.geometry.settings.prefs, h.geometry.desktop, h.geometry.settings.log);
    for (std::size_t slot = 0; slot < after.size(); ++slot) {
      EXPECT_EQ(reloaded.slots()[slot] ? reloaded.slots()[slot]->name : "", after[slot]) << "slot " << slot;
    }
  }
}

// The grid was drawn before the slots changed under the drag (the settings window edits them
// too): the drop still trades places and never overwrites the app now in the target.
TEST(LauncherDrag, ADropOnSlotsChangedSinceTheyWereDrawnOverwritesNothing) {
  LauncherHarness h;
  auto drag = LauncherDrag::press(h.tray.launcher_cells(800, 700), {250, 650});
  ASSERT_TRUE(drag);
  const LauncherDrop drop = drag->release({450, 650}).drop;
  ASSERT_EQ(drop, (LauncherDrop{Kind::move, 2, 4}));

  h.hidden.launcher().assign(4, LauncherHarness::app("Delta", 4));
  EXPECT_TRUE(h.tray.drop_in_launcher(drop));
  EXPECT_EQ(h.names()[2], "Delta");
  EXPECT_EQ(h.names()[4], "Alpha");

  h.hidden.launcher().clear(2);
  EXPECT_FALSE(h.tray.drop_in_launcher({Kind::move, 2, 9})) << "the app it carried is gone: nothing to move";
  EXPECT_EQ(h.names()[9], "");
  EXPECT_FALSE(h.tray.drop_in_launcher({Kind::swap, 4, 56})) << "no such slot";
  EXPECT_EQ(h.names()[4], "Alpha");
}

}  // namespace
}  // namespace kolvo::ui
