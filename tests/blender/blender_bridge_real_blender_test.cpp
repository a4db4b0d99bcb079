// The bridge client and the Blender widget against the add-on inside a real Blender, with its
// interface on a private X display (tests/blender/blender_under_xvfb.py). The scene is
// Blender's factory start-up scene: a cube (selected), a camera and a light. Between steps the
// test changes the scene the way a user would, through a script file that a test-only timer
// inside Blender runs; nothing of the kind ever goes through the bridge.
#include <gtest/gtest.h>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cmath>
#include <fstream>
#include <numbers>
#include <thread>

#include "base/network_thread.hpp"
#include "blender/blender_surface_session.hpp"
#include "platform/linux/blender_processes_linux.hpp"
#include "platform/posix/process_launcher_posix.hpp"
#include "support/fake_blender_bridge.hpp"
#include "support/settings_fixture.hpp"

extern char** environ;

namespace kolvo::blender {
namespace {

using Status = BlenderBridgeStatus;
using shelf::ShelfCommand;
using shelf::ShelfSurfaceCommand;

// Runs `kolvo-test-step.py` from HOME when one appears, then deletes it.
constexpr const char* kTestStepHook = R"(
import bpy, os
def _kolvo_test_step():
    path = os.path.join(os.environ["HOME"], "kolvo-test-step.py")
    if os.path.exists(path):
        source = open(path).read()
        os.remove(path)
        exec(compile(source, path, "exec"), {"bpy": bpy})
    return 0.05
bpy.app.timers.register(_kolvo_test_step, first_interval=0.05, persistent=True)
)";

class RealBlender {
 public:
  explicit RealBlender(const std::filesystem::path& home) : home_(home) {
    const std::string script = std::string(KOLVO_SOURCE_DIR) + "/tests/blender/blender_under_xvfb.py";
    const std::string pid_file = (home / "blender.pid").string();
    const std::string log = (home / "blender.log").string();
    std::vector<std::string> words{"/usr/bin/python3", script,         "--home", home.string(), "--pid-file",
                                   pid_file,           "--setup-expr", kTestStepHook, "--log", log};
    std::vector<char*> argv;
    for (auto& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    if (::posix_spawn(&supervisor_, argv[0], nullptr, nullptr, argv.data(), environ) != 0) supervisor_ = 0;
    // Blender takes a few seconds to start under software rendering.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(90);
    while (supervisor_ != 0 && std::chrono::steady_clock::now() < deadline) {
      std::ifstream in(pid_file);
      if (in >> blender_pid_) break;
      int status = 0;
      if (::waitpid(supervisor_, &status, WNOHANG) == supervisor_) {
        supervisor_ = 0;
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }
  ~RealBlender() {
    if (supervisor_ == 0) return;
    // The supervisor stops Blender and the display, by pid, and then exits.
    ::kill(supervisor_, SIGTERM);
    int status = 0;
    ::waitpid(supervisor_, &status, 0);
  }
  RealBlender(const RealBlender&) = delete;
  RealBlender& operator=(const RealBlender&) = delete;

  bool running() const { return blender_pid_ > 0; }
  std::int32_t pid() const { return blender_pid_; }
  std::string log() const {
    std::ifstream in(home_ / "blender.log");
    return {std::istreambuf_iterator<char>(in), {}};
  }
  // Runs Python inside Blender, as a user's click would change the scene.
  void step(const std::string& python) const {
    const auto temporary = home_ / "kolvo-test-step.tmp";
    std::ofstream(temporary) << python;
    std::filesystem::rename(temporary, home_ / "kolvo-test-step.py");
  }
  void kill_blender() const { ::kill(blender_pid_, SIGKILL); }

 private:
  std::filesystem::path home_;
  pid_t supervisor_ = 0;
  std::int32_t blender_pid_ = 0;
};

constexpr const char* kSelectCamera = R"(
vl = bpy.context.view_layer
for o in vl.objects: o.select_set(o.name == "Camera")
vl.objects.active = bpy.data.objects["Camera"]
)";
constexpr const char* kSelectLight = R"(
vl = bpy.context.view_layer
for o in vl.objects: o.select_set(o.name == "Light")
vl.objects.active = bpy.data.objects["Light"]
)";
constexpr const char* kWireframe = R"(
for w in bpy.context.window_manager.windows:
    for a in w.screen.areas:
        if a.type == "VIEW_3D": a.spaces.active.shading.type = "WIREFRAME"
)";

class RealBlenderBridgeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    blender_ = std::make_unique<RealBlender>(home_.path());
    ASSERT_TRUE(blender_->running()) << "Blender did not start:\n" << blender_->log();
    client_ = std::make_unique<BlenderBridgeClient>(BlenderBridgeClient::Ports{
        .main = main_,
        .network = network_.context(),
        // Found as the host finds it: the `blender` on PATH and the running ones in /proc.
        .blender = std::make_shared<platform::LinuxBlenderProcesses>(std::make_shared<platform::PosixProcessLauncher>(),
                                                                     std::getenv("PATH") ? std::getenv("PATH") : ""),
        .info_file = home_.path() / "Library/Application Support/Kolvo/Blender/bridge.json",
        .log = log_});
    session_ = std::make_unique<BlenderSurfaceSession>(*client_, main_, clock_);
    session_->set_on_state([this](const shelf::ShelfSurfaceState& state) { states_.push_back(state); });
  }
  void TearDown() override {
    session_.reset();
    client_.reset();
    blender_.reset();
  }

  // Real time passes for Blender while the main executor's due work runs. The client's own
  // timers are on virtual time: a step that needs one advances it itself.
  bool until(const std::function<bool()>& done, std::chrono::milliseconds limit = std::chrono::milliseconds(10000)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
      main_.run_pending();
      if (done()) return true;
      if (std::chrono::steady_clock::now() > deadline) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }
  const shelf::ShelfSurfaceState& last() const { return states_.back(); }
  bool active(BlenderToolID tool) const {
    const auto& list = last().blender_active;
    return list && std::find(list->begin(), list->end(), tool) != list->end();
  }
  const std::optional<BlenderContext>& context() const { return client_->context(); }
  void slide(const std::string& id, double value) {
    session_->continuous(ShelfCommand{.command = ShelfSurfaceCommand::setContinuous, .value = value, .control_id = id});
  }

  testing::TempRoot home_{"real-blender"};
  base::ManualExecutor main_;
  testing::FixedWallClock clock_;
  base::DiagnosticsLog log_{clock_, base::DiagnosticsLog::silent()};
  base::NetworkThread network_;
  std::unique_ptr<RealBlender> blender_;

  std::unique_ptr<BlenderBridgeClient> client_;
  std::unique_ptr<BlenderSurfaceSession> session_;
  std::vector<shelf::ShelfSurfaceState> states_;
};

