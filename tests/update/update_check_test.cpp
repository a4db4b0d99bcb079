#include <gtest/gtest.h>

#include <string>

#include "update/update_check.hpp"

namespace kolvo::update {
namespace {

AppcastItem item(const std::string& version, const std::string& minimum = "", const std::string& short_version = "") {
  AppcastItem made;
  made.version = *Version::parse(version);
  made.minimum_system_version = minimum;
  made.short_version = short_version;
  return made;
}

TEST(UpdateCheck, MinimumSystemVersions) {
  struct Case {
    std::string minimum;
    std::string system;
    bool runs;
  };
  const std::vector<Case> cases = {
      {"", "14.5", true},       {"  ", "14.5", true},     {"13.0", "14.5", true},  {"14.5", "14.5", true},
      {"14.5.0", "14.5", true}, {"14.5.1", "14.5", false}, {"15", "14.5", false},  {"10.15", "13.3", true},
      {"14.10", "14.9", false}, {"garbage\x01", "14.5", false}, {"13.0", "", false}, {"", "", true},
  };
  for (const Case& c : cases) EXPECT_EQ(runs_on(c.minimum, c.system), c.runs) << c.minimum << " on " << c.system;
}

TEST(UpdateCheck, TheNewestItemThisSystemRunsIsChosenAndComparedWithTheRunningBuild) {
  const RunningSystem running{.build_version = "40", .short_version = "1.2", .system_version = "14.5"};
  struct Case {
    std::string name;
    std::vector<AppcastItem> items;
    std::optional<std::string> dismissed;
    std::string newest;  // empty for none
    bool newer;
    bool is_dismissed;
    std::size_t needing_later_system;
  };
  const std::vector<Case> cases = {
      {"newest of several, in any order", {item("41"), item("45"), item("43")}, {}, "45", true, false, 0},
      {"a later one needing a later macOS is passed over",
       {item("41"), item("50", "15.0"), item("45", "14.5")}, {}, "45", true, false, 1},
      {"only items this Mac cannot run", {item("50", "15.0"), item("51", "16")}, {}, "", false, false, 2},
      {"the running build is the newest", {item("39"), item("40")}, {}, "40", false, false, 0},
      {"an older feed", {item("12")}, {}, "12", false, false, 0},
      {"dismissed: the same version stays hidden", {item("45")}, "45", "45", true, true, 0},
      {"dismissed: a later version shows again", {item("46")}, "45", "46", true, false, 0},
      {"dismissed: an earlier version stays hidden", {item("44")}, "45", "44", true, true, 0},
      {"build versions compare as numbers", {item("100")}, "99", "100", true, false, 0},
      {"an empty feed", {}, {}, "", false, false, 0},
  };
  for (const Case& c : cases) {
    AppcastFeed feed;
    feed.items = c.items;
    const auto dismissed = c.dismissed ? Version::parse(*c.dismissed) : std::nullopt;
    const UpdateEvaluation e = evaluate_feed(feed, running, dismissed);
    EXPECT_EQ(e.newest ? e.newest->version.text() : "", c.newest) << c.name;
    EXPECT_EQ(e.newer, c.newer) << c.name;
    EXPECT_EQ(e.dismissed, c.is_dismissed) << c.name;
    EXPECT_EQ(e.needing_later_system, c.needing_later_system) << c.name;
  }
  // A running build that is not a version is never older than anything.
  AppcastFeed feed;
  feed.items = {item("99")};
  EXPECT_FALSE(evaluate_feed(feed, {.build_version = "", .short_version = "", .system_version = "14.5"}, {}).newer);
}

TEST(UpdateCheck, TheNoticeNamesTheReleaseAndOpensTheBestPageThereIs) {
  const RunningSystem running{.build_version = "40", .short_version = "1.2", .system_version = "14.5"};
  struct Case {
    AppcastItem item;
    std::string link, notes, download;
    std::string display;
    std::string opens;
  };
  const std::vector<Case> cases = {
      {item("45", "", "1.3"), "https://k/1.3", "https://k/notes", "https://k/a.zip", "1.3", "https://k/1.3"},
      {item("45", "", "1.3"), "", "https://k/notes", "https://k/a.zip", "1.3", "https://k/notes"},
      {item("45", "", "1.3"), "", "", "https://k/a.zip", "1.3", "https://k/a.zip"},
      {item("45"), "", "", "", "45", ""},
      {item("41", "", "1.2"), "", "", "", "1.2 (41)", ""},
  };
  for (Case c : cases) {
    c.item.link = c.link;
    c.item.release_notes_link = c.notes;
    c.item.download_url = c.download;
    const UpdateNotice notice = make_notice(c.item, running);
    EXPECT_EQ(notice.display_version, c.display);
    EXPECT_EQ(notice.link, c.opens);
    EXPECT_EQ(notice.version, c.item.version);
  }
}

TEST(UpdateCheck, ReleaseNotesExcerpts) {
  struct Case {
    std::string notes;
    std::vector<std::string> lines;
  };
  const std::vector<Case> cases = {
      {"<h2>What's new</h2><ul><li>Faster <b>Hidden Dock</b></li><li>Fixes &amp; polish</li></ul>",
       {"What's new", "• Faster Hidden Dock", "• Fixes & polish"}},
      {"  Plain   text\n\n\n  on two\tlines  ", {"Plain text", "on two lines"}},
      {"<p>One</p><p>Two<br/>Three</p><p>Four</p><p>Five</p><p>Six</p>", {"One", "Two", "Three", "Four", "Five"}},
      {"&lt;tag&gt; &#233;t&#xE9; &hellip; &unknown; AT&T", {"<tag> été … &unknown; AT&T"}},
      {std::string(120, 'x'), {std::string(100, 'x') + "…"}},
      {std::string(99, 'x') + "\xC3\xA9\xC3\xA9", {std::string(99, 'x') + "\xC3\xA9…"}},
      {"<ul><li></li></ul>", {}},
      {"Cut off <a href=", {"Cut off"}},
      {"", {}},
  };
  for (const Case& c : cases) EXPECT_EQ(release_notes_excerpt(c.notes), c.lines) << c.notes;
}

TEST(UpdateCheck, FeedAddresses) {
  struct Case {
    std::string url;
    std::string problem;  // empty when the address is fine
  };
  const std::vector<Case> cases = {
      {"https://kolvo.app/appcast.xml", ""},
      {"HTTP://127.0.0.1:8080/feed?x=1", ""},
      {"https://user@kolvo.app/", ""},
      {"", "it is empty"},
      {"ftp://kolvo.app/appcast.xml", "it is not an http or https address"},
      {"file:///etc/passwd", "it is not an http or https address"},
      {"kolvo.app/appcast.xml", "it is not an http or https address"},
      {"https:///appcast.xml", "it names no host"},
      {"https://:80/", "it names no host"},
      {"https://kolvo.app/a feed.xml", "it holds blanks or control characters"},
      {"https://kolvo.app/\n", "it holds blanks or control characters"},
      {"https://kolvo.app/" + std::string(2048, 'a'), "it is longer than 2048 bytes"},
  };
  for (const Case& c : cases) EXPECT_EQ(feed_url_problem(c.url).value_or(""), c.problem) << c.url;
}

}  // namespace
}  // namespace kolvo::update
