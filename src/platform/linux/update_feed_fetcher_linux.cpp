#include "platform/linux/update_feed_fetcher_linux.hpp"

#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <mutex>
#include <string>

namespace kolvo::platform {
namespace {

using update::FeedRequest;
using update::FeedResponse;

struct Transfer {
  std::string body;
  std::size_t max_bytes = 0;
  bool too_large = false;
  const std::atomic<bool>* abandoned = nullptr;
};

std::size_t receive(char* data, std::size_t size, std::size_t count, void* context) {
  auto* transfer = static_cast<Transfer*>(context);
  const std::size_t bytes = size * count;
  if (transfer->body.size() + bytes > transfer->max_bytes) {
    transfer->too_large = true;
    return 0;  // anything but `bytes` ends the transfer
  }
  transfer->body.append(data, bytes);
  return bytes;
}

// Called about once a second even while nothing arrives, so an abandoned transfer ends soon.
int progress(void* context, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
  return static_cast<Transfer*>(context)->abandoned->load() ? 1 : 0;
}

FeedResponse transfer(const FeedRequest& request, const std::atomic<bool>& abandoned) {
  static std::once_flag initialised;
  std::call_once(initialised, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });

  FeedResponse response;
  CURL* easy = curl_easy_init();
  if (easy == nullptr) {
    response.detail = "libcurl could not start a transfer";
    return response;
  }
  Transfer state{.body = {}, .max_bytes = request.max_bytes, .too_large = false, .abandoned = &abandoned};
  const long timeout_ms =
      std::max(1L, static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(request.timeout).count()));
  char error[CURL_ERROR_SIZE] = {};
  curl_slist* headers = curl_slist_append(nullptr, "Accept: application/rss+xml, application/xml;q=0.9, text/xml;q=0.8");

  curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(easy, CURLOPT_MAXREDIRS, 5L);
  curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, timeout_ms);
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_USERAGENT, request.user_agent.c_str());
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
  // Compressed bodies are welcome; the size limit applies to what they unpack to.
  curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "");
  curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(request.max_bytes));
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, receive);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &state);
  curl_easy_setopt(easy, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(easy, CURLOPT_XFERINFOFUNCTION, progress);
  curl_easy_setopt(easy, CURLOPT_XFERINFODATA, &state);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, error);

  const CURLcode code = curl_easy_perform(easy);
  long status = 0;
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_cleanup(easy);
  curl_slist_free_all(headers);

  const std::string detail = error[0] != '\0' ? std::string(error) : std::string(curl_easy_strerror(code));
  switch (code) {
    case CURLE_OK:
      if (status >= 400) {
        response.outcome = FeedResponse::Outcome::http_error;
        response.http_status = static_cast<int>(status);
      } else {
        response.outcome = FeedResponse::Outcome::ok;
        response.http_status = static_cast<int>(status);
        response.body = std::move(state.body);
      }
      return response;
    case CURLE_OPERATION_TIMEDOUT:
      response.outcome = FeedResponse::Outcome::timed_out;
      return response;
    case CURLE_FILESIZE_EXCEEDED:
      response.outcome = FeedResponse::Outcome::too_large;
      return response;
    case CURLE_WRITE_ERROR:
      response.outcome = state.too_large ? FeedResponse::Outcome::too_large : FeedResponse::Outcome::failed;
      response.detail = state.too_large ? std::string() : detail;
      return response;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_CONNECT:
      response.outcome = FeedResponse::Outcome::unreachable;
      response.detail = detail;
      return response;
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_URL_MALFORMAT:
      response.outcome = FeedResponse::Outcome::refused;
      response.detail = detail;
      return response;
    default:
      response.outcome = FeedResponse::Outcome::failed;
      response.detail = detail;
      return response;
  }
}

}  // namespace

CurlUpdateFeedFetcher::CurlUpdateFeedFetcher(base::Executor& main) : queue_("com.kolvo.update", main) {}

CurlUpdateFeedFetcher::~CurlUpdateFeedFetcher() { abandoned_->store(true); }

void CurlUpdateFeedFetcher::fetch(update::FeedRequest request, std::function<void(update::FeedResponse)> done) {
  queue_.async([request = std::move(request), abandoned = abandoned_] { return transfer(request, *abandoned); },
               std::move(done));
}

}  // namespace kolvo::platform
