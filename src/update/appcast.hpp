#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "update/version.hpp"
#include "update/xml_reader.hpp"

namespace kolvo::update {

// The namespace the appcast format declares its own elements and attributes in.
inline constexpr std::string_view kAppcastNamespace = "http://www.andymatuschak.org/xml-namespaces/sparkle";

// One release the feed offers.
struct AppcastItem {
  std::string title;
  // The build version that orders releases, from the item's version element or, failing
  // that, its enclosure's version attribute.
  Version version;
  // What people call the release ("1.3"); empty when the feed gives none.
  std::string short_version;
  // Release notes given inline, as the feed has them (often HTML).
  std::string description;
  std::string release_notes_link;
  // The oldest macOS the release runs on; empty when it runs on any.
  std::string minimum_system_version;
  // The item's web page and its download.
  std::string link;
  std::string download_url;
};

// An item left out, and why: it has no version, or one that cannot be read.
struct SkippedAppcastItem {
  std::size_t position = 0;  // 1 for the feed's first item
  std::string title;
  std::string reason;
};

struct AppcastFeed {
  std::string title;
  std::vector<AppcastItem> items;
  std::vector<SkippedAppcastItem> skipped;
};

struct AppcastLimits {
  XmlLimits xml;
  std::size_t max_items = 1000;
};

struct AppcastResult {
  std::optional<AppcastFeed> feed;
  // A sentence fragment saying why the feed cannot be read: "line 4: …", "it is not an RSS
  // feed: its root element is <feed>".
  std::string error;
};

// An RSS 2.0 document whose items carry the appcast format's elements. Items come from
// <rss><channel><item>; an item's version is the element <sparkle:version>, or the attribute
// sparkle:version of its <enclosure>. Items meant for another update channel (those with a
// <sparkle:channel>) are not for everyone and are left out without a word, as are elements
// the reader does not know. Names are matched by namespace, not by prefix.
AppcastResult parse_appcast(std::string_view document, const AppcastLimits& limits = {});

}  // namespace kolvo::update
