#include <gtest/gtest.h>

#include <string>

#include "update/appcast.hpp"

namespace kolvo::update {
namespace {

constexpr const char* kNs = R"(xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle")";

std::string feed(const std::string& items, const std::string& root_attributes = kNs) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<rss version=\"2.0\" " + root_attributes +
         ">\n<channel>\n<title>Kolvo</title>\n" + items + "</channel>\n</rss>\n";
}

// Every item the feed yields, one per line: "version short min | notes-link | link | download |
// title | description", then one "skipped N: reason" line per item left out.
std::string summary(const AppcastFeed& parsed) {
  std::string out;
  for (const auto& item : parsed.items) {
    out += item.version.text() + " " + item.short_version + " " + item.minimum_system_version + " | " +
           item.release_notes_link + " | " + item.link + " | " + item.download_url + " | " + item.title + " | " +
           item.description + "\n";
  }
  for (const auto& skipped : parsed.skipped) {
    out += "skipped " + std::to_string(skipped.position) + ": " + skipped.reason + "\n";
  }
  return out;
}

TEST(Appcast, ItemsAndTheirFields) {
  struct Case {
    std::string name;
    std::string document;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {"every field as elements",
       feed(R"(<item><title>Kolvo 1.3</title><link>https://kolvo.app/1.3</link>
                <sparkle:version>45</sparkle:version><sparkle:shortVersionString>1.3</sparkle:shortVersionString>
                <sparkle:minimumSystemVersion> 13.0 </sparkle:minimumSystemVersion>
                <sparkle:releaseNotesLink>https://kolvo.app/notes/1.3.html</sparkle:releaseNotesLink>
                <description><![CDATA[<ul><li>Faster</li></ul>]]></description>
                <enclosure url="https://kolvo.app/Kolvo-1.3.zip" length="100" type="application/octet-stream"/>
              </item>)"),
       "45 1.3 13.0 | https://kolvo.app/notes/1.3.html | https://kolvo.app/1.3 | https://kolvo.app/Kolvo-1.3.zip | "
       "Kolvo 1.3 | <ul><li>Faster</li></ul>\n"},
      {"only an enclosure version",
       feed(R"(<item><enclosure url="https://k/1.zip" sparkle:version="44" sparkle:shortVersionString='1.2'/></item>)"),
       "44 1.2  |  |  | https://k/1.zip |  | \n"},
      {"the element wins over the enclosure's attribute",
       feed(R"(<item><enclosure sparkle:version="1" sparkle:shortVersionString="0.1"/>)"
            R"(<sparkle:version>2</sparkle:version><sparkle:shortVersionString>0.2</sparkle:shortVersionString></item>)"),
       "2 0.2  |  |  |  |  | \n"},
      {"any prefix for the right namespace",
       feed(R"(<item><s:version>7</s:version></item>)",
            R"(xmlns:s="http://www.andymatuschak.org/xml-namespaces/sparkle")"),
       "7   |  |  |  |  | \n"},
      {"the right prefix for the wrong namespace",
       feed(R"(<item><title>A</title><sparkle:version>7</sparkle:version></item>)",
            R"(xmlns:sparkle="http://example.com/not-the-appcast")"),
       "skipped 1: it has no version\n"},
      {"a default namespace makes the RSS elements someone else's",
       "<rss xmlns=\"urn:other\"><channel/></rss>",
       "error: it is not an RSS feed: its root element <rss> belongs to the namespace urn:other"},
      {"items without a version are left out, the rest kept",
       feed(std::string("<item><title>No version</title><enclosure url=\"x\"/></item>") +
            "<item><sparkle:version>  </sparkle:version></item>" +
            "<item><sparkle:version>3</sparkle:version></item>" +
            "<item><sparkle:version>" + std::string(80, '9') + "</sparkle:version></item>" +
            "<item><sparkle:version>1.0\xC3\xA9</sparkle:version></item>"),
       "3   |  |  |  |  | \nskipped 1: it has no version\nskipped 2: it has no version\n"
       "skipped 4: its version '" + std::string(64, '9') + "…' cannot be read\n"
       "skipped 5: its version '1.0\xC3\xA9' cannot be read\n"},
      {"items of another update channel are not for everyone",
       feed(R"(<item><sparkle:version>9</sparkle:version><sparkle:channel>beta</sparkle:channel></item>
               <item><sparkle:version>8</sparkle:version><sparkle:channel></sparkle:channel></item>)"),
       "8   |  |  |  |  | \n"},
      {"the first of a repeated field counts",
       feed("<item><sparkle:version>5</sparkle:version><sparkle:version>6</sparkle:version>"
            "<title>first</title><title>second</title></item>"),
       "5   |  |  |  | first | \n"},
      {"markup inside a field keeps its text; an item inside it is not an item",
       feed("<item><sparkle:version>5</sparkle:version><description>a <b>bold</b> <item>x</item> move"
            "</description></item>"),
       "5   |  |  |  |  | a bold x move\n"},
      {"entities in fields and attributes",
       feed("<item><title>Fish &amp; Chips</title><sparkle:version>&#x35;</sparkle:version>"
            "<enclosure url=\"https://k/?a=1&amp;b=2\"/></item>"),
       "5   |  |  | https://k/?a=1&b=2 | Fish & Chips | \n"},
      {"items outside the channel or nested deeper are not read",
       "<rss " + std::string(kNs) + "><item><sparkle:version>1</sparkle:version></item><channel>"
       "<x><item><sparkle:version>2</sparkle:version></item></x></channel></rss>",
       ""},
      {"an empty channel", feed(""), ""},
      {"not RSS", "<feed xmlns=\"http://www.w3.org/2005/Atom\"/>",
       "error: it is not an RSS feed: its root element is <feed>"},
      {"RSS without a channel", "<rss version=\"2.0\"/>", "error: it is not an RSS feed: <rss> holds no <channel>"},
      {"an unterminated item", feed("<item><sparkle:version>1</sparkle:version>"),
       "error: line 5: the end tag </channel> does not match <item>"},
      {"an undeclared prefix", "<rss><channel><item><sparkle:version>1</sparkle:version></item></channel></rss>",
       "error: line 1: the prefix sparkle of sparkle:version is used without being declared"},
  };
  for (const Case& c : cases) {
    const AppcastResult result = parse_appcast(c.document);
    const std::string got = result.feed ? summary(*result.feed) : "error: " + result.error;
    EXPECT_EQ(got, c.expected) << c.name;
  }
}

TEST(Appcast, TheItemLimitRefusesTheWholeFeed) {
  AppcastLimits limits;
  limits.max_items = 3;
  std::string items;
  for (int i = 1; i <= 3; ++i) items += "<item><sparkle:version>" + std::to_string(i) + "</sparkle:version></item>";
  const AppcastResult three = parse_appcast(feed(items), limits);
  ASSERT_TRUE(three.feed) << three.error;
  EXPECT_EQ(three.feed->items.size(), 3u);
  EXPECT_EQ(three.feed->title, "Kolvo");
  // Items without a version count toward the limit too: they cost as much to read.
  const AppcastResult four = parse_appcast(feed(items + "<item/>"), limits);
  EXPECT_FALSE(four.feed);
  EXPECT_EQ(four.error, "it lists more than 3 items");
}

}  // namespace
}  // namespace kolvo::update
