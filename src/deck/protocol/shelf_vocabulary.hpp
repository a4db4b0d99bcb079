#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/enum_table.hpp"
#include "base/json_writer.hpp"
#include "deck/protocol/indirect.hpp"

// The Shelf's shared vocabulary: which surface, what it shows, and what the phone asks of it.
namespace kolvo::deck {

// The order is the case index: it is also the order of sessions and routing.
enum class ShelfSurfaceIdentity { spotify, claudeCode, codex, timer, afterEffects, illustrator, photoshop, premiere, blender };
inline constexpr auto kShelfSurfaceIdentityTable = base::make_enum_table<ShelfSurfaceIdentity>(
    {{ShelfSurfaceIdentity::spotify, "spotify"}, {ShelfSurfaceIdentity::claudeCode, "claudeCode"},
     {ShelfSurfaceIdentity::codex, "codex"}, {ShelfSurfaceIdentity::timer, "timer"},
     {ShelfSurfaceIdentity::afterEffects, "afterEffects"}, {ShelfSurfaceIdentity::illustrator, "illustrator"},
     {ShelfSurfaceIdentity::photoshop, "photoshop"}, {ShelfSurfaceIdentity::premiere, "premiere"},
     {ShelfSurfaceIdentity::blender, "blender"}});

enum class ShelfWidgetBackground { liquidGlass, solid };
inline constexpr auto kShelfWidgetBackgroundTable = base::make_enum_table<ShelfWidgetBackground>(
    {{ShelfWidgetBackground::liquidGlass, "liquidGlass"}, {ShelfWidgetBackground::solid, "solid"}});

enum class ShelfAgentActivity { idle, thinking, working, waiting, done, failed };
inline constexpr auto kShelfAgentActivityTable = base::make_enum_table<ShelfAgentActivity>(
    {{ShelfAgentActivity::idle, "idle"}, {ShelfAgentActivity::thinking, "thinking"},
     {ShelfAgentActivity::working, "working"}, {ShelfAgentActivity::waiting, "waiting"},
     {ShelfAgentActivity::done, "done"}, {ShelfAgentActivity::failed, "failed"}});

enum class ShelfSurfaceCommand {
  selectTool, setColor, applyColor, cancelColor, setContinuous, endContinuous, setContinuousAxis,
  setContinuousChoice, blenderAction, playPause, previous, next, seek, setVolume, dismiss,
};
inline constexpr auto kShelfSurfaceCommandTable = base::make_enum_table<ShelfSurfaceCommand>(
    {{ShelfSurfaceCommand::selectTool, "selectTool"}, {ShelfSurfaceCommand::setColor, "setColor"},
     {ShelfSurfaceCommand::applyColor, "applyColor"}, {ShelfSurfaceCommand::cancelColor, "cancelColor"},
     {ShelfSurfaceCommand::setContinuous, "setContinuous"}, {ShelfSurfaceCommand::endContinuous, "endContinuous"},
     {ShelfSurfaceCommand::setContinuousAxis, "setContinuousAxis"},
     {ShelfSurfaceCommand::setContinuousChoice, "setContinuousChoice"},
     {ShelfSurfaceCommand::blenderAction, "blenderAction"}, {ShelfSurfaceCommand::playPause, "playPause"},
     {ShelfSurfaceCommand::previous, "previous"}, {ShelfSurfaceCommand::next, "next"},
     {ShelfSurfaceCommand::seek, "seek"}, {ShelfSurfaceCommand::setVolume, "setVolume"},
     {ShelfSurfaceCommand::dismiss, "dismiss"}});

enum class AdobeToolID {
  selection, hand, zoom, rotation, panBehind, pen, cube, type, shape, brush, objectMatte, puppetPosition,
  aiSelection, aiDirectSelection, aiPen, aiType, aiRectangle, aiShapeBuilder, aiEyedropper, aiHand, aiZoom,
  psMove, psMarquee, psLasso, psObjectSelect, psBrush, psEraser, psCrop, psType, psHand,
  prSelection, prTrackForward, prRazor, prRipple, prRolling, prSlip, prRateStretch, prPen, prHand,
};
inline constexpr auto kAdobeToolIDTable = base::make_enum_table<AdobeToolID>({
    {AdobeToolID::selection, "selection"}, {AdobeToolID::hand, "hand"}, {AdobeToolID::zoom, "zoom"},
    {AdobeToolID::rotation, "rotation"}, {AdobeToolID::panBehind, "panBehind"}, {AdobeToolID::pen, "pen"},
    {AdobeToolID::cube, "cube"}, {AdobeToolID::type, "type"}, {AdobeToolID::shape, "shape"},
    {AdobeToolID::brush, "brush"}, {AdobeToolID::objectMatte, "objectMatte"},
    {AdobeToolID::puppetPosition, "puppetPosition"}, {AdobeToolID::aiSelection, "ai.selection"},
    {AdobeToolID::aiDirectSelection, "ai.directSelection"}, {AdobeToolID::aiPen, "ai.pen"},
    {AdobeToolID::aiType, "ai.type"}, {AdobeToolID::aiRectangle, "ai.rectangle"},
    {AdobeToolID::aiShapeBuilder, "ai.shapeBuilder"}, {AdobeToolID::aiEyedropper, "ai.eyedropper"},
    {AdobeToolID::aiHand, "ai.hand"}, {AdobeToolID::aiZoom, "ai.zoom"}, {AdobeToolID::psMove, "ps.move"},
    {AdobeToolID::psMarquee, "ps.marquee"}, {AdobeToolID::psLasso, "ps.lasso"},
    {AdobeToolID::psObjectSelect, "ps.objectSelect"}, {AdobeToolID::psBrush, "ps.brush"},
    {AdobeToolID::psEraser, "ps.eraser"}, {AdobeToolID::psCrop, "ps.crop"}, {AdobeToolID::psType, "ps.type"},
    {AdobeToolID::psHand, "ps.hand"}, {AdobeToolID::prSelection, "pr.selection"},
    {AdobeToolID::prTrackForward, "pr.trackForward"}, {AdobeToolID::prRazor, "pr.razor"},
    {AdobeToolID::prRipple, "pr.ripple"}, {AdobeToolID::prRolling, "pr.rolling"}, {AdobeToolID::prSlip, "pr.slip"},
    {AdobeToolID::prRateStretch, "pr.rateStretch"}, {AdobeToolID::prPen, "pr.pen"}, {AdobeToolID::prHand, "pr.hand"},
});

enum class BlenderToolID { select, move, rotate, scale, editMode, frameSelected, cameraView, xray, shading };
inline constexpr auto kBlenderToolIDTable = base::make_enum_table<BlenderToolID>(
    {{BlenderToolID::select, "bl.select"}, {BlenderToolID::move, "bl.move"}, {BlenderToolID::rotate, "bl.rotate"},
     {BlenderToolID::scale, "bl.scale"}, {BlenderToolID::editMode, "bl.editMode"},
     {BlenderToolID::frameSelected, "bl.frameSelected"}, {BlenderToolID::cameraView, "bl.cameraView"},
     {BlenderToolID::xray, "bl.xray"}, {BlenderToolID::shading, "bl.shading"}});

struct AdobeColorState {
  std::string hex;
  std::int64_t red = 0, green = 0, blue = 0;
  std::int64_t hue = 0, saturation = 0, brightness = 0;
  std::string title;
  std::optional<std::string> picker_id;
  friend bool operator==(const AdobeColorState&, const AdobeColorState&) = default;
};

struct CreativeContinuousControl {
  enum class Unit { pixels, points, percent, degrees, none, millimeters, watts, wattsPerSquareMeter };
  enum class Curve { linear, logarithmic };
  struct Choice {
    std::string id;
    std::string label;
    friend bool operator==(const Choice&, const Choice&) = default;
  };

