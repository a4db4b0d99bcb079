// The Deck server over real loopback sockets, with the running program's own services behind
// it and its main executor on virtual time.
#include <gtest/gtest.h>

#include <memory>

#include "app/runtime.hpp"
#include "base/base64.hpp"
#include "platform/sim/simulated_adobe.hpp"
#include "support/phone_client.hpp"
#include "support/settings_fixture.hpp"
#include "support/simulated_ports.hpp"
#include "support/temp_root.hpp"

namespace kolvo::deck {
namespace {

using testing::Phone;
using T = KolvoDeckMessageType;

// Stands in for the Mac's alert: records what it was asked and answers when told to.
class ScriptedPrompt final : public DeckApprovalPrompt {
 public:
  void present(const ApprovalRequest& request, std::function<void(bool)> answer) override {
    presented.push_back(request);
    answer_ = std::move(answer);
  }
  void dismiss(const ApprovalRequest& request) override {
    dismissed.push_back(request);
    answer_ = {};
  }
  bool showing() const { return static_cast<bool>(answer_); }
  void say(bool allow) { std::exchange(answer_, {})(allow); }

  std::vector<ApprovalRequest> presented;
  std::vector<ApprovalRequest> dismissed;

 private:
  std::function<void(bool)> answer_;
};

class DeckServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto ports = testing::simulated_ports(machine_);
    // The coding agents' folders, in a home of the test's own.
    ports.agent_paths = {agents_.path() / "home", agents_.path() / "support"};
    runtime_ = std::make_unique<app::Runtime>(std::move(ports), main_, clock_,
                                              app::Runtime::Options{.mode = app::Runtime::Mode::live, .log_mirror = {}});
    server_ = &runtime_->make_deck_server(network_.context(), prompt_);
    server_->start();
    ASSERT_TRUE(server_->is_running().get());
    port_ = *server_->listening_port().get();
  }
  void TearDown() override {
    server_->stop();
    runtime_.reset();
  }

  std::unique_ptr<Phone> connect() {
    auto phone = std::make_unique<Phone>(port_);
    EXPECT_TRUE(phone->connected());
    const std::size_t before = server_->session_count();
    EXPECT_TRUE(pump({phone.get()}, [&] { return server_->session_count() > before; }));
    return phone;
  }
  // A phone the user trusted earlier: approved silently by its hello.
  std::unique_ptr<Phone> approved_phone(const std::string& id = "PHONE-A", const std::string& name = "Anna's iPhone") {
    runtime_->deck_trust().add_or_update(id, name);
    auto phone = connect();
    phone->send(HelloMessage{id, name, std::nullopt});
    EXPECT_TRUE(pump({phone.get()}, [&] { return phone->count(T::approved) == 1 && phone->count(T::launchConfig) == 1; }));
    return phone;
  }
  bool pump(const std::vector<Phone*>& phones, const std::function<bool()>& done) {
    return testing::pump_until(main_, phones, done);
  }
  void settle(const std::vector<Phone*>& phones) { testing::settle(main_, phones); }
  float volume() { return *runtime_->controls().volume().volume(); }

  testing::TempRoot agents_{"deck-agents"};
  std::shared_ptr<testing::SimulatedMachine> machine_ = std::make_shared<testing::SimulatedMachine>();
  base::ManualExecutor main_;
  testing::FixedWallClock clock_;
  testing::NetworkThread network_;
  ScriptedPrompt prompt_;
  std::unique_ptr<app::Runtime> runtime_;
  KolvoDeckServer* server_ = nullptr;
  std::uint16_t port_ = 0;
};

