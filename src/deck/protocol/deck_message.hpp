#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/enum_table.hpp"
#include "controls/window_layout.hpp"
#include "deck/protocol/indirect.hpp"
#include "deck/protocol/shelf_vocabulary.hpp"
#include "prefs/settings_enums.hpp"

// The messages of the phone link, their enumerations and the Mac state they mirror. Every byte
// must match what the existing phone app writes and reads.
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

// One record per message type, holding the fields that type carries. A message costs its
// type and its own fields: a ping holds nothing, where one record with every field of every
// type would cost kilobytes per frame.

template <KolvoDeckMessageType Type>
struct FieldlessMessage {
  static constexpr KolvoDeckMessageType kType = Type;
  friend bool operator==(const FieldlessMessage&, const FieldlessMessage&) = default;
};
using ApprovalRequiredMessage = FieldlessMessage<KolvoDeckMessageType::approvalRequired>;
using ApprovedMessage = FieldlessMessage<KolvoDeckMessageType::approved>;
using DeniedMessage = FieldlessMessage<KolvoDeckMessageType::denied>;
using PingMessage = FieldlessMessage<KolvoDeckMessageType::ping>;
using PongMessage = FieldlessMessage<KolvoDeckMessageType::pong>;
using RequestStateMessage = FieldlessMessage<KolvoDeckMessageType::requestState>;
using SwitchDesktopLeftMessage = FieldlessMessage<KolvoDeckMessageType::switchDesktopLeft>;
using SwitchDesktopRightMessage = FieldlessMessage<KolvoDeckMessageType::switchDesktopRight>;
using MediaPlayPauseMessage = FieldlessMessage<KolvoDeckMessageType::mediaPlayPause>;
using ToggleDesktopVisibilityMessage = FieldlessMessage<KolvoDeckMessageType::toggleDesktopVisibility>;

struct ShelfSurfaceStateMessage {
  static constexpr KolvoDeckMessageType kType = KolvoDeckMessageType::shelfSurfaceState;
  Indirect<ShelfSurfaceState> surface_state;
  std::optional<ShelfSurfaceIdentity> surface_identity;
  friend bool operator==(const ShelfSurfaceStateMessage&, const ShelfSurfaceStateMessage&) = default;
};

// A command for a Shelf surface, with its arguments beside it.
struct ShelfSurfaceCommandMessage {
  static constexpr KolvoDeckMessageType kType = KolvoDeckMessageType::shelfSurfaceCommand;
  std::optional<ShelfSurfaceCommand> surface_command;
  std::optional<ShelfSurfaceIdentity> surface_identity;
  std::optional<std::string> surface_color_hex;
  std::optional<std::string> surface_color_picker_id;
  std::optional<std::string> surface_control_id;
  std::optional<std::string> surface_control_axis;
  std::optional<std::string> surface_control_choice;
  std::optional<std::string> surface_tool_id;
  std::optional<BlenderToolID> surface_blender_tool;
  std::optional<double> surface_value;
  friend bool operator==(const ShelfSurfaceCommandMessage&, const ShelfSurfaceCommandMessage&) = default;
};

struct ShelfWidgetsMessage {
  static constexpr KolvoDeckMessageType kType = KolvoDeckMessageType::shelfWidgets;
  std::optional<std::vector<ShelfSurfaceIdentity>> shelf_widgets;
  std::optional<ShelfWidgetBackground> shelf_widget_background;
  friend bool operator==(const ShelfWidgetsMessage&, const ShelfWidgetsMessage&) = default;
};

struct HelloMessage {
  static constexpr KolvoDeckMessageType kType = KolvoDeckMessageType::hello;
  std::optional<std::string> device_id;
  std::optional<std::string> device_name;
  std::optional<std::int64_t> protocol_version;  // read and kept, never acted on
  friend bool operator==(const HelloMessage&, const HelloMessage&) = default;
};

struct StateUpdateMessage {
  static constexpr KolvoDeckMessageType kType = KolvoDeckMessageType::stateUpdate;
  Indirect<KolvoDeckState> state;
  friend bool operator==(const StateUpdateMessage&, const StateUpdateMessage&) = default;
};

struct SetControlMessage {
  static constexpr KolvoDeckMessageType kType = KolvoDeckMessageType::setControl;
  std::optional<KolvoDeckCorner> slot;  // the corner the phone's control stands for
  std::optional<KolvoDeckControl> control;
  std::optional<double> value;
  friend bool operator==(const SetControlMessage&, const SetControlMessage&) = default;
};

struct SetAppearanceMessage {
  static constexpr KolvoDeckMessageType kType = KolvoDeckMessageType::setAppearance;
  std::optional<bool> dark;
  friend bool operator==(const SetAppearanceMessage&, const SetAppearanceMessage&) = default;
};

