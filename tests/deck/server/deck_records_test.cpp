// The rules of the phone link that need no socket: the mirrored state, the launch list, the
// trusted phones' record and the one-at-a-time approval questions.
#include <gtest/gtest.h>

#include "app/deck_link.hpp"
#include "base/diagnostics_log.hpp"
#include "base/json_text.hpp"
#include "deck/server/deck_approval.hpp"
#include "deck/server/deck_state.hpp"
#include "deck/server/deck_trust_store.hpp"
#include "prefs/settings_keys.hpp"
#include "support/settings_fixture.hpp"

namespace kolvo::deck {
namespace {

using Mode = prefs::CornerControlMode;

DeckReadings readings() {
  DeckReadings r;
  r.volume = 0.4;
  r.has_volume_control = true;
  r.brightness = 0.7;
  r.brightness_entry_points = true;
  r.dark = true;
  r.keyboard_backlight = 0.2;
  r.backlight_present = true;
  r.audio_devices = {{"73", "Speakers"}, {"60", "Headphones"}};
  r.current_audio_device_id = "73";
  r.accessibility_trusted = true;
  r.profile = {"Default", std::nullopt, true, "Safari", "com.apple.Safari"};
  r.accent = {0.1, 0.5, 1.0};
  return r;
}

TEST(DeckState, EachCornerModeBecomesTheSlotThePhoneKnows) {
  struct Case {
    Mode mode;
    std::optional<KolvoDeckSlot> slot;
  };
  const std::vector<Case> cases{
      {Mode::off, KolvoDeckSlot{KolvoDeckSlotType::off, false, {}, {}, {}, {}}},
      {Mode::volume, KolvoDeckSlot{KolvoDeckSlotType::volume, true, 0.4, {}, {}, {}}},
      {Mode::brightness, KolvoDeckSlot{KolvoDeckSlotType::brightness, true, 0.7, {}, {}, {}}},
      {Mode::keyboardBacklight, KolvoDeckSlot{KolvoDeckSlotType::keyboardBacklight, true, 0.2, {}, {}, {}}},
      {Mode::appearance, KolvoDeckSlot{KolvoDeckSlotType::appearance, true, {}, true, {}, {}}},
      {Mode::audioOutput, KolvoDeckSlot{KolvoDeckSlotType::audioOutput, true, {}, {}, readings().audio_devices, "73"}},
      {Mode::playPause, KolvoDeckSlot{KolvoDeckSlotType::playPause, true, {}, {}, {}, {}}},
      {Mode::showDesktop, KolvoDeckSlot{KolvoDeckSlotType::showDesktop, true, {}, {}, {}, {}}},
      {Mode::tabCarousel, KolvoDeckSlot{KolvoDeckSlotType::tabCarousel, true, {}, {}, {}, {}}},
      {Mode::windowSnap, KolvoDeckSlot{KolvoDeckSlotType::windowSnap, true, {}, {}, {}, {}}},
      // The phone knows no timer slot and would refuse the whole state.
      {Mode::timer, std::nullopt},
  };
  for (const auto& c : cases) {
    auto r = readings();
    r.corners = {c.mode, Mode::off, Mode::off, c.mode};
    const auto state = assemble_state(r);
    EXPECT_EQ(state.top_left, c.slot) << prefs::to_string(c.mode);
    EXPECT_EQ(state.bottom_right, c.slot) << prefs::to_string(c.mode);
  }
  const auto timer_only = [] {
    auto r = readings();
    r.corners = {Mode::timer, Mode::timer, Mode::timer, Mode::timer};
    return encode_json(assemble_state(r));
  }();
  EXPECT_EQ(timer_only.find("topLeft"), std::string::npos);
}

TEST(DeckState, MissingReadingsAreSentAsZeroAndUnavailable) {
  auto r = readings();
  r.volume.reset();
  r.has_volume_control = false;
  r.brightness.reset();  // entry points there, no reading
  r.keyboard_backlight = std::numeric_limits<double>::quiet_NaN();
  r.backlight_present = false;
  r.audio_devices.clear();
  r.accessibility_trusted = false;
  r.corners = {Mode::volume, Mode::playPause, Mode::off, Mode::off};
  const auto state = assemble_state(r);
  EXPECT_EQ(state.volume, 0);
  EXPECT_EQ(state.brightness, 0);
  EXPECT_EQ(state.keyboard_backlight, 0);
  EXPECT_EQ(state.available, (KolvoDeckAvailability{false, false, true, false, false}));
  EXPECT_EQ(state.top_left->available, false);
  EXPECT_EQ(state.top_right->available, false);  // keystrokes need Accessibility
  EXPECT_EQ(state.desktop_switch_available, false);
  EXPECT_EQ(encode_json(state).find("nan"), std::string::npos);
}

TEST(DeckState, TheLaunchListPutsTheDockFirstAndListsEachApplicationOnce) {
  const auto app = [](const char* name, std::optional<std::string> id) {
    return catalog::KolvoAppItem{"00000000-0000-0000-0000-000000000000", name, std::move(id), "file:///Applications/x.app/"};
  };
  const std::vector<catalog::KolvoAppItem> dock{app("Safari", "com.apple.Safari"), app("Odd", std::nullopt),
                                                app("Mail", "com.apple.mail")};
  std::vector<std::optional<catalog::KolvoAppItem>> launcher{std::nullopt, app("Mail", "com.apple.mail"),
                                                             app("Notes", "com.apple.Notes"), app("Blank", "")};
  const auto items = launch_items(dock, launcher);
  EXPECT_EQ(items, (std::vector<KolvoDeckLaunchItem>{{"com.apple.Safari", "Safari", 0, true},
                                                     {"com.apple.mail", "Mail", 1, true},
                                                     {"com.apple.Notes", "Notes", 2, false}}));
}

TEST(DeckTrustStore, RoundTripsAndKeepsUnreadableDataBeforeReplacingIt) {
  testing::SettingsFixture f;
  KolvoDeckTrustStore store(f.prefs, f.log, f.clock);
  store.add_or_update("A", "Anna \xFF");  // an ill-formed name still writes valid text
  store.add_or_update("B", "Ben");
  const auto stored = f.prefs.read_data(prefs::keys::kDeckTrustedDevices);
  const auto text = base::text_of(stored.value);
  // Dates are seconds since 2001, as the phone's codec writes them.
  EXPECT_NE(text.find("\"addedAt\":8e+08"), std::string::npos) << text;
  KolvoDeckTrustStore reloaded(f.prefs, f.log, f.clock);
  EXPECT_EQ(reloaded.devices(), store.devices());
  EXPECT_EQ(reloaded.device("A")->name, "Anna \xEF\xBF\xBD");

  struct Case {
    const char* name;
    std::string stored;
  };
  for (const auto& c : std::vector<Case>{{"not JSON", "{"},
                                         {"not an array", "{\"id\":\"A\"}"},
                                         {"a missing date", "[{\"id\":\"A\",\"name\":\"Anna\"}]"},
                                         {"a wrong type", "[{\"id\":1,\"name\":\"Anna\",\"addedAt\":1}]"}}) {
    testing::SettingsFixture g;
    g.prefs.set(prefs::keys::kDeckTrustedDevices, prefs::PreferenceData(c.stored.begin(), c.stored.end()));
    KolvoDeckTrustStore broken(g.prefs, g.log, g.clock);
    EXPECT_TRUE(broken.devices().empty()) << c.name;
    // Nothing is written until the user trusts a phone; then the old value is kept aside.
    EXPECT_FALSE(g.prefs.value(std::string(prefs::keys::kDeckTrustedDevices) + ".backup")) << c.name;
    broken.add_or_update("C", "Cleo");
    const auto backup = g.prefs.read_data(std::string(prefs::keys::kDeckTrustedDevices) + ".backup");
    ASSERT_TRUE(backup.is_present()) << c.name;
    EXPECT_EQ(base::text_of(backup.value), c.stored) << c.name;
  }
}

class RecordingPrompt final : public DeckApprovalPrompt {
 public:
  void present(const ApprovalRequest& request, std::function<void(bool)> answer) override {
    shown.push_back(request.key);
    answer_ = std::move(answer);
  }
  void dismiss(const ApprovalRequest& request) override { dismissed.push_back(request.key); }
  void say(bool allow) { std::exchange(answer_, {})(allow); }
  std::vector<std::string> shown, dismissed;