  std::string id;
  std::string label;
  std::optional<std::string> detail;
  double value = 0, minimum = 0, maximum = 0;
  Unit unit = Unit::none;
  Curve curve = Curve::linear;
  std::int64_t decimals = 0;
  std::optional<std::string> blocked_reason;
  std::optional<std::vector<std::string>> axes;
  std::optional<std::string> active_axis;
  std::optional<std::vector<Choice>> choices;
  std::optional<std::string> active_choice;
  friend bool operator==(const CreativeContinuousControl&, const CreativeContinuousControl&) = default;
};
inline constexpr auto kUnitTable = base::make_enum_table<CreativeContinuousControl::Unit>(
    {{CreativeContinuousControl::Unit::pixels, "pixels"}, {CreativeContinuousControl::Unit::points, "points"},
     {CreativeContinuousControl::Unit::percent, "percent"}, {CreativeContinuousControl::Unit::degrees, "degrees"},
     {CreativeContinuousControl::Unit::none, "none"}, {CreativeContinuousControl::Unit::millimeters, "millimeters"},
     {CreativeContinuousControl::Unit::watts, "watts"},
     {CreativeContinuousControl::Unit::wattsPerSquareMeter, "wattsPerSquareMeter"}});
inline constexpr auto kCurveTable = base::make_enum_table<CreativeContinuousControl::Curve>(
    {{CreativeContinuousControl::Curve::linear, "linear"}, {CreativeContinuousControl::Curve::logarithmic, "logarithmic"}});

// One snapshot of one surface. `timestamp` is seconds since 2001-01-01 UTC.
struct ShelfSurfaceState {
  ShelfSurfaceIdentity identity = ShelfSurfaceIdentity::spotify;
  bool available = false;
  std::optional<std::string> unavailable;
  std::optional<std::string> track_id;
  std::optional<std::string> title;
  std::optional<std::string> artist;
  std::optional<std::string> album;
  std::optional<std::vector<std::uint8_t>> artwork;
  std::optional<double> duration;
  std::optional<double> position;
  bool is_playing = false;
  std::optional<std::int64_t> volume;
  double timestamp = 0;
  std::optional<std::vector<std::optional<AdobeToolID>>> tool_grid;
  // Only the creative surfaces send these two, and they are the largest parts: kept apart so
  // that every other state costs a pointer for each.
  Indirect<AdobeColorState> color_context;
  Indirect<CreativeContinuousControl> continuous_control;
  std::optional<AdobeToolID> active_tool;
  std::optional<ShelfAgentActivity> agent_activity;
  std::optional<std::string> agent_detail;
  std::optional<std::vector<BlenderToolID>> blender_tools;
  std::optional<std::vector<BlenderToolID>> blender_active;
  std::optional<std::map<std::string, std::string>> blender_labels;

  friend bool operator==(const ShelfSurfaceState&, const ShelfSurfaceState&) = default;
  // Equality that leaves the time stamp out, for surfaces that stamp every snapshot "now".
  bool same_content(const ShelfSurfaceState& other) const;
};

// The state as the phone reads it: keys in field order, absent optionals left out, `timestamp`
// a real, `artwork` base64, `volume` and the colour components integers.
void write_json(base::JsonWriter& w, const ShelfSurfaceState& state);
std::string encode_json(const ShelfSurfaceState& state);
// Fails, with the reason in `error`, as the phone's decoder would.
std::optional<ShelfSurfaceState> surface_state_from_json(const nlohmann::json& json, std::string* error = nullptr);

}  // namespace kolvo::deck
