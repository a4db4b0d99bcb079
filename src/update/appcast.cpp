#include "update/appcast.hpp"

namespace kolvo::update {
namespace {

std::string trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  const auto last = text.find_last_not_of(" \t\r\n");
  return std::string(text.substr(first, last - first + 1));
}

// The fields of one item as read, before they are checked.
struct RawItem {
  std::string title;
  std::string version;
  std::string short_version;
  std::string description;
  std::string release_notes_link;
  std::string minimum_system_version;
  std::string link;
  std::string channel;
  bool has_channel = false;
  std::string enclosure_url;
  std::string enclosure_version;
  std::string enclosure_short_version;
  bool has_enclosure = false;
};

class AppcastReader final : public XmlHandler {
 public:
  explicit AppcastReader(const AppcastLimits& limits) : limits_(limits) {}

  bool start_element(const XmlName& name, const std::vector<XmlAttribute>& attributes) override {
    ++depth_;
    if (depth_ == 1) {
      if (name.is("", "rss")) return true;
      if (name.local == "rss") {
        return refuse("it is not an RSS feed: its root element <rss> belongs to the namespace " + name.namespace_uri);
      }
      return refuse("it is not an RSS feed: its root element is <" + name.local + ">");
    }
    if (capture_ != nullptr) return true;  // markup inside a captured field: its text is kept
    if (depth_ == 2) {
      in_channel_ = name.is("", "channel");
      saw_channel_ = saw_channel_ || in_channel_;
      return true;
    }
    if (!in_channel_) return true;
    if (depth_ == 3) {
      if (name.is("", "title") && !channel_title_seen_) {
        channel_title_seen_ = true;
        begin_capture(feed_.title);
      } else if (name.is("", "item")) {
        if (++item_count_ > limits_.max_items) {
          return refuse("it lists more than " + std::to_string(limits_.max_items) + " items");
        }
        item_ = RawItem{};
        in_item_ = true;
        seen_ = 0;
      }
      return true;
    }
    if (depth_ == 4 && in_item_) read_item_field(name, attributes);
    return true;
  }

  bool end_element(const XmlName& name) override {
    if (capture_ != nullptr && depth_ == capture_depth_) capture_ = nullptr;
    if (depth_ == 3 && in_item_ && name.is("", "item")) {
      finish_item();
      in_item_ = false;
    }
    if (depth_ == 2) in_channel_ = false;
    --depth_;
    return true;
  }

  bool text(std::string_view text) override {
    if (capture_ != nullptr) capture_->append(text);
    return true;
  }

  AppcastFeed take_feed() { return std::move(feed_); }
  const std::string& refusal() const { return refusal_; }
  bool saw_channel() const { return saw_channel_; }

 private:
  // The fields an item may carry. The first of each counts; a repeat is ignored.
  enum Field : unsigned {
    kTitle = 1u << 0,
    kDescription = 1u << 1,
    kLink = 1u << 2,
    kEnclosure = 1u << 3,
    kVersion = 1u << 4,
    kShortVersion = 1u << 5,
    kReleaseNotesLink = 1u << 6,
    kMinimumSystemVersion = 1u << 7,
    kChannel = 1u << 8,
  };

  void read_item_field(const XmlName& name, const std::vector<XmlAttribute>& attributes) {
    struct Known {
      std::string_view namespace_uri;
      std::string_view local;
      Field field;
      std::string RawItem::*target;
    };
    static const Known kKnown[] = {
        {"", "title", kTitle, &RawItem::title},
        {"", "description", kDescription, &RawItem::description},
        {"", "link", kLink, &RawItem::link},
        {"", "enclosure", kEnclosure, nullptr},
        {kAppcastNamespace, "version", kVersion, &RawItem::version},
        {kAppcastNamespace, "shortVersionString", kShortVersion, &RawItem::short_version},
        {kAppcastNamespace, "releaseNotesLink", kReleaseNotesLink, &RawItem::release_notes_link},
        {kAppcastNamespace, "minimumSystemVersion", kMinimumSystemVersion, &RawItem::minimum_system_version},
        {kAppcastNamespace, "channel", kChannel, &RawItem::channel},
    };
    for (const Known& known : kKnown) {
      if (!name.is(known.namespace_uri, known.local)) continue;
      if ((seen_ & known.field) != 0) return;
      seen_ |= known.field;
      if (known.field == kEnclosure) {
        read_enclosure(attributes);
      } else {
        if (known.field == kChannel) item_.has_channel = true;
        begin_capture(item_.*known.target);
      }
      return;
    }
  }

  void read_enclosure(const std::vector<XmlAttribute>& attributes) {
    item_.has_enclosure = true;
    for (const XmlAttribute& attribute : attributes) {
      if (attribute.name.is("", "url")) item_.enclosure_url = attribute.value;
      else if (attribute.name.is(kAppcastNamespace, "version")) item_.enclosure_version = attribute.value;
      else if (attribute.name.is(kAppcastNamespace, "shortVersionString")) item_.enclosure_short_version = attribute.value;
    }
  }

  void finish_item() {
    const std::string title = trimmed(item_.title);
    if (item_.has_channel && !trimmed(item_.channel).empty()) return;  // a beta or other channel
    std::string version_text = trimmed(item_.version);
    if (version_text.empty()) version_text = trimmed(item_.enclosure_version);
    if (version_text.empty()) {
      feed_.skipped.push_back({item_count_, title, "it has no version"});
      return;
    }
    auto version = Version::parse(version_text);
    if (!version) {
      feed_.skipped.push_back({item_count_, title, "its version '" + version_text.substr(0, Version::kMaxLength) +
                                                       (version_text.size() > Version::kMaxLength ? "…" : "") +
                                                       "' cannot be read"});
      return;
    }
    std::string short_version = trimmed(item_.short_version);
    if (short_version.empty()) short_version = trimmed(item_.enclosure_short_version);
    feed_.items.push_back({.title = title,
                           .version = std::move(*version),
                           .short_version = std::move(short_version),
                           .description = std::move(item_.description),
                           .release_notes_link = trimmed(item_.release_notes_link),
                           .minimum_system_version = trimmed(item_.minimum_system_version),
                           .link = trimmed(item_.link),
                           .download_url = trimmed(item_.enclosure_url)});
  }

  void begin_capture(std::string& field) {
    capture_ = &field;
    capture_depth_ = depth_;
  }

  bool refuse(std::string why) {
    refusal_ = std::move(why);
    return false;
  }

  const AppcastLimits& limits_;
  AppcastFeed feed_;
  RawItem item_;
  unsigned seen_ = 0;
  std::size_t depth_ = 0;
  std::size_t item_count_ = 0;
  bool saw_channel_ = false;
  bool in_channel_ = false;
  bool in_item_ = false;
  bool channel_title_seen_ = false;
  std::string* capture_ = nullptr;
  std::size_t capture_depth_ = 0;
  std::string refusal_;
};

}  // namespace

AppcastResult parse_appcast(std::string_view document, const AppcastLimits& limits) {
  AppcastReader reader(limits);
  const XmlResult read = read_xml(document, reader, limits.xml);
  if (read.stopped) return {std::nullopt, reader.refusal()};
  if (!read.ok) return {std::nullopt, read.error};
  if (!reader.saw_channel()) return {std::nullopt, "it is not an RSS feed: <rss> holds no <channel>"};
  AppcastFeed feed = reader.take_feed();
  feed.title = trimmed(feed.title);
  return {std::move(feed), {}};
}

}  // namespace kolvo::update