struct SetAudioOutputMessage {
  static constexpr KolvoDeckMessageType kType = KolvoDeckMessageType::setAudioOutput;
  std::optional<std::string> audio_device_id;
  friend bool operator==(const SetAudioOutputMessage&, const SetAudioOutputMessage&) = default;
};

struct ProfileIconMessage {
  static constexpr KolvoDeckMessageType kType = KolvoDeckMessageType::profileIcon;
  std::optional<std::string> icon_bundle_id;
  std::optional<std::string> icon_png;  // base64 of PNG data
  friend bool operator==(const ProfileIconMessage&, const ProfileIconMessage&) = default;
};

struct TabStepMessage {
  static constexpr KolvoDeckMessageType kType = KolvoDeckMessageType::tabStep;
  std::optional<std::int64_t> step;
  friend bool operator==(const TabStepMessage&, const TabStepMessage&) = default;
};

struct WindowSnapMessage {
  static constexpr KolvoDeckMessageType kType = KolvoDeckMessageType::windowSnap;
  std::optional<KolvoDeckWindowLayout> window_layout;
  friend bool operator==(const WindowSnapMessage&, const WindowSnapMessage&) = default;
};

struct LaunchConfigMessage {
  static constexpr KolvoDeckMessageType kType = KolvoDeckMessageType::launchConfig;
  std::optional<std::vector<KolvoDeckLaunchItem>> launch_items;
  friend bool operator==(const LaunchConfigMessage&, const LaunchConfigMessage&) = default;
};

struct LaunchIconMessage {
  static constexpr KolvoDeckMessageType kType = KolvoDeckMessageType::launchIcon;
  std::optional<std::string> launch_icon_bundle_id;
  std::optional<std::string> launch_icon_png;  // base64 of PNG data
  friend bool operator==(const LaunchIconMessage&, const LaunchIconMessage&) = default;
};

struct LaunchAppMessage {
  static constexpr KolvoDeckMessageType kType = KolvoDeckMessageType::launchApp;
  std::optional<std::string> launch_bundle_id;
  std::optional<KolvoDeckLaunchDirection> launch_direction;
  std::optional<double> launch_velocity_x;
  std::optional<double> launch_velocity_y;
  std::optional<double> launch_intensity;
  std::optional<std::string> launch_request_id;
  friend bool operator==(const LaunchAppMessage&, const LaunchAppMessage&) = default;
};

struct LaunchResultMessage {
  static constexpr KolvoDeckMessageType kType = KolvoDeckMessageType::launchResult;
  std::optional<std::string> launch_bundle_id;
  std::optional<std::string> launch_request_id;
  std::optional<KolvoDeckLaunchOutcome> launch_outcome;
  friend bool operator==(const LaunchResultMessage&, const LaunchResultMessage&) = default;
};

struct LaunchPairMessage {
  static constexpr KolvoDeckMessageType kType = KolvoDeckMessageType::launchPair;
  std::optional<std::string> pair_request_id;
  std::optional<std::string> pair_primary_bundle_id;
  std::optional<std::string> pair_secondary_bundle_id;
  std::optional<KolvoDeckLaunchLayout> pair_requested_layout;
  friend bool operator==(const LaunchPairMessage&, const LaunchPairMessage&) = default;
};

struct LaunchPairResultMessage {
  static constexpr KolvoDeckMessageType kType = KolvoDeckMessageType::launchPairResult;
  std::optional<std::string> pair_request_id;
  std::optional<std::string> pair_primary_bundle_id;
  std::optional<std::string> pair_secondary_bundle_id;
  std::optional<KolvoDeckLaunchPairOutcome> pair_outcome;
  std::optional<KolvoDeckLaunchOutcome> pair_primary_outcome;
  std::optional<KolvoDeckLaunchOutcome> pair_secondary_outcome;
  std::optional<KolvoDeckLaunchLayoutOutcome> pair_layout_outcome;
  friend bool operator==(const LaunchPairResultMessage&, const LaunchPairResultMessage&) = default;
};

namespace detail {
// A record no larger than a pointer is held in place; a larger one on the heap, so the message
// itself stays two words whatever its type.
template <typename Record>
using Stored = std::conditional_t<(sizeof(Record) <= sizeof(void*)), Record, Indirect<Record>>;

template <typename T>
struct RecordOf {
  using type = T;
};
template <typename T>
struct RecordOf<Indirect<T>> {
  using type = T;
};
template <typename T>
inline constexpr bool kIsIndirect = false;
template <typename T>
inline constexpr bool kIsIndirect<Indirect<T>> = true;
}  // namespace detail

