#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "platform/linux/json_file_preference_store_linux.hpp"

namespace kolvo::platform {
namespace {
namespace fs = std::filesystem;
using prefs::PreferenceValue;

class JsonFilePreferenceStoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::random_device random;
    home_ = fs::temp_directory_path() / ("kolvo-prefs-" + std::to_string(random()));
    file_ = home_ / "kolvo" / "preferences.json";
  }
  void TearDown() override { fs::remove_all(home_); }

  void write_raw(const std::string& text) {
    fs::create_directories(file_.parent_path());
    std::ofstream(file_) << text;
  }
  std::string read_raw(const fs::path& path) const {
    std::ifstream in(path);
    std::stringstream buffer;
    buffer << in.rdbuf();
    return buffer.str();
  }
  JsonFilePreferenceStore open() {
    return JsonFilePreferenceStore(file_, [this](std::string_view m) { warnings_.emplace_back(m); });
  }

  fs::path home_;
  fs::path file_;
  std::vector<std::string> warnings_;
};

TEST_F(JsonFilePreferenceStoreTest, EveryPropertyListTypeSurvivesAReopen) {
  const std::vector<std::pair<std::string, PreferenceValue>> values = {
      {"bool", true},
      {"integer", std::int64_t{-7}},
      {"whole real", 2.0},  // must come back a real, not an integer
      {"real", 0.1},
      {"string", "sideways"},
      {"data", prefs::PreferenceData{0, 1, 254, 255}},
      {"json data", prefs::PreferenceData{'{', '"', 'a', '"', ':', '[', '1', '.', '5', ']', '}'}},
      {"json-looking data", prefs::PreferenceData{'{', ' ', '}'}},  // not in compact form: stays base64
      {"date", prefs::PreferenceDate{730900800.25}},
      {"array", PreferenceValue::Array{"a", 1, 2.5}},
      {"dictionary", PreferenceValue::Dictionary{{"k", PreferenceValue::Array{}}}},
  };
  {
    auto store = open();
    for (const auto& [key, value] : values) store.set(key, value);
  }
  auto reopened = open();
  for (const auto& [key, value] : values) EXPECT_EQ(reopened.value(key), value) << key;
  EXPECT_TRUE(warnings_.empty());
  const auto file = nlohmann::ordered_json::parse(read_raw(file_));
  EXPECT_EQ(file["json data"]["$json"]["a"][0], 1.5);
  EXPECT_TRUE(file["json-looking data"].contains("$data"));
  EXPECT_FALSE(fs::exists(file_.string() + ".tmp-" + std::to_string(::getpid())));
}

TEST_F(JsonFilePreferenceStoreTest, EntriesItDoesNotUnderstandAreWrittenBackUntouched) {
  write_raw(R"({"user.note": null, "com.kolvo.leftEdgeMode": "volume", "odd": [1, null]})");
  auto store = open();
  EXPECT_FALSE(store.value("user.note"));
  EXPECT_FALSE(store.value("odd"));
  store.set("com.kolvo.rightEdgeMode", "brightness");
  store.remove("com.kolvo.leftEdgeMode");
  const auto written = nlohmann::ordered_json::parse(read_raw(file_));
  EXPECT_TRUE(written.contains("user.note"));
  EXPECT_TRUE(written["user.note"].is_null());
  EXPECT_EQ(written["odd"], nlohmann::ordered_json::parse("[1, null]"));
  EXPECT_EQ(written["com.kolvo.rightEdgeMode"], "brightness");
  EXPECT_FALSE(written.contains("com.kolvo.leftEdgeMode"));
}

TEST_F(JsonFilePreferenceStoreTest, ACorruptFileIsKeptAsideNeverOverwrittenAndReportedOnce) {
  for (const std::string& corrupt : {std::string("{\"com.kolvo.deckEnabled\": tru"), std::string("[1, 2]")}) {
    fs::remove_all(home_);
    warnings_.clear();
    write_raw(corrupt);
    auto store = open();
    EXPECT_FALSE(store.value("com.kolvo.deckEnabled"));
    ASSERT_EQ(warnings_.size(), 1u);
    EXPECT_EQ(read_raw(file_), corrupt);  // reading alone changes nothing
    store.set("com.kolvo.deckEnabled", true);
    ASSERT_TRUE(store.set_aside_path());
    EXPECT_EQ(read_raw(*store.set_aside_path()), corrupt);
    EXPECT_NE(store.set_aside_path()->filename().string().find("preferences.json.corrupt-"), std::string::npos);
    store.set("com.kolvo.usePressureZone", true);
    EXPECT_EQ(warnings_.size(), 2u);  // the move is said once, not per write
    auto reopened = open();
    EXPECT_EQ(reopened.value("com.kolvo.deckEnabled"), PreferenceValue(true));
  }
}

