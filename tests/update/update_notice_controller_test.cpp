#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "base/manual_executor.hpp"
#include "prefs/settings_keys.hpp"
#include "support/scripted_feed_fetcher.hpp"
#include "update/update_notice_controller.hpp"

namespace kolvo::update {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

using testing::feed_offering;
using ScriptedFetcher = testing::ScriptedFeedFetcher;

class FixedClock final : public base::WallClock {
 public:
  base::WallTime now() const override { return base::from_seconds_since_2001(800'000'000); }
};

struct Harness {
  explicit Harness(std::string url = "https://kolvo.app/appcast.xml",
                   std::map<std::string, prefs::PreferenceValue> stored = {})
      : prefs(stored),
        dismissal(prefs),
        controller({.fetcher = &fetcher, .main = executor, .log = log, .dismissal = dismissal}, std::move(url),
                   {.build_version = "40", .short_version = "1.2", .system_version = "14.5"}) {}

  std::size_t log_count(const std::string& needle) const {
    std::size_t n = 0;
    for (const auto& line : log.lines()) n += line.find(needle) != std::string::npos ? 1 : 0;
    return n;
  }
  std::string offered() const {
    const auto& notice = controller.current_notice();
    return notice ? notice->display_version + " " + notice->link : "";
  }

  base::ManualExecutor executor;
  FixedClock clock;
  base::DiagnosticsLog log{clock, base::DiagnosticsLog::silent()};
  prefs::MemoryPreferenceStore prefs;
  UpdateDismissalStore dismissal;
  ScriptedFetcher fetcher;
  UpdateNoticeController controller;
};

TEST(UpdateNoticeController, ChecksAtStartThenOnceADay) {
  Harness h;
  h.controller.start();
  h.executor.run_pending();
  ASSERT_EQ(h.fetcher.requests.size(), 1u);
  EXPECT_EQ(h.fetcher.requests[0].url, "https://kolvo.app/appcast.xml");
  EXPECT_EQ(h.fetcher.requests[0].timeout, seconds(30));
  EXPECT_EQ(h.fetcher.requests[0].max_bytes, 4u * 1024 * 1024);
  EXPECT_EQ(h.fetcher.requests[0].user_agent, "Kolvo/1.2 (40)");
  h.fetcher.answer_feed(feed_offering("40", "1.2"));
  EXPECT_EQ(h.offered(), "");

  h.executor.advance(hours(24) - seconds(1));
  EXPECT_EQ(h.fetcher.requests.size(), 1u);
  h.executor.advance(seconds(1));
  ASSERT_EQ(h.fetcher.requests.size(), 2u);
  h.fetcher.answer_feed(feed_offering("45", "1.3"));
  EXPECT_EQ(h.offered(), "1.3 https://kolvo.app/1.3");
  EXPECT_EQ(h.log_count("[Update] Kolvo 1.3 is available"), 1u);

  h.executor.advance(hours(24));
  ASSERT_EQ(h.fetcher.requests.size(), 3u);
  h.fetcher.answer_feed(feed_offering("45", "1.3"));
  EXPECT_EQ(h.log_count("is available"), 1u);  // the same release is announced once
  // Starting twice does not double the checks.
  h.controller.start();
  h.executor.advance(hours(24));
  EXPECT_EQ(h.fetcher.requests.size(), 4u);
}

TEST(UpdateNoticeController, FailuresRetryLaterEachTimeLongerAndAreLoggedOnce) {
  Harness h;
  h.controller.start();
  h.executor.run_pending();
  // Waits after 1, 2, 3 … failures in a row: 15 min doubling, never past a day.
  const std::vector<minutes> waits = {minutes(15), minutes(30), minutes(60), minutes(120), minutes(240),
                                      minutes(480), minutes(960), minutes(1440), minutes(1440)};
  for (std::size_t i = 0; i < waits.size(); ++i) {
    h.fetcher.answer_failure();
    EXPECT_EQ(h.controller.failures_in_a_row(), i + 1);
    h.executor.advance(waits[i] - seconds(1));
    EXPECT_EQ(h.fetcher.requests.size(), i + 1) << "retried too soon after failure " << i + 1;
    h.executor.advance(seconds(1));
    ASSERT_EQ(h.fetcher.requests.size(), i + 2) << "no retry after failure " << i + 1;
  }
  EXPECT_EQ(h.log_count("[Update] could not check https://kolvo.app/appcast.xml: the server could not be reached "
                        "(no route to host)"),
            1u);
  // Another failure is logged when it differs; success resets the count and the wait.
  h.fetcher.answer({FeedResponse::Outcome::http_error, "", 503, ""});
  EXPECT_EQ(h.log_count("HTTP status 503"), 1u);
  h.executor.advance(hours(24));
  h.fetcher.answer_feed("<rss><channel></rss>");
  EXPECT_EQ(h.log_count("the feed is not readable: line 1: the end tag </rss> does not match <channel>"), 1u);
  h.executor.advance(hours(24));
  h.fetcher.answer_feed(feed_offering("40", "1.2"));
  EXPECT_EQ(h.controller.failures_in_a_row(), 0u);
  h.executor.advance(hours(24));
  h.fetcher.answer_failure();
  EXPECT_EQ(h.log_count("no route to host"), 2u);  // the same failure after a success is news again
  h.executor.advance(minutes(15));
  EXPECT_EQ(h.fetcher.pending.size(), 1u);
}

TEST(UpdateNoticeController, AnAnswerThatNeverComesCountsAsAFailureAndALateOneIsDropped) {
  Harness h;
  h.controller.start();
  h.executor.run_pending();
  h.executor.advance(seconds(59));
  EXPECT_EQ(h.controller.failures_in_a_row(), 0u);
  h.executor.advance(seconds(1));  // the 30 s timeout and 30 s of grace
  EXPECT_EQ(h.controller.failures_in_a_row(), 1u);
  EXPECT_EQ(h.log_count("no answer came within 30 seconds"), 1u);
  h.fetcher.answer_feed(feed_offering("45", "1.3"));  // far too late
  EXPECT_EQ(h.offered(), "");
  h.executor.advance(minutes(15));
  ASSERT_EQ(h.fetcher.requests.size(), 2u);
  h.fetcher.answer_feed(feed_offering("45", "1.3"));
  EXPECT_EQ(h.offered(), "1.3 https://kolvo.app/1.3");
  EXPECT_EQ(h.controller.failures_in_a_row(), 0u);
  // One check every day from here: the late answer scheduled nothing of its own.
  h.executor.advance(hours(24));
  EXPECT_EQ(h.fetcher.requests.size(), 3u);
}

TEST(UpdateNoticeController, SkippingAVersionHidesItForGoodButNotALaterOne) {
  Harness h;
  h.controller.start();
  h.executor.run_pending();
  h.fetcher.answer_feed(feed_offering("45", "1.3"));
  ASSERT_EQ(h.offered(), "1.3 https://kolvo.app/1.3");
  std::vector<std::string> published;
  auto subscription = h.controller.notice().subscribe(
      [&](const std::optional<UpdateNotice>& notice) { published.push_back(notice ? notice->display_version : "none"); });
  h.controller.dismiss();
  EXPECT_EQ(h.offered(), "");
  EXPECT_EQ(h.prefs.value(prefs::keys::kUpdateDismissedVersion), prefs::PreferenceValue(std::string("45")));
  h.executor.advance(hours(24));
  h.fetcher.answer_feed(feed_offering("45", "1.3"));
  EXPECT_EQ(h.offered(), "");
  h.executor.advance(hours(24));
  h.fetcher.answer_feed(feed_offering("46", "1.3.1"));
  EXPECT_EQ(h.offered(), "1.3.1 https://kolvo.app/1.3.1");
  EXPECT_EQ(published, (std::vector<std::string>{"none", "1.3.1"}));  // unchanged answers publish nothing

  // The skipped version is read back by the next start.
  Harness later("https://kolvo.app/appcast.xml", {{"com.kolvo.updateDismissedVersion", "46"}});
  later.controller.start();
  later.executor.run_pending();
  later.fetcher.answer_feed(feed_offering("46", "1.3.1"));
  EXPECT_EQ(later.offered(), "");
  // Dismissing with nothing offered writes nothing.
  later.controller.dismiss();
  EXPECT_EQ(later.prefs.write_count(), 0);
}

TEST(UpdateNoticeController, StoredSkipsThatAreNotVersionsAreIgnoredAndKept) {
  const std::vector<prefs::PreferenceValue> stored = {prefs::PreferenceValue(45), prefs::PreferenceValue(""),
                                                      prefs::PreferenceValue(std::string(100, '9')),
                                                      prefs::PreferenceValue(true)};
  for (const auto& value : stored) {
    Harness h("https://kolvo.app/appcast.xml", {{"com.kolvo.updateDismissedVersion", value}});
    EXPECT_FALSE(h.dismissal.dismissed_version());
    h.controller.start();
    h.executor.run_pending();
    h.fetcher.answer_feed(feed_offering("45", "1.3"));
    EXPECT_EQ(h.offered(), "1.3 https://kolvo.app/1.3");
    EXPECT_EQ(h.prefs.value(prefs::keys::kUpdateDismissedVersion), value);
    EXPECT_EQ(h.prefs.write_count(), 0);
  }
}

TEST(UpdateNoticeController, NoAddressNoChecksAndAnUnusableOneIsLoggedOnce) {
  for (const std::string& url : {std::string(), std::string("ftp://kolvo.app/appcast.xml")}) {
    Harness h(url);
    h.controller.start();
    h.controller.start();
    h.executor.advance(hours(24 * 7));
    EXPECT_TRUE(h.fetcher.requests.empty()) << url;
    EXPECT_FALSE(h.controller.is_started()) << url;
    EXPECT_EQ(h.log_count("cannot be used: it is not an http or https address"), url.empty() ? 0u : 1u) << url;
  }
}

TEST(UpdateNoticeController, StoppingDropsTheAnswerUnderWayAndEndsTheChecks) {
  Harness h;
  h.controller.start();
  h.executor.run_pending();
  h.controller.stop();
  h.fetcher.answer_feed(feed_offering("45", "1.3"));
  EXPECT_EQ(h.offered(), "");
  h.executor.advance(hours(24 * 7));
  EXPECT_EQ(h.fetcher.requests.size(), 1u);
  EXPECT_EQ(h.controller.failures_in_a_row(), 0u);
}

}  // namespace
}  // namespace kolvo::update
