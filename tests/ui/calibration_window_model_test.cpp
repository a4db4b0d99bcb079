#include <gtest/gtest.h>

#include "support/dock_fixture.hpp"
#include "ui/calibration_window_model.hpp"

namespace kolvo::ui {
namespace {

using dock::Rect;
using testing::external_right;
using testing::laptop_screen;

struct CalibrationHarness {
  CalibrationHarness() : geometry(testing::layout_of({laptop_screen(), external_right()})) {}

  std::unique_ptr<CalibrationWindowModel> open(const dock::ScreenInfo& screen) {
    auto model = std::make_unique<CalibrationWindowModel>(*geometry.services, geometry.settings.clock,
                                                          [this] { ++completions; });
    model->open(screen);
    return model;
  }
  bool logged(std::string_view line) const {
    for (const auto& l : geometry.settings.log.lines()) {
      if (l.find(line) != std::string::npos) return true;
    }
    return false;
  }

  testing::GeometryFixture geometry;
  int completions = 0;
};

TEST(CalibrationWindowModel, OpensOnTheSavedCalibrationOrElseTheEstimate) {
  CalibrationHarness h;
  const auto estimate = dock::detect_uncalibrated(laptop_screen(), h.geometry.services->environment().dock_preferences());
  auto model = h.open(laptop_screen());
  EXPECT_TRUE(model->is_open());
  EXPECT_EQ(model->box(), estimate.dock_rect);
  EXPECT_TRUE(h.logged("✅ Calibration window opened for 'Built-in Retina Display'"));
  EXPECT_TRUE(h.logged("✅ Calibration session began: "));
  model->cancel();

  h.geometry.services->save_calibration(external_right(), {2600, -200, 700.4, 69.5}, dock::DockPosition::bottom);
  auto studio = h.open(external_right());
  EXPECT_EQ(studio->box(), (Rect{2600, -200, 700.4, 69.5}));
  // "%.0f" in the C locale: halves go to even, as printf does.
  EXPECT_EQ(studio->numbers_text(), "x: 2600  y: -200  w: 700  h: 70");
}

// A drag never leaves the box partly off its display or smaller than a Dock can be, and the
// Dock's edge follows the side the box is nearest.
TEST(CalibrationWindowModel, ProposedBoxesStayWholeOnTheDisplay) {
  struct Case {
    const char* name;
    Rect proposed;
    Rect kept;
    dock::DockPosition position;
  };
  const Case cases[] = {
      {"inside, at the bottom", {400, 0, 700, 70}, {400, 0, 700, 70}, dock::DockPosition::bottom},
      {"past the right edge", {1200, 4, 700, 70}, {812, 4, 700, 70}, dock::DockPosition::bottom},
      {"below the display", {400, -50, 700, 70}, {400, 0, 700, 70}, dock::DockPosition::bottom},
      {"thinner than a Dock", {400, 0, 700, 3}, {400, 0, 700, 16}, dock::DockPosition::bottom},
      {"negative size", {400, 0, -700, -70}, {400, 0, 16, 16}, dock::DockPosition::bottom},
      {"larger than the display", {-100, -100, 5000, 5000}, {0, 0, 1512, 982}, dock::DockPosition::bottom},
      {"down the left edge", {0, 200, 70, 600}, {0, 200, 70, 600}, dock::DockPosition::left},
      {"down the right edge", {1442, 200, 70, 600}, {1442, 200, 70, 600}, dock::DockPosition::right},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CalibrationHarness h;
    auto model = h.open(laptop_screen());
    model->propose_box(c.proposed);
    EXPECT_EQ(model->box(), c.kept) << dock::describe(model->box());
    EXPECT_EQ(h.geometry.services->session().dock_position(), c.position);
  }
}

TEST(CalibrationWindowModel, SaveStoresTheBoxAndCancelLeavesEverything) {
  CalibrationHarness h;
  {
    auto model = h.open(laptop_screen());
    model->propose_box({380, 4, 752, 66});
    model->save();
    EXPECT_FALSE(model->is_open());
    EXPECT_EQ(h.completions, 1);
    const auto saved = h.geometry.services->store().calibration_for_screen(laptop_screen());
    ASSERT_TRUE(saved.has_value());
    EXPECT_EQ(saved->dock_rect, (Rect{380, 4, 752, 66}));
    EXPECT_TRUE(h.logged("✅ Saved calibration for 'Built-in Retina Display'"));
    // The zones now take the calibration, not the box.
    const auto detected = h.geometry.services->cache().detect(laptop_screen());
    EXPECT_EQ(detected.dock_rect, (Rect{380, 4, 752, 66}));
    EXPECT_EQ(detected.source, dock::DockRectSource::calibration);
    // Once closed, the buttons do nothing more.
    model->save();
    model->cancel();
    model->propose_box({0, 0, 100, 100});
    EXPECT_EQ(h.completions, 1);
  }
  {
    auto model = h.open(laptop_screen());
    EXPECT_EQ(model->box(), (Rect{380, 4, 752, 66}));
    model->propose_box({100, 0, 300, 40});
    model->reset_to_estimate();
    EXPECT_TRUE(h.logged("✅ Calibration reset to estimate: "));
    model->cancel();
    EXPECT_EQ(h.completions, 2);
    EXPECT_TRUE(h.logged("✅ Calibration cancelled"));
    EXPECT_EQ(h.geometry.services->store().calibration_for_screen(laptop_screen())->dock_rect, (Rect{380, 4, 752, 66}));
  }
}

}  // namespace
}  // namespace kolvo::ui