TEST_F(RealBlenderBridgeTest, TheWidgetDrivesARealBlender) {
  session_->start();
  ASSERT_TRUE(until([&] { return client_->status() == Status::connected && context().has_value(); }))
      << kBlenderBridgeStatusTable.to_string(client_->status()) << "\n" << blender_->log();
  ASSERT_TRUE(last().available);
  EXPECT_EQ(context()->mode, "OBJECT");
  EXPECT_EQ(context()->active_name, "Cube");
  ASSERT_TRUE(context()->rotation);
  const std::string cube_z = "bl:" + std::to_string(context()->rotation->object_id) + "/rotation_euler/2";
  EXPECT_EQ(last().continuous_control->id, cube_z);

  // Every tool button, seen back in Blender's own state.
  struct Action {
    BlenderToolID tool;
    std::function<bool()> done;
  };
  const std::vector<Action> actions{
      {BlenderToolID::move, [&] { return active(BlenderToolID::move); }},
      {BlenderToolID::rotate, [&] { return active(BlenderToolID::rotate); }},
      {BlenderToolID::scale, [&] { return active(BlenderToolID::scale); }},
      {BlenderToolID::select, [&] { return last().blender_labels->at("bl.select") == "Box"; }},
      {BlenderToolID::select, [&] { return last().blender_labels->at("bl.select") == "Circle"; }},
      {BlenderToolID::select, [&] { return last().blender_labels->at("bl.select") == "Lasso"; }},
      {BlenderToolID::editMode, [&] { return active(BlenderToolID::editMode) && context()->mode == "EDIT_MESH"; }},
      {BlenderToolID::editMode, [&] { return context()->mode == "OBJECT"; }},
      {BlenderToolID::xray, [&] { return active(BlenderToolID::xray); }},
      {BlenderToolID::xray, [&] { return !active(BlenderToolID::xray); }},
      {BlenderToolID::cameraView, [&] { return active(BlenderToolID::cameraView); }},
      {BlenderToolID::cameraView, [&] { return !active(BlenderToolID::cameraView); }},
  };
  for (const Action& action : actions) {
    SCOPED_TRACE(deck::kBlenderToolIDTable.to_string(action.tool));
    session_->perform_action(action.tool);
    EXPECT_TRUE(until(action.done));
  }
  // Framing changes nothing the widget shows; Blender's answer says it ran.
  std::optional<std::pair<bool, std::optional<std::string>>> framed;
  ASSERT_TRUE(client_->send({{"type", "action"}, {"name", std::string(blender_action_name(BlenderToolID::frameSelected))}},
                            [&](bool ok, std::optional<std::string> error) { framed.emplace(ok, error); }));
  ASSERT_TRUE(until([&] { return framed.has_value(); }));
  EXPECT_TRUE(framed->first) << framed->second.value_or("");

  // Shading from wireframe goes to solid (the other types compile shaders for seconds here).
  blender_->step(kWireframe);
  ASSERT_TRUE(until([&] { return last().blender_labels->at("bl.shading") == "Wireframe"; }));
  session_->perform_action(BlenderToolID::shading);
  EXPECT_TRUE(until([&] { return last().blender_labels->at("bl.shading") == "Solid"; }));

  // A rotation write lands in Blender as radians.
  slide(cube_z, 45.0);
  ASSERT_TRUE(until([&] { return std::abs(context()->rotation->radians[2] - std::numbers::pi / 4) < 1e-6; }));
  EXPECT_DOUBLE_EQ(last().continuous_control->value, 45.0);
  // A locked axis is shown blocked and is not written.
  blender_->step("bpy.data.objects['Cube'].lock_rotation[2] = True");
  ASSERT_TRUE(until([&] { return last().continuous_control->blocked_reason == "Locked"; }));
  slide(cube_z, 90.0);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  main_.run_pending();
  EXPECT_NEAR(context()->rotation->radians[2], std::numbers::pi / 4, 1e-6);
  const std::int64_t cube = context()->rotation->object_id;

  // The camera's focal length.
  blender_->step(kSelectCamera);
  ASSERT_TRUE(until([&] { return context()->camera.has_value(); }));
  const std::string lens_id = "bl:camera:" + std::to_string(context()->camera->object_id) + "/lens";
  EXPECT_EQ(last().continuous_control->id, lens_id);
  EXPECT_EQ(last().continuous_control->label, "Focal length");
  slide(lens_id, 85.0);
  ASSERT_TRUE(until([&] { return context()->camera->lens == 85.0; }));

  // The light's power.
  blender_->step(kSelectLight);
  ASSERT_TRUE(until([&] { return context()->light.has_value(); }));
  const BlenderLight light = *context()->light;
  const std::string power_id = "bl:light:" + std::to_string(light.object_id) + "/energy/" + light.light_type;
  EXPECT_EQ(last().continuous_control->id, power_id);
  slide(power_id, 250.0);
  ASSERT_TRUE(until([&] { return context()->light->energy == 250.0; }));

  // A write aimed at what is no longer selected is refused by Blender.
  std::optional<std::string> refusal;
  ASSERT_TRUE(client_->send({{"type", "set_rotation"}, {"object", cube}, {"rotationMode", "XYZ"}, {"axis", 0}, {"radians", 1.0}},
                            [&](bool ok, std::optional<std::string> error) { refusal = ok ? "ok" : error.value_or(""); }));
  ASSERT_TRUE(until([&] { return refusal.has_value(); }));
  EXPECT_EQ(refusal, "stale target");

  // Blender busy with something long: the action waits, the widget says so, then recovers.
  blender_->step("import time; time.sleep(3.0)");
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  session_->perform_action(BlenderToolID::move);
  main_.advance(BlenderBridgeClient::kBusyTimeout);
  EXPECT_EQ(client_->status(), Status::busy);
  EXPECT_TRUE(last().available);
  EXPECT_EQ(last().blender_labels->at("status"), "Blender is busy");
  ASSERT_TRUE(until([&] { return client_->status() == Status::connected; }));

  // Killed while a write is out: the write is never answered, and the widget says Blender is
  // closed.
  blender_->step("import time; time.sleep(3.0)");
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  bool answered = false;
  ASSERT_TRUE(client_->send({{"type", "state"}}, [&](bool, std::optional<std::string>) { answered = true; }));
  blender_->kill_blender();
  ASSERT_TRUE(until([&] { return client_->status() != Status::connected && client_->status() != Status::busy; }));
  ASSERT_TRUE(until([&] {
    main_.advance(BlenderBridgeClient::kQuitLookDelay);
    return client_->status() == Status::blenderClosed;
  }));
  EXPECT_EQ(last().unavailable, "Open Blender to use these controls.");
  EXPECT_FALSE(answered);
}

}  // namespace
}  // namespace kolvo::blender
