#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "base/date_time.hpp"
#include "base/observable.hpp"
#include "base/timers.hpp"
#include "blender/blender_bridge_client.hpp"
#include "shelf/shelf_surface_session.hpp"

namespace kolvo::blender {

using deck::BlenderToolID;
using deck::CreativeContinuousControl;

// The text the phone shows while Blender cannot be reached, by the client's status; absent
// while it can.
std::optional<std::string_view> blender_unavailable_text(BlenderBridgeStatus status);
// A blocked value's reason as the phone shows it.
std::string_view blender_blocked_label(std::string_view reason);
// The name of a Blender mode on the Edit Mode button ("Edit" for EDIT_MESH, "Particle" for
// PARTICLE).
std::string blender_mode_label(std::string_view mode);
// The bridge's name for the action behind a tool button.
std::string_view blender_action_name(BlenderToolID tool);

// Degrees as the rotation slider shows them: cut toward zero to a tenth, never -0.
double rotation_degrees_shown(double radians);
// The centre of the 360° stretch the rotation slider offers for `degrees`, keeping `previous`
// while the value stays within half a turn of it, so the slider does not jump under a drag.
double rotation_window_centre(double degrees, std::optional<double> previous);

// The range a value slider offers: its usual one, widened tenfold until the value fits.
struct ValueWindow {
  double minimum = 0;
  double maximum = 0;
  friend bool operator==(const ValueWindow&, const ValueWindow&) = default;
};
ValueWindow widen_value_window(ValueWindow usual, double value);

// The Blender widget: the bridge's tool buttons and one slider for what is selected, the
// object's rotation on one axis, a camera's focal length, a light's power or the sculpt
// brush's size or strength. Every change of the bridge client rebuilds the state; a slider
// drag sends one write at a time, and the latest value waits while one is out.
class BlenderSurfaceSession final : public shelf::ShelfSurfaceSession, public shelf::BlenderSurfaceControls {
 public:
  // How long a write may go unanswered before the next one goes anyway.
  static constexpr base::Duration kWriteTimeout = std::chrono::milliseconds(1500);

  BlenderSurfaceSession(BlenderBridgeClient& client, base::Executor& main, const base::WallClock& clock);
  ~BlenderSurfaceSession() override;

  shelf::ShelfSurfaceIdentity identity() const override { return shelf::ShelfSurfaceIdentity::blender; }
  void start() override;
  void stop() override;
  void refresh() override;
  void handle(const shelf::ShelfCommand& command) override;
  void perform_action(BlenderToolID tool) override;
  void continuous(const shelf::ShelfCommand& command) override;

  // What the phone would be shown now.
  shelf::ShelfSurfaceState current_state();

 private:
  enum class Lane { rotation, value };
  // What the slider on the phone writes to now: the bridge's request less its value, and what
  // Blender holds, so a write of what is already there is not sent.
  struct WriteTarget {
    std::string control_id;
    nlohmann::ordered_json request;
    std::string value_key;        // "radians" or "value"
    double to_blender = 1;        // the shown value times this is what Blender stores
    std::optional<double> stored;  // in Blender's unit
    bool is_integer = false;
    bool blocked = false;
    ValueWindow window;
  };
  // One kind of write: at most one out, the latest value waiting behind it; meanwhile the
  // slider shows what the user chose, not Blender's older value.
  struct WriteLane {
    explicit WriteLane(base::Executor& main) : timeout(main) {}
    std::optional<WriteTarget> target;
    bool in_flight = false;
    // Which write is out, so a late answer to one given up on does not end its successor.
    std::uint64_t sequence = 0;
    std::optional<std::pair<std::string, double>> queued;  // control id, shown value
    std::optional<std::pair<std::string, double>> held;
    base::Timer timeout;
    void reset() {
      in_flight = false;
      queued.reset();
      held.reset();
      timeout.cancel();
    }
  };

  WriteLane& lane(Lane kind) { return kind == Lane::rotation ? rotation_writes_ : value_writes_; }
  void client_changed();
  void publish();
  std::optional<CreativeContinuousControl> rotation_control(const BlenderContext& context);
  std::optional<CreativeContinuousControl> value_control(const BlenderContext& context);
  void write(Lane kind, const std::string& control_id, double value);
  void write_now(Lane kind, const std::string& control_id, double value);
  void finish_write(Lane kind, std::uint64_t sequence);
  double shown(const WriteLane& lane, const std::string& control_id, double stored_value) const;

  BlenderBridgeClient& client_;
  const base::WallClock& clock_;
  bool running_ = false;
  base::Subscription following_;
  std::string rotation_axis_ = "Z";
  std::string sculpt_choice_ = "size";
  std::map<std::string, double> rotation_windows_;
  std::map<std::string, ValueWindow> value_windows_;
  WriteLane rotation_writes_;
  WriteLane value_writes_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace kolvo::blender
