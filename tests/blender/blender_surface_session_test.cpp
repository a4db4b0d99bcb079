// The Blender widget: its rules as functions, then the session over the real bridge client
// and a stand-in bridge on a loopback socket.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "base/network_thread.hpp"
#include "blender/blender_surface_session.hpp"
#include "support/fake_blender_bridge.hpp"
#include "support/settings_fixture.hpp"

namespace kolvo::blender {
namespace {

using Status = BlenderBridgeStatus;
using Unit = CreativeContinuousControl::Unit;
using Curve = CreativeContinuousControl::Curve;
using shelf::ShelfCommand;
using shelf::ShelfSurfaceCommand;

TEST(BlenderSliderRules, RotationIsShownInTenthsOfADegreeCutTowardZero) {
  struct Case {
    double radians;
    double degrees;
  };
  for (const Case& c : std::vector<Case>{{7.0, 401.0},
                                         {3.0, 171.8},
                                         {-3.0, -171.8},
                                         {std::numbers::pi / 2, 90.0},
                                         {0.0017453, 0.0},  // 0.09999…° is cut, not rounded
                                         {-0.0001, 0.0}}) {
    SCOPED_TRACE(c.radians);
    const double shown = rotation_degrees_shown(c.radians);
    EXPECT_DOUBLE_EQ(shown, c.degrees);
    EXPECT_FALSE(std::signbit(shown) && shown == 0) << "-0 must read as 0";
  }
}

TEST(BlenderSliderRules, TheRotationWindowHoldsTheValueAndStaysPutUnderADrag) {
  struct Case {
    double degrees;
    std::optional<double> previous;
    double centre;
  };
  for (const Case& c : std::vector<Case>{
           {401.0, std::nullopt, 360},  // 180 … 540
           {171.8, std::nullopt, 0},
           {180.0, std::nullopt, 0},
           {200.0, std::nullopt, 360},  // a whole-turn cut would leave 200° outside −180 … 180
           {-200.0, std::nullopt, -360},
           {-359.9, std::nullopt, -360},
           {540.0, std::nullopt, 720},  // half a turn past: away from zero
           {530.0, 360.0, 360},         // still within half a turn of the last centre
           {170.0, 360.0, 0},  // left the last window: centred afresh
           {179.0, 0.0, 0},
           {541.0, 360.0, 720},
       }) {
    SCOPED_TRACE(c.degrees);
    const double centre = rotation_window_centre(c.degrees, c.previous);
    EXPECT_EQ(centre, c.centre);
    EXPECT_LE(centre - 180, c.degrees);
    EXPECT_GE(centre + 180, c.degrees);
  }
}

TEST(BlenderSliderRules, ValueWindowsWidenTenfoldUntilTheValueFits) {
  struct Case {
    ValueWindow usual;
    double value;
    ValueWindow widened;
  };
  for (const Case& c : std::vector<Case>{{{1, 300}, 50, {1, 300}},
                                         {{1, 300}, 300, {1, 300}},
                                         {{1, 300}, 301, {1, 3000}},
                                         {{1, 300}, 5000, {1, 30000}},
                                         {{1, 300}, 0.5, {0.1, 300}},
                                         {{0, 1000}, 1e6, {0, 1e6}},
                                         // A negative power is shown, blocked, inside its range.
                                         {{0, 1000}, -50, {-100, 1000}},
                                         {{0, 1}, -2, {-10, 1}},
                                         {{1, 300}, 0, {0, 300}},
                                         {{1, 300}, -3, {-10, 300}},
                                         {{0, 10}, NAN, {0, 10}}}) {
    SCOPED_TRACE(c.value);
    EXPECT_EQ(widen_value_window(c.usual, c.value), c.widened);
  }
  // However far out, the value ends up inside.
  for (const double value : {1e300, -1e300, 1e-300, std::numeric_limits<double>::max()}) {
    SCOPED_TRACE(value);
    const ValueWindow widened = widen_value_window({1, 300}, value);
    EXPECT_LE(widened.minimum, value);
    EXPECT_GE(widened.maximum, value);
  }
}

TEST(BlenderSliderRules, LabelsForModesAndBlockedValues) {
  const std::vector<std::pair<std::string_view, std::string_view>> modes{
      {"OBJECT", "Object"}, {"EDIT_MESH", "Edit"},         {"EDIT_ARMATURE", "Edit"}, {"SCULPT", "Sculpt"},
      {"POSE", "Pose"},     {"PAINT_WEIGHT", "Paint"},     {"WEIGHT_GPENCIL", "Paint"},
      {"VERTEX_GPENCIL", "Paint"}, {"PARTICLE", "Particle"}, {"SCULPT_CURVES", "Sculpt"}, {"", ""}};
  for (const auto& [mode, label] : modes) EXPECT_EQ(blender_mode_label(mode), label) << mode;
  const std::vector<std::pair<std::string_view, std::string_view>> reasons{
      {"keyframed", "Keyframed"},       {"driven", "Driven"},
      {"locked", "Locked"},             {"linked", "Linked data"},
      {"quaternion", "Quaternion rotation"}, {"axisAngle", "Axis angle rotation"},
      {"orthographic", "Orthographic camera"}, {"panoramic", "Panoramic camera"},
      {"customCamera", "Custom camera"}, {"negative", "Negative power"},
      {"noBrush", "No brush"},          {"notBrushTool", "Choose a brush tool"},
      {"sceneRadius", "Size in scene units"}, {"somethingNew", "Unavailable"}};
  for (const auto& [reason, label] : reasons) EXPECT_EQ(blender_blocked_label(reason), label) << reason;
}

nlohmann::json state_with(nlohmann::json changes) {
  nlohmann::json state{{"mode", "OBJECT"},        {"tool", "builtin.select_box"}, {"hasViewport", true},
                       {"shading", "SOLID"},      {"xray", false},                {"cameraView", false},
                       {"activeName", "Cube"},    {"activeType", "MESH"},         {"canEdit", true},
                       {"rotation", nullptr},     {"camera", nullptr},            {"light", nullptr},
                       {"sculpt", nullptr}};
  for (auto& [key, value] : changes.items()) state[key] = value;
  return state;
}

nlohmann::json rotation(double z, nlohmann::json blocked = {nullptr, nullptr, nullptr}, std::string mode = "XYZ") {
  return {{"object", 77}, {"name", "Cube"}, {"rotationMode", mode}, {"radians", {0.25, 0.0, z}}, {"blocked", blocked}};
}

class BlenderSurfaceSessionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    processes_->pids = {4242};
    client_ = std::make_unique<BlenderBridgeClient>(BlenderBridgeClient::Ports{
        .main = main_,
        .network = network_.context(),
        .blender = processes_,
        .info_file = home_.path() / "Library/Application Support/Kolvo/Blender/bridge.json",
        .log = log_});
    session_ = std::make_unique<BlenderSurfaceSession>(*client_, main_, clock_);
    session_->set_on_state([this](const shelf::ShelfSurfaceState& state) { states_.push_back(state); });
  }
  void TearDown() override { session_.reset(); }

