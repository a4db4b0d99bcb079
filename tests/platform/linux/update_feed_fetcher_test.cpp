// libcurl against a real loopback server.
#include <gtest/gtest.h>

#include <chrono>
#include <optional>

#include "base/asio_main_loop.hpp"
#include "platform/linux/update_feed_fetcher_linux.hpp"
#include "support/loopback_http_server.hpp"

namespace kolvo::platform {
namespace {

using testing::LoopbackHttpServer;
using Outcome = update::FeedResponse::Outcome;

// One fetch on a real main loop, and the answer it delivered there.
std::optional<update::FeedResponse> fetch_once(const std::string& url, double timeout_s, std::size_t max_bytes) {
  base::AsioMainLoop loop;
  CurlUpdateFeedFetcher fetcher(loop);
  std::optional<update::FeedResponse> answer;
  const auto main_thread = std::this_thread::get_id();
  fetcher.fetch({.url = url, .timeout = base::seconds(timeout_s), .max_bytes = max_bytes, .user_agent = "Kolvo/test (1)"},
                [&](update::FeedResponse response) {
                  EXPECT_EQ(std::this_thread::get_id(), main_thread);
                  answer = std::move(response);
                  loop.stop();
                });
  loop.post_after(base::seconds(timeout_s + 20), [&] { loop.stop(); });
  loop.run();
  return answer;
}

// A port on which nothing listens: bound, then closed.
int closed_port() {
  LoopbackHttpServer server(200, "");
  return server.port();
}

TEST(CurlUpdateFeedFetcher, AnswersForEveryKindOfServer) {
  const std::string feed = "<rss><channel/></rss>";
  LoopbackHttpServer ok(200, feed);
  LoopbackHttpServer missing(404, "<html>Not Found</html>");
  LoopbackHttpServer silent(200, feed, LoopbackHttpServer::Mode::silent);
  LoopbackHttpServer large(200, std::string(5000, 'x'));
  LoopbackHttpServer large_unannounced(200, std::string(5000, 'x'), LoopbackHttpServer::Mode::answer_without_length);
  LoopbackHttpServer exact(200, std::string(1000, 'x'), LoopbackHttpServer::Mode::answer_without_length);
  struct Case {
    std::string name;
    std::string url;
    Outcome outcome;
    int status;
    std::string body;
  };
  const std::vector<Case> cases = {
      {"a feed", ok.url(), Outcome::ok, 200, feed},
      {"not found", missing.url(), Outcome::http_error, 404, ""},
      {"no answer", silent.url(), Outcome::timed_out, 0, ""},
      {"a declared length past the limit", large.url(), Outcome::too_large, 0, ""},
      {"a body that runs past the limit", large_unannounced.url(), Outcome::too_large, 0, ""},
      {"a body exactly at the limit", exact.url(), Outcome::ok, 200, std::string(1000, 'x')},
      {"nothing listening", "http://127.0.0.1:" + std::to_string(closed_port()) + "/", Outcome::unreachable, 0, ""},
      {"another scheme", "ftp://127.0.0.1:" + std::to_string(ok.port()) + "/", Outcome::refused, 0, ""},
  };
  for (const Case& c : cases) {
    const auto answer = fetch_once(c.url, 0.5, 1000);
    ASSERT_TRUE(answer) << c.name << ": no answer was delivered";
    EXPECT_EQ(answer->outcome, c.outcome) << c.name << ": " << answer->detail;
    EXPECT_EQ(answer->body, c.body) << c.name;
    if (c.status != 0) {
      EXPECT_EQ(answer->http_status, c.status) << c.name;
    }
  }
  const std::string request = ok.last_request();
  EXPECT_NE(request.find("GET /appcast.xml HTTP/1.1"), std::string::npos) << request;
  EXPECT_NE(request.find("User-Agent: Kolvo/test (1)"), std::string::npos) << request;
  EXPECT_NE(request.find("Accept: application/rss+xml"), std::string::npos) << request;
}

TEST(CurlUpdateFeedFetcher, DestroyingItAbandonsTheTransferWithoutAnAnswer) {
  LoopbackHttpServer silent(200, "", LoopbackHttpServer::Mode::silent);
  base::AsioMainLoop loop;
  bool answered = false;
  constexpr double kTransferTimeout_s = 120;
  const auto started = std::chrono::steady_clock::now();
  {
    CurlUpdateFeedFetcher fetcher(loop);
    fetcher.fetch({.url = silent.url(), .timeout = base::seconds(kTransferTimeout_s), .max_bytes = 1000, .user_agent = {}},
                  [&](update::FeedResponse) { answered = true; });
    while (silent.requests() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  // Gone long before the transfer would have timed out by itself.
  EXPECT_LT(std::chrono::steady_clock::now() - started, base::seconds(kTransferTimeout_s / 2));
  loop.post_after(base::seconds(0.2), [&] { loop.stop(); });
  loop.run();
  EXPECT_FALSE(answered);
}

}  // namespace
}  // namespace kolvo::platform