TEST_F(JsonFilePreferenceStoreTest, TwoProcessesWritingDifferentKeysDoNotUndoEachOther) {
  auto host = open();     // the running agent, loaded before the other write
  auto command = open();  // a `kolvo prefs write` meanwhile
  command.set("com.kolvo.deckEnabled", true);
  host.set("com.kolvo.usePressureZone", true);
  auto reopened = open();
  EXPECT_EQ(reopened.value("com.kolvo.deckEnabled"), PreferenceValue(true));
  EXPECT_EQ(reopened.value("com.kolvo.usePressureZone"), PreferenceValue(true));
}

TEST_F(JsonFilePreferenceStoreTest, DefaultPathFollowsXdgConfigHome) {
  const char* saved_xdg = std::getenv("XDG_CONFIG_HOME");
  const std::string saved = saved_xdg ? saved_xdg : "";
  const std::string saved_home = std::getenv("HOME") ? std::getenv("HOME") : "/";
  ::setenv("XDG_CONFIG_HOME", "/tmp/xdg-test", 1);
  EXPECT_EQ(JsonFilePreferenceStore::default_path(), fs::path("/tmp/xdg-test/kolvo/preferences.json"));
  ::setenv("XDG_CONFIG_HOME", "relative/ignored", 1);
  ::setenv("HOME", "/home/someone", 1);
  EXPECT_EQ(JsonFilePreferenceStore::default_path(), fs::path("/home/someone/.config/kolvo/preferences.json"));
  ::setenv("HOME", saved_home.c_str(), 1);
  if (saved_xdg) {
    ::setenv("XDG_CONFIG_HOME", saved.c_str(), 1);
  } else {
    ::unsetenv("XDG_CONFIG_HOME");
  }
}

}  // namespace
}  // namespace kolvo::platform

namespace kolvo::platform {
namespace {

// Hostile files: each costs at most its own key, never the whole domain, and never crashes.
TEST_F(JsonFilePreferenceStoreTest, ANumberTooLargeCostsOnlyItsOwnKeyAndIsKeptAsWritten) {
  for (const char* number : {"1e400", "-1e400", "123e999999"}) {
    warnings_.clear();
    write_raw(std::string(R"({"com.kolvo.deckEnabled": true, "com.kolvo.alignmentEdgeOffset": )") + number +
              R"(, "list": [1, )" + number + R"(], "text": "1e400"})");
    auto store = open();
    EXPECT_EQ(store.value("com.kolvo.deckEnabled"), PreferenceValue(true)) << number;
    EXPECT_EQ(store.value("text"), PreferenceValue("1e400")) << number;
    EXPECT_FALSE(store.value("com.kolvo.alignmentEdgeOffset")) << number;
    EXPECT_FALSE(store.value("list")) << number;
    EXPECT_EQ(store.all().size(), 2u) << number;
    ASSERT_EQ(warnings_.size(), 2u) << number;
    EXPECT_NE(warnings_[0].find(std::string("holds the number ") + number), std::string::npos) << warnings_[0];
    // Writing another key keeps the unusable ones exactly as the user wrote them.
    store.set("other", std::int64_t{1});
    const std::string text = read_raw(file_);
    EXPECT_NE(text.find(std::string("\"com.kolvo.alignmentEdgeOffset\": ") + number), std::string::npos) << text;
    EXPECT_NE(text.find(number + std::string("\n")), std::string::npos) << text;
    EXPECT_EQ(text.find("unrepresentable"), std::string::npos) << text;
    EXPECT_TRUE(fs::exists(file_));
    EXPECT_EQ(open().value("other"), PreferenceValue(std::int64_t{1}));
  }
}

TEST_F(JsonFilePreferenceStoreTest, NestingBeyondTheLimitIsRefusedByNameAndSetAside) {
  write_raw(std::string(20'000, '[') + std::string(20'000, ']'));
  auto store = open();
  EXPECT_TRUE(store.all().empty());
  ASSERT_EQ(warnings_.size(), 1u);
  EXPECT_NE(warnings_[0].find(file_.string()), std::string::npos) << warnings_[0];
  EXPECT_NE(warnings_[0].find("deeper than 512 levels"), std::string::npos) << warnings_[0];
  store.set("k", true);
  EXPECT_EQ(open().value("k"), PreferenceValue(true));
}

TEST_F(JsonFilePreferenceStoreTest, DataStaysDataSoTheFileGrowsOnlyWithWhatWasWritten) {
  struct Case {
    std::size_t depth;
    bool readable;
  };
  for (const Case c : {Case{3, true}, Case{16, true}, Case{17, false}, Case{10'000, false}}) {
    const std::string text = std::string(c.depth, '[') + std::string(c.depth, ']');
    const prefs::PreferenceData data(text.begin(), text.end());
    {
      auto store = open();
      store.set("com.kolvo.appProfiles", data);
    }
    const std::string file = read_raw(file_);
    EXPECT_EQ(file.find("$json") != std::string::npos, c.readable) << c.depth;
    // Readable JSON costs at most its indentation (two spaces a level) per line.
    EXPECT_LT(file.size(), (c.readable ? 40 : 2) * text.size() + 600) << c.depth;
    EXPECT_EQ(open().value("com.kolvo.appProfiles"), PreferenceValue(data)) << c.depth;
  }
}

}  // namespace
}  // namespace kolvo::platform
