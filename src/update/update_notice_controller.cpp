#include "update/update_notice_controller.hpp"

#include <algorithm>

namespace kolvo::update {
namespace {

constexpr std::string_view kLogTag = "Update";

}  // namespace

UpdateNoticeController::UpdateNoticeController(UpdateNoticePorts ports, std::string feed_url, RunningSystem running,
                                               UpdateSchedule schedule)
    : ports_(ports),
      feed_url_(std::move(feed_url)),
      running_(std::move(running)),
      schedule_(schedule),
      next_check_(ports.main),
      deadline_(ports.main) {}

UpdateNoticeController::~UpdateNoticeController() = default;

void UpdateNoticeController::start() {
  if (started_ || feed_url_.empty() || ports_.fetcher == nullptr) return;
  if (const auto problem = feed_url_problem(feed_url_)) {
    if (!reported_unusable_) {
      ports_.log.record(kLogTag, "the update feed address " + feed_url_ + " cannot be used: " + *problem);
    }
    reported_unusable_ = true;
    return;
  }
  started_ = true;
  schedule(base::Duration::zero());
}

void UpdateNoticeController::stop() {
  started_ = false;
  waiting_ = false;
  ++transfer_;
  next_check_.cancel();
  deadline_.cancel();
}

void UpdateNoticeController::dismiss() {
  const auto offered = notice_.get();
  if (!offered) return;
  ports_.dismissal.dismiss(offered->version);
  ports_.log.record(kLogTag, "Kolvo " + offered->display_version + " skipped; a later version will be offered");
  notice_.set(std::nullopt);
}

void UpdateNoticeController::schedule(base::Duration delay) {
  std::weak_ptr<UpdateNoticeController*> weak = self_;
  next_check_.start(delay, [weak] {
    if (auto self = weak.lock()) (*self)->check();
  });
}

void UpdateNoticeController::check() {
  if (!started_ || waiting_) return;
  waiting_ = true;
  const std::uint64_t transfer = ++transfer_;
  std::weak_ptr<UpdateNoticeController*> weak = self_;
  deadline_.start(schedule_.timeout + schedule_.grace, [weak, transfer] {
    auto self = weak.lock();
    if (!self || (*self)->transfer_ != transfer) return;
    FeedResponse silence;
    silence.outcome = FeedResponse::Outcome::timed_out;
    (*self)->answered(std::move(silence));
  });
  FeedRequest request{.url = feed_url_,
                      .timeout = schedule_.timeout,
                      .max_bytes = kMaxFeedBytes,
                      .user_agent = user_agent(running_)};
  ports_.fetcher->fetch(std::move(request), [weak, transfer](FeedResponse response) {
    auto self = weak.lock();
    if (!self || (*self)->transfer_ != transfer) return;
    (*self)->answered(std::move(response));
  });
}

void UpdateNoticeController::answered(FeedResponse response) {
  ++transfer_;  // whatever else arrives for this transfer is late
  waiting_ = false;
  deadline_.cancel();
  if (response.outcome != FeedResponse::Outcome::ok) {
    const FeedRequest request{.url = feed_url_, .timeout = schedule_.timeout, .max_bytes = kMaxFeedBytes, .user_agent = {}};
    return failed(describe_failure(response, request));
  }
  const AppcastResult parsed = parse_appcast(response.body);
  if (!parsed.feed) return failed("the feed is not readable: " + parsed.error);

  failures_in_a_row_ = 0;
  last_logged_failure_.clear();
  schedule(schedule_.interval);
  const UpdateEvaluation evaluation = evaluate_feed(*parsed.feed, running_, ports_.dismissal.dismissed_version());
  std::optional<UpdateNotice> notice;
  if (evaluation.newer && !evaluation.dismissed) notice = make_notice(*evaluation.newest, running_);
  if (notice && notice->version != last_announced_) {
    last_announced_ = notice->version;
    ports_.log.record(kLogTag, "Kolvo " + notice->display_version + " is available");
  }
  if (notice != notice_.get()) notice_.set(std::move(notice));
}

void UpdateNoticeController::failed(const std::string& why) {
  ++failures_in_a_row_;
  if (why != last_logged_failure_) {
    last_logged_failure_ = why;
    ports_.log.record(kLogTag, "could not check " + feed_url_ + ": " + why);
  }
  // 1, 2, 4 … times the first wait, up to the interval.
  base::Duration wait = schedule_.first_retry;
  for (std::size_t i = 1; i < failures_in_a_row_ && wait < schedule_.interval; ++i) wait *= 2;
  schedule(std::min(wait, schedule_.interval));
}

}  // namespace kolvo::update
