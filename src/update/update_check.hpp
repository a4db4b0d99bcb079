#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/executor.hpp"
#include "update/appcast.hpp"
#include "update/update_feed_fetcher.hpp"
#include "update/version.hpp"

namespace kolvo::update {

// No feed comes near this; a longer body is refused before it is read whole.
inline constexpr std::size_t kMaxFeedBytes = 4 * 1024 * 1024;
inline constexpr base::Duration kDefaultFetchTimeout = std::chrono::seconds(30);

// The program that runs, and the system it runs on.
struct RunningSystem {
  // The build version (CFBundleVersion): what a feed's versions are compared with.
  std::string build_version;
  // The version people see ("1.0.0").
  std::string short_version;
  // The macOS release, dotted ("14.5").
  std::string system_version;
};

// Why `url` cannot be a feed's address, or nothing when it can: only http and https
// addresses with a host, without blanks or control characters, of at most 2048 bytes.
std::optional<std::string> feed_url_problem(std::string_view url);

// "Kolvo/1.0.0 (1)".
std::string user_agent(const RunningSystem& running);

// What went wrong with a transfer, as the end of a sentence: "no answer came within 30
// seconds", "the server answered with HTTP status 404".
std::string describe_failure(const FeedResponse& response, const FeedRequest& request);

// Whether a release that needs `minimum` runs on `system`. No minimum runs anywhere; a
// minimum or a system that cannot be read as a version does not, so nothing is offered that
// might not start.
bool runs_on(std::string_view minimum, std::string_view system);

struct UpdateEvaluation {
  // The newest item this system can run; the first of equal versions.
  std::optional<AppcastItem> newest;
  // Items left out because they need a later macOS.
  std::size_t needing_later_system = 0;
  // The newest is later than the running build. A running build version that cannot be read
  // is never older than anything.
  bool newer = false;
  // It is newer, but the user skipped it, or a version at least as late.
  bool dismissed = false;
};

UpdateEvaluation evaluate_feed(const AppcastFeed& feed, const RunningSystem& running,
                               const std::optional<Version>& dismissed);

// What the status menu offers while a newer version waits.
struct UpdateNotice {
  Version version;
  // "1.3"; with the build in parentheses when the release keeps the running version's name
  // ("1.0.0 (46)"), and the build alone when the feed names none.
  std::string display_version;
  // What choosing the notice opens: the item's page, else its release notes, else its
  // download; empty when the feed gives none.
  std::string link;

  friend bool operator==(const UpdateNotice&, const UpdateNotice&) = default;
};

UpdateNotice make_notice(const AppcastItem& item, const RunningSystem& running);

// The first lines of release notes as plain text: HTML tags dropped, paragraphs, breaks and
// list items as line ends (list items marked "•"), common entities decoded, white space
// collapsed, blank lines dropped, each line cut to `max_columns` characters.
std::vector<std::string> release_notes_excerpt(std::string_view notes, std::size_t max_lines = 5,
                                               std::size_t max_columns = 100);

}  // namespace kolvo::update
