#include "blender/blender_surface_session.hpp"

#include <array>
#include <cmath>
#include <numbers>

#include "base/number_text.hpp"

namespace kolvo::blender {
namespace {

using Unit = CreativeContinuousControl::Unit;
using Curve = CreativeContinuousControl::Curve;

constexpr std::array kAllTools{BlenderToolID::select,        BlenderToolID::move,       BlenderToolID::rotate,
                               BlenderToolID::scale,         BlenderToolID::editMode,   BlenderToolID::frameSelected,
                               BlenderToolID::cameraView,    BlenderToolID::xray,       BlenderToolID::shading};
constexpr std::array<std::string_view, 3> kAxes{"X", "Y", "Z"};

bool starts_with(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }

std::string number_id(std::int64_t value) { return std::to_string(value); }

// Equal as Blender stores them: its properties are single precision, so a difference below
// that would write the same value again.
bool same_in_blender(double a, double b) { return static_cast<float>(a) == static_cast<float>(b); }

double round_half_away(double value) { return value < 0 ? -std::floor(-value + 0.5) : std::floor(value + 0.5); }

std::optional<int> axis_index(std::string_view axis) {
  for (std::size_t i = 0; i < kAxes.size(); ++i) {
    if (kAxes[i] == axis) return static_cast<int>(i);
  }
  return std::nullopt;
}

// The usual range of each value slider, its curve and how finely it moves.
struct ValueLook {
  std::string_view label;
  ValueWindow usual;
  Curve curve;
  Unit unit;
  std::int64_t decimals;
};
constexpr ValueLook kFocalLength{"Focal length", {1, 300}, Curve::logarithmic, Unit::millimeters, 1};
constexpr ValueLook kLightPower{"Power", {0, 1000}, Curve::logarithmic, Unit::watts, 1};
constexpr ValueLook kSunStrength{"Strength", {0, 10}, Curve::linear, Unit::wattsPerSquareMeter, 2};
constexpr ValueLook kBrushSize{"Brush size", {1, 500}, Curve::linear, Unit::pixels, 0};
constexpr ValueLook kBrushStrength{"Strength", {0, 1}, Curve::linear, Unit::none, 3};

}  // namespace

std::optional<std::string_view> blender_unavailable_text(BlenderBridgeStatus status) {
  switch (status) {
    case BlenderBridgeStatus::blenderNotInstalled: return "Blender is not installed on your Mac.";
    case BlenderBridgeStatus::blenderClosed: return "Open Blender to use these controls.";
    case BlenderBridgeStatus::bridgeNotRunning: return "Install Kolvo Bridge in Kolvo Settings › Corvane › Blender.";
    case BlenderBridgeStatus::connecting: return "Connecting to Blender…";
    case BlenderBridgeStatus::incompatible: return "Update Kolvo Bridge in Kolvo Settings › Corvane › Blender.";
    case BlenderBridgeStatus::connected:
    case BlenderBridgeStatus::busy: return std::nullopt;
  }
  return std::nullopt;
}

std::string_view blender_blocked_label(std::string_view reason) {
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 13> kLabels{{
      {"keyframed", "Keyframed"},
      {"driven", "Driven"},
      {"locked", "Locked"},
      {"linked", "Linked data"},
      {"quaternion", "Quaternion rotation"},
      {"axisAngle", "Axis angle rotation"},
      {"orthographic", "Orthographic camera"},
      {"panoramic", "Panoramic camera"},
      {"customCamera", "Custom camera"},
      {"negative", "Negative power"},
      {"noBrush", "No brush"},
      {"notBrushTool", "Choose a brush tool"},
      {"sceneRadius", "Size in scene units"},
  }};
  for (const auto& [key, label] : kLabels) {
    if (key == reason) return label;
  }
  return "Unavailable";
}

std::string blender_mode_label(std::string_view mode) {
  if (mode == "OBJECT") return "Object";
  if (starts_with(mode, "EDIT")) return "Edit";
  if (mode == "SCULPT") return "Sculpt";
  if (mode == "POSE") return "Pose";
  if (starts_with(mode, "PAINT") || starts_with(mode, "WEIGHT") || starts_with(mode, "VERTEX")) return "Paint";
  // Any other mode by its first word: "PARTICLE" is "Particle", "SCULPT_CURVES" "Sculpt".
  std::string word(mode.substr(0, mode.find('_')));
  for (std::size_t i = 0; i < word.size(); ++i) {
    const char c = word[i];
    if (i > 0 && c >= 'A' && c <= 'Z') word[i] = static_cast<char>(c - 'A' + 'a');
  }
  return word;
}

std::string_view blender_action_name(BlenderToolID tool) {
  switch (tool) {
    case BlenderToolID::select: return "cycle_select";
    case BlenderToolID::move: return "tool_move";
    case BlenderToolID::rotate: return "tool_rotate";
    case BlenderToolID::scale: return "tool_scale";
    case BlenderToolID::editMode: return "toggle_edit_mode";
    case BlenderToolID::frameSelected: return "frame_selected";
    case BlenderToolID::cameraView: return "toggle_camera_view";
    case BlenderToolID::xray: return "toggle_xray";
    case BlenderToolID::shading: return "cycle_shading";
  }
  return {};
}

double rotation_degrees_shown(double radians) {
  const double tenths = std::trunc(radians * 180.0 / std::numbers::pi * 10.0);
  const double degrees = tenths / 10.0;
  return degrees == 0 ? 0.0 : degrees;  // -0 reads as 0
}

double rotation_window_centre(double degrees, std::optional<double> previous) {
  if (previous && std::abs(degrees - *previous) <= 180.0) return *previous;
  if (std::abs(degrees) <= 180.0) return 0.0;
  // The nearest whole number of turns: 200° sits in 180…540, 7.0 rad (401°) too.
  return 360.0 * round_half_away(degrees / 360.0);
}

namespace {

// One tenfold step of a bound away from the window's middle, through zero when the value lies
// on the other side of it.
double widened_up(double maximum, double value) {
  if (maximum < 0) return value < 0 ? maximum / 10 : 0;
  return maximum > 0 ? maximum * 10 : 1;
}
double widened_down(double minimum, double value) {
  if (minimum > 0) return value > 0 ? minimum / 10 : 0;
  return minimum < 0 ? minimum * 10 : -1;
}

}  // namespace

ValueWindow widen_value_window(ValueWindow usual, double value) {
  if (!std::isfinite(value)) return usual;
  // Tenfold steps take even Blender's largest values in a few hundred at most; each loop ends
  // because its bound passes any finite value.
  while (value > usual.maximum) usual.maximum = widened_up(usual.maximum, value);
  while (value < usual.minimum) usual.minimum = widened_down(usual.minimum, value);
  return usual;
}

BlenderSurfaceSession::BlenderSurfaceSession(BlenderBridgeClient& client, base::Executor& main,
                                             const base::WallClock& clock)
    : client_(client), clock_(clock), rotation_writes_(main), value_writes_(main) {}

BlenderSurfaceSession::~BlenderSurfaceSession() {
  *alive_ = false;
  stop();
}

void BlenderSurfaceSession::start() {
  if (running_) return;
  running_ = true;
  following_ = client_.add_observer([this] { client_changed(); });
  client_.start();
  publish();
}

void BlenderSurfaceSession::stop() {
  if (!running_) return;
  running_ = false;
  following_.reset();
  client_.stop();
  rotation_writes_.reset();
  value_writes_.reset();
  rotation_writes_.target.reset();
  value_writes_.target.reset();
  rotation_windows_.clear();
  value_windows_.clear();
  forget_last_sent();
}

void BlenderSurfaceSession::refresh() {
  if (running_) deliver(current_state(), /*forced=*/true);
}

void BlenderSurfaceSession::handle(const shelf::ShelfCommand& command) {
  switch (command.command) {
    case shelf::ShelfSurfaceCommand::blenderAction:
      if (command.blender_tool) perform_action(*command.blender_tool);
      return;
    case shelf::ShelfSurfaceCommand::setContinuous:
    case shelf::ShelfSurfaceCommand::endContinuous:
    case shelf::ShelfSurfaceCommand::setContinuousAxis:
    case shelf::ShelfSurfaceCommand::setContinuousChoice: return continuous(command);
    default: return;
  }
}

void BlenderSurfaceSession::perform_action(BlenderToolID tool) {
  if (!running_ || !is_linked(client_.status())) return;
  client_.send_action(std::string(blender_action_name(tool)));
}

void BlenderSurfaceSession::continuous(const shelf::ShelfCommand& command) {
  if (!running_) return;
  switch (command.command) {
    case shelf::ShelfSurfaceCommand::setContinuousAxis:
      if (command.control_axis && axis_index(*command.control_axis)) {
        rotation_axis_ = *command.control_axis;
        publish();
      }
      return;
    case shelf::ShelfSurfaceCommand::setContinuousChoice:
      if (command.control_choice && (*command.control_choice == "size" || *command.control_choice == "strength")) {
        sculpt_choice_ = *command.control_choice;
        publish();
      }
      return;
    case shelf::ShelfSurfaceCommand::setContinuous:
      if (!command.control_id || !command.value || !std::isfinite(*command.value)) return;
      for (const Lane kind : {Lane::rotation, Lane::value}) {
        const auto& target = lane(kind).target;
        if (target && target->control_id == *command.control_id) return write(kind, *command.control_id, *command.value);
      }
      return;
    case shelf::ShelfSurfaceCommand::endContinuous:
      // The drag is over: the value waiting behind a slow answer goes now, so the slider's
      // last position is what Blender ends with.
      if (!command.control_id) return;
      for (const Lane kind : {Lane::rotation, Lane::value}) {
        WriteLane& writes = lane(kind);
        if (writes.queued && writes.queued->first == *command.control_id) {
          const auto [id, value] = *std::exchange(writes.queued, std::nullopt);
          write_now(kind, id, value);
        }
      }
      return;
    default: return;
  }
}

void BlenderSurfaceSession::client_changed() {
  if (!running_) return;
  // Without a connection no answer will come: the writes are let go, and the slider shows
  // Blender's own value again when it is back.
  if (!is_linked(client_.status())) {
    rotation_writes_.reset();
    value_writes_.reset();
  }
  publish();
}

void BlenderSurfaceSession::publish() {
  if (running_) deliver(current_state());
}

shelf::ShelfSurfaceState BlenderSurfaceSession::current_state() {
  shelf::ShelfSurfaceState state;
  state.identity = shelf::ShelfSurfaceIdentity::blender;
  state.timestamp = base::seconds_since_2001(clock_.now());
  const BlenderBridgeStatus status = client_.status();
  state.available = is_linked(status);
  if (const auto text = blender_unavailable_text(status)) state.unavailable = std::string(*text);
  state.blender_tools = std::vector<BlenderToolID>(kAllTools.begin(), kAllTools.end());
  const auto& context = client_.context();
  if (!state.available || !context) {
    rotation_writes_.target.reset();
    value_writes_.target.reset();
    if (state.available && status == BlenderBridgeStatus::busy) {
      state.blender_labels = std::map<std::string, std::string>{{"status", "Blender is busy"}};
    }
    return state;
  }

  std::vector<BlenderToolID> active;
  std::map<std::string, std::string> labels;
  const std::string tool = context->tool.value_or("");
  labels["bl.select"] = "Box";
  if (tool == "builtin.select" || tool == "builtin.select_box") {
    active.push_back(BlenderToolID::select);
  } else if (tool == "builtin.select_circle") {
    active.push_back(BlenderToolID::select);
    labels["bl.select"] = "Circle";
  } else if (tool == "builtin.select_lasso") {
    active.push_back(BlenderToolID::select);
    labels["bl.select"] = "Lasso";
  } else if (tool == "builtin.move") {
    active.push_back(BlenderToolID::move);
  } else if (tool == "builtin.rotate") {
    active.push_back(BlenderToolID::rotate);
  } else if (tool == "builtin.scale") {
    active.push_back(BlenderToolID::scale);
  }
  if (starts_with(context->mode, "EDIT")) active.push_back(BlenderToolID::editMode);
  if (context->camera_view) active.push_back(BlenderToolID::cameraView);
  if (context->xray) active.push_back(BlenderToolID::xray);
  labels["bl.editMode"] = blender_mode_label(context->mode);
  const std::string shading = context->shading.value_or("");
  labels["bl.shading"] = shading == "MATERIAL"    ? "Material"
                         : shading == "RENDERED"  ? "Rendered"
                         : shading == "WIREFRAME" ? "Wireframe"
                                                  : "Solid";
  if (status == BlenderBridgeStatus::busy) {
    labels["status"] = "Blender is busy";
  } else if (!context->has_viewport) {
    labels["status"] = "No 3D Viewport open";
  }
  state.blender_active = std::move(active);
  state.blender_labels = std::move(labels);

  // A camera's or a light's own value is what its slider is for; any other selected object
  // turns on one axis.
  auto control = value_control(*context);
  if (control) {
    rotation_writes_.target.reset();
  } else {
    value_writes_.target.reset();
    control = rotation_control(*context);
  }
  if (control) state.continuous_control = std::move(*control);
  return state;
}

std::optional<CreativeContinuousControl> BlenderSurfaceSession::rotation_control(const BlenderContext& context) {
  WriteLane& writes = rotation_writes_;
  const auto axis = axis_index(rotation_axis_);
  if (!context.rotation || !axis || context.rotation->radians.size() <= static_cast<std::size_t>(*axis)) {
    writes.target.reset();
    return std::nullopt;
  }
  const BlenderRotation& rotation = *context.rotation;
  const std::string id = "bl:" + number_id(rotation.object_id) + "/rotation_euler/" + std::to_string(*axis);
  const double stored = rotation.radians[static_cast<std::size_t>(*axis)];
  const double value = shown(writes, id, rotation_degrees_shown(stored));
  const auto previous = rotation_windows_.find(id);
  const double centre =
      rotation_window_centre(value, previous == rotation_windows_.end() ? std::nullopt : std::optional(previous->second));
  rotation_windows_[id] = centre;
  const std::optional<std::string> blocked =
      static_cast<std::size_t>(*axis) < rotation.blocked.size() ? rotation.blocked[static_cast<std::size_t>(*axis)]
                                                                : std::nullopt;

  nlohmann::ordered_json request;
  request["type"] = "set_rotation";
  request["object"] = rotation.object_id;
  request["rotationMode"] = rotation.rotation_mode;
  request["axis"] = *axis;
  writes.target = WriteTarget{.control_id = id,
                              .request = std::move(request),
                              .value_key = "radians",
                              .to_blender = std::numbers::pi / 180.0,
                              .stored = stored,
                              .is_integer = false,
                              .blocked = blocked.has_value(),
                              .window = {centre - 180.0, centre + 180.0}};

  CreativeContinuousControl control;
  control.id = id;
  control.label = "Rotation";
  control.detail = rotation.object_name;
  control.value = value;
  control.minimum = centre - 180.0;
  control.maximum = centre + 180.0;
  control.unit = Unit::degrees;
  control.curve = Curve::linear;
  control.decimals = 1;
  if (blocked) control.blocked_reason = std::string(blender_blocked_label(*blocked));
  control.axes = std::vector<std::string>(kAxes.begin(), kAxes.end());
  control.active_axis = rotation_axis_;
  return control;
}

std::optional<CreativeContinuousControl> BlenderSurfaceSession::value_control(const BlenderContext& context) {
  WriteLane& writes = value_writes_;
  std::string id;
  const ValueLook* look = nullptr;
  nlohmann::ordered_json request;
  request["type"] = "set_value";
  std::optional<double> stored;
  std::optional<std::string> blocked;
  std::optional<std::string> detail;
  bool writable = true;
  std::optional<std::vector<CreativeContinuousControl::Choice>> choices;

  if (context.camera) {
    const BlenderCamera& camera = *context.camera;
    id = "bl:camera:" + number_id(camera.object_id) + "/lens";
    look = &kFocalLength;
    request["property"] = "lens";
    request["object"] = camera.object_id;
    request["data"] = camera.data_id;
    stored = camera.lens;
    blocked = camera.blocked;
    detail = camera.object_name;
  } else if (context.light) {
    const BlenderLight& light = *context.light;
    id = "bl:light:" + number_id(light.object_id) + "/energy/" + light.light_type;
    look = light.light_type == "SUN" ? &kSunStrength : &kLightPower;
    request["property"] = "energy";
    request["object"] = light.object_id;
    request["data"] = light.data_id;
    request["lightType"] = light.light_type;
    stored = light.energy;
    blocked = light.blocked;
    detail = light.object_name;
  } else if (context.sculpt) {
    const BlenderSculpt& sculpt = *context.sculpt;
    const bool size = sculpt_choice_ == "size";
    const BlenderSculpt::Setting& setting = size ? sculpt.size : sculpt.strength;
    const auto part = [](const auto& value) {
      if (!value) return std::string("none");
      if constexpr (std::is_same_v<std::decay_t<decltype(*value)>, std::string>) {
        return *value;
      } else {
        return number_id(*value);
      }
    };
    id = "bl:sculpt/brush:" + part(sculpt.brush_id) + "/" + part(setting.scope) + ":" + part(setting.owner_id) + "/" +
         sculpt_choice_;
    look = size ? &kBrushSize : &kBrushStrength;
    request["property"] = size ? "brush_size" : "brush_strength";
    request["object"] = sculpt.object_id;
    writable = sculpt.brush_id && setting.scope && setting.owner_id && setting.value;
    if (sculpt.brush_id) request["brush"] = *sculpt.brush_id;
    if (setting.scope) request["scope"] = *setting.scope;
    if (setting.owner_id) request["owner"] = *setting.owner_id;
    stored = setting.value;
    blocked = setting.blocked ? setting.blocked : (sculpt.brush_id ? std::nullopt : std::optional<std::string>("noBrush"));
    detail = sculpt.brush_name;
    choices = std::vector<CreativeContinuousControl::Choice>{{"size", "Size"}, {"strength", "Strength"}};
  } else {
    writes.target.reset();
    return std::nullopt;
  }

  const double value = shown(writes, id, stored.value_or(look->usual.minimum));
  const auto previous = value_windows_.find(id);
  const ValueWindow window = widen_value_window(previous == value_windows_.end() ? look->usual : previous->second, value);
  value_windows_[id] = window;
  writes.target = WriteTarget{.control_id = id,
                              .request = std::move(request),
                              .value_key = "value",
                              .to_blender = 1,
                              .stored = stored,
                              .is_integer = look == &kBrushSize,
                              .blocked = blocked.has_value() || !writable,
                              .window = window};

  CreativeContinuousControl control;
  control.id = id;
  control.label = std::string(look->label);
  control.detail = detail;
  control.value = value;
  control.minimum = window.minimum;
  control.maximum = window.maximum;
  control.unit = look->unit;
  control.curve = look->curve;
  control.decimals = look->decimals;
  if (blocked) control.blocked_reason = std::string(blender_blocked_label(*blocked));
  control.choices = std::move(choices);
  if (control.choices) control.active_choice = sculpt_choice_;
  return control;
}

double BlenderSurfaceSession::shown(const WriteLane& lane, const std::string& control_id, double stored_value) const {
  const bool waiting = lane.in_flight || lane.queued;
  if (waiting && lane.held && lane.held->first == control_id) return lane.held->second;
  return stored_value;
}

void BlenderSurfaceSession::write(Lane kind, const std::string& control_id, double value) {
  WriteLane& writes = lane(kind);
  if (!writes.target || writes.target->control_id != control_id || writes.target->blocked) return;
  const WriteTarget& target = *writes.target;
  value = std::clamp(value, target.window.minimum, target.window.maximum);
  if (target.is_integer) value = round_half_away(value);
  if (value == 0) value = 0.0;  // a -0 from the phone is written and shown as 0
  if (writes.in_flight) {
    // The latest value waits; an older waiting one is of no more use.
    writes.queued = {control_id, value};
    writes.held = {control_id, value};
    return publish();
  }
  write_now(kind, control_id, value);
}

void BlenderSurfaceSession::write_now(Lane kind, const std::string& control_id, double value) {
  WriteLane& writes = lane(kind);
  // The target may have changed or become blocked while the value waited.
  if (!writes.target || writes.target->control_id != control_id || writes.target->blocked) return publish();
  const WriteTarget& target = *writes.target;
  if (target.stored && same_in_blender(*target.stored, value * target.to_blender)) {
    if (!writes.in_flight) writes.held.reset();
    return publish();
  }
  nlohmann::ordered_json request = target.request;
  request[target.value_key] = value * target.to_blender;
  std::weak_ptr<bool> alive = alive_;
  const std::uint64_t sequence = ++writes.sequence;
  const bool sent = client_.send(std::move(request), [this, alive, kind, sequence](bool, std::optional<std::string>) {
    const auto living = alive.lock();
    if (living && *living) finish_write(kind, sequence);
  });
  if (!sent) {
    writes.reset();
    return publish();
  }
  writes.in_flight = true;
  writes.held = {control_id, value};
  // An answer that never comes must not stop the slider for good.
  writes.timeout.start(kWriteTimeout, [this, kind, sequence] { finish_write(kind, sequence); });
  publish();
}

void BlenderSurfaceSession::finish_write(Lane kind, std::uint64_t sequence) {
  WriteLane& writes = lane(kind);
  if (!writes.in_flight || sequence != writes.sequence) return;
  writes.timeout.cancel();
  writes.in_flight = false;
  if (writes.queued) {
    const auto [id, value] = *std::exchange(writes.queued, std::nullopt);
    // Written only if the slider still belongs to the same target and Blender does not
    // already hold the value.
    write(kind, id, value);
    if (writes.in_flight) return;
  }
  writes.held.reset();
  publish();
}

}  // namespace kolvo::blender
