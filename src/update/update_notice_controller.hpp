#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/diagnostics_log.hpp"
#include "base/executor.hpp"
#include "base/observable.hpp"
#include "base/timers.hpp"
#include "update/update_check.hpp"
#include "update/update_dismissal_store.hpp"
#include "update/update_feed_fetcher.hpp"

namespace kolvo::update {

struct UpdateSchedule {
  base::Duration interval = std::chrono::hours(24);
  // The wait after a failed check, doubled after each further failure in a row and never
  // longer than `interval`: a feed that is down, or a Mac without network, is not hammered.
  base::Duration first_retry = std::chrono::minutes(15);
  base::Duration timeout = kDefaultFetchTimeout;
  // A transfer still unanswered this long after its timeout counts as failed, so one that
  // never ends cannot stop the checks; whatever it brings later is dropped.
  base::Duration grace = std::chrono::seconds(30);
};

struct UpdateNoticePorts {
  // Null on a platform that cannot fetch: there are then no checks.
  UpdateFeedFetcher* fetcher = nullptr;
  base::Executor& main;
  base::DiagnosticsLog& log;
  UpdateDismissalStore& dismissal;
};

// Checks the update feed when started and once a day after, and holds the notice the status
// menu shows while a newer version than the running one waits and the user has not skipped
// it. Every check is silent toward the user: a failure goes to the diagnostics log, once until
// a check succeeds again, and the next check comes later. Everything runs on the main thread.
class UpdateNoticeController {
 public:
  UpdateNoticeController(UpdateNoticePorts ports, std::string feed_url, RunningSystem running,
                         UpdateSchedule schedule = {});
  ~UpdateNoticeController();
  UpdateNoticeController(const UpdateNoticeController&) = delete;
  UpdateNoticeController& operator=(const UpdateNoticeController&) = delete;

  // The first check runs as soon as the main loop is free. Without a feed address this does
  // nothing; an address that cannot be fetched is logged and nothing is checked.
  void start();
  // No more checks; an answer still under way is dropped.
  void stop();
  bool is_started() const { return started_; }

  base::Observable<std::optional<UpdateNotice>>& notice() { return notice_; }
  const std::optional<UpdateNotice>& current_notice() const { return notice_.get(); }
  // Skips the version the notice offers: it is stored, and the notice goes.
  void dismiss();

  const std::string& feed_url() const { return feed_url_; }
  const RunningSystem& running() const { return running_; }
  std::size_t failures_in_a_row() const { return failures_in_a_row_; }

 private:
  void check();
  void answered(FeedResponse response);
  void failed(const std::string& why);
  void schedule(base::Duration delay);

  UpdateNoticePorts ports_;
  std::string feed_url_;
  RunningSystem running_;
  UpdateSchedule schedule_;
  base::Observable<std::optional<UpdateNotice>> notice_;
  base::Timer next_check_;
  base::Timer deadline_;
  bool started_ = false;
  bool reported_unusable_ = false;
  // Each transfer's number; an answer for any other is dropped.
  std::uint64_t transfer_ = 0;
  bool waiting_ = false;
  std::size_t failures_in_a_row_ = 0;
  std::string last_logged_failure_;
  std::optional<Version> last_announced_;
  std::shared_ptr<UpdateNoticeController*> self_ = std::make_shared<UpdateNoticeController*>(this);
};

}  // namespace kolvo::update