  bool pump(const std::function<bool()>& done) { return testing::pump_bridge_until(main_, bridge_, done); }
  void settle() { testing::pump_bridge_until(main_, bridge_, [] { return false; }, std::chrono::milliseconds(120)); }
  // The session started, connected and showing `state`.
  void connected_with(const nlohmann::json& state) {
    testing::write_bridge_info(home_.path() / "Library/Application Support/Kolvo/Blender/bridge.json", bridge_.port(),
                               4242);
    session_->start();
    ASSERT_TRUE(pump([&] { return bridge_.last("hello") != nullptr; }));
    bridge_.accept_hello();
    ASSERT_TRUE(pump([&] { return bridge_.last("subscribe") != nullptr; }));
    bridge_.reply_state(*bridge_.last("subscribe"), state);
    ASSERT_TRUE(pump([&] { return client_->context().has_value(); }));
  }
  void push(const nlohmann::json& state) {
    bridge_.push(state);
    const auto expected = decode_blender_context(state);
    ASSERT_TRUE(pump([&] { return client_->context() == expected; }));
  }
  const shelf::ShelfSurfaceState& last() const { return states_.back(); }
  const CreativeContinuousControl& control() const { return *last().continuous_control; }
  void command(ShelfSurfaceCommand kind, std::optional<std::string> id = std::nullopt,
               std::optional<double> value = std::nullopt) {
    ShelfCommand c{.command = kind, .value = value, .control_id = std::move(id)};
    session_->continuous(c);
  }
  std::vector<nlohmann::json> writes(std::string_view type) const {
    std::vector<nlohmann::json> found;
    for (const auto& request : bridge_.requests()) {
      if (request["type"] == type) found.push_back(request);
    }
    return found;
  }

