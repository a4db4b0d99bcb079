// `kolvo update check` and `kolvo serve --update-feed` against feeds served on real loopback
// sockets, with the preferences in a temporary home.
#include <gtest/gtest.h>

#include <fstream>

#include <nlohmann/json.hpp>

#include "support/kolvo_cli_fixture.hpp"
#include "support/loopback_http_server.hpp"

namespace {

using kolvo::testing::CommandResult;
using kolvo::testing::KolvoCli;
using kolvo::testing::LoopbackHttpServer;

// Three releases and a broken item: 1.1, 1.3 (the newest the simulated macOS 15.0 runs) and
// 2.0, which needs macOS 99.
const std::string kFeed = R"(<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
  <channel>
    <title>Kolvo</title>
    <item>
      <title>Kolvo 1.1</title>
      <enclosure url="https://kolvo.app/Kolvo-1.1.zip" sparkle:version="2" sparkle:shortVersionString="1.1"/>
    </item>
    <item>
      <title>Kolvo 1.3</title>
      <link>https://kolvo.app/1.3</link>
      <sparkle:version>45</sparkle:version>
      <sparkle:shortVersionString>1.3</sparkle:shortVersionString>
      <sparkle:minimumSystemVersion>13.0</sparkle:minimumSystemVersion>
      <sparkle:releaseNotesLink>https://kolvo.app/notes/1.3.html</sparkle:releaseNotesLink>
      <description><![CDATA[<ul><li>Faster Hidden Dock</li><li>Calibration &amp; Dock fixes</li></ul>]]></description>
      <enclosure url="https://kolvo.app/Kolvo-1.3.zip" length="1" type="application/octet-stream"/>
    </item>
    <item>
      <title>Kolvo 2.0</title>
      <sparkle:version>50</sparkle:version>
      <sparkle:minimumSystemVersion>99.0</sparkle:minimumSystemVersion>
    </item>
    <item><title>Broken</title></item>
  </channel>
</rss>
)";

TEST_F(KolvoCli, UpdateCheckReportsTheNewestReleaseThisMacRuns) {
  LoopbackHttpServer server(200, kFeed);
  const CommandResult run = kolvo("update check --feed " + server.url());
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.out, "Feed:          " + server.url() + "\n"
                     "Running:       Kolvo 1.0.0 (1) on macOS 15.0\n"
                     "Newest:        Kolvo 1.3 (45), for macOS 13.0 or later\n"
                     "Newer:         yes\n"
                     "Dismissed:     no\n"
                     "Release notes: https://kolvo.app/notes/1.3.html\n"
                     "               • Faster Hidden Dock\n"
                     "               • Calibration & Dock fixes\n"
                     "Page:          https://kolvo.app/1.3\n"
                     "Download:      https://kolvo.app/Kolvo-1.3.zip\n"
                     "Left out:      1 release needs a later macOS\n"
                     "Left out:      item 4 (\"Broken\"): it has no version\n");
  EXPECT_NE(server.last_request().find("User-Agent: Kolvo/1.0.0 (1)"), std::string::npos);
  // Looking never creates or writes the preference file.
  EXPECT_FALSE(std::filesystem::exists(prefs_file()));
}

TEST_F(KolvoCli, UpdateCheckJsonAndASkippedVersion) {
  LoopbackHttpServer server(200, kFeed);
  std::ofstream(prefs_file()) << R"({"com.kolvo.updateDismissedVersion": "45"})";
  const std::string before = read(prefs_file());
  update_feed_ = server.url();  // from the environment this time
  const CommandResult run = kolvo("update check --json");
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const auto report = nlohmann::json::parse(run.out);
  EXPECT_EQ(report["feed"], server.url());
  EXPECT_EQ(report["running"], nlohmann::json::parse(R"({"version":"1","shortVersion":"1.0.0","systemVersion":"15.0"})"));
  EXPECT_EQ(report["newest"]["version"], "45");
  EXPECT_EQ(report["newest"]["shortVersion"], "1.3");
  EXPECT_EQ(report["newest"]["minimumSystemVersion"], "13.0");
  EXPECT_EQ(report["newest"]["releaseNotes"],
            nlohmann::json::parse(R"(["• Faster Hidden Dock", "• Calibration & Dock fixes"])"));
  EXPECT_EQ(report["newest"]["downloadURL"], "https://kolvo.app/Kolvo-1.3.zip");
  EXPECT_EQ(report["newer"], true);
  EXPECT_EQ(report["dismissed"], true);
  EXPECT_EQ(report["dismissedVersion"], "45");
  EXPECT_EQ(report["needingLaterSystem"], 1);
  EXPECT_EQ(report["skipped"], nlohmann::json::parse(R"([{"item":4,"title":"Broken","reason":"it has no version"}])"));
  EXPECT_EQ(read(prefs_file()), before);

  // The settings show the skipped version as stored, and one that is not a version as none.
  EXPECT_EQ(nlohmann::json::parse(kolvo("settings --json").out)["com.kolvo.updateDismissedVersion"], "45");
  std::ofstream(prefs_file()) << R"({"com.kolvo.updateDismissedVersion": 45})";
  const std::string number = read(prefs_file());
  EXPECT_TRUE(nlohmann::json::parse(kolvo("settings --json").out)["com.kolvo.updateDismissedVersion"].is_null());
  const CommandResult unskipped = kolvo("update check");
  EXPECT_NE(unskipped.out.find("Dismissed:     no\n"), std::string::npos) << unskipped.out;
  EXPECT_EQ(read(prefs_file()), number);
}

