#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "shelf/timer/timer_surface_session.hpp"
#include "support/settings_fixture.hpp"

namespace kolvo::shelf {
namespace {

using C = ShelfSurfaceCommand;

// The timer and its widget over virtual time, the wall clock moving with the main loop.
struct TimerWidgetBench : testing::SettingsFixture {
  timer::KolvoTimerStore timer{prefs, executor, clock, nullptr};
  TimerSurfaceSession session{timer, executor, clock};
  std::vector<ShelfSurfaceState> sent;

  TimerWidgetBench() {
    session.set_on_state([this](const ShelfSurfaceState& s) { sent.push_back(s); });
    session.start();
  }
  void pass(double seconds) {
    for (double left = seconds; left > 1e-9; left -= 0.25) {
      const double step = std::min(left, 0.25);
      clock.time += std::chrono::duration_cast<base::WallTime::duration>(std::chrono::duration<double>(step));
      executor.advance_seconds(step);
    }
  }
  void command(ShelfCommand c) {
    session.handle(c);
    executor.run_pending();
  }
  const ShelfSurfaceState& last() const { return sent.back(); }
};

TEST(TimerSurfaceSession, ShowsTheChosenMinutesAsADurationWithAnUnlockedSlider) {
  TimerWidgetBench bench;
  ASSERT_EQ(bench.sent.size(), 1u);
  const auto& state = bench.last();
  EXPECT_TRUE(state.available);
  EXPECT_EQ(state.title, "Timer");
  EXPECT_FALSE(state.is_playing);
  EXPECT_EQ(state.duration, 600.0);
  EXPECT_EQ(state.position, 0.0);
  ASSERT_TRUE(state.continuous_control);
  EXPECT_EQ(state.continuous_control->id, "timer.minutes");
  EXPECT_EQ(state.continuous_control->label, "Minutes");
  EXPECT_EQ(state.continuous_control->detail, "10 MIN");
  EXPECT_EQ(state.continuous_control->value, 10.0);
  EXPECT_EQ(state.continuous_control->minimum, 1.0);
  EXPECT_EQ(state.continuous_control->maximum, 60.0);
  EXPECT_EQ(state.continuous_control->blocked_reason, std::nullopt);
  EXPECT_EQ(state.artist, std::nullopt);
  EXPECT_EQ(state.agent_activity, std::nullopt);
}

TEST(TimerSurfaceSession, EachTransitionSendsOneStateAndTicksSendNone) {
  TimerWidgetBench bench;
  bench.command({.command = C::setContinuous, .value = 2, .control_id = "timer.minutes"});
  ASSERT_EQ(bench.sent.size(), 2u);
  EXPECT_EQ(bench.last().duration, 120.0);

  bench.command({.command = C::playPause});
  ASSERT_EQ(bench.sent.size(), 3u);
  EXPECT_TRUE(bench.last().is_playing);
  EXPECT_EQ(bench.last().position, 0.0);
  EXPECT_EQ(bench.last().continuous_control->blocked_reason, "Stop the timer to change it");

  bench.pass(60);
  EXPECT_EQ(bench.sent.size(), 3u) << "the phone advances the playhead itself";
  // The slider is locked while running.
  bench.command({.command = C::setContinuous, .value = 30});
  bench.command({.command = C::next});
  EXPECT_EQ(bench.timer.selected_minutes().get(), 2);
  EXPECT_EQ(bench.sent.size(), 3u);

  bench.pass(61);
  // The end: stopped and presenting the completion, at the full duration, in one state.
  ASSERT_EQ(bench.sent.size(), 4u);
  EXPECT_FALSE(bench.last().is_playing);
  EXPECT_EQ(bench.last().position, 120.0);
  bench.pass(2);
  ASSERT_EQ(bench.sent.size(), 5u);
  EXPECT_EQ(bench.last().position, 0.0);
}

TEST(TimerSurfaceSession, AJumpOfTheClockWhileRunningNeedsNoState) {
  TimerWidgetBench bench;
  bench.command({.command = C::playPause});
  const auto sent = bench.sent.size();
  // The Mac slept: the wall clock moved on without the main loop. The elapsed time still
  // matches what the phone reckons from the last state's time stamp.
  bench.clock.time += std::chrono::seconds(100);
  bench.pass(1);
  EXPECT_EQ(bench.sent.size(), sent);
  EXPECT_EQ(bench.timer.remaining_seconds().get(), 499);
}

// The state is built when the main loop gets to it; if that is late (a busy or sleeping main
// loop), the elapsed time it carries no longer matches what the phone extrapolates from its time
// stamp, and the phone is corrected.
TEST(TimerSurfaceSession, AnElapsedTimeThatStraysFromThePhonesIsSent) {
  TimerWidgetBench bench;
  bench.command({.command = C::playPause});
  bench.pass(10);
  const auto sent = bench.sent.size();
  bench.timer.remaining_seconds().publish();
  bench.clock.time += std::chrono::milliseconds(900);
  bench.executor.run_pending();
  EXPECT_EQ(bench.sent.size(), sent) << "under a second off is left to the phone";
  bench.timer.remaining_seconds().publish();
  bench.clock.time += std::chrono::seconds(5);
  bench.executor.run_pending();
  ASSERT_EQ(bench.sent.size(), sent + 1);
  EXPECT_EQ(bench.last().position, 10.0);
}

TEST(TimerSurfaceSession, CommandsFromThePhone) {
  struct Case {
    const char* name;
    std::vector<ShelfCommand> commands;
    int minutes;
    bool running;
  };
  const Case cases[] = {
      {"slider sets minutes", {{.command = C::setContinuous, .value = 25}}, 25, false},
      {"slider clamps low", {{.command = C::setContinuous, .value = 0}}, 1, false},
      {"slider clamps high", {{.command = C::setContinuous, .value = 500}}, 60, false},
      {"slider rounds", {{.command = C::setContinuous, .value = 7.6}}, 8, false},
      {"non-finite ignored", {{.command = C::setContinuous, .value = std::numeric_limits<double>::quiet_NaN()}}, 10, false},
      {"missing value ignored", {{.command = C::setContinuous}}, 10, false},
      {"another slider ignored", {{.command = C::setContinuous, .value = 5, .control_id = "volume"}}, 10, false},
      {"next", {{.command = C::next}, {.command = C::next}}, 12, false},
      {"previous", {{.command = C::previous}}, 9, false},
      {"previous stops at 1", {{.command = C::setContinuous, .value = 1}, {.command = C::previous}}, 1, false},
      {"next stops at 60", {{.command = C::setContinuous, .value = 60}, {.command = C::next}}, 60, false},
      {"play", {{.command = C::playPause}}, 10, true},
      {"play then pause", {{.command = C::playPause}, {.command = C::playPause}}, 10, false},
      {"others ignored", {{.command = C::seek, .value = 5}, {.command = C::setVolume, .value = 5}, {.command = C::endContinuous}}, 10, false},
  };
  for (const auto& c : cases) {
    TimerWidgetBench bench;
    for (const auto& command : c.commands) bench.command(command);
    EXPECT_EQ(bench.timer.selected_minutes().get(), c.minutes) << c.name;
    EXPECT_EQ(bench.timer.is_running().get(), c.running) << c.name;
    EXPECT_EQ(bench.last().is_playing, c.running) << c.name;
    EXPECT_EQ(bench.last().continuous_control->value, c.minutes) << c.name;
  }
}

TEST(TimerSurfaceSession, DismissEndsTheCompletionEarlyAndStopSilencesTheWidget) {
  TimerWidgetBench bench;
  bench.command({.command = C::setContinuous, .value = 1});
  bench.command({.command = C::playPause});
  bench.pass(60.5);
  ASSERT_TRUE(bench.timer.is_presenting_completion().get());
  EXPECT_EQ(bench.last().position, 60.0);
  bench.command({.command = C::dismiss});
  EXPECT_FALSE(bench.timer.is_presenting_completion().get());
  EXPECT_EQ(bench.last().position, 0.0);

  bench.session.stop();
  const auto sent = bench.sent.size();
  bench.timer.start();
  bench.command({.command = C::playPause});
  bench.executor.run_pending();
  EXPECT_EQ(bench.sent.size(), sent);
  EXPECT_TRUE(bench.timer.is_running().get()) << "a stopped widget carries out no command";

  // A refresh of a running widget always sends.
  bench.session.start();
  bench.session.refresh();
  EXPECT_EQ(bench.sent.size(), sent + 2);
}

}  // namespace
}  // namespace kolvo::shelf
