#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "prefs/settings_keys.hpp"
#include "support/settings_fixture.hpp"
#include "timer/timer_store.hpp"

namespace kolvo::timer {
namespace {

using prefs::PreferenceValue;
namespace keys = prefs::keys;

// Virtual time for the main loop and the wall clock together, as they move on a real Mac.
// `quit` and `relaunch` stand for the program stopping and starting over on the same domain.
struct TimerBench : testing::SettingsFixture {
  std::unique_ptr<KolvoTimerStore> timer;
  int reveals = 0;

  explicit TimerBench(std::map<std::string, PreferenceValue> stored = {}) : SettingsFixture(std::move(stored)) {
    relaunch();
  }
  void relaunch() {
    timer = std::make_unique<KolvoTimerStore>(prefs, executor, clock, &settings->sound_effects());
    timer->set_on_completion_reveal([this] { ++reveals; });
  }
  void quit() { timer.reset(); }
  void pass(double seconds) {
    // In small steps, so the wall clock and the executor never disagree by more than a tick.
    for (double left = seconds; left > 1e-9; left -= 0.25) {
      const double step = std::min(left, 0.25);
      clock.time += std::chrono::duration_cast<base::WallTime::duration>(std::chrono::duration<double>(step));
      executor.advance_seconds(step);
    }
  }
  void pass_while_not_running(double seconds) {
    clock.time += std::chrono::duration_cast<base::WallTime::duration>(std::chrono::duration<double>(seconds));
  }
  double stored_end() const { return *prefs.value(keys::kTimerEndDate)->get_if<double>(); }
  double now_1970() const { return base::seconds_since_1970(clock.time); }
};

TEST(KolvoTimerStore, StartsFromTheStoredMinutes) {
  const std::pair<std::optional<PreferenceValue>, int> cases[] = {
      {std::nullopt, 10}, {PreferenceValue(0), 10},  {PreferenceValue(-4), 10},   {PreferenceValue(25), 25},
      {PreferenceValue(60), 60}, {PreferenceValue(90), 60}, {PreferenceValue("25"), 10}, {PreferenceValue(true), 10},
  };
  for (const auto& [stored, minutes] : cases) {
    std::map<std::string, PreferenceValue> values;
    if (stored) values.emplace(keys::kTimerSelectedMinutes, *stored);
    TimerBench bench(values);
    EXPECT_EQ(bench.timer->selected_minutes().get(), minutes) << (stored ? describe(*stored) : "absent");
    EXPECT_EQ(bench.timer->dial_label(), std::to_string(minutes) + " MIN");
    // Nothing was running, and the stopped state is what is stored now.
    EXPECT_EQ(bench.prefs.value(keys::kTimerRunning), PreferenceValue(false));
    EXPECT_FALSE(bench.prefs.value(keys::kTimerEndDate));
  }
}

TEST(KolvoTimerStore, TheDialSetsWholeMinutesOnlyWhileStopped) {
  struct Case {
    double dial;
    int minutes;
    bool changed;
  };
  const Case cases[] = {{0.5, 30, true}, {0.0, 0, true}, {-3.0, 0, true}, {2.0, 60, true},
                        {1.0 / 6.0, 10, false}, {0.509, 31, true}, {0.508, 30, true}};
  for (const Case& c : cases) {
    TimerBench bench;
    EXPECT_EQ(bench.timer->set_minutes_from_dial(c.dial), c.changed) << c.dial;
    EXPECT_EQ(bench.timer->selected_minutes().get(), c.minutes) << c.dial;
    EXPECT_DOUBLE_EQ(bench.timer->dial_value(), c.minutes / 60.0) << c.dial;
    if (c.changed) {
      EXPECT_EQ(bench.prefs.value(keys::kTimerSelectedMinutes), PreferenceValue(c.minutes)) << c.dial;
    }
  }
  TimerBench running;
  running.timer->start();
  EXPECT_FALSE(running.timer->set_minutes_from_dial(0.5));
  EXPECT_EQ(running.timer->selected_minutes().get(), 10);
}

TEST(KolvoTimerStore, StartWithNoMinutesDoesNothing) {
  TimerBench bench;
  bench.timer->set_minutes_from_dial(0);
  bench.timer->start();
  EXPECT_FALSE(bench.timer->is_running().get());
  EXPECT_EQ(bench.executor.pending_count(), 0u);
}

TEST(KolvoTimerStore, CountsDownAndAnnouncesTheEnd) {
  TimerBench bench;
  bench.timer->set_minutes_from_dial(1.0 / 60.0);  // one minute
  std::vector<int> remaining;
  auto watch = bench.timer->remaining_seconds().subscribe([&](int value) { remaining.push_back(value); });
  bench.timer->start();
  EXPECT_TRUE(bench.timer->is_running().get());
  EXPECT_EQ(bench.timer->dial_label(), "01:00");
  EXPECT_DOUBLE_EQ(bench.timer->dial_value(), 60.0 / 3600.0);
  EXPECT_EQ(bench.prefs.value(keys::kTimerRunning), PreferenceValue(true));
  EXPECT_DOUBLE_EQ(bench.stored_end(), bench.now_1970() + 60);

  bench.pass(54.5);
  EXPECT_EQ(bench.timer->dial_label(), "00:06");
  EXPECT_TRUE(bench.mac.sound_plays().empty());
  bench.pass(5.5);  // the tick at the end
  EXPECT_FALSE(bench.timer->is_running().get());
  EXPECT_EQ(bench.timer->remaining_seconds().get(), 0);
  EXPECT_EQ(bench.timer->completion_pulse().get(), 1);
  EXPECT_TRUE(bench.timer->is_presenting_completion().get());
  EXPECT_EQ(bench.reveals, 1);
  ASSERT_EQ(bench.mac.sound_plays().size(), 1u);
  EXPECT_EQ(bench.mac.sound_plays()[0].sound, prefs::Sound::timer);
  EXPECT_EQ(bench.prefs.value(keys::kTimerRunning), PreferenceValue(false));
  EXPECT_FALSE(bench.prefs.value(keys::kTimerEndDate));
  EXPECT_EQ(bench.timer->dial_label(), "1 MIN");
  // One change a second, each value once, and no tick after the end.
  ASSERT_EQ(remaining.size(), 61u);
  EXPECT_EQ(remaining.front(), 60);
  EXPECT_EQ(remaining[1], 59);
  EXPECT_EQ(remaining.back(), 0);

  bench.pass(1.5);
  EXPECT_TRUE(bench.timer->is_presenting_completion().get());
  bench.pass(0.5);
  EXPECT_FALSE(bench.timer->is_presenting_completion().get());
  EXPECT_EQ(bench.executor.pending_count(), 0u) << "nothing keeps ticking once the timer is done";
}

TEST(KolvoTimerStore, StopEndsWithoutACompletion) {
  TimerBench bench;
  bench.timer->start();
  bench.pass(30);
  bench.timer->stop();
  EXPECT_FALSE(bench.timer->is_running().get());
  EXPECT_EQ(bench.timer->remaining_seconds().get(), 0);
  EXPECT_FALSE(bench.timer->end_date());
  EXPECT_FALSE(bench.prefs.value(keys::kTimerEndDate));
  bench.pass(700);
  EXPECT_EQ(bench.timer->completion_pulse().get(), 0);
  EXPECT_TRUE(bench.mac.sound_plays().empty());
}

TEST(KolvoTimerStore, ARestartKeepsCountingTowardTheSameEnd) {
  TimerBench bench;
  bench.timer->set_minutes_from_dial(0.5);
  bench.timer->start();
  bench.pass(25 * 60);  // five minutes left
  EXPECT_EQ(bench.timer->dial_label(), "05:00");
  bench.quit();
  bench.pass_while_not_running(120);
  bench.relaunch();
  EXPECT_TRUE(bench.timer->is_running().get());
  EXPECT_EQ(bench.timer->dial_label(), "03:00");
  EXPECT_EQ(bench.timer->selected_minutes().get(), 30);
  bench.pass(180);
  EXPECT_EQ(bench.timer->completion_pulse().get(), 1);
  EXPECT_EQ(bench.mac.sound_plays().size(), 1u);
}

TEST(KolvoTimerStore, ATimerThatEndedWhileNotRunningIsDroppedQuietly) {
  TimerBench bench;
  bench.timer->start();
  bench.quit();
  bench.pass_while_not_running(11 * 60);
  bench.relaunch();
  EXPECT_FALSE(bench.timer->is_running().get());
  EXPECT_EQ(bench.prefs.value(keys::kTimerRunning), PreferenceValue(false));
  EXPECT_FALSE(bench.prefs.value(keys::kTimerEndDate));
  bench.pass(5);
  EXPECT_EQ(bench.timer->completion_pulse().get(), 0);
  EXPECT_TRUE(bench.mac.sound_plays().empty());
}

TEST(KolvoTimerStore, RestoresOnlyAConsistentStoredTimer) {
  testing::FixedWallClock clock;
  const double now = base::seconds_since_1970(clock.time);
  struct Case {
    const char* name;
    std::optional<PreferenceValue> running, end;
    std::optional<int> remaining;  // absent: not restored
  };
  const Case cases[] = {
      {"real end", PreferenceValue(true), PreferenceValue(now + 90.5), 91},
      {"integer end", PreferenceValue(true), PreferenceValue(static_cast<std::int64_t>(now) + 90), 90},
      {"date end", PreferenceValue(true), PreferenceValue(prefs::PreferenceDate{base::seconds_since_2001(clock.time) + 42}), 42},
      {"running without an end", PreferenceValue(true), std::nullopt, std::nullopt},
      {"end without running", std::nullopt, PreferenceValue(now + 90), std::nullopt},
      {"not running", PreferenceValue(false), PreferenceValue(now + 90), std::nullopt},
      {"end is now", PreferenceValue(true), PreferenceValue(now), std::nullopt},
      {"end is a string", PreferenceValue(true), PreferenceValue("soon"), std::nullopt},
      {"negative end", PreferenceValue(true), PreferenceValue(-5.0), std::nullopt},
      {"end beyond any timer", PreferenceValue(true), PreferenceValue(now + 2 * 3600), std::nullopt},
      {"absurd end", PreferenceValue(true), PreferenceValue(1e300), std::nullopt},
  };
  for (const Case& c : cases) {
    std::map<std::string, PreferenceValue> stored;
    if (c.running) stored.emplace(keys::kTimerRunning, *c.running);
    if (c.end) stored.emplace(keys::kTimerEndDate, *c.end);
    TimerBench bench(stored);
    EXPECT_EQ(bench.timer->is_running().get(), c.remaining.has_value()) << c.name;
    if (c.remaining) {
      EXPECT_EQ(bench.timer->remaining_seconds().get(), *c.remaining) << c.name;
      EXPECT_EQ(bench.prefs.value(keys::kTimerEndDate), *c.end) << c.name << ": a restored end is left as it was";
    } else {
      EXPECT_EQ(bench.prefs.value(keys::kTimerRunning), PreferenceValue(false)) << c.name;
      EXPECT_FALSE(bench.prefs.value(keys::kTimerEndDate)) << c.name;
    }
  }
}

}  // namespace
}  // namespace kolvo::timer