 private:
  std::function<void(bool)> answer_;
};

TEST(ApprovalQueue, AsksOneAtATimeInOrderAndDropsThoseThatLeave) {
  RecordingPrompt prompt;
  ApprovalQueue queue(prompt);
  std::vector<std::string> answers;
  const auto ask = [&](const std::string& key) {
    return queue.ask({key, key}, [&answers, key](bool allow) { answers.push_back(key + (allow ? "+" : "-")); });
  };
  EXPECT_TRUE(ask("a"));
  EXPECT_FALSE(ask("a"));  // asked already
  EXPECT_TRUE(ask("b"));
  EXPECT_TRUE(ask("c"));
  EXPECT_EQ(prompt.shown, std::vector<std::string>{"a"});
  queue.withdraw("b");  // waiting, never shown: nothing to take down
  EXPECT_TRUE(prompt.dismissed.empty());
  prompt.say(true);
  EXPECT_EQ(prompt.shown, (std::vector<std::string>{"a", "c"}));
  EXPECT_TRUE(queue.answer("c", false));  // from the control socket: the alert is taken down
  EXPECT_EQ(prompt.dismissed, std::vector<std::string>{"c"});
  EXPECT_FALSE(queue.answer("c", true));
  EXPECT_EQ(answers, (std::vector<std::string>{"a+", "c-"}));
  EXPECT_TRUE(queue.pending().empty());
}

TEST(DeckCommands, EachPhoneCommandIsTheRequestTheCommandLineWouldMake) {
  using app::Request;
  struct Case {
    const char* name;
    KolvoDeckMessage command;
    std::optional<Request> request;
  };
  const std::vector<Case> cases{
      {"volume", SetControlMessage{std::nullopt, KolvoDeckControl::volume, 0.25},
       app::LevelRequest{app::LevelControl::volume, 0.25f}},
      {"backlight clamped", SetControlMessage{std::nullopt, KolvoDeckControl::keyboardBacklight, -3},
       app::LevelRequest{app::LevelControl::backlight, 0.0f}},
      {"no value", SetControlMessage{std::nullopt, KolvoDeckControl::brightness, std::nullopt}, std::nullopt},
      {"output", SetAudioOutputMessage{"60"}, app::OutputRequest{60}},
      {"output not a number", SetAudioOutputMessage{"60x"}, std::nullopt},
      {"tab step beyond 32 bits", TabStepMessage{std::int64_t{1} << 40}, app::TabRequest{INT32_MAX}},
      {"snap", WindowSnapMessage{controls::WindowLayout::center},
       app::SnapRequest{controls::WindowLayout::center, std::nullopt}},
      {"space", SwitchDesktopLeftMessage{}, app::SpaceRequest{controls::SpaceDirection::left}},
      {"pong is no command", PongMessage{}, std::nullopt},
  };
  const auto same = [](const std::optional<Request>& a, const std::optional<Request>& b) {
    if (a.has_value() != b.has_value()) return false;
    if (!a) return true;
    if (a->index() != b->index()) return false;
    return std::visit(
        [&](const auto& x) {
          using R = std::decay_t<decltype(x)>;
          const auto& y = std::get<R>(*b);
          if constexpr (std::is_same_v<R, app::LevelRequest>) return x.control == y.control && x.set_to == y.set_to;
          if constexpr (std::is_same_v<R, app::OutputRequest>) return x.make_default == y.make_default;
          if constexpr (std::is_same_v<R, app::TabRequest>) return x.step == y.step;
          if constexpr (std::is_same_v<R, app::SnapRequest>) return x.layout == y.layout && x.pid == y.pid;
          if constexpr (std::is_same_v<R, app::SpaceRequest>) return x.direction == y.direction;
          return true;
        },
        *a);
  };
  for (const auto& c : cases) EXPECT_TRUE(same(app::request_for(c.command), c.request)) << c.name;
}

}  // namespace
}  // namespace kolvo::deck
