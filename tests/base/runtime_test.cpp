#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "base/asio_main_loop.hpp"
#include "base/manual_executor.hpp"
#include "base/notification_center.hpp"
#include "base/observable.hpp"
#include "base/serial_queue.hpp"
#include "base/timers.hpp"

namespace kolvo::base {
namespace {



TEST(Timer, FiresOnceAtItsDelayAndRestartReplacesThePendingShot) {
  ManualExecutor executor;
  Timer timer(executor);
  int fired = 0;
  timer.start(seconds(0.55), [&] { ++fired; });
  executor.advance_seconds(0.5);
  timer.start(seconds(0.55), [&] { ++fired; });  // pointer came back: the hide starts over
  executor.advance_seconds(0.5);
  EXPECT_EQ(fired, 0);
  executor.advance_seconds(0.05);
  EXPECT_EQ(fired, 1);
  executor.advance_seconds(10);
  EXPECT_EQ(fired, 1);
  EXPECT_FALSE(timer.is_pending());
}

TEST(Timer, DestroyingTheOwnerCancelsTheCallback) {
  ManualExecutor executor;
  int fired = 0;
  {
    Timer timer(executor);
    timer.start(seconds(1), [&] { ++fired; });
  }
  executor.advance_seconds(5);
  EXPECT_EQ(fired, 0);
  EXPECT_EQ(executor.pending_count(), 0u);
}

TEST(RepeatingTimer, KeepsItsPeriodAndCanStopItselfFromTheCallback) {
  ManualExecutor executor;
  RepeatingTimer ticker(executor);
  std::vector<double> at;
  const auto start = executor.now();
  ticker.start(seconds(1.0), [&] {
    at.push_back(std::chrono::duration<double>(executor.now() - start).count());
    if (at.size() == 3) ticker.stop();
  });
  executor.advance_seconds(10);
  ASSERT_EQ(at.size(), 3u);
  EXPECT_DOUBLE_EQ(at[0], 1.0);
  EXPECT_DOUBLE_EQ(at[2], 3.0);
  EXPECT_FALSE(ticker.is_running());
}

TEST(Debouncer, RunsOnlyTheLastTaskAfterTheQuietPeriod) {
  struct Case {
    std::vector<double> submit_at;  // seconds
    double check_at;
    std::vector<int> expected;
  };
  const std::vector<Case> cases = {
      {{0.0}, 0.29, {}},
      {{0.0}, 0.30, {0}},
      {{0.0, 0.2}, 0.45, {}},     // the second call pushed the deadline to 0.5
      {{0.0, 0.2}, 0.5, {1}},     // and only it ran
      {{0.0, 0.4}, 0.8, {0, 1}},  // far enough apart, both run
  };
  for (const Case& c : cases) {
    ManualExecutor executor;
    Debouncer debouncer(executor, seconds(0.3));
    std::vector<int> ran;
    double clock = 0;
    for (std::size_t i = 0; i < c.submit_at.size(); ++i) {
      executor.advance_seconds(c.submit_at[i] - clock);
      clock = c.submit_at[i];
      debouncer.submit([&ran, i] { ran.push_back(static_cast<int>(i)); });
    }
    executor.advance_seconds(c.check_at - clock);
    EXPECT_EQ(ran, c.expected) << "check at " << c.check_at;
  }
}

TEST(SerialQueue, RunsWorkInOrderOffTheMainThreadAndHandsResultsBack) {
  ManualExecutor main;
  SerialQueue queue("com.kolvo.test", main);
  const auto main_thread = std::this_thread::get_id();
  std::vector<int> results;
  std::atomic<int> finished{0};
  for (int i = 0; i < 20; ++i) {
    queue.async(
        [i, main_thread, &finished] {
          EXPECT_NE(std::this_thread::get_id(), main_thread);
          ++finished;
          return i * i;
        },
        [&results, main_thread](int square) {
          EXPECT_EQ(std::this_thread::get_id(), main_thread);
          results.push_back(square);
        });
  }
  for (int spin = 0; spin < 2000 && finished < 20; ++spin) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  // Nothing reaches shared state until the main loop runs the completions.
  EXPECT_TRUE(results.empty());
  main.run_pending();
  ASSERT_EQ(results.size(), 20u);
  for (int i = 0; i < 20; ++i) EXPECT_EQ(results[static_cast<std::size_t>(i)], i * i);
}

TEST(SerialQueue, CompletionsAreDroppedOnceTheQueueIsGone) {
  ManualExecutor main;
  bool delivered = false;
  {
    SerialQueue queue("com.kolvo.test", main);
    std::atomic<bool> done{false};
    queue.async([&done] { done = true; return 1; }, [&delivered](int) { delivered = true; });
    while (!done) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  main.run_pending();
  EXPECT_FALSE(delivered);
}

TEST(NotificationCenter, DeliversSynchronouslyInOrderAndOnlyToItsName) {
  NotificationCenter center;
  std::vector<std::string> heard;
  Observation a = center.observe("com.kolvo.edgeModeChanged", [&](std::string_view) { heard.push_back("a"); });
  Observation b = center.observe("com.kolvo.edgeModeChanged", [&](std::string_view) { heard.push_back("b"); });
  Observation other = center.observe("com.kolvo.activationSideChanged", [&](std::string_view) { heard.push_back("x"); });
  center.post("com.kolvo.edgeModeChanged");
  EXPECT_EQ(heard, (std::vector<std::string>{"a", "b"}));
}

TEST(NotificationCenter, AnObserverRemovedDuringAPostIsNotCalledAndTokensOutliveTheCenter) {
  auto center = std::make_unique<NotificationCenter>();
  int second_calls = 0;
  Observation second;
  Observation first = center->observe("n", [&](std::string_view) { second.reset(); });
  second = center->observe("n", [&](std::string_view) { ++second_calls; });
  center->post("n");
  EXPECT_EQ(second_calls, 0);
  EXPECT_FALSE(second.is_active());
  center.reset();
  first.reset();  // must not touch the destroyed centre
  SUCCEED();
}

TEST(Observable, PublishesEveryAssignmentUntilTheSubscriptionEnds) {
  Observable<int> value(1);
  std::vector<int> seen;
  {
    Subscription subscription = value.subscribe([&](const int& v) { seen.push_back(v); });
    value.set(2);
    value.set(2);  // re-assigning the same value still tells dependants
    value.publish();
  }
  value.set(3);
  EXPECT_EQ(seen, (std::vector<int>{2, 2, 2}));
  EXPECT_EQ(value.get(), 3);
}

TEST(AsioMainLoop, RunsDelayedTasksInDueOrderAndHonoursCancel) {
  AsioMainLoop loop;
  std::vector<std::string> order;
  loop.post_after(std::chrono::milliseconds(30), [&] {
    order.push_back("30ms");
    loop.stop();
  });
  const TaskId cancelled = loop.post_after(std::chrono::milliseconds(10), [&] { order.push_back("cancelled"); });
  loop.post_after(std::chrono::milliseconds(5), [&] { order.push_back("5ms"); });
  loop.cancel(cancelled);
  std::thread poster([&] { loop.post([&] { order.push_back("posted"); }); });
  poster.join();
  loop.run();
  ASSERT_EQ(order.size(), 3u);
  EXPECT_EQ(order.back(), "30ms");
  EXPECT_EQ(std::count(order.begin(), order.end(), "cancelled"), 0);
}

}  // namespace
}  // namespace kolvo::base
