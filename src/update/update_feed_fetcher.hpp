#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "base/executor.hpp"

namespace kolvo::update {

struct FeedRequest {
  std::string url;
  // For the whole transfer, redirects included.
  base::Duration timeout{};
  // A longer body fails the transfer as soon as it is known to be longer.
  std::size_t max_bytes = 0;
  std::string user_agent;
};

struct FeedResponse {
  enum class Outcome {
    ok,
    timed_out,      // no complete answer within the timeout
    too_large,      // the body is longer than max_bytes
    http_error,     // the server answered with a status of 400 or more
    unreachable,    // no server answered: no network, no such host, nothing listening
    refused,        // the platform would not fetch this address (plain http, an unknown scheme)
    failed,         // anything else, in `detail`
  };
  Outcome outcome = Outcome::failed;
  std::string body;
  int http_status = 0;
  // The platform's own words for what went wrong, when they add something.
  std::string detail;
};

// Fetches the update feed over the network. The Mac uses NSURLSession and the headless host
// libcurl; both work off the main thread.
class UpdateFeedFetcher {
 public:
  virtual ~UpdateFeedFetcher() = default;
  // Starts a transfer; `done` runs once, on the main executor, with the body or the reason
  // there is none. Destroying the fetcher abandons transfers under way, whose `done` then
  // never runs.
  virtual void fetch(FeedRequest request, std::function<void(FeedResponse)> done) = 0;
};

// How a platform makes its fetcher, bound to the executor its answers go to.
using UpdateFeedFetcherFactory = std::function<std::unique_ptr<UpdateFeedFetcher>(base::Executor& main)>;

}  // namespace kolvo::update