  testing::TempRoot home_{"blender-surface"};
  base::ManualExecutor main_;
  testing::FixedWallClock clock_;
  base::DiagnosticsLog log_{clock_, base::DiagnosticsLog::silent()};
  base::NetworkThread network_;
  testing::FakeBlenderBridge bridge_;
  std::shared_ptr<testing::ScriptedBlenderProcesses> processes_ = std::make_shared<testing::ScriptedBlenderProcesses>();
  std::unique_ptr<BlenderBridgeClient> client_;
  std::unique_ptr<BlenderSurfaceSession> session_;
  std::vector<shelf::ShelfSurfaceState> states_;
};

TEST_F(BlenderSurfaceSessionTest, SaysWhyBlenderCannotBeReachedAndStillListsTheTools) {
  struct Case {
    bool installed;
    std::vector<std::int32_t> running;
    Status status;
    const char* text;
  };
  for (const Case& c : std::vector<Case>{
           {false, {}, Status::blenderNotInstalled, "Blender is not installed on your Mac."},
           {true, {}, Status::blenderClosed, "Open Blender to use these controls."},
           {true, {4242}, Status::bridgeNotRunning, "Install Kolvo Bridge in Kolvo Settings › Corvane › Blender."},
       }) {
    SCOPED_TRACE(c.text);
    processes_->installed = c.installed;
    processes_->pids = c.running;
    session_->start();
    ASSERT_FALSE(states_.empty());
    EXPECT_EQ(client_->status(), c.status);
    EXPECT_FALSE(last().available);
    EXPECT_EQ(last().unavailable, c.text);
    EXPECT_EQ(last().blender_tools->size(), 9u);
    EXPECT_FALSE(last().continuous_control);
    session_->stop();
    EXPECT_FALSE(client_->is_active());
  }
  EXPECT_EQ(blender_unavailable_text(Status::connecting), "Connecting to Blender…");
  EXPECT_EQ(blender_unavailable_text(Status::incompatible), "Update Kolvo Bridge in Kolvo Settings › Corvane › Blender.");
  EXPECT_FALSE(blender_unavailable_text(Status::busy));
}