TEST_F(KolvoCli, UpdateCheckFailuresArePlainSentences) {
  LoopbackHttpServer missing(404, "<html>Not Found</html>");
  LoopbackHttpServer silent(200, kFeed, LoopbackHttpServer::Mode::silent);
  LoopbackHttpServer broken(200, "<rss>\n<channel>\n<item></channel></rss>");
  LoopbackHttpServer atom(200, "<feed xmlns=\"http://www.w3.org/2005/Atom\"/>");
  struct Case {
    std::string arguments;
    int exit_code;
    std::string error;
  };
  const std::vector<Case> cases = {
      {"update check --feed " + missing.url(), 1,
       "kolvo: Could not check " + missing.url() + ": the server answered with HTTP status 404.\n"},
      {"update check --timeout 0.3 --feed " + silent.url(), 1,
       "kolvo: Could not check " + silent.url() + ": no answer came within 0.3 seconds.\n"},
      {"update check --feed " + broken.url(), 1,
       "kolvo: The feed at " + broken.url() + " cannot be read: line 3: the end tag </channel> does not match <item>.\n"},
      {"update check --feed " + atom.url(), 1,
       "kolvo: The feed at " + atom.url() + " cannot be read: it is not an RSS feed: its root element is <feed>.\n"},
      {"update check", 1, "kolvo: No update feed is configured: give one with --feed URL, or set KOLVO_UPDATE_FEED_URL.\n"},
      {"update check --feed ftp://kolvo.app/appcast.xml", 2,
       "kolvo: The feed address ftp://kolvo.app/appcast.xml cannot be used: it is not an http or https address.\n"},
      {"update check --feed", 2, "kolvo: --feed needs an address.\n"},
      {"update check --timeout soon --feed " + missing.url(), 2,
       "kolvo: --timeout needs a number of seconds above 0 and at most 600, not 'soon'.\n"},
      {"update check --timeout 0 --feed " + missing.url(), 2,
       "kolvo: --timeout needs a number of seconds above 0 and at most 600, not '0'.\n"},
      {"update check now --feed " + missing.url(), 2,
       "kolvo: 'kolvo update check' takes only --feed URL, --timeout SECONDS and --json, not 'now'.\n"},
      {"update", 2, "kolvo: 'kolvo update' takes one command: check [--feed URL] [--timeout SECONDS] [--json].\n"},
  };
  for (const Case& c : cases) {
    const CommandResult run = kolvo(c.arguments);
    EXPECT_EQ(run.exit_code, c.exit_code) << c.arguments;
    EXPECT_EQ(run.err, c.error) << c.arguments;
    EXPECT_EQ(run.out, "") << c.arguments;
  }
  EXPECT_EQ(silent.requests(), 1);
  EXPECT_FALSE(std::filesystem::exists(prefs_file()));
}

TEST_F(KolvoCli, ServeChecksTheFeedAtStartAndPutsTheNoticeInTheMenu) {
  LoopbackHttpServer server(200, kFeed);
  start_serve("--update-feed " + server.url());
  EXPECT_TRUE(wait_for_log([](const std::string& log) {
    return log.find("[Host] status menu: Kolvo 1.3 Is Available… | Skip This Version | Open Kolvo | Settings… | "
                    "Calibrate Kolvo… | Replay Onboarding | Quit Kolvo\n") != std::string::npos;
  })) << read(serve_log());
  const std::string log = read(serve_log());
  EXPECT_NE(log.find("[Update] checking " + server.url() + " at start and every 24 hours\n"), std::string::npos) << log;
  EXPECT_NE(log.find("[Update] Kolvo 1.3 is available\n"), std::string::npos) << log;
  EXPECT_EQ(server.requests(), 1);
}

TEST_F(KolvoCli, ServeWithAFailingFeedLogsOnceAndKeepsServing) {
  LoopbackHttpServer missing(404, "");
  update_feed_ = missing.url();
  start_serve();
  EXPECT_TRUE(wait_for_log([&](const std::string& log) {
    return log.find("[Update] could not check " + missing.url() + ": the server answered with HTTP status 404\n") !=
           std::string::npos;
  })) << read(serve_log());
  // Still serving: the timer is reached through its socket.
  const CommandResult timer = kolvo("timer");
  EXPECT_EQ(timer.exit_code, 0) << timer.err;
  EXPECT_EQ(count(read(serve_log()), "[Update] could not check"), 1u);
  EXPECT_EQ(count(read(serve_log()), "status menu:"), 0u);
}

TEST_F(KolvoCli, ServeWithoutAFeedChecksNothing) {
  start_serve();
  stop_serve();
  EXPECT_EQ(read(serve_log()).find("[Update]"), std::string::npos) << read(serve_log());
}

}  // namespace
