#include <gtest/gtest.h>

#include <cmath>

#include "overlay/dock_expansion_gesture.hpp"

namespace kolvo::overlay {
namespace {

using Kind = GestureEvent::Kind;

struct Recorder {
  double progress = 0;
  bool scroll_allowed = true;
  std::vector<double> progresses;
  std::vector<std::pair<bool, double>> commits;

  DockExpansionGesture gesture() {
    return {[this](double p) { progresses.push_back(progress = p); },
            [this](bool expand, double velocity) { commits.emplace_back(expand, velocity); },
            [this] { return progress; }, [this] { return scroll_allowed; }, {}};
  }
};

GestureEvent at(Kind kind, double y, double t) { return {kind, true, {100, y}, t, 0, 0, false}; }
GestureEvent scroll(double dy, double dx = 0, bool precise = true) { return {Kind::scroll, true, {}, 0, dx, dy, precise}; }

TEST(DockExpansion, ClicksAndWobblesWithinTheSlopPassThrough) {
  Recorder r;
  DockExpansionCoordinator c(r.gesture());
  EXPECT_EQ(c.handle(at(Kind::mouse_down, 50, 0)), EventDisposition::pass);
  EXPECT_EQ(c.handle(at(Kind::mouse_dragged, 58, 0.01)), EventDisposition::pass);
  EXPECT_EQ(c.handle(at(Kind::mouse_dragged, 42, 0.02)), EventDisposition::pass);
  EXPECT_EQ(c.handle(at(Kind::mouse_up, 42, 0.03)), EventDisposition::pass);
  EXPECT_TRUE(r.progresses.empty());
  EXPECT_TRUE(r.commits.empty());
  GestureEvent elsewhere = at(Kind::mouse_down, 50, 0);
  elsewhere.in_anchor_window = false;
  EXPECT_EQ(c.handle(elsewhere), EventDisposition::pass);
}

TEST(DockExpansion, ProgressEasesOutOverA108PointPull) {
  struct Case {
    double dy;
    double progress;
  };
  const std::vector<Case> cases = {{9, 1 - std::pow(0.99, 1.8)}, {58, 1 - std::pow(0.5, 1.8)}, {108, 1}, {300, 1}, {-50, 0}};
  for (const Case& k : cases) {
    Recorder r;
    DockExpansionCoordinator c(r.gesture());
    c.handle(at(Kind::mouse_down, 0, 0));
    EXPECT_EQ(c.handle(at(Kind::mouse_dragged, k.dy, 0.5)), EventDisposition::consume) << k.dy;
    EXPECT_NEAR(r.progresses.back(), k.progress, 1e-12) << k.dy;
  }
  // Pushing down from the expanded launcher collapses it by the same curve.
  Recorder r;
  r.progress = 1;
  DockExpansionCoordinator c(r.gesture());
  c.handle(at(Kind::mouse_down, 300, 0));
  c.handle(at(Kind::mouse_dragged, 242, 0.5));
  EXPECT_NEAR(r.progresses.back(), std::pow(0.5, 1.8), 1e-12);
}

TEST(DockExpansion, ReleaseDecidesByFlickOrByTheThreshold) {
  struct Case {
    double progress;
    double velocity;
    bool expand;
  };
  const std::vector<Case> cases = {{0.34, 100, false}, {0.35, 100, true}, {0.9, -300, false},
                                   {0.05, 300, true},  {0.6, -250, true}, {0.2, 270, true}};
  for (const Case& k : cases) {
    Recorder r;
    DockExpansionCoordinator c(r.gesture());
    c.handle(at(Kind::mouse_down, 0, 0));
    // Drags far enough to claim, then samples that settle the smoothed velocity on k.velocity.
    c.handle(at(Kind::mouse_dragged, 20, 0.1));
    double y = 20;
    double t = 0.1;
    for (int i = 0; i < 60; ++i) {
      y += k.velocity * 0.01;
      t += 0.01;
      c.handle(at(Kind::mouse_dragged, y, t));
    }
    r.progress = k.progress;  // what the host shows at release
    EXPECT_EQ(c.handle(at(Kind::mouse_up, y, t)), EventDisposition::consume);
    ASSERT_EQ(r.commits.size(), 1u);
    EXPECT_EQ(r.commits[0].first, k.expand) << k.progress << " at " << k.velocity;
    EXPECT_NEAR(r.commits[0].second, k.velocity, 0.5);
  }
}

TEST(DockExpansion, ScrollDeadZoneStepAndCommits) {
  Recorder r;
  DockExpansionCoordinator c(r.gesture());
  for (int i = 0; i < 16; ++i) EXPECT_EQ(c.handle(scroll(1)), EventDisposition::consume);
  EXPECT_TRUE(r.progresses.empty());
  c.handle(scroll(1));  // the 17th point
  ASSERT_EQ(r.progresses.size(), 1u);
  EXPECT_NEAR(r.progresses[0], 1.0 / 150, 1e-12);

  c.handle(scroll(400));
  EXPECT_EQ(r.progresses.back(), 1);
  EXPECT_EQ(r.commits.back(), (std::pair<bool, double>{true, 0}));
  c.handle(scroll(-500));
  EXPECT_EQ(r.progresses.back(), 0);
  EXPECT_EQ(r.commits.back(), (std::pair<bool, double>{false, 0}));

  EXPECT_EQ(c.handle(scroll(5, 10)), EventDisposition::pass);    // horizontal-dominant
  EXPECT_EQ(c.handle(scroll(30, 0, false)), EventDisposition::pass);  // a wheel, not a trackpad
  r.scroll_allowed = false;
  r.progress = 0;
  EXPECT_EQ(c.handle(scroll(30)), EventDisposition::pass);  // collapsed and not allowed: untouched
  r.progress = 0.5;
  EXPECT_EQ(c.handle(scroll(30)), EventDisposition::consume);  // already expanding: allowed
}

// An app picked up in the open launcher is dragged by the launcher; the gesture must not also
// push the launcher shut under it. Presses anywhere else still pull and push as before.
TEST(DockExpansion, APressTakenByTheContentLeavesTheWholeDragAlone) {
  Recorder r;
  r.progress = 1;
  DockExpansionGesture gesture = r.gesture();
  gesture.press_taken_by_content = [](dock::Point p) { return p.y > 100; };
  DockExpansionCoordinator c(std::move(gesture));

  struct Step {
    Kind kind;
    double y;
    EventDisposition disposition;
    std::size_t progresses;
  };
  const Step steps[] = {
      // A press on an app: down, a long drag down and the release all reach the launcher.
      {Kind::mouse_down, 300, EventDisposition::pass, 0},
      {Kind::mouse_dragged, 200, EventDisposition::pass, 0},
      {Kind::mouse_dragged, 150, EventDisposition::pass, 0},
      {Kind::mouse_up, 150, EventDisposition::pass, 0},
      // A press on the tray's row still pushes the launcher down.
      {Kind::mouse_down, 60, EventDisposition::pass, 0},
      {Kind::mouse_dragged, 30, EventDisposition::consume, 1},
      // A press on an app while that drag was never released forgets the drag.
      {Kind::mouse_down, 300, EventDisposition::pass, 1},
      {Kind::mouse_dragged, 250, EventDisposition::pass, 1},
      {Kind::mouse_up, 250, EventDisposition::pass, 1},
  };
  double t = 0;
  for (const Step& step : steps) {
    SCOPED_TRACE(testing::Message() << "step at y " << step.y);
    EXPECT_EQ(c.handle(at(step.kind, step.y, t += 0.05)), step.disposition);
    EXPECT_EQ(r.progresses.size(), step.progresses);
  }
  EXPECT_TRUE(r.commits.empty());
}

}  // namespace
}  // namespace kolvo::overlay
