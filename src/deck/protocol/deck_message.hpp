#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/enum_table.hpp"
#include "controls/window_layout.hpp"
#include "deck/protocol/shelf_vocabulary.hpp"
#include "prefs/settings_enums.hpp"

// The one message record of the phone link, its enumerations and the Mac state it mirrors.
// Every byte must match what the existing phone app writes and reads.
namespace kolvo::deck {

enum class KolvoDeckMessageType {
  shelfSurfaceState, shelfSurfaceCommand, shelfWidgets, hello, approvalRequired, approved, denied, ping, pong,
  requestState, stateUpdate, setControl, setAppearance, setAudioOutput, profileIcon, switchDesktopLeft,
  switchDesktopRight, mediaPlayPause, toggleDesktopVisibility, tabStep, windowSnap, launchConfig, launchIcon,
  launchApp, launchResult, launchPair, launchPairResult,
};
inline constexpr auto kMessageTypeTable = base::make_enum_table<KolvoDeckMessageType>({
    {KolvoDeckMessageType::shelfSurfaceState, "shelfSurfaceState"},
    {KolvoDeckMessageType::shelfSurfaceCommand, "shelfSurfaceCommand"},
    {KolvoDeckMessageType::shelfWidgets, "shelfWidgets"},
    {KolvoDeckMessageType::hello, "hello"},
    {KolvoDeckMessageType::approvalRequired, "approval_required"},  // the one snake-case string
    {KolvoDeckMessageType::approved, "approved"},
    {KolvoDeckMessageType::denied, "denied"},
    {KolvoDeckMessageType::ping, "ping"},
    {KolvoDeckMessageType::pong, "pong"},
    {KolvoDeckMessageType::requestState, "requestState"},
    {KolvoDeckMessageType::stateUpdate, "stateUpdate"},
    {KolvoDeckMessageType::setControl, "setControl"},
    {KolvoDeckMessageType::setAppearance, "setAppearance"},
    {KolvoDeckMessageType::setAudioOutput, "setAudioOutput"},
    {KolvoDeckMessageType::profileIcon, "profileIcon"},
    {KolvoDeckMessageType::switchDesktopLeft, "switchDesktopLeft"},
    {KolvoDeckMessageType::switchDesktopRight, "switchDesktopRight"},
    {KolvoDeckMessageType::mediaPlayPause, "mediaPlayPause"},
    {KolvoDeckMessageType::toggleDesktopVisibility, "toggleDesktopVisibility"},
    {KolvoDeckMessageType::tabStep, "tabStep"},
    {KolvoDeckMessageType::windowSnap, "windowSnap"},
    {KolvoDeckMessageType::launchConfig, "launchConfig"},
    {KolvoDeckMessageType::launchIcon, "launchIcon"},
    {KolvoDeckMessageType::launchApp, "launchApp"},
    {KolvoDeckMessageType::launchResult, "launchResult"},
    {KolvoDeckMessageType::launchPair, "launchPair"},
    {KolvoDeckMessageType::launchPairResult, "launchPairResult"},
});

enum class KolvoDeckCorner { topLeft, topRight, bottomLeft, bottomRight };
inline constexpr auto kCornerTable = base::make_enum_table<KolvoDeckCorner>(
    {{KolvoDeckCorner::topLeft, "topLeft"}, {KolvoDeckCorner::topRight, "topRight"},
     {KolvoDeckCorner::bottomLeft, "bottomLeft"}, {KolvoDeckCorner::bottomRight, "bottomRight"}});

enum class KolvoDeckControl { volume, brightness, keyboardBacklight };
inline constexpr auto kControlTable = base::make_enum_table<KolvoDeckControl>(
    {{KolvoDeckControl::volume, "volume"}, {KolvoDeckControl::brightness, "brightness"},
     {KolvoDeckControl::keyboardBacklight, "keyboardBacklight"}});

// The corner modes less the timer, which has no slot on the phone.
enum class KolvoDeckSlotType {
  off, volume, brightness, appearance, keyboardBacklight, audioOutput, playPause, showDesktop, tabCarousel, windowSnap,
};
inline constexpr auto kSlotTypeTable = base::make_enum_table<KolvoDeckSlotType>(
    {{KolvoDeckSlotType::off, "off"}, {KolvoDeckSlotType::volume, "volume"},
     {KolvoDeckSlotType::brightness, "brightness"}, {KolvoDeckSlotType::appearance, "appearance"},
     {KolvoDeckSlotType::keyboardBacklight, "keyboardBacklight"}, {KolvoDeckSlotType::audioOutput, "audioOutput"},
     {KolvoDeckSlotType::playPause, "playPause"}, {KolvoDeckSlotType::showDesktop, "showDesktop"},
     {KolvoDeckSlotType::tabCarousel, "tabCarousel"}, {KolvoDeckSlotType::windowSnap, "windowSnap"}});

using KolvoDeckStatKind = prefs::KolvoDeckStatKind;

// The phone names the same layouts the snap service takes.
using KolvoDeckWindowLayout = controls::WindowLayout;
inline constexpr const auto& kWindowLayoutTable = controls::kWindowLayoutTable;

enum class KolvoDeckLaunchDirection { top, bottom, left, right, topLeft, topRight, bottomLeft, bottomRight };
inline constexpr auto kLaunchDirectionTable = base::make_enum_table<KolvoDeckLaunchDirection>(
    {{KolvoDeckLaunchDirection::top, "top"}, {KolvoDeckLaunchDirection::bottom, "bottom"},
     {KolvoDeckLaunchDirection::left, "left"}, {KolvoDeckLaunchDirection::right, "right"},
     {KolvoDeckLaunchDirection::topLeft, "topLeft"}, {KolvoDeckLaunchDirection::topRight, "topRight"},
     {KolvoDeckLaunchDirection::bottomLeft, "bottomLeft"}, {KolvoDeckLaunchDirection::bottomRight, "bottomRight"}});

enum class KolvoDeckLaunchOutcome { launched, focused, rejected, failed };
inline constexpr auto kLaunchOutcomeTable = base::make_enum_table<KolvoDeckLaunchOutcome>(
    {{KolvoDeckLaunchOutcome::launched, "launched"}, {KolvoDeckLaunchOutcome::focused, "focused"},
     {KolvoDeckLaunchOutcome::rejected, "rejected"}, {KolvoDeckLaunchOutcome::failed, "failed"}});

enum class KolvoDeckLaunchLayout { split50 };
inline constexpr auto kLaunchLayoutTable =
    base::make_enum_table<KolvoDeckLaunchLayout>({{KolvoDeckLaunchLayout::split50, "split50"}});

enum class KolvoDeckLaunchPairOutcome { completed, partiallyCompleted, rejected, failed };
inline constexpr auto kLaunchPairOutcomeTable = base::make_enum_table<KolvoDeckLaunchPairOutcome>(
    {{KolvoDeckLaunchPairOutcome::completed, "completed"},
     {KolvoDeckLaunchPairOutcome::partiallyCompleted, "partiallyCompleted"},
     {KolvoDeckLaunchPairOutcome::rejected, "rejected"}, {KolvoDeckLaunchPairOutcome::failed, "failed"}});

enum class KolvoDeckLaunchLayoutOutcome { applied, partial, unavailable, skipped };
inline constexpr auto kLaunchLayoutOutcomeTable = base::make_enum_table<KolvoDeckLaunchLayoutOutcome>(
    {{KolvoDeckLaunchLayoutOutcome::applied, "applied"}, {KolvoDeckLaunchLayoutOutcome::partial, "partial"},
     {KolvoDeckLaunchLayoutOutcome::unavailable, "unavailable"}, {KolvoDeckLaunchLayoutOutcome::skipped, "skipped"}});

struct KolvoDeckAvailability {
  bool volume = false, brightness = false, appearance = false, keyboard_backlight = false, audio_output = false;
  friend bool operator==(const KolvoDeckAvailability&, const KolvoDeckAvailability&) = default;
};

struct KolvoDeckAudioDevice {
  std::string id;
  std::string name;
  friend bool operator==(const KolvoDeckAudioDevice&, const KolvoDeckAudioDevice&) = default;
};

struct KolvoDeckSlot {
  KolvoDeckSlotType type = KolvoDeckSlotType::off;
  bool available = false;
  std::optional<double> value;
  std::optional<bool> dark;
  std::optional<std::vector<KolvoDeckAudioDevice>> audio_devices;
  std::optional<std::string> current_audio_device_id;
  friend bool operator==(const KolvoDeckSlot&, const KolvoDeckSlot&) = default;
};

struct KolvoDeckProfileInfo {
  std::string name;
  std::optional<std::string> bundle_id;
  bool is_default = true;
  std::optional<std::string> active_app_name;
  std::optional<std::string> active_app_bundle_id;
  friend bool operator==(const KolvoDeckProfileInfo&, const KolvoDeckProfileInfo&) = default;
};

struct KolvoDeckAppearance {
  double accent_red = 0, accent_green = 0, accent_blue = 0;
  bool dark = false;
  friend bool operator==(const KolvoDeckAppearance&, const KolvoDeckAppearance&) = default;
};

struct KolvoDeckStat {
  KolvoDeckStatKind kind = KolvoDeckStatKind::unknown;
  double value = 0;
  std::optional<bool> charging;
  friend bool operator==(const KolvoDeckStat&, const KolvoDeckStat&) = default;
};

struct KolvoDeckLaunchItem {
  std::string bundle_id;
  std::string name;
  std::int64_t index = 0;
  bool pinned = false;
  friend bool operator==(const KolvoDeckLaunchItem&, const KolvoDeckLaunchItem&) = default;
};

struct KolvoDeckState {
  double volume = 0;
  double brightness = 0;
  bool dark = false;
  double keyboard_backlight = 0;
  KolvoDeckAvailability available;
  std::vector<KolvoDeckAudioDevice> audio_devices;
  std::optional<std::string> current_audio_device_id;
  std::optional<KolvoDeckSlot> top_left, top_right, bottom_left, bottom_right;
  std::optional<KolvoDeckProfileInfo> profile;
  std::optional<KolvoDeckAppearance> appearance;
  std::optional<bool> desktop_switch_available;
  std::optional<std::vector<KolvoDeckStat>> stats;
  friend bool operator==(const KolvoDeckState&, const KolvoDeckState&) = default;
};

struct KolvoDeckMessage {
  KolvoDeckMessageType type = KolvoDeckMessageType::ping;
  std::optional<deck::ShelfSurfaceState> surface_state;
  std::optional<deck::ShelfSurfaceCommand> surface_command;
  std::optional<deck::ShelfSurfaceIdentity> surface_identity;
  std::optional<std::string> surface_color_hex;
  std::optional<std::string> surface_color_picker_id;
  std::optional<std::string> surface_control_id;
  std::optional<std::string> surface_control_axis;
  std::optional<std::string> surface_control_choice;
  std::optional<std::string> surface_tool_id;
  std::optional<deck::BlenderToolID> surface_blender_tool;
  std::optional<double> surface_value;
  std::optional<std::vector<deck::ShelfSurfaceIdentity>> shelf_widgets;
  std::optional<deck::ShelfWidgetBackground> shelf_widget_background;
  std::optional<std::string> device_id;
  std::optional<std::string> device_name;
  std::optional<std::int64_t> protocol_version;
  std::optional<KolvoDeckCorner> slot;
  std::optional<KolvoDeckControl> control;
  std::optional<double> value;
  std::optional<bool> dark;
  std::optional<std::string> audio_device_id;
  std::optional<KolvoDeckState> state;
  std::optional<std::string> icon_bundle_id;
  std::optional<std::string> icon_png;
  std::optional<std::int64_t> step;
  std::optional<KolvoDeckWindowLayout> window_layout;
  std::optional<std::vector<KolvoDeckLaunchItem>> launch_items;
  std::optional<std::string> launch_icon_bundle_id;
  std::optional<std::string> launch_icon_png;
  std::optional<std::string> launch_bundle_id;
  std::optional<KolvoDeckLaunchDirection> launch_direction;
  std::optional<double> launch_velocity_x;
  std::optional<double> launch_velocity_y;
  std::optional<double> launch_intensity;
  std::optional<std::string> launch_request_id;
  std::optional<KolvoDeckLaunchOutcome> launch_outcome;
  std::optional<std::string> pair_request_id;
  std::optional<std::string> pair_primary_bundle_id;
  std::optional<std::string> pair_secondary_bundle_id;
  std::optional<KolvoDeckLaunchLayout> pair_requested_layout;
  std::optional<KolvoDeckLaunchPairOutcome> pair_outcome;
  std::optional<KolvoDeckLaunchOutcome> pair_primary_outcome;
  std::optional<KolvoDeckLaunchOutcome> pair_secondary_outcome;
  std::optional<KolvoDeckLaunchLayoutOutcome> pair_layout_outcome;

  friend bool operator==(const KolvoDeckMessage&, const KolvoDeckMessage&) = default;
};

// Compact JSON, fields in their fixed order, absent ones left out. Reals are written shortest,
// without a fraction when whole ("1"), as the phone's encoder writes them; integers as integers.
std::string encode_json(const KolvoDeckMessage& message);
void append_json(std::string& out, const KolvoDeckMessage& message);
std::string encode_json(const KolvoDeckState& state);

// Fails, with the reason in `error`, on a missing or unknown "type", a present field of the
// wrong JSON type, or an unknown enumeration string. Unknown keys are ignored.
std::optional<KolvoDeckMessage> decode_message(const nlohmann::json& json, std::string* error = nullptr);
std::optional<KolvoDeckMessage> decode_message_text(std::string_view text, std::string* error = nullptr);
// The same, into a record the caller owns (a message is a few kilobytes; this avoids moving it).
bool decode_message_into(const nlohmann::json& json, KolvoDeckMessage& message, std::string* error = nullptr);
bool decode_message_text_into(std::string_view text, KolvoDeckMessage& message, std::string* error = nullptr);

}  // namespace kolvo::deck
