#pragma once

// An update feed fetcher that takes each request and answers only when the test says so, and
// the feeds the tests serve.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "update/update_feed_fetcher.hpp"

namespace kolvo::testing {

class ScriptedFeedFetcher final : public update::UpdateFeedFetcher {
 public:
  void fetch(update::FeedRequest request, std::function<void(update::FeedResponse)> done) override {
    requests.push_back(std::move(request));
    pending.push_back(std::move(done));
  }
  void answer(update::FeedResponse response) {
    ASSERT_FALSE(pending.empty()) << "no request is waiting for an answer";
    auto done = std::move(pending.front());
    pending.erase(pending.begin());
    done(std::move(response));
  }
  void answer_feed(const std::string& body) { answer({update::FeedResponse::Outcome::ok, body, 200, ""}); }
  void answer_failure() { answer({update::FeedResponse::Outcome::unreachable, "", 0, "no route to host"}); }

  std::vector<update::FeedRequest> requests;
  std::vector<std::function<void(update::FeedResponse)>> pending;
};

// A feed whose one item is build `version`, called `short_version`, with a page at
// https://kolvo.app/<short_version> unless `with_page` is false.
inline std::string feed_offering(const std::string& version, const std::string& short_version, bool with_page = true) {
  return R"(<rss xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle"><channel><item>)"
         "<sparkle:version>" + version + "</sparkle:version><sparkle:shortVersionString>" + short_version +
         "</sparkle:shortVersionString>" + (with_page ? "<link>https://kolvo.app/" + short_version + "</link>" : "") +
         "</item></channel></rss>";
}

}  // namespace kolvo::testing
