// The bridge client against a stand-in add-on on a real loopback socket, with the main
// executor on virtual time.
#include <gtest/gtest.h>

#include <fstream>

#include "base/network_thread.hpp"
#include "blender/blender_bridge_client.hpp"
#include "support/fake_blender_bridge.hpp"
#include "support/settings_fixture.hpp"

namespace kolvo::blender {
namespace {

using Status = BlenderBridgeStatus;
using testing::FakeBlenderBridge;

constexpr std::int32_t kBlenderPID = 4242;

nlohmann::json object_mode_state(double z_radians = 0.5) {
  return {{"mode", "OBJECT"},
          {"tool", "builtin.select_box"},
          {"hasViewport", true},
          {"shading", "SOLID"},
          {"xray", false},
          {"cameraView", false},
          {"activeName", "Cube"},
          {"activeType", "MESH"},
          {"canEdit", true},
          {"rotation",
           {{"object", 77}, {"name", "Cube"}, {"rotationMode", "XYZ"}, {"radians", {0.0, 0.0, z_radians}},
            {"blocked", {nullptr, nullptr, nullptr}}}},
          {"camera", nullptr},
          {"light", nullptr},
          {"sculpt", nullptr}};
}

class BlenderBridgeClientTest : public ::testing::Test {
 protected:
  void SetUp() override {
    processes_->pids = {kBlenderPID};
    client_ = std::make_unique<BlenderBridgeClient>(BlenderBridgeClient::Ports{
        .main = main_, .network = network_.context(), .blender = processes_, .info_file = info_file(), .log = log_});
    changes_ = client_->add_observer([this] { statuses_.push_back(client_->status()); });
  }

  std::filesystem::path info_file() const { return home_.path() / "Library/Application Support/Kolvo/Blender/bridge.json"; }
  void write_info(std::int32_t pid = kBlenderPID, std::int64_t protocol = 1) {
    testing::write_bridge_info(info_file(), bridge_.port(), pid, protocol);
  }
  bool pump(const std::function<bool()>& done) { return testing::pump_bridge_until(main_, bridge_, done); }
  void settle() { testing::pump_bridge_until(main_, bridge_, [] { return false; }, std::chrono::milliseconds(150)); }
  // Started, hello answered and the subscription's reply in: a working connection.
  void connect_and_subscribe(const nlohmann::json& state = object_mode_state()) {
    write_info();
    client_->start();
    ASSERT_TRUE(pump([&] { return bridge_.last("hello") != nullptr; }));
    bridge_.accept_hello();
    ASSERT_TRUE(pump([&] { return bridge_.last("subscribe") != nullptr; }));
    bridge_.reply_state(*bridge_.last("subscribe"), state);
    ASSERT_TRUE(pump([&] { return client_->context().has_value(); }));
    ASSERT_EQ(client_->status(), Status::connected);
  }

