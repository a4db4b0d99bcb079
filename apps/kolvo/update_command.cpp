#include <algorithm>
#include <iostream>

#include <nlohmann/json.hpp>

#include "base/number_text.hpp"
#include "cli.hpp"
#include "host_runtime.hpp"
#include "update/update_check.hpp"

namespace kolvo::host {
namespace {

using Json = nlohmann::ordered_json;

// Past its timeout a transfer is given this long to say so before the command gives up on it.
constexpr base::Duration kGrace = std::chrono::seconds(5);
constexpr double kLongestTimeout_s = 600;

std::string release_name(const update::AppcastItem& item) {
  if (item.short_version.empty()) return "Kolvo build " + item.version.text();
  return "Kolvo " + item.short_version + " (" + item.version.text() + ")";
}

Json report_json(const std::string& url, const update::RunningSystem& running, const update::AppcastFeed& feed,
                 const update::UpdateEvaluation& evaluation, const std::optional<update::Version>& dismissed) {
  Json report;
  report["feed"] = url;
  report["running"] = {{"version", running.build_version},
                       {"shortVersion", running.short_version},
                       {"systemVersion", running.system_version}};
  if (evaluation.newest) {
    const update::AppcastItem& item = *evaluation.newest;
    Json newest;
    newest["version"] = item.version.text();
    newest["shortVersion"] = item.short_version;
    newest["title"] = item.title;
    newest["minimumSystemVersion"] = item.minimum_system_version;
    newest["releaseNotesLink"] = item.release_notes_link;
    newest["releaseNotes"] = update::release_notes_excerpt(item.description);
    newest["link"] = item.link;
    newest["downloadURL"] = item.download_url;
    report["newest"] = std::move(newest);
  } else {
    report["newest"] = nullptr;
  }
  report["newer"] = evaluation.newer;
  report["dismissed"] = evaluation.dismissed;
  report["dismissedVersion"] = dismissed ? Json(dismissed->text()) : Json(nullptr);
  report["needingLaterSystem"] = evaluation.needing_later_system;
  Json skipped = Json::array();
  for (const auto& item : feed.skipped) {
    skipped.push_back({{"item", item.position}, {"title", item.title}, {"reason", item.reason}});
  }
  report["skipped"] = std::move(skipped);
  return report;
}

void print_text(const std::string& url, const update::RunningSystem& running, const update::AppcastFeed& feed,
                const update::UpdateEvaluation& evaluation) {
  const auto line = [](std::string_view label, const std::string& value) {
    std::string padded(label);
    padded.resize(15, ' ');
    std::cout << padded << value << '\n';
  };
  line("Feed:", url);
  line("Running:", "Kolvo " + running.short_version + " (" + running.build_version + ") on macOS " +
                       running.system_version);
  if (evaluation.newest) {
    const update::AppcastItem& item = *evaluation.newest;
    const std::string needs =
        item.minimum_system_version.empty() ? "" : ", for macOS " + item.minimum_system_version + " or later";
    line("Newest:", release_name(item) + needs);
  } else {
    line("Newest:", "none that runs on macOS " + running.system_version);
  }
  line("Newer:", evaluation.newer ? "yes" : "no");
  line("Dismissed:", evaluation.dismissed ? "yes, the menu does not offer it" : "no");
  if (evaluation.newest) {
    const update::AppcastItem& item = *evaluation.newest;
    std::vector<std::string> notes;
    if (!item.release_notes_link.empty()) notes.push_back(item.release_notes_link);
    for (auto& text : update::release_notes_excerpt(item.description)) notes.push_back(std::move(text));
    for (std::size_t i = 0; i < notes.size(); ++i) line(i == 0 ? "Release notes:" : "", notes[i]);
    if (!item.link.empty()) line("Page:", item.link);
    if (!item.download_url.empty()) line("Download:", item.download_url);
  }
  if (evaluation.needing_later_system > 0) {
    const std::size_t n = evaluation.needing_later_system;
    line("Left out:", std::to_string(n) + (n == 1 ? " release needs" : " releases need") + " a later macOS");
  }
  for (const auto& skipped : feed.skipped) {
    line("Left out:", "item " + std::to_string(skipped.position) +
                          (skipped.title.empty() ? "" : " (\"" + skipped.title + "\")") + ": " + skipped.reason);
  }
}

}  // namespace

int run_update(Arguments arguments) {
  if (arguments.empty() || arguments.front() != "check") {
    return fail(kExitUsage, "'kolvo update' takes one command: check [--feed URL] [--timeout SECONDS] [--json].");
  }
  arguments.erase(arguments.begin());
  const bool json = take_flag(arguments, "--json");
  std::optional<std::string> feed_option;
  std::optional<std::string> timeout_option;
  std::string error;
  if (!take_value(arguments, "--feed", "an address", feed_option, error) ||
      !take_value(arguments, "--timeout", "a number of seconds", timeout_option, error)) {
    return fail(kExitUsage, error);
  }
  base::Duration timeout = update::kDefaultFetchTimeout;
  if (timeout_option) {
    const auto seconds = base::parse_real(*timeout_option);
    if (!seconds || !(*seconds > 0) || *seconds > kLongestTimeout_s) {
      return fail(kExitUsage, "--timeout needs a number of seconds above 0 and at most 600, not '" + *timeout_option + "'.");
    }
    timeout = base::seconds(*seconds);
  }
  // Looking never writes: the preferences are read through a copy.
  auto host = open_runtime(arguments, HostRuntime::Mode::read_only);
  if (!host) return kExitFailure;
  if (!arguments.empty()) {
    return fail(kExitUsage, "'kolvo update check' takes only --feed URL, --timeout SECONDS and --json, not '" +
                                arguments.front() + "'.");
  }
  app::Runtime& runtime = host->runtime();
  const std::string url = feed_option ? *feed_option : runtime.ports().update_feed_url;
  if (url.empty()) {
    return fail(kExitFailure, "No update feed is configured: give one with --feed URL, or set " +
                                  std::string(platform::kUpdateFeedEnvironmentVariable) + ".");
  }
  if (const auto problem = update::feed_url_problem(url)) {
    return fail(feed_option ? kExitUsage : kExitFailure, "The feed address " + url + " cannot be used: " + *problem + ".");
  }
  update::UpdateFeedFetcher* fetcher = runtime.update_feed_fetcher();
  if (fetcher == nullptr) return fail(kExitFailure, "This build of kolvo cannot fetch anything from the network.");

  const update::RunningSystem running = runtime.running_system();
  const update::FeedRequest request{.url = url,
                                    .timeout = timeout,
                                    .max_bytes = update::kMaxFeedBytes,
                                    .user_agent = update::user_agent(running)};
  std::optional<update::FeedResponse> answer;
  fetcher->fetch(request, [&](update::FeedResponse response) {
    answer = std::move(response);
    host->loop().stop();
  });
  host->loop().post_after(timeout + kGrace, [&] { host->loop().stop(); });
  host->loop().run();
  if (!answer) {
    update::FeedResponse silence;
    silence.outcome = update::FeedResponse::Outcome::timed_out;
    answer = std::move(silence);
  }
  if (answer->outcome != update::FeedResponse::Outcome::ok) {
    return fail(kExitFailure, "Could not check " + url + ": " + update::describe_failure(*answer, request) + ".");
  }
  const update::AppcastResult parsed = update::parse_appcast(answer->body);
  if (!parsed.feed) return fail(kExitFailure, "The feed at " + url + " cannot be read: " + parsed.error + ".");

  const auto& dismissed = runtime.settings().update_dismissal().dismissed_version();
  const update::UpdateEvaluation evaluation = update::evaluate_feed(*parsed.feed, running, dismissed);
  if (json) {
    std::cout << report_json(url, running, *parsed.feed, evaluation, dismissed).dump(2) << '\n';
  } else {
    print_text(url, running, *parsed.feed, evaluation);
  }
  return 0;
}

}  // namespace kolvo::host