TEST_F(DeckServerTest, AnUnknownPhoneIsAskedAboutAndRememberedOnceAllowed) {
  auto phone = connect();
  phone->send(HelloMessage{"PHONE-A", "Anna's iPhone", 3});
  ASSERT_TRUE(pump({phone.get()}, [&] { return prompt_.showing() && phone->count(T::approvalRequired) == 1; }));
  EXPECT_EQ(approval_message(prompt_.presented.at(0).device_name), "Allow \u201CAnna's iPhone\u201D to control this Mac?");
  EXPECT_EQ(phone->count(T::approvalRequired), 1u);
  EXPECT_EQ(phone->count(T::approved), 0u);

  prompt_.say(true);
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->count(T::profileIcon) == 1; }));
  // approved, the state, the Shelf's widgets (none yet), the launch list with one icon per item,
  // then the frontmost app's icon
  std::vector<T> order;
  for (const auto& m : phone->received()) order.push_back(m.type());
  const auto items = phone->last(T::launchConfig)->get_if<LaunchConfigMessage>()->launch_items->size();
  std::vector<T> expected{T::approvalRequired, T::approved, T::stateUpdate, T::shelfWidgets, T::launchConfig};
  expected.insert(expected.end(), items, T::launchIcon);
  expected.push_back(T::profileIcon);
  EXPECT_EQ(order, expected);
  const auto* icon = phone->last(T::profileIcon)->get_if<ProfileIconMessage>();
  EXPECT_EQ(icon->icon_bundle_id, "com.apple.Safari");
  const auto png = base::base64_decode(icon->icon_png.value_or(""));
  ASSERT_TRUE(png);
  EXPECT_EQ(std::vector<std::uint8_t>(png->begin(), png->begin() + 4), (std::vector<std::uint8_t>{0x89, 'P', 'N', 'G'}));
  ASSERT_TRUE(runtime_->deck_trust().contains("PHONE-A"));
  EXPECT_EQ(runtime_->deck_trust().device("PHONE-A")->name, "Anna's iPhone");
  EXPECT_EQ(server_->connected_device_names().get(), std::vector<std::string>{"Anna's iPhone"});

  // Reconnecting, with a new name, is approved silently and renames the stored phone.
  phone.reset();
  ASSERT_TRUE(pump({}, [&] { return server_->session_count() == 0; }));
  auto again = connect();
  again->send(HelloMessage{"PHONE-A", "Anna's new iPhone", std::nullopt});
  ASSERT_TRUE(pump({again.get()}, [&] { return again->count(T::approved) == 1; }));
  EXPECT_EQ(prompt_.presented.size(), 1u);
  EXPECT_EQ(runtime_->deck_trust().device("PHONE-A")->name, "Anna's new iPhone");
}

TEST_F(DeckServerTest, ADeniedPhoneIsToldAndDisconnectedAndNotRemembered) {
  auto phone = connect();
  phone->send(HelloMessage{"PHONE-B", std::nullopt, std::nullopt});
  ASSERT_TRUE(pump({phone.get()}, [&] { return prompt_.showing(); }));
  EXPECT_EQ(prompt_.presented.at(0).device_name, "iPhone");  // no name sent
  prompt_.say(false);
  // A hello already on its way asks nothing more.
  phone->send(HelloMessage{"PHONE-B", std::nullopt, std::nullopt});
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->closed(); }));
  EXPECT_EQ(phone->received().back().type(), T::denied);
  EXPECT_EQ(prompt_.presented.size(), 1u);
  EXPECT_FALSE(runtime_->deck_trust().contains("PHONE-B"));
  EXPECT_EQ(server_->session_count(), 0u);
}

TEST_F(DeckServerTest, APhoneWithoutAnIdIsApprovedForThisConnectionOnly) {
  auto phone = connect();
  phone->send(HelloMessage{std::nullopt, "Guest", std::nullopt});
  ASSERT_TRUE(pump({phone.get()}, [&] { return prompt_.showing(); }));
  prompt_.say(true);
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->count(T::approved) == 1; }));
  EXPECT_TRUE(runtime_->deck_trust().devices().empty());
}

TEST_F(DeckServerTest, AnOutlandishIdOrNameIsNeitherRememberedNorShownWhole) {
  auto phone = connect();
  const std::string id(KolvoDeckServer::kMaximumDeviceIdBytes + 1, 'i');
  std::string name;
  while (name.size() < 4 * KolvoDeckServer::kMaximumDeviceNameBytes) name += "\u00E9";  // two bytes each
  phone->send(HelloMessage{id, name, std::nullopt});
  ASSERT_TRUE(pump({phone.get()}, [&] { return prompt_.showing(); }));
  const auto& asked = prompt_.presented.at(0);
  EXPECT_EQ(asked.key.rfind("connection-", 0), 0u);
  EXPECT_EQ(asked.device_name, name.substr(0, KolvoDeckServer::kMaximumDeviceNameBytes));
  prompt_.say(true);
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->count(T::approved) == 1; }));
  EXPECT_TRUE(runtime_->deck_trust().devices().empty());
}

