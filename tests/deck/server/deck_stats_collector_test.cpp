#include "deck/server/deck_stats_collector.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <limits>

#include "base/manual_executor.hpp"

namespace kolvo::deck {
namespace {

using Kind = prefs::KolvoDeckStatKind;

// Hands out prepared readings one call at a time and keeps the kinds each call asked for.
// The machine is stood in for here because the collector's arithmetic is what is under test;
// the real readers have their own tests over real files.
class ScriptedStats final : public SystemStatsPort {
 public:
  SystemReadings read(const std::vector<Kind>& kinds) const override {
    asked.push_back(kinds);
    if (script.empty()) return {};
    SystemReadings next = script.front();
    if (script.size() > 1) script.pop_front();
    return next;
  }
  mutable std::deque<SystemReadings> script;
  mutable std::vector<std::vector<Kind>> asked;
};

struct CollectorTest : ::testing::Test {
  ScriptedStats stats;
  base::ManualExecutor clock;
  KolvoDeckStatsCollector collector{stats, clock};

};

// A machine's answer with the readings named; the rest absent.
struct Reading {
  std::optional<CpuTicks> cpu = std::nullopt;
  std::optional<double> memory_used = std::nullopt;
  std::optional<double> storage_used = std::nullopt;
  std::optional<BatteryReading> battery = std::nullopt;
  operator SystemReadings() const {  // NOLINT: a reading reads as what the port returns
    SystemReadings readings;
    readings.cpu = cpu;
    readings.memory_used = memory_used;
    readings.storage_used = storage_used;
    readings.battery = battery;
    return readings;
  }
};

constexpr std::uint64_t kTop = std::numeric_limits<std::uint64_t>::max();

struct CpuCase {
  const char* name;
  std::vector<CpuTicks> steps;            // one sample per step, a second apart
  std::vector<std::optional<double>> loads;  // what each sample shows
};

TEST_F(CollectorTest, CpuLoadIsTheBusyShareOfTheTicksSinceTheLastSample) {
  const std::vector<CpuCase> cases = {
      {"first sample: since boot", {{.user = 300, .system = 100, .nice = 0, .idle = 600}}, {0.4}},
      {"then the difference", {{100, 100, 0, 800}, {250, 150, 0, 900}}, {0.2, 200.0 / 300.0}},
      {"nice time is busy", {{10, 10, 10, 70}, {10, 10, 60, 120}}, {0.3, 0.5}},
      {"a fully idle second", {{50, 50, 0, 100}, {50, 50, 0, 200}}, {0.5, 0.0}},
      {"no tick elapsed: the last load stands",
       {{100, 100, 0, 800}, {250, 150, 0, 900}, {250, 150, 0, 900}},
       {0.2, 200.0 / 300.0, 200.0 / 300.0}},
      {"no tick since the first: the since-boot share", {{30, 10, 0, 60}, {30, 10, 0, 60}}, {0.4, 0.4}},
      {"a counter that went back: since boot again",
       {{500, 500, 0, 1000}, {900, 600, 0, 1000}, {100, 100, 0, 300}},
       {0.5, 1.0, 0.4}},
      {"only idle went back (a processor taken offline)", {{10, 10, 0, 980}, {20, 20, 0, 60}}, {0.02, 0.4}},
      {"nothing counted yet", {{0, 0, 0, 0}}, {std::nullopt}},
      {"counters at the top of their range",
       {{kTop - 400, kTop - 400, 0, kTop - 400}, {kTop - 100, kTop - 300, 0, kTop}},
       {2.0 / 3.0, 0.5}},
      {"a wrap from the top", {{kTop - 10, 0, 0, kTop - 10}, {5, 0, 0, 15}}, {0.5, 0.25}},
  };
  for (const auto& c : cases) {
    ScriptedStats script;
    base::ManualExecutor time;
    KolvoDeckStatsCollector fresh(script, time);
    for (std::size_t i = 0; i < c.steps.size(); ++i) {
      script.script = {Reading{.cpu = c.steps[i]}};
      const auto sampled = fresh.sample({Kind::cpu});
      if (!c.loads[i]) {
        EXPECT_TRUE(sampled.empty()) << c.name << ", step " << i;
        continue;
      }
      ASSERT_EQ(sampled.size(), 1u) << c.name << ", step " << i;
      EXPECT_NEAR(sampled[0].value, *c.loads[i], 1e-9) << c.name << ", step " << i;
      EXPECT_FALSE(sampled[0].charging) << c.name;
      time.advance_seconds(1);
    }
  }
}

TEST_F(CollectorTest, EveryValueIsAFractionAndNonNumbersAreLeftOut) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  struct Case {
    std::optional<double> reading;
    std::optional<double> shown;
  };
  const std::vector<Case> cases = {{0.25, 0.25}, {1.0, 1.0},   {1.2, 1.0},          {-0.1, 0.0},
                                   {0.0, 0.0},   {nan, std::nullopt}, {inf, std::nullopt}, {-inf, std::nullopt},
                                   {std::nullopt, std::nullopt}};
  for (const auto& c : cases) {
    for (const Kind kind : {Kind::ram, Kind::storage, Kind::battery}) {
      SystemReadings readings;
      if (c.reading) {
        readings.memory_used = c.reading;
        readings.storage_used = c.reading;
        readings.battery = BatteryReading{.charge = *c.reading, .charging = true};
      }
      stats.script = {readings};
      clock.advance(KolvoDeckStatsCollector::kMinSampleInterval);
      const auto sampled = collector.sample({kind});
      const std::string label = std::string(prefs::to_string(kind)) + " " + (c.reading ? std::to_string(*c.reading) : "none");
      if (!c.shown) {
        EXPECT_TRUE(sampled.empty()) << label;
        continue;
      }
      ASSERT_EQ(sampled.size(), 1u) << label;
      EXPECT_EQ(sampled[0].kind, kind) << label;
      EXPECT_EQ(sampled[0].value, *c.shown) << label;
      EXPECT_EQ(sampled[0].charging, kind == Kind::battery ? std::optional<bool>(true) : std::nullopt) << label;
    }
  }
}

TEST_F(CollectorTest, KindsComeInTheOrderAskedOnceEachAndUnreadOnesAreLeftOut) {
  stats.script = {Reading{.cpu = CpuTicks{1, 1, 0, 2}, .memory_used = 0.7, .storage_used = 0.3,
                                 .battery = BatteryReading{.charge = 0.9, .charging = false}}};
  const auto sampled =
      collector.sample({Kind::battery, Kind::unknown, Kind::storage, Kind::cpu, Kind::battery, Kind::ram});
  ASSERT_EQ(sampled.size(), 4u);
  EXPECT_EQ(sampled[0], (KolvoDeckStat{Kind::battery, 0.9, false}));
  EXPECT_EQ(sampled[1], (KolvoDeckStat{Kind::storage, 0.3, std::nullopt}));
  EXPECT_EQ(sampled[2], (KolvoDeckStat{Kind::cpu, 0.5, std::nullopt}));
  EXPECT_EQ(sampled[3], (KolvoDeckStat{Kind::ram, 0.7, std::nullopt}));

  stats.script = {Reading{.memory_used = 0.5}};  // a Mac without a battery
  clock.advance(KolvoDeckStatsCollector::kMinSampleInterval);
  EXPECT_EQ(collector.sample({Kind::battery, Kind::ram}), (std::vector<KolvoDeckStat>{{Kind::ram, 0.5, std::nullopt}}));
  EXPECT_TRUE(collector.sample({}).empty());
}

TEST_F(CollectorTest, WithinTheIntervalTheLastSampleAnswersAndTheMachineIsNotRead) {
  stats.script = {Reading{.cpu = CpuTicks{30, 10, 0, 60}, .memory_used = 0.5},
                  Reading{.cpu = CpuTicks{130, 10, 0, 60}, .memory_used = 0.8}};
  const std::vector<KolvoDeckStat> first = collector.sample({Kind::cpu, Kind::ram});
  ASSERT_EQ(first.size(), 2u);
  EXPECT_DOUBLE_EQ(first[0].value, 0.4);

  const std::size_t reads = stats.asked.size();
  clock.advance_seconds(0.899);
  EXPECT_EQ(collector.sample({Kind::cpu, Kind::ram}), first);
  EXPECT_EQ(stats.asked.size(), reads);
  // The cached values answer whichever of their kinds is asked, in the order asked.
  EXPECT_EQ(collector.sample({Kind::ram}), (std::vector<KolvoDeckStat>{first[1]}));
  EXPECT_EQ(stats.asked.size(), reads);

  clock.advance_seconds(0.001);  // 0.9 s: a new sample
  const auto second = collector.sample({Kind::cpu, Kind::ram});
  EXPECT_EQ(stats.asked.size(), reads + 1);
  ASSERT_EQ(second.size(), 2u);
  EXPECT_DOUBLE_EQ(second[0].value, 1.0);  // 100 busy ticks of 100 since the first sample
  EXPECT_DOUBLE_EQ(second[1].value, 0.8);
}

TEST_F(CollectorTest, AKindNewlyChosenWithinTheIntervalIsReadAloneAndAnOldOneIsNotKept) {
  stats.script = {Reading{.cpu = CpuTicks{1, 0, 0, 1}, .memory_used = 0.5},
                  Reading{.battery = BatteryReading{.charge = 0.6, .charging = true}},
                  Reading{.memory_used = 0.9}, Reading{.memory_used = 0.2}};
  collector.sample({Kind::cpu, Kind::ram});
  clock.advance_seconds(0.3);
  const auto with_battery = collector.sample({Kind::ram, Kind::battery});
  ASSERT_EQ(stats.asked.size(), 2u);
  EXPECT_EQ(stats.asked[1], (std::vector<Kind>{Kind::battery}));
  EXPECT_EQ(with_battery, (std::vector<KolvoDeckStat>{{Kind::ram, 0.5, std::nullopt}, {Kind::battery, 0.6, true}}));

  // A full sample that leaves memory out forgets it: asked for again soon after, it is read
  // afresh rather than shown from the sample before.
  clock.advance_seconds(1);
  stats.script = {Reading{.storage_used = 0.1}, Reading{.memory_used = 0.9}};
  collector.sample({Kind::storage});
  clock.advance_seconds(0.2);
  EXPECT_EQ(collector.sample({Kind::ram}), (std::vector<KolvoDeckStat>{{Kind::ram, 0.9, std::nullopt}}));
  EXPECT_EQ(stats.asked.back(), (std::vector<Kind>{Kind::ram}));
}

}  // namespace
}  // namespace kolvo::deck
