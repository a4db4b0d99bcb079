#include <gtest/gtest.h>

#include "app/runtime.hpp"
#include "base/manual_executor.hpp"
#include "support/settings_fixture.hpp"
#include "support/simulated_ports.hpp"
#include "ui/control_panel_model.hpp"

namespace kolvo::ui {
namespace {

using prefs::CornerControlMode;

// The panels' model over a whole runtime on the simulated Mac.
struct PanelHarness {
  PanelHarness()
      : machine(std::make_shared<testing::SimulatedMachine>()),
        runtime(testing::simulated_ports(machine), executor, clock, {.mode = app::Runtime::Mode::live, .log_mirror = {}}),
        model(runtime.controls(), runtime.settings().sound_effects(), [] { return std::optional<std::int64_t>(); }) {}

  std::size_t clicks() const { return machine->mac.sound_plays().size(); }

  base::ManualExecutor executor;
  testing::FixedWallClock clock;
  std::shared_ptr<testing::SimulatedMachine> machine;
  app::Runtime runtime;
  ControlPanelModel model;
};

// A drag clicks when it reaches another sixteenth, whichever way, and a turn moves by sixteenths.
TEST(ControlPanelModel, LevelsMoveByDetentsAndClickOncePerDetentCrossed) {
  struct Case {
    const char* name;
    CornerControlMode mode;
    double from;
    double to;
    bool clicks;
  };
  const Case cases[] = {
      {"volume up three detents", CornerControlMode::volume, 0.5, 0.5 + 3.0 / 16, true},
      {"volume within one detent", CornerControlMode::volume, 0.5, 0.53, false},
      {"volume down into the detent below", CornerControlMode::volume, 0.5, 0.49, true},
      {"brightness down to zero", CornerControlMode::brightness, 0.25, 0.0, true},
      {"past the top clamps", CornerControlMode::volume, 0.875, 7.0, true},
      {"not a number changes nothing", CornerControlMode::volume, 0.5, std::nan(""), false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    PanelHarness h;
    h.model.set_level(c.mode, c.from);
    // Sounds closer than the detent interval are dropped; each case starts after a pause.
    h.executor.advance_seconds(1);
    const std::size_t before = h.clicks();
    h.model.set_level(c.mode, c.to);
    EXPECT_EQ(h.clicks() - before, c.clicks ? 1u : 0u);
    const double expected = std::isfinite(c.to) ? std::clamp(c.to, 0.0, 1.0) : c.from;
    ASSERT_TRUE(h.model.face(c.mode).level.has_value());
    EXPECT_NEAR(*h.model.face(c.mode).level, expected, 1e-6);
  }

  PanelHarness h;
  h.model.set_level(CornerControlMode::volume, 0.5);
  h.model.turn(CornerControlMode::volume, -2);
  EXPECT_NEAR(*h.model.face(CornerControlMode::volume).level, 0.375, 1e-6);
  EXPECT_EQ(h.model.face(CornerControlMode::volume).detail, "38%");
}

TEST(ControlPanelModel, PressesActOnTheMac) {
  PanelHarness h;
  auto& mac = h.machine->mac;
  const bool dark = mac.is_dark();
  h.model.press(CornerControlMode::appearance);
  EXPECT_EQ(mac.is_dark(), !dark);
  EXPECT_EQ(h.model.face(CornerControlMode::appearance).detail, dark ? "Light" : "Dark");

  const bool playing = mac.media_playing();
  h.model.press(CornerControlMode::playPause);
  EXPECT_EQ(mac.media_playing(), !playing);

  const bool shown = mac.desktop_shown();
  h.model.press(CornerControlMode::showDesktop);
  EXPECT_EQ(mac.desktop_shown(), !shown);

  ASSERT_GE(mac.audio_devices().size(), 2u);
  const std::string first = h.model.face(CornerControlMode::audioOutput).detail;
  h.model.turn(CornerControlMode::audioOutput, 1);
  const std::string second = h.model.face(CornerControlMode::audioOutput).detail;
  EXPECT_NE(second, first);
  h.model.turn(CornerControlMode::audioOutput, -1);
  EXPECT_EQ(h.model.face(CornerControlMode::audioOutput).detail, first) << "turning back returns to it";

  EXPECT_FALSE(h.runtime.controls().timer().is_running().get());
  h.model.press(CornerControlMode::timer);
  EXPECT_TRUE(h.runtime.controls().timer().is_running().get());
  EXPECT_EQ(h.model.face(CornerControlMode::timer).detail, h.runtime.controls().timer().dial_label());
  h.model.press(CornerControlMode::timer);
  EXPECT_FALSE(h.runtime.controls().timer().is_running().get());

  for (const auto edge : {prefs::EdgeMode::volume, prefs::EdgeMode::brightness, prefs::EdgeMode::appearance}) {
    EXPECT_EQ(std::string(prefs::to_string(control_of(edge))), std::string(prefs::to_string(edge)));
  }
  EXPECT_EQ(control_of(prefs::EdgeMode::dock), CornerControlMode::off);
}

}  // namespace
}  // namespace kolvo::ui