TEST_F(DeckServerTest, ARepeatedHelloWhileTheQuestionIsOpenAsksOnce) {
  auto phone = connect();
  for (int i = 0; i < 3; ++i) phone->send(HelloMessage{"PHONE-C", "Carl", std::nullopt});
  // Nor does a new id on the same connection open another question.
  for (int i = 0; i < 3; ++i) phone->send(HelloMessage{"PHONE-C" + std::to_string(i), "Carl", std::nullopt});
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->count(T::approvalRequired) == 1; }));
  settle({phone.get()});
  EXPECT_EQ(prompt_.presented.size(), 1u);
  EXPECT_EQ(phone->count(T::approvalRequired), 1u);
  // Another phone waits its turn, and is asked once the first is answered.
  auto other = connect();
  other->send(HelloMessage{"PHONE-D", "Dora", std::nullopt});
  settle({other.get()});
  EXPECT_EQ(prompt_.presented.size(), 1u);
  prompt_.say(true);
  ASSERT_TRUE(pump({phone.get(), other.get()}, [&] { return prompt_.presented.size() == 2; }));
  EXPECT_EQ(prompt_.presented[1].key, "PHONE-D");
  // The waiting phone leaves: its question is taken down unanswered.
  other.reset();
  ASSERT_TRUE(pump({phone.get()}, [&] { return !prompt_.showing(); }));
  EXPECT_EQ(prompt_.dismissed.at(0).key, "PHONE-D");
}

TEST_F(DeckServerTest, AnUnapprovedPhoneIsAnsweredPingsAndNothingElse) {
  auto phone = connect();
  const float before = volume();
  phone->send(SetControlMessage{std::nullopt, KolvoDeckControl::volume, 0.05});
  phone->send(RequestStateMessage{});
  phone->send(PingMessage{});
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->count(T::pong) == 1; }));
  settle({phone.get()});
  EXPECT_EQ(volume(), before);
  EXPECT_EQ(phone->received().size(), 1u);
}

TEST_F(DeckServerTest, ABrokenStreamClosesOnlyItsOwnSessionAndDropsWhatCameWithTheFault) {
  auto good = approved_phone();
  auto bad = connect();
  // A ping and then a zero length in one write: the ping came with the fault and goes with it.
  auto bytes = framing::encode_frame(PingMessage{});
  bytes.insert(bytes.end(), {0, 0, 0, 0});
  bad->send_bytes(bytes);
  ASSERT_TRUE(pump({bad.get()}, [&] { return bad->closed(); }));
  EXPECT_EQ(bad->count(T::pong), 0u);
  good->send(PingMessage{});
  ASSERT_TRUE(pump({good.get()}, [&] { return good->count(T::pong) == 1; }));

  // Frames that are not messages, or too large to decode, are passed over.
  good->send_json("{\"type\":\"approvalRequired\"}");
  good->send_json("not json");
  good->send_json(std::string(framing::kMaximumPayload + 1, ' '));
  good->send(PingMessage{});
  ASSERT_TRUE(pump({good.get()}, [&] { return good->count(T::pong) == 2; }));
  EXPECT_FALSE(good->closed());

  // A stranger is not allowed to make the Mac hold a large frame while it waits.
  auto stranger = connect();
  stranger->send_json(std::string(framing::kMaximumPayload + 1, ' '));
  ASSERT_TRUE(pump({stranger.get()}, [&] { return stranger->closed(); }));
}

TEST_F(DeckServerTest, ChangesInOneTenthOfASecondMakeOneUpdateAndAnUnchangedStateIsNotResent) {
  auto phone = approved_phone();
  phone->received().clear();
  phone->send(SetControlMessage{std::nullopt, KolvoDeckControl::volume, 0.2});
  phone->send(SetControlMessage{std::nullopt, KolvoDeckControl::volume, 0.3});
  ASSERT_TRUE(pump({phone.get()}, [&] { return volume() == 0.3f; }));
  settle({phone.get()});
  EXPECT_EQ(phone->count(T::stateUpdate), 0u);  // not before the delay
  main_.advance(KolvoDeckServer::kBroadcastDelay);
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->count(T::stateUpdate) == 1; }));
  EXPECT_EQ(phone->last(T::stateUpdate)->get_if<StateUpdateMessage>()->state->volume, 0.3);

  // The poll finds nothing new...
  main_.advance(KolvoDeckServer::kPollInterval * 3);
  settle({phone.get()});
  EXPECT_EQ(phone->count(T::stateUpdate), 1u);
  // ...but asking always answers,
  phone->send(RequestStateMessage{});
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->count(T::stateUpdate) == 2; }));
  // and a change made behind the server's back shows at the next poll.
  machine_->mac.set_output_volume(0.75);
  main_.advance(KolvoDeckServer::kPollInterval);
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->count(T::stateUpdate) == 3; }));
  EXPECT_EQ(phone->last(T::stateUpdate)->get_if<StateUpdateMessage>()->state->volume, 0.75);
}