  testing::TempRoot home_{"blender-client"};
  base::ManualExecutor main_;
  testing::FixedWallClock clock_;
  base::DiagnosticsLog log_{clock_, base::DiagnosticsLog::silent()};
  base::NetworkThread network_;
  FakeBlenderBridge bridge_;
  std::shared_ptr<testing::ScriptedBlenderProcesses> processes_ = std::make_shared<testing::ScriptedBlenderProcesses>();
  std::unique_ptr<BlenderBridgeClient> client_;
  base::Subscription changes_;
  std::vector<Status> statuses_;
};

TEST_F(BlenderBridgeClientTest, FindsBlenderAndItsBridgeBeforeConnecting) {
  struct Case {
    const char* name;
    bool installed;
    std::vector<std::int32_t> running;
    std::optional<std::string> file;  // the connection file's text; absent for none
    Status expected;
  };
  const std::string port = std::to_string(bridge_.port());
  const std::string good_rest = R"(,"token":")" + std::string(64, 'a') + R"(","pid":4242,"protocol":)";
  const std::vector<Case> cases{
      {"not installed", false, {}, std::nullopt, Status::blenderNotInstalled},
      {"installed, closed", true, {}, std::nullopt, Status::blenderClosed},
      {"running, no bridge file", true, {kBlenderPID}, std::nullopt, Status::bridgeNotRunning},
      {"a file left by a Blender that quit", true, {kBlenderPID},
       R"({"port":)" + port + R"(,"token":"x","pid":999,"protocol":1})", Status::bridgeNotRunning},
      {"another protocol", true, {kBlenderPID}, R"({"port":)" + port + good_rest + "2}", Status::incompatible},
      {"not JSON", true, {kBlenderPID}, "{port", Status::bridgeNotRunning},
      {"no token", true, {kBlenderPID}, R"({"port":)" + port + R"(,"pid":4242,"protocol":1})", Status::bridgeNotRunning},
      {"a port out of range", true, {kBlenderPID}, R"({"port":70000)" + good_rest + "1}", Status::bridgeNotRunning},
      {"a pid as text", true, {kBlenderPID},
       R"({"port":)" + port + R"(,"token":"x","pid":"4242","protocol":1})", Status::bridgeNotRunning},
      {"a real protocol number", true, {kBlenderPID}, R"({"port":)" + port + good_rest + "1.5}", Status::bridgeNotRunning},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    processes_->installed = c.installed;
    processes_->pids = c.running;
    std::filesystem::remove(info_file());
    if (c.file) home_.write("Library/Application Support/Kolvo/Blender/bridge.json", *c.file);
    client_->start();
    EXPECT_EQ(client_->status(), c.expected);
    EXPECT_FALSE(client_->context().has_value());
    client_->stop();
  }
  settle();
  // None of them was worth a connection.
  EXPECT_EQ(bridge_.accepted(), 0);
}

TEST_F(BlenderBridgeClientTest, ProvesItselfSubscribesAndFollowsBlendersState) {
  write_info();
  client_->start();
  EXPECT_EQ(client_->status(), Status::connecting);
  ASSERT_TRUE(pump([&] { return bridge_.last("hello") != nullptr; }));
  EXPECT_EQ(*bridge_.last("hello"), (nlohmann::json{{"type", "hello"}, {"token", std::string(64, 'a')}}));
  EXPECT_EQ(client_->status(), Status::connecting);

  bridge_.accept_hello();
  ASSERT_TRUE(pump([&] { return bridge_.last("subscribe") != nullptr; }));
  EXPECT_EQ(client_->status(), Status::connected);
  EXPECT_TRUE(bridge_.last("subscribe")->at("id").is_number_integer());

  bridge_.reply_state(*bridge_.last("subscribe"), object_mode_state(0.5));
  ASSERT_TRUE(pump([&] { return client_->context().has_value(); }));
  EXPECT_EQ(client_->context()->rotation->radians, (std::vector<double>{0, 0, 0.5}));

  // A push carries the next state; one split across two reads is put together.
  const std::string push = nlohmann::json{{"type", "context"}, {"state", object_mode_state(1.25)}}.dump() + "\n";
  bridge_.send_raw(push.substr(0, 40));
  settle();
  EXPECT_EQ(client_->context()->rotation->radians[2], 0.5);
  bridge_.send_raw(push.substr(40));
  ASSERT_TRUE(pump([&] { return client_->context()->rotation->radians[2] == 1.25; }));
  EXPECT_EQ(statuses_, (std::vector<Status>{Status::blenderClosed, Status::connecting, Status::connected,
                                            Status::connected, Status::connected}));
}

TEST_F(BlenderBridgeClientTest, ARefusedOrForeignHelloEndsTheConnection) {
  struct Case {
    const char* name;
    nlohmann::json reply;
    Status expected;
  };
  const std::vector<Case> cases{
      {"refused", {{"type", "hello"}, {"ok", false}}, Status::bridgeNotRunning},
      {"no answer to ok", {{"type", "hello"}}, Status::bridgeNotRunning},
      {"a newer protocol", {{"type", "hello"}, {"ok", true}, {"protocol", 2}}, Status::incompatible},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    write_info();
    client_->start();
    ASSERT_TRUE(pump([&] { return bridge_.has_client() && bridge_.last("hello") != nullptr; }));
    // Before the answer, other messages count for nothing.
    bridge_.push(object_mode_state());
    bridge_.send(c.reply);
    ASSERT_TRUE(pump([&] { return bridge_.client_gone(); }));
    EXPECT_EQ(client_->status(), c.expected);
    EXPECT_FALSE(client_->context().has_value());
    EXPECT_EQ(bridge_.last("subscribe"), nullptr);
    client_->stop();
  }
}

TEST_F(BlenderBridgeClientTest, AnActionLeftUnansweredShowsBusyUntilBlenderSpeaksAgain) {
  connect_and_subscribe();
  client_->send_action("frame_selected");
  ASSERT_TRUE(pump([&] { return bridge_.last("action") != nullptr; }));
  const nlohmann::json action = *bridge_.last("action");
  EXPECT_EQ(action["name"], "frame_selected");

  main_.advance(std::chrono::milliseconds(1400));
  EXPECT_EQ(client_->status(), Status::connected);
  main_.advance(std::chrono::milliseconds(200));
  EXPECT_EQ(client_->status(), Status::busy);
  // The context is kept while Blender is busy.
  EXPECT_TRUE(client_->context().has_value());

  bridge_.reply_result(action, true, nullptr, object_mode_state(2.0));
  ASSERT_TRUE(pump([&] { return client_->status() == Status::connected; }));
  EXPECT_EQ(client_->context()->rotation->radians[2], 2.0);
  // An answer in time never shows busy.
  client_->send_action("toggle_xray");
  ASSERT_TRUE(pump([&] { return bridge_.last("action")->at("name") == "toggle_xray"; }));
  bridge_.reply_result(*bridge_.last("action"), true, nullptr, object_mode_state(2.0));
  settle();
  main_.advance(std::chrono::milliseconds(1600));
  EXPECT_EQ(client_->status(), Status::connected);
}

TEST_F(BlenderBridgeClientTest, CompletionsHearTheirOwnAnswerOnceAndNeverAfterTheConnectionGoes) {
  connect_and_subscribe();
  std::vector<std::pair<bool, std::optional<std::string>>> answers;
  const auto record = [&](bool ok, std::optional<std::string> error) { answers.emplace_back(ok, std::move(error)); };
  ASSERT_TRUE(client_->send({{"type", "set_value"}, {"property", "lens"}, {"value", 50.0}}, record));
  ASSERT_TRUE(client_->send({{"type", "set_rotation"}, {"axis", 2}, {"radians", 1.0}}, record));
  ASSERT_TRUE(pump([&] { return bridge_.requests().size() == 4; }));
  const nlohmann::json first = bridge_.requests()[2];
  const nlohmann::json second = bridge_.requests()[3];
  EXPECT_NE(first["id"], second["id"]);
  EXPECT_EQ(first["property"], "lens");

  bridge_.reply_result(second, false, "stale target", object_mode_state());
  // A second answer to the same id calls nothing more.
  bridge_.reply_result(second, true, nullptr, object_mode_state());
  ASSERT_TRUE(pump([&] { return !answers.empty(); }));
  settle();
  ASSERT_EQ(answers.size(), 1u);
  EXPECT_EQ(answers[0], (std::pair<bool, std::optional<std::string>>{false, "stale target"}));

  // Blender is killed with the first write still out: it is never answered, and the client
  // says so at once and that Blender is closed soon after.
  bridge_.drop();
  ASSERT_TRUE(pump([&] { return client_->status() == Status::bridgeNotRunning; }));
  processes_->pids.clear();
  main_.advance(BlenderBridgeClient::kQuitLookDelay);
  EXPECT_EQ(client_->status(), Status::blenderClosed);
  EXPECT_FALSE(client_->context().has_value());
  settle();
  EXPECT_EQ(answers.size(), 1u);
  // Nothing is sent without a connection.
  EXPECT_FALSE(client_->send({{"type", "set_value"}}, record));
}

TEST_F(BlenderBridgeClientTest, ALineLongerThanAMebibyteEndsTheConnection) {
  connect_and_subscribe();
  // Exactly the limit is still waited on; one byte more is not.
  bridge_.send_raw(std::string(BlenderBridgeClient::kMaxBuffer, ' '));
  settle();
  EXPECT_EQ(client_->status(), Status::connected);
  bridge_.send_raw(" ");
  ASSERT_TRUE(pump([&] { return bridge_.client_gone(); }));
  EXPECT_EQ(client_->status(), Status::bridgeNotRunning);
  EXPECT_FALSE(client_->context().has_value());
}

TEST_F(BlenderBridgeClientTest, AnotherBlenderInPlaceOfTheConnectedOneIsConnectedAfresh) {
  connect_and_subscribe();
  // The connected Blender quit and another started and wrote its own file.
  processes_->pids = {kBlenderPID + 1};
  write_info(kBlenderPID + 1);
  main_.advance(BlenderBridgeClient::kRefreshInterval);
  EXPECT_EQ(client_->status(), Status::connecting);
  EXPECT_FALSE(client_->context().has_value());
  ASSERT_TRUE(pump([&] { return bridge_.accepted() == 2 && bridge_.last("hello") && bridge_.requests().size() == 3; }));

  // Stopping lets the connection go and looks no more.
  client_->stop();
  ASSERT_TRUE(pump([&] { return bridge_.client_gone(); }));
  EXPECT_FALSE(client_->is_active());
  EXPECT_EQ(client_->status(), Status::blenderClosed) << "a stopped client still showed its connection";
  main_.advance(BlenderBridgeClient::kRefreshInterval * 3);
  settle();
  EXPECT_EQ(bridge_.accepted(), 2);
}

TEST_F(BlenderBridgeClientTest, NonFiniteNumbersFromPythonReadAsAbsent) {
  connect_and_subscribe();
  // Python's encoder writes NaN and Infinity as bare words; the rest of the state still counts.
  nlohmann::json state = object_mode_state();
  state["camera"] = {{"object", 5}, {"data", 6}, {"name", "Cam"}, {"lens", 0}, {"blocked", nullptr}};
  std::string line = nlohmann::json{{"type", "context"}, {"state", state}}.dump();
  const auto lens = line.find("\"lens\":0");
  line.replace(lens, 8, "\"lens\":NaN");
  const auto z = line.find("0.5]");
  line.replace(z, 3, "-Infinity");
  bridge_.send_raw(line + "\n");
  // Strings holding the same words are left alone.
  state["activeName"] = "NaN Infinity";
  bridge_.push(state);
  ASSERT_TRUE(pump([&] { return client_->context()->active_name == "NaN Infinity"; }));
  EXPECT_TRUE(client_->context()->camera.has_value());

  bridge_.send_raw(line + "\n");
  ASSERT_TRUE(pump([&] { return client_->context()->active_name == "Cube"; }));
  EXPECT_FALSE(client_->context()->camera.has_value());    // a lens that is no number
  EXPECT_FALSE(client_->context()->rotation.has_value());  // an angle that is no number
  EXPECT_EQ(client_->context()->mode, "OBJECT");
}

}  // namespace
}  // namespace kolvo::blender