TEST_F(BlenderSurfaceSessionTest, ShowsTheActiveToolsAndTheirLabels) {
  connected_with(state_with({}));
  struct Case {
    nlohmann::json changes;
    std::vector<BlenderToolID> active;
    std::map<std::string, std::string> labels;
  };
  using B = BlenderToolID;
  const std::vector<Case> cases{
      {{{"tool", "builtin.select_circle"}},
       {B::select},
       {{"bl.select", "Circle"}, {"bl.editMode", "Object"}, {"bl.shading", "Solid"}}},
      {{{"tool", "builtin.rotate"}, {"xray", true}, {"cameraView", true}, {"shading", "WIREFRAME"}},
       {B::rotate, B::cameraView, B::xray},
       {{"bl.select", "Box"}, {"bl.editMode", "Object"}, {"bl.shading", "Wireframe"}}},
      {{{"mode", "EDIT_MESH"}, {"tool", "builtin.select_lasso"}, {"shading", "RENDERED"}},
       {B::select, B::editMode},
       {{"bl.select", "Lasso"}, {"bl.editMode", "Edit"}, {"bl.shading", "Rendered"}}},
      {{{"mode", "SCULPT"}, {"tool", "builtin_brush.Draw"}, {"shading", nullptr}, {"hasViewport", false}},
       {},
       {{"bl.select", "Box"}, {"bl.editMode", "Sculpt"}, {"bl.shading", "Solid"}, {"status", "No 3D Viewport open"}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.changes.dump());
    push(state_with(c.changes));
    EXPECT_TRUE(last().available);
    EXPECT_FALSE(last().unavailable);
    EXPECT_EQ(*last().blender_active, c.active);
    EXPECT_EQ(*last().blender_labels, c.labels);
  }

  // Busy keeps the widget usable and says so.
  session_->perform_action(BlenderToolID::xray);
  ASSERT_TRUE(pump([&] { return bridge_.last("action") != nullptr; }));
  EXPECT_EQ(bridge_.last("action")->at("name"), "toggle_xray");
  main_.advance(BlenderBridgeClient::kBusyTimeout);
  EXPECT_TRUE(last().available);
  EXPECT_EQ(last().blender_labels->at("status"), "Blender is busy");
}

TEST_F(BlenderSurfaceSessionTest, TheRotationSliderFollowsTheChosenAxis) {
  connected_with(state_with({{"rotation", rotation(7.0)}}));
  EXPECT_EQ(control().id, "bl:77/rotation_euler/2");
  EXPECT_EQ(control().label, "Rotation");
  EXPECT_DOUBLE_EQ(control().value, 401.0);
  EXPECT_EQ(control().minimum, 180);
  EXPECT_EQ(control().maximum, 540);
  EXPECT_EQ(control().unit, Unit::degrees);
  EXPECT_EQ(control().decimals, 1);
  EXPECT_EQ(control().axes, (std::vector<std::string>{"X", "Y", "Z"}));
  EXPECT_EQ(control().active_axis, "Z");

  ShelfCommand axis{.command = ShelfSurfaceCommand::setContinuousAxis, .control_axis = "X"};
  session_->continuous(axis);
  EXPECT_EQ(control().id, "bl:77/rotation_euler/0");
  EXPECT_DOUBLE_EQ(control().value, 14.3);  // 0.25 rad
  EXPECT_EQ(control().minimum, -180);
  axis.control_axis = "W";  // no such axis
  session_->continuous(axis);
  EXPECT_EQ(control().active_axis, "X");

  // A quaternion object offers the slider, blocked, and writes nothing.
  push(state_with({{"rotation", rotation(0, {"quaternion", "quaternion", "quaternion"}, "QUATERNION")}}));
  EXPECT_EQ(control().blocked_reason, "Quaternion rotation");
  command(ShelfSurfaceCommand::setContinuous, "bl:77/rotation_euler/0", 45.0);
  settle();
  EXPECT_TRUE(writes("set_rotation").empty());
}

TEST_F(BlenderSurfaceSessionTest, ADragSendsOneWriteAtATimeAndEndsOnTheLastValue) {
  connected_with(state_with({{"rotation", rotation(0.5)}}));
  const std::string id = "bl:77/rotation_euler/2";
  command(ShelfSurfaceCommand::setContinuous, id, 90.0);
  ASSERT_TRUE(pump([&] { return writes("set_rotation").size() == 1; }));
  const nlohmann::json first = writes("set_rotation")[0];
  EXPECT_EQ(first["object"], 77);
  EXPECT_EQ(first["rotationMode"], "XYZ");
  EXPECT_EQ(first["axis"], 2);
  EXPECT_DOUBLE_EQ(first["radians"].get<double>(), std::numbers::pi / 2);
  // Meanwhile the slider shows the chosen value, not Blender's older one.
  EXPECT_DOUBLE_EQ(control().value, 90.0);

  // Two more while the first is out: only the latest waits.
  command(ShelfSurfaceCommand::setContinuous, id, 100.0);
  command(ShelfSurfaceCommand::setContinuous, id, 110.0);
  settle();
  EXPECT_EQ(writes("set_rotation").size(), 1u);
  EXPECT_DOUBLE_EQ(control().value, 110.0);

  bridge_.reply_result(first, true, nullptr, state_with({{"rotation", rotation(std::numbers::pi / 2)}}));
  ASSERT_TRUE(pump([&] { return writes("set_rotation").size() == 2; }));
  const nlohmann::json second = writes("set_rotation")[1];
  EXPECT_DOUBLE_EQ(second["radians"].get<double>(), 110.0 * std::numbers::pi / 180);
  const double z = 110.0 * std::numbers::pi / 180;
  bridge_.reply_result(second, true, nullptr, state_with({{"rotation", rotation(z)}}));
  settle();
  EXPECT_EQ(writes("set_rotation").size(), 2u);
  EXPECT_DOUBLE_EQ(control().value, 110.0);

  // The same angle again sends nothing.
  command(ShelfSurfaceCommand::setContinuous, id, 110.0);
  settle();
  EXPECT_EQ(writes("set_rotation").size(), 2u);
  // A write for another control is no write at all.
  command(ShelfSurfaceCommand::setContinuous, "bl:78/rotation_euler/2", 10.0);
  settle();
  EXPECT_EQ(writes("set_rotation").size(), 2u);
}

TEST_F(BlenderSurfaceSessionTest, AnUnansweredWriteIsGivenUpOnAndTheDragEndsOnItsLastValue) {
  connected_with(state_with({{"rotation", rotation(0.5)}}));
  const std::string id = "bl:77/rotation_euler/2";
  command(ShelfSurfaceCommand::setContinuous, id, 10.0);
  command(ShelfSurfaceCommand::setContinuous, id, 20.0);
  ASSERT_TRUE(pump([&] { return writes("set_rotation").size() == 1; }));
  // The drag ends: the waiting value goes at once.
  command(ShelfSurfaceCommand::endContinuous, id);
  ASSERT_TRUE(pump([&] { return writes("set_rotation").size() == 2; }));
  EXPECT_DOUBLE_EQ(writes("set_rotation")[1]["radians"].get<double>(), 20.0 * std::numbers::pi / 180);

  // Neither is answered; after the time-out the next value goes anyway, and the late answer to
  // the first changes nothing.
  command(ShelfSurfaceCommand::setContinuous, id, 30.0);
  settle();
  EXPECT_EQ(writes("set_rotation").size(), 2u);
  main_.advance(BlenderSurfaceSession::kWriteTimeout);
  ASSERT_TRUE(pump([&] { return writes("set_rotation").size() == 3; }));
  bridge_.reply_result(writes("set_rotation")[0], true, nullptr, state_with({{"rotation", rotation(0.5)}}));
  command(ShelfSurfaceCommand::setContinuous, id, 40.0);
  settle();
  EXPECT_EQ(writes("set_rotation").size(), 3u);
  EXPECT_DOUBLE_EQ(control().value, 40.0);

  // A lost connection lets the waiting write go, and the widget says Blender is gone.
  bridge_.drop();
  processes_->pids.clear();
  ASSERT_TRUE(pump([&] { return client_->status() == Status::bridgeNotRunning; }));
  main_.advance(BlenderBridgeClient::kQuitLookDelay);
  EXPECT_EQ(last().unavailable, "Open Blender to use these controls.");
  EXPECT_FALSE(last().continuous_control);
}

TEST_F(BlenderSurfaceSessionTest, AWaitingValueIsNotSentOnceItsAxisIsBlockedOrAlreadyHeld) {
  connected_with(state_with({{"rotation", rotation(0.5)}}));
  const std::string id = "bl:77/rotation_euler/2";
  command(ShelfSurfaceCommand::setContinuous, id, 10.0);
  command(ShelfSurfaceCommand::setContinuous, id, 20.0);
  ASSERT_TRUE(pump([&] { return writes("set_rotation").size() == 1; }));

  // The user keys the axis in Blender while the first write is out: the waiting one is dropped
  // when the drag ends, rather than sent to be refused.
  push(state_with({{"rotation", rotation(0.5, {nullptr, nullptr, "keyframed"})}}));
  command(ShelfSurfaceCommand::endContinuous, id);
  bridge_.reply_result(writes("set_rotation")[0], false, "keyframed", state_with({{"rotation", rotation(0.5, {nullptr, nullptr, "keyframed"})}}));
  settle();
  EXPECT_EQ(writes("set_rotation").size(), 1u);
  EXPECT_EQ(control().blocked_reason, "Keyframed");

  // Unblocked, with Blender already at the waiting value: nothing goes either.
  push(state_with({{"rotation", rotation(0.5)}}));
  command(ShelfSurfaceCommand::setContinuous, id, 40.0);
  command(ShelfSurfaceCommand::setContinuous, id, 0.5 * 180 / std::numbers::pi);
  ASSERT_TRUE(pump([&] { return writes("set_rotation").size() == 2; }));
  command(ShelfSurfaceCommand::endContinuous, id);
  settle();
  EXPECT_EQ(writes("set_rotation").size(), 2u);
}

TEST_F(BlenderSurfaceSessionTest, MinusZeroFromThePhoneIsWrittenAndShownAsZero) {
  connected_with(state_with({{"rotation", rotation(0.5)}}));
  command(ShelfSurfaceCommand::setContinuous, "bl:77/rotation_euler/2", -0.0);
  ASSERT_TRUE(pump([&] { return writes("set_rotation").size() == 1; }));
  EXPECT_FALSE(std::signbit(writes("set_rotation")[0]["radians"].get<double>()));
  EXPECT_FALSE(std::signbit(control().value));
}

TEST_F(BlenderSurfaceSessionTest, CamerasLightsAndBrushesHaveTheirOwnSlider) {
  connected_with(state_with({{"rotation", rotation(0.5)},
                             {"camera", {{"object", 5}, {"data", 6}, {"name", "Cam"}, {"lens", 50.0}, {"blocked", nullptr}}}}));
  EXPECT_EQ(control().id, "bl:camera:5/lens");
  EXPECT_EQ(control().label, "Focal length");
  EXPECT_EQ(control().unit, Unit::millimeters);
  EXPECT_EQ(control().curve, Curve::logarithmic);
  EXPECT_EQ(control().minimum, 1);
  EXPECT_EQ(control().maximum, 300);
  command(ShelfSurfaceCommand::setContinuous, "bl:camera:5/lens", 85.0);
  ASSERT_TRUE(pump([&] { return writes("set_value").size() == 1; }));
  EXPECT_EQ(writes("set_value")[0], (nlohmann::json{{"type", "set_value"}, {"id", writes("set_value")[0]["id"]},
                                                     {"property", "lens"}, {"object", 5}, {"data", 6}, {"value", 85.0}}));
  bridge_.reply_result(writes("set_value")[0], true, nullptr, state_with({}));
  ASSERT_TRUE(pump([&] { return !last().continuous_control; }));

  struct Case {
    nlohmann::json light;
    const char* id;
    const char* label;
    double maximum;
    Unit unit;
  };
  for (const Case& c : std::vector<Case>{
           {{{"object", 8}, {"data", 9}, {"name", "Sun"}, {"lightType", "SUN"}, {"energy", 3.0}, {"blocked", nullptr}},
            "bl:light:8/energy/SUN", "Strength", 10, Unit::wattsPerSquareMeter},
           {{{"object", 8}, {"data", 9}, {"name", "Lamp"}, {"lightType", "POINT"}, {"energy", 2500.0}, {"blocked", nullptr}},
            "bl:light:8/energy/POINT", "Power", 10000, Unit::watts},
       }) {
    SCOPED_TRACE(c.id);
    push(state_with({{"light", c.light}}));
    EXPECT_EQ(control().id, c.id);
    EXPECT_EQ(control().label, c.label);
    EXPECT_EQ(control().maximum, c.maximum);
    EXPECT_EQ(control().unit, c.unit);
  }
  push(state_with({{"light",
                    {{"object", 8}, {"data", 9}, {"name", "Lamp"}, {"lightType", "POINT"}, {"energy", -1.0},
                     {"blocked", "negative"}}}}));
  EXPECT_EQ(control().blocked_reason, "Negative power");

  // Sculpting: the brush's size, a whole number, or its strength.
  const nlohmann::json sculpt{{"object", 3},
                              {"brush", 11},
                              {"brushName", "Draw"},
                              {"size", {{"scope", "unified"}, {"owner", 12}, {"value", 50.0}, {"blocked", nullptr}}},
                              {"strength", {{"scope", "brush"}, {"owner", 11}, {"value", 0.5}, {"blocked", nullptr}}}};
  push(state_with({{"mode", "SCULPT"}, {"sculpt", sculpt}}));
  EXPECT_EQ(control().id, "bl:sculpt/brush:11/unified:12/size");
  EXPECT_EQ(control().label, "Brush size");
  EXPECT_EQ(control().decimals, 0);
  EXPECT_EQ(control().active_choice, "size");
  command(ShelfSurfaceCommand::setContinuous, "bl:sculpt/brush:11/unified:12/size", 50.6);
  ASSERT_TRUE(pump([&] { return writes("set_value").size() == 2; }));
  const nlohmann::json size_write = writes("set_value")[1];
  EXPECT_EQ(size_write["value"], 51.0);
  EXPECT_EQ(size_write["brush"], 11);
  EXPECT_EQ(size_write["scope"], "unified");
  EXPECT_EQ(size_write["owner"], 12);
  bridge_.reply_result(size_write, true, nullptr, state_with({{"mode", "SCULPT"}, {"sculpt", sculpt}}));

  ShelfCommand choice{.command = ShelfSurfaceCommand::setContinuousChoice, .control_choice = "strength"};
  session_->continuous(choice);
  EXPECT_EQ(control().id, "bl:sculpt/brush:11/brush:11/strength");
  EXPECT_EQ(control().label, "Strength");
  EXPECT_EQ(control().decimals, 3);
  EXPECT_DOUBLE_EQ(control().value, 0.5);
}

}  // namespace
}  // namespace kolvo::blender