TEST_F(DeckServerTest, EveryCommandReachesTheMac) {
  auto phone = approved_phone();
  auto& mac = machine_->mac;
  struct Case {
    const char* name;
    KolvoDeckMessage command;
    std::function<bool()> applied;
  };
  const std::vector<Case> cases{
      {"volume", SetControlMessage{std::nullopt, KolvoDeckControl::volume, 0.4}, [&] { return volume() == 0.4f; }},
      {"volume clamped", SetControlMessage{std::nullopt, KolvoDeckControl::volume, 7}, [&] { return volume() == 1.0f; }},
      {"brightness", SetControlMessage{std::nullopt, KolvoDeckControl::brightness, 0.3},
       [&] { return mac.display_brightness() == 0.3f; }},
      {"backlight", SetControlMessage{std::nullopt, KolvoDeckControl::keyboardBacklight, 0.9},
       [&] { return mac.keyboard_backlight() == 0.9f; }},
      {"output", SetAudioOutputMessage{"60"}, [&] { return mac.default_output_device_id() == 60; }},
      {"appearance", SetAppearanceMessage{true}, [&] { return mac.is_dark(); }},
      {"snap", WindowSnapMessage{controls::WindowLayout::leftHalf},
       [&] {
         const auto* safari = machine_->desktop.application_state(102);
         return safari && safari->windows.at(0).frame.x == 0;
       }},
  };
  for (const auto& c : cases) {
    phone->send(c.command);
    EXPECT_TRUE(pump({phone.get()}, c.applied)) << c.name;
  }
  // An unknown device id changes nothing.
  phone->send(SetAudioOutputMessage{"999"});
  settle({phone.get()});
  EXPECT_EQ(mac.default_output_device_id(), 60u);
}

TEST_F(DeckServerTest, ALaunchRequestIsCarriedOutOnceAndAnsweredWithItsOutcome) {
  auto phone = approved_phone();
  const auto running = [&] { return machine_->desktop.running_applications().size(); };
  const std::size_t before = running();
  LaunchAppMessage launch{"com.apple.Notes", std::nullopt, std::nullopt, std::nullopt, std::nullopt, "req-1"};
  phone->send(launch);
  phone->send(launch);
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->count(T::launchResult) == 1; }));
  settle({phone.get()});
  EXPECT_EQ(phone->count(T::launchResult), 1u);
  EXPECT_EQ(running(), before + 1);
  const auto* result = phone->last(T::launchResult)->get_if<LaunchResultMessage>();
  EXPECT_EQ(result->launch_request_id, "req-1");
  EXPECT_EQ(result->launch_outcome, KolvoDeckLaunchOutcome::launched);

  struct Case {
    std::string bundle_id;
    KolvoDeckLaunchOutcome outcome;
  };
  for (const auto& c : std::vector<Case>{{"com.apple.Notes", KolvoDeckLaunchOutcome::focused},
                                         {"com.example.missing", KolvoDeckLaunchOutcome::rejected},
                                         {"", KolvoDeckLaunchOutcome::rejected}}) {
    const std::size_t seen = phone->count(T::launchResult);
    phone->send(LaunchAppMessage{c.bundle_id, std::nullopt, std::nullopt, std::nullopt, std::nullopt, "req-" + c.bundle_id});
    ASSERT_TRUE(pump({phone.get()}, [&] { return phone->count(T::launchResult) > seen; })) << c.bundle_id;
    EXPECT_EQ(phone->last(T::launchResult)->get_if<LaunchResultMessage>()->launch_outcome, c.outcome) << c.bundle_id;
  }
}

TEST_F(DeckServerTest, WithLaunchingSwitchedOffNothingStartsAndTheListIsEmpty) {
  runtime_->prefs().set("com.kolvo.launchBetaEnabled", prefs::PreferenceValue(false));
  auto phone = approved_phone();
  EXPECT_TRUE(phone->last(T::launchConfig)->get_if<LaunchConfigMessage>()->launch_items->empty());
  const std::size_t before = machine_->desktop.running_applications().size();
  phone->send(LaunchPairMessage{"pair-1", "com.apple.Notes", "com.apple.Maps", KolvoDeckLaunchLayout::split50});
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->count(T::launchPairResult) == 1; }));
  const auto* result = phone->last(T::launchPairResult)->get_if<LaunchPairResultMessage>();
  EXPECT_EQ(result->pair_outcome, KolvoDeckLaunchPairOutcome::rejected);
  EXPECT_EQ(result->pair_layout_outcome, KolvoDeckLaunchLayoutOutcome::skipped);
  EXPECT_EQ(machine_->desktop.running_applications().size(), before);
}