// One message of the phone link: its type and that type's record. The type is the record's.
class KolvoDeckMessage {
 public:
  // In the order of KolvoDeckMessageType: the alternative's index is the type.
  using Payload = std::variant<
      detail::Stored<ShelfSurfaceStateMessage>, detail::Stored<ShelfSurfaceCommandMessage>,
      detail::Stored<ShelfWidgetsMessage>, detail::Stored<HelloMessage>, detail::Stored<ApprovalRequiredMessage>,
      detail::Stored<ApprovedMessage>, detail::Stored<DeniedMessage>, detail::Stored<PingMessage>,
      detail::Stored<PongMessage>, detail::Stored<RequestStateMessage>, detail::Stored<StateUpdateMessage>,
      detail::Stored<SetControlMessage>, detail::Stored<SetAppearanceMessage>, detail::Stored<SetAudioOutputMessage>,
      detail::Stored<ProfileIconMessage>, detail::Stored<SwitchDesktopLeftMessage>,
      detail::Stored<SwitchDesktopRightMessage>, detail::Stored<MediaPlayPauseMessage>,
      detail::Stored<ToggleDesktopVisibilityMessage>, detail::Stored<TabStepMessage>, detail::Stored<WindowSnapMessage>,
      detail::Stored<LaunchConfigMessage>, detail::Stored<LaunchIconMessage>, detail::Stored<LaunchAppMessage>,
      detail::Stored<LaunchResultMessage>, detail::Stored<LaunchPairMessage>, detail::Stored<LaunchPairResultMessage>>;

  template <typename Record>
    requires requires { Record::kType; }
  KolvoDeckMessage(Record record)  // NOLINT: a record is a message of its type
      : payload_(std::in_place_index<static_cast<std::size_t>(Record::kType)>, std::move(record)) {}

  // A message of `type` with none of its fields set.
  static KolvoDeckMessage of(KolvoDeckMessageType type);

  KolvoDeckMessageType type() const { return static_cast<KolvoDeckMessageType>(payload_.index()); }

  // The record when the message is of its type, else null.
  template <typename Record>
  const Record* get_if() const {
    return record_pointer(std::get_if<static_cast<std::size_t>(Record::kType)>(&payload_));
  }
  template <typename Record>
  Record* get_if() {
    return record_pointer(std::get_if<static_cast<std::size_t>(Record::kType)>(&payload_));
  }

  // Calls `visitor` with the message's record.
  template <typename Visitor>
  decltype(auto) visit(Visitor&& visitor) const {
    return std::visit([&](const auto& stored) -> decltype(auto) { return visitor(record_of(stored)); }, payload_);
  }
  template <typename Visitor>
  decltype(auto) visit(Visitor&& visitor) {
    return std::visit([&](auto& stored) -> decltype(auto) { return visitor(record_of(stored)); }, payload_);
  }

  friend bool operator==(const KolvoDeckMessage&, const KolvoDeckMessage&) = default;

 private:
  explicit KolvoDeckMessage(Payload payload) : payload_(std::move(payload)) {}

  template <typename Stored>
  static auto& record_of(Stored& stored) {
    if constexpr (detail::kIsIndirect<std::remove_const_t<Stored>>) {
      return *stored;
    } else {
      return stored;
    }
  }
  template <typename Stored>
  static auto* record_pointer(Stored* stored) {
    using Record = std::conditional_t<std::is_const_v<Stored>,
                                      const typename detail::RecordOf<std::remove_const_t<Stored>>::type,
                                      typename detail::RecordOf<Stored>::type>;
    if (!stored) return static_cast<Record*>(nullptr);
    return &record_of(*stored);
  }

  Payload payload_;
};

// Compact JSON: "type" first, then the record's present fields in their fixed order. Reals are
// written shortest, without a fraction when whole ("1"), as the phone's encoder writes them;
// integers as integers; strings always as UTF-8.
std::string encode_json(const KolvoDeckMessage& message);
void append_json(std::string& out, const KolvoDeckMessage& message);
std::string encode_json(const KolvoDeckState& state);

// Fails, with the reason in `error`, on a missing or unknown "type", a present field of the
// wrong JSON type, or an unknown enumeration string, as the phone's decoder does. Unknown keys
// are ignored. A known key that another type carries is checked the same way and then
// dropped: the phone's decoder would refuse it if it were malformed, and no handler reads it.
std::optional<KolvoDeckMessage> decode_message(const nlohmann::json& json, std::string* error = nullptr);
// The same from text; text that nests deeper than base::kMaximumJsonDepth is refused unparsed.
std::optional<KolvoDeckMessage> decode_message_text(std::string_view text, std::string* error = nullptr);

}  // namespace kolvo::deck
