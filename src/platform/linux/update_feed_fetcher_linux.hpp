#pragma once

#include <atomic>
#include <memory>

#include "base/executor.hpp"
#include "base/serial_queue.hpp"
#include "update/update_feed_fetcher.hpp"

namespace kolvo::platform {

// libcurl's easy interface on the serial queue "com.kolvo.update": one transfer at a time, off
// the main thread, each answer posted to the main executor. Only http and https are fetched,
// redirects included (at most 5). Destroying the fetcher aborts a transfer under way within
// about a second and waits for its thread.
class CurlUpdateFeedFetcher final : public update::UpdateFeedFetcher {
 public:
  explicit CurlUpdateFeedFetcher(base::Executor& main);
  ~CurlUpdateFeedFetcher() override;
  CurlUpdateFeedFetcher(const CurlUpdateFeedFetcher&) = delete;
  CurlUpdateFeedFetcher& operator=(const CurlUpdateFeedFetcher&) = delete;

  void fetch(update::FeedRequest request, std::function<void(update::FeedResponse)> done) override;

 private:
  std::shared_ptr<std::atomic<bool>> abandoned_ = std::make_shared<std::atomic<bool>>(false);
  base::SerialQueue queue_;
};

}  // namespace kolvo::platform