TEST_F(DeckServerTest, APairIsLaunchedAndPlacedSideBySide) {
  auto phone = approved_phone();
  phone->send(LaunchPairMessage{"pair-1", "com.apple.Safari", "com.apple.Notes", KolvoDeckLaunchLayout::split50});
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->count(T::launchPairResult) == 1; }));
  const auto* result = phone->last(T::launchPairResult)->get_if<LaunchPairResultMessage>();
  EXPECT_EQ(result->pair_outcome, KolvoDeckLaunchPairOutcome::completed);
  EXPECT_EQ(result->pair_primary_outcome, KolvoDeckLaunchOutcome::focused);
  EXPECT_EQ(result->pair_secondary_outcome, KolvoDeckLaunchOutcome::launched);
  EXPECT_EQ(result->pair_layout_outcome, KolvoDeckLaunchLayoutOutcome::applied);
  const auto* safari = machine_->desktop.application_state(102);
  ASSERT_TRUE(safari);
  const double half = machine_->desktop.screens().at(0).visible_frame.width / 2;
  EXPECT_EQ(safari->windows.at(0).frame.x, 0);
  EXPECT_EQ(safari->windows.at(0).frame.width, half);
}

TEST_F(DeckServerTest, IconsAreSentOncePerPhoneAndOnlyForWhatIsNew) {
  // Only the Hidden Dock's apps are listed, so an app added there is new to the phone.
  auto& launcher = runtime_->hidden_dock().launcher();
  for (std::size_t slot = 0; slot < launcher.slots().size(); ++slot) launcher.clear(slot);
  auto phone = approved_phone();
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->count(T::profileIcon) == 1; }));
  const std::size_t icons = phone->count(T::launchIcon);
  phone->received().clear();
  // Another application in front: its icon, once, and the state that names it.
  machine_->desktop.set_frontmost_application("com.apple.Notes");
  main_.advance(KolvoDeckServer::kBroadcastDelay);
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->count(T::profileIcon) == 1; }));
  EXPECT_EQ(phone->last(T::profileIcon)->get_if<ProfileIconMessage>()->icon_bundle_id, "com.apple.Notes");
  EXPECT_EQ(phone->last(T::stateUpdate)->get_if<StateUpdateMessage>()->state->profile->active_app_bundle_id,
            "com.apple.Notes");
  // A new app in the Hidden Dock: the list again, and an icon for that app alone.
  auto& apps = runtime_->hidden_dock().apps();
  auto list = apps.apps();
  const auto maps = catalog::make_app_item("/System/Applications/Maps.app", *runtime_->ports().applications);
  ASSERT_TRUE(maps);
  list.push_back(*maps);
  apps.set_apps(list);
  main_.advance(KolvoDeckServer::kBroadcastDelay);
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->count(T::launchConfig) == 1 && phone->count(T::launchIcon) == 1; }));
  EXPECT_EQ(phone->last(T::launchIcon)->get_if<LaunchIconMessage>()->launch_icon_bundle_id, maps->bundle_identifier);
  // Nothing new: nothing sent.
  main_.advance(KolvoDeckServer::kPollInterval * 2);
  settle({phone.get()});
  EXPECT_EQ(phone->count(T::launchConfig), 1u);
  EXPECT_EQ(phone->count(T::profileIcon), 1u);
  EXPECT_GT(icons, 0u);
}

TEST_F(DeckServerTest, APairWhoseWindowWillNotMoveIsAnsweredWhenTheWaitRunsOut) {
  auto phone = approved_phone();
  // Safari's window is in full screen, so placing it is tried again and again.
  machine_->desktop.application_state(102)->windows.at(0).full_screen = true;
  phone->send(LaunchPairMessage{"pair-2", "com.apple.Safari", "com.apple.Notes", KolvoDeckLaunchLayout::split50});
  settle({phone.get()});
  EXPECT_EQ(phone->count(T::launchPairResult), 0u);
  for (int i = 0; i < 60 && phone->count(T::launchPairResult) == 0; ++i) {
    main_.advance(std::chrono::milliseconds(200));
    testing::pump_until(main_, {phone.get()}, [&] { return phone->count(T::launchPairResult) == 1; },
                        std::chrono::milliseconds(20));
  }
  ASSERT_EQ(phone->count(T::launchPairResult), 1u);
  const auto* result = phone->last(T::launchPairResult)->get_if<LaunchPairResultMessage>();
  EXPECT_EQ(result->pair_request_id, "pair-2");
  EXPECT_EQ(result->pair_outcome, KolvoDeckLaunchPairOutcome::partiallyCompleted);
  EXPECT_EQ(result->pair_layout_outcome, KolvoDeckLaunchLayoutOutcome::partial);
}

TEST_F(DeckServerTest, AFloodOfUnapprovedConnectionsNeverLocksOutTheApprovedPhone) {
  auto phone = approved_phone();
  std::vector<std::unique_ptr<Phone>> flood;
  for (std::size_t i = 0; i < KolvoDeckServer::kMaximumUnapprovedSessions + 4; ++i) {
    flood.push_back(std::make_unique<Phone>(port_));
  }
  std::vector<Phone*> all{phone.get()};
  for (auto& p : flood) all.push_back(p.get());
  ASSERT_TRUE(pump(all, [&] {
    return std::count_if(flood.begin(), flood.end(), [](const auto& p) { return p->closed(); }) == 4;
  }));
  // The oldest gave way.
  for (std::size_t i = 0; i < flood.size(); ++i) EXPECT_EQ(flood[i]->closed(), i < 4) << i;
  EXPECT_EQ(server_->session_count(), KolvoDeckServer::kMaximumUnapprovedSessions + 1);
  phone->send(SetControlMessage{std::nullopt, KolvoDeckControl::volume, 0.6});
  ASSERT_TRUE(pump(all, [&] { return volume() == 0.6f; }));
  EXPECT_FALSE(phone->closed());

  // Silence past the hello deadline closes the rest; a phone waiting for an answer stays.
  flood.back()->send(HelloMessage{"PHONE-W", "Waiting", std::nullopt});
  ASSERT_TRUE(pump(all, [&] { return prompt_.showing(); }));
  main_.advance(KolvoDeckServer::kHelloTimeout);
  ASSERT_TRUE(pump(all, [&] { return server_->session_count() == 2; }));
  EXPECT_FALSE(flood.back()->closed());
  EXPECT_FALSE(phone->closed());
}

TEST_F(DeckServerTest, APhoneThatStopsReadingIsClosedRatherThanBufferedForEver) {
  auto phone = approved_phone();
  auto reader = approved_phone("PHONE-R", "Reader");
  // Large messages, never read by the first phone (it is not polled).
  const LaunchIconMessage big{"com.example.big", std::string(900 * 1024, 'A')};
  for (int i = 0; i < 40 && server_->approved_session_count() == 2; ++i) {
    server_->send_to_approved(big);
    testing::pump_until(main_, {reader.get()}, [] { return false; }, std::chrono::milliseconds(20));
  }
  ASSERT_TRUE(pump({reader.get()}, [&] { return server_->approved_session_count() == 1; }));
  EXPECT_EQ(server_->connected_device_names().get(), std::vector<std::string>{"Reader"});
}

TEST_F(DeckServerTest, TurningTheDeckOffAndOnAgainApprovesTrustedPhonesSilently) {
  auto phone = approved_phone();
  runtime_->settings().deck().attach_service(server_);
  runtime_->settings().deck().set_enabled(false);
  EXPECT_FALSE(server_->is_running().get());
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->closed(); }));
  EXPECT_TRUE(server_->connected_device_names().get().empty());
  runtime_->settings().deck().set_enabled(true);
  ASSERT_TRUE(server_->is_running().get());
  port_ = *server_->listening_port().get();
  auto back = connect();
  back->send(HelloMessage{"PHONE-A", std::nullopt, std::nullopt});
  ASSERT_TRUE(pump({back.get()}, [&] { return back->count(T::approved) == 1; }));
  EXPECT_EQ(prompt_.presented.size(), 0u);
  EXPECT_EQ(server_->connected_device_names().get(), std::vector<std::string>{"Anna's iPhone"});
}

TEST_F(DeckServerTest, TheDeckPageShowsTheServerAndRemovesATrustedPhone) {
  auto phone = approved_phone();
  auto pages = runtime_->settings_pages({});
  const auto texts_and_lists = [&] {
    std::vector<std::string> out;
    for (const auto& section : pages.content(ui::SettingsPage::deck).sections) {
      for (const auto& row : section.rows) {
        if (const auto* text = std::get_if<ui::TextRow>(&row)) out.push_back(text->text);
        if (const auto* list = std::get_if<ui::ListRow>(&row)) {
          for (const auto& item : list->items) out.push_back(list->id + ": " + item.title + " / " + item.detail);
          if (list->items.empty()) out.push_back(list->id + ": " + list->empty_text);
        }
      }
    }
    return out;
  };
  const auto shown = texts_and_lists();
  const auto has = [](const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  };
  EXPECT_TRUE(has(shown, "Running on port " + std::to_string(port_)));
  EXPECT_TRUE(has(shown, "connectedPhones: Anna's iPhone / Connected"));
  EXPECT_TRUE(has(shown, "trustedPhones: Anna's iPhone / Trusted since 2026-05-09 06:13:20 +0000"));

  EXPECT_TRUE(pages.handle(ui::SettingsPage::deck, {"forgetPhone", std::string("PHONE-A")}).done);
  EXPECT_FALSE(runtime_->deck_trust().contains("PHONE-A"));
  EXPECT_TRUE(has(texts_and_lists(), "trustedPhones: No iPhone is trusted yet."));
  EXPECT_FALSE(pages.handle(ui::SettingsPage::deck, {"forgetPhone", std::string("PHONE-A")}).done);

  server_->stop();
  EXPECT_TRUE(has(texts_and_lists(), "Not running"));
  EXPECT_TRUE(has(texts_and_lists(), "connectedPhones: No iPhone is connected."));
}

TEST(DeckServerStart, APortInUseIsReportedAsTheLastError) {
  auto machine = std::make_shared<testing::SimulatedMachine>();
  base::ManualExecutor main;
  testing::FixedWallClock clock;
  testing::NetworkThread network;
  ScriptedPrompt prompt;
  app::Runtime runtime(testing::simulated_ports(machine), main, clock, {.mode = app::Runtime::Mode::live, .log_mirror = {}});
  auto& first = runtime.make_deck_server(network.context(), prompt);
  first.start();
  app::Runtime other(testing::simulated_ports(machine), main, clock, {.mode = app::Runtime::Mode::live, .log_mirror = {}});
  auto& second = other.make_deck_server(network.context(), prompt);
  second.set_requested_port(*first.listening_port().get());
  second.start();
  EXPECT_FALSE(second.is_running().get());
  ASSERT_TRUE(second.last_error().get());
  EXPECT_NE(second.last_error().get()->find("could not listen on port"), std::string::npos);
  first.stop();
}

// --- The Shelf ---

ShelfSurfaceCommandMessage shelf_command(ShelfSurfaceIdentity identity, ShelfSurfaceCommand command,
                                         std::optional<double> value = std::nullopt) {
  ShelfSurfaceCommandMessage message{};
  message.surface_command = command;
  message.surface_identity = identity;
  message.surface_value = value;
  return message;
}

std::vector<const ShelfSurfaceState*> shelf_states(Phone& phone) {
  std::vector<const ShelfSurfaceState*> states;
  for (const auto& m : phone.received()) {
    if (const auto* s = m.get_if<ShelfSurfaceStateMessage>()) states.push_back(&*s->surface_state);
  }
  return states;
}

TEST_F(DeckServerTest, ANewPhoneGetsTheShelfsWidgetsThenEachWidgetsState) {
  runtime_->settings().shelf_widgets().setSlot(1, ShelfSurfaceIdentity::timer);
  auto phone = approved_phone();
  std::vector<T> order;
  for (const auto& m : phone->received()) {
    if (m.type() != T::launchIcon && m.type() != T::profileIcon) order.push_back(m.type());
  }
  EXPECT_EQ(order, (std::vector<T>{T::approved, T::stateUpdate, T::shelfWidgets, T::shelfSurfaceState, T::launchConfig}));
  const auto* widgets = phone->last(T::shelfWidgets)->get_if<ShelfWidgetsMessage>();
  EXPECT_EQ(widgets->shelf_widgets, std::vector{ShelfSurfaceIdentity::timer});
  EXPECT_EQ(widgets->shelf_widget_background, ShelfWidgetBackground::liquidGlass);
  const auto* state = phone->last(T::shelfSurfaceState)->get_if<ShelfSurfaceStateMessage>();
  EXPECT_EQ(state->surface_identity, ShelfSurfaceIdentity::timer);
  EXPECT_EQ(state->surface_state->title, "Timer");

  // Asking for the state brings the widgets' states again, unchanged as they are.
  phone->send(RequestStateMessage{});
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->count(T::shelfSurfaceState) == 2; }));
}

TEST_F(DeckServerTest, ThePhoneDrivesItsWidgetsAndSeesWidgetChangesFirst) {
  auto& widgets = runtime_->settings().shelf_widgets();
  widgets.setSlot(0, ShelfSurfaceIdentity::timer);
  auto phone = approved_phone();
  auto other = approved_phone("PHONE-B", "Ben's iPhone");

  phone->send(shelf_command(ShelfSurfaceIdentity::timer, ShelfSurfaceCommand::setContinuous, 25));
  phone->send(shelf_command(ShelfSurfaceIdentity::timer, ShelfSurfaceCommand::playPause));
  ASSERT_TRUE(pump({phone.get(), other.get()}, [&] {
    const auto playing = [](Phone& p) {
      const auto states = shelf_states(p);
      return !states.empty() && states.back()->is_playing;
    };
    return playing(*phone) && playing(*other);
  }));
  EXPECT_TRUE(runtime_->controls().timer().is_running().get());
  EXPECT_EQ(shelf_states(*other).back()->duration, 1500.0);

  // A command for a widget that is not on the Shelf, or without its arguments, does nothing.
  const auto before = phone->received().size();
  phone->send(shelf_command(ShelfSurfaceIdentity::spotify, ShelfSurfaceCommand::playPause));
  ShelfSurfaceCommandMessage bare{};
  phone->send(bare);
  phone->send(PingMessage{});
  ASSERT_TRUE(pump({phone.get()}, [&] { return phone->count(T::pong) == 1; }));
  settle({phone.get()});
  std::vector<T> after;
  for (auto m = phone->received().begin() + static_cast<std::ptrdiff_t>(before); m != phone->received().end(); ++m) {
    if (m->type() != T::stateUpdate) after.push_back(m->type());
  }
  // The timer's own state updates may arrive meanwhile; nothing else does.
  EXPECT_EQ(after, std::vector{T::pong});

  // A new widget: the list first, then the new widget's first state; the Timer is not restarted.
  widgets.setSlot(1, ShelfSurfaceIdentity::codex);
  ASSERT_TRUE(pump({other.get()}, [&] { return other->count(T::shelfWidgets) == 2 && shelf_states(*other).back()->identity == ShelfSurfaceIdentity::codex; }));
  const auto& received = other->received();
  const auto list = std::find_if(received.rbegin(), received.rend(), [](const auto& m) { return m.type() == T::shelfWidgets; });
  EXPECT_EQ(list->template get_if<ShelfWidgetsMessage>()->shelf_widgets,
            (std::vector{ShelfSurfaceIdentity::timer, ShelfSurfaceIdentity::codex}));
  const auto* codex = shelf_states(*other).back();
  EXPECT_FALSE(codex->available);
  EXPECT_EQ(codex->unavailable, "Open Codex on your Mac");
  EXPECT_TRUE(runtime_->controls().timer().is_running().get());

  widgets.set_background(ShelfWidgetBackground::solid);
  ASSERT_TRUE(pump({other.get()}, [&] { return other->count(T::shelfWidgets) == 3; }));
  EXPECT_EQ(other->last(T::shelfWidgets)->get_if<ShelfWidgetsMessage>()->shelf_widget_background,
            ShelfWidgetBackground::solid);

  // Turning the link off stops every widget; on again, they run again.
  server_->stop();
  EXPECT_TRUE(runtime_->shelf().configured().empty());
  EXPECT_EQ(runtime_->shelf().session(ShelfSurfaceIdentity::timer), nullptr);
  server_->start();
  EXPECT_NE(runtime_->shelf().session(ShelfSurfaceIdentity::timer), nullptr);
}

TEST_F(DeckServerTest, ThePhoneSwitchesPhotoshopsToolsAndSeesItsGridAsTheUserArrangesIt) {
  const auto adobe = sim::install_simulated_adobe(machine_->applications);
  const auto photoshop = machine_->applications.launch("com.adobe.Photoshop");
  runtime_->settings().shelf_widgets().setSlot(0, ShelfSurfaceIdentity::photoshop);
  auto phone = approved_phone();
  const auto photoshop_state = [&]() -> const ShelfSurfaceState* {
    const auto states = shelf_states(*phone);
    return states.empty() ? nullptr : states.back();
  };
  ASSERT_TRUE(pump({phone.get()}, [&] { return photoshop_state() != nullptr; }));
  EXPECT_EQ(photoshop_state()->identity, ShelfSurfaceIdentity::photoshop);
  EXPECT_TRUE(photoshop_state()->available);
  EXPECT_EQ(photoshop_state()->active_tool, AdobeToolID::psMove);
  ASSERT_TRUE(photoshop_state()->tool_grid);
  EXPECT_EQ(photoshop_state()->tool_grid->at(4), AdobeToolID::psBrush);

  ShelfSurfaceCommandMessage select = shelf_command(ShelfSurfaceIdentity::photoshop, ShelfSurfaceCommand::selectTool);
  select.surface_tool_id = "ps.brush";
  phone->send(select);
  ASSERT_TRUE(pump({phone.get()}, [&] { return photoshop_state()->active_tool == AdobeToolID::psBrush; }));
  EXPECT_EQ(adobe.photoshop->active_tool(), "paintbrushTool");
  EXPECT_EQ(machine_->applications.frontmost_pid(), photoshop);

  // The user moves the Hand tool to the first cell on the Corvane page: the phone hears of it.
  ASSERT_TRUE(runtime_->settings().adobe_tool_grids().set_cell(shelf::AdobeApp::photoshop, 0, AdobeToolID::psHand));
  ASSERT_TRUE(pump({phone.get()}, [&] { return photoshop_state()->tool_grid->at(0) == AdobeToolID::psHand; }));
  EXPECT_EQ(photoshop_state()->tool_grid->at(8), AdobeToolID::psMove);
  EXPECT_EQ(photoshop_state()->active_tool, AdobeToolID::psBrush);
}

}  // namespace
}  // namespace kolvo::deck
