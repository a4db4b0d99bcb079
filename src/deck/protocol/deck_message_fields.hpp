#pragma once

#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "deck/protocol/deck_message.hpp"
#include "deck/protocol/shelf_vocabulary_fields.hpp"
#include "deck/protocol/wire_fields.hpp"

// The wire tables of the Deck messages and of the Mac state they carry. Every message record
// lists its keys in the one order the phone's encoder writes all message keys in, "type" first
// (written by the message itself), so a message encodes byte for byte as the phone expects.
namespace kolvo::deck::wire {

template <>
struct Wire<KolvoDeckAvailability> {
  using R = KolvoDeckAvailability;
  static constexpr auto fields = std::tuple{
      field<Boolean>("volume", &R::volume),
      field<Boolean>("brightness", &R::brightness),
      field<Boolean>("appearance", &R::appearance),
      field<Boolean>("keyboardBacklight", &R::keyboard_backlight),
      field<Boolean>("audioOutput", &R::audio_output),
  };
};

template <>
struct Wire<KolvoDeckAudioDevice> {
  using R = KolvoDeckAudioDevice;
  static constexpr auto fields = std::tuple{
      field<String>("id", &R::id),
      field<String>("name", &R::name),
  };
};

template <>
struct Wire<KolvoDeckSlot> {
  using R = KolvoDeckSlot;
  static constexpr auto fields = std::tuple{
      field<Enumeration<kSlotTypeTable>>("type", &R::type),
      field<Boolean>("available", &R::available),
      field<Real>("value", &R::value),
      field<Boolean>("dark", &R::dark),
      field<ArrayOf<Object<KolvoDeckAudioDevice>>>("audioDevices", &R::audio_devices),
      field<String>("currentAudioDeviceId", &R::current_audio_device_id),
  };
};

template <>
struct Wire<KolvoDeckProfileInfo> {
  using R = KolvoDeckProfileInfo;
  static constexpr auto fields = std::tuple{
      field<String>("name", &R::name),
      field<String>("bundleID", &R::bundle_id),
      field<Boolean>("isDefault", &R::is_default),
      field<String>("activeAppName", &R::active_app_name),
      field<String>("activeAppBundleID", &R::active_app_bundle_id),
  };
};

template <>
struct Wire<KolvoDeckAppearance> {
  using R = KolvoDeckAppearance;
  static constexpr auto fields = std::tuple{
      field<Real>("accentRed", &R::accent_red),
      field<Real>("accentGreen", &R::accent_green),
      field<Real>("accentBlue", &R::accent_blue),
      field<Boolean>("dark", &R::dark),
  };
};

template <>
struct Wire<KolvoDeckStat> {
  using R = KolvoDeckStat;
  static constexpr auto fields = std::tuple{
      field<Enumeration<prefs::kKolvoDeckStatKindTable>>("kind", &R::kind),
      field<Real>("value", &R::value),
      field<Boolean>("charging", &R::charging),
  };
};

template <>
struct Wire<KolvoDeckLaunchItem> {
  using R = KolvoDeckLaunchItem;
  static constexpr auto fields = std::tuple{
      field<String>("bundleID", &R::bundle_id),
      field<String>("name", &R::name),
      field<Integer>("index", &R::index),
      field<Boolean>("pinned", &R::pinned),
  };
};

template <>
struct Wire<KolvoDeckState> {
  using R = KolvoDeckState;
  static constexpr auto fields = std::tuple{
      field<Real>("volume", &R::volume),
      field<Real>("brightness", &R::brightness),
      field<Boolean>("dark", &R::dark),
      field<Real>("keyboardBacklight", &R::keyboard_backlight),
      field<Object<KolvoDeckAvailability>>("available", &R::available),
      field<ArrayOf<Object<KolvoDeckAudioDevice>>>("audioDevices", &R::audio_devices),
      field<String>("currentAudioDeviceId", &R::current_audio_device_id),
      field<Object<KolvoDeckSlot>>("topLeft", &R::top_left),
      field<Object<KolvoDeckSlot>>("topRight", &R::top_right),
      field<Object<KolvoDeckSlot>>("bottomLeft", &R::bottom_left),
      field<Object<KolvoDeckSlot>>("bottomRight", &R::bottom_right),
      field<Object<KolvoDeckProfileInfo>>("profile", &R::profile),
      field<Object<KolvoDeckAppearance>>("appearance", &R::appearance),
      field<Boolean>("desktopSwitchAvailable", &R::desktop_switch_available),
      field<ArrayOf<Object<KolvoDeckStat>>>("stats", &R::stats),
  };
};

template <KolvoDeckMessageType Type>
struct Wire<FieldlessMessage<Type>> {
  static constexpr auto fields = std::tuple<>{};
};

template <>
struct Wire<ShelfSurfaceStateMessage> {
  using R = ShelfSurfaceStateMessage;
  static constexpr auto fields = std::tuple{
      field<Object<ShelfSurfaceState>>("surfaceState", &R::surface_state),
      field<Enumeration<kShelfSurfaceIdentityTable>>("surfaceIdentity", &R::surface_identity),
  };
};

template <>
struct Wire<ShelfSurfaceCommandMessage> {
  using R = ShelfSurfaceCommandMessage;
  static constexpr auto fields = std::tuple{
      field<Enumeration<kShelfSurfaceCommandTable>>("surfaceCommand", &R::surface_command),
      field<Enumeration<kShelfSurfaceIdentityTable>>("surfaceIdentity", &R::surface_identity),
      field<String>("surfaceColorHex", &R::surface_color_hex),
      field<String>("surfaceColorPickerID", &R::surface_color_picker_id),
      field<String>("surfaceControlID", &R::surface_control_id),
      field<String>("surfaceControlAxis", &R::surface_control_axis),
      field<String>("surfaceControlChoice", &R::surface_control_choice),
      field<String>("surfaceToolID", &R::surface_tool_id),
      field<Enumeration<kBlenderToolIDTable>>("surfaceBlenderTool", &R::surface_blender_tool),
      field<Real>("surfaceValue", &R::surface_value),
  };
};

template <>
struct Wire<ShelfWidgetsMessage> {
  using R = ShelfWidgetsMessage;
  static constexpr auto fields = std::tuple{
      field<ArrayOf<Enumeration<kShelfSurfaceIdentityTable>>>("shelfWidgets", &R::shelf_widgets),
      field<Enumeration<kShelfWidgetBackgroundTable>>("shelfWidgetBackground", &R::shelf_widget_background),
  };
};

template <>
struct Wire<HelloMessage> {
  using R = HelloMessage;
  static constexpr auto fields = std::tuple{
      field<String>("deviceId", &R::device_id),
      field<String>("deviceName", &R::device_name),
      field<Integer>("protocolVersion", &R::protocol_version),
  };
};

template <>
struct Wire<StateUpdateMessage> {
  using R = StateUpdateMessage;
  static constexpr auto fields = std::tuple{
      field<Object<KolvoDeckState>>("state", &R::state),
  };
};

template <>
struct Wire<SetControlMessage> {
  using R = SetControlMessage;
  static constexpr auto fields = std::tuple{
      field<Enumeration<kCornerTable>>("slot", &R::slot),
      field<Enumeration<kControlTable>>("control", &R::control),
      field<Real>("value", &R::value),
  };
};

template <>
struct Wire<SetAppearanceMessage> {
  using R = SetAppearanceMessage;
  static constexpr auto fields = std::tuple{
      field<Boolean>("dark", &R::dark),
  };
};

template <>
struct Wire<SetAudioOutputMessage> {
  using R = SetAudioOutputMessage;
  static constexpr auto fields = std::tuple{
      field<String>("audioDeviceId", &R::audio_device_id),
  };
};

template <>
struct Wire<ProfileIconMessage> {
  using R = ProfileIconMessage;
  static constexpr auto fields = std::tuple{
      field<String>("iconBundleID", &R::icon_bundle_id),
      field<String>("iconPNG", &R::icon_png),
  };
};

template <>
struct Wire<TabStepMessage> {
  using R = TabStepMessage;
  static constexpr auto fields = std::tuple{
      field<Integer>("step", &R::step),
  };
};

template <>
struct Wire<WindowSnapMessage> {
  using R = WindowSnapMessage;
  static constexpr auto fields = std::tuple{
      field<Enumeration<controls::kWindowLayoutTable>>("windowLayout", &R::window_layout),
  };
};

template <>
struct Wire<LaunchConfigMessage> {
  using R = LaunchConfigMessage;
  static constexpr auto fields = std::tuple{
      field<ArrayOf<Object<KolvoDeckLaunchItem>>>("launchItems", &R::launch_items),
  };
};

template <>
struct Wire<LaunchIconMessage> {
  using R = LaunchIconMessage;
  static constexpr auto fields = std::tuple{
      field<String>("launchIconBundleID", &R::launch_icon_bundle_id),
      field<String>("launchIconPNG", &R::launch_icon_png),
  };
};

template <>
struct Wire<LaunchAppMessage> {
  using R = LaunchAppMessage;
  static constexpr auto fields = std::tuple{
      field<String>("launchBundleID", &R::launch_bundle_id),
      field<Enumeration<kLaunchDirectionTable>>("launchDirection", &R::launch_direction),
      field<Real>("launchVelocityX", &R::launch_velocity_x),
      field<Real>("launchVelocityY", &R::launch_velocity_y),
      field<Real>("launchIntensity", &R::launch_intensity),
      field<String>("launchRequestID", &R::launch_request_id),
  };
};

template <>
struct Wire<LaunchResultMessage> {
  using R = LaunchResultMessage;
  static constexpr auto fields = std::tuple{
      field<String>("launchBundleID", &R::launch_bundle_id),
      field<String>("launchRequestID", &R::launch_request_id),
      field<Enumeration<kLaunchOutcomeTable>>("launchOutcome", &R::launch_outcome),
  };
};

template <>
struct Wire<LaunchPairMessage> {
  using R = LaunchPairMessage;
  static constexpr auto fields = std::tuple{
      field<String>("pairRequestID", &R::pair_request_id),
      field<String>("pairPrimaryBundleID", &R::pair_primary_bundle_id),
      field<String>("pairSecondaryBundleID", &R::pair_secondary_bundle_id),
      field<Enumeration<kLaunchLayoutTable>>("pairRequestedLayout", &R::pair_requested_layout),
  };
};

template <>
struct Wire<LaunchPairResultMessage> {
  using R = LaunchPairResultMessage;
  static constexpr auto fields = std::tuple{
      field<String>("pairRequestID", &R::pair_request_id),
      field<String>("pairPrimaryBundleID", &R::pair_primary_bundle_id),
      field<String>("pairSecondaryBundleID", &R::pair_secondary_bundle_id),
      field<Enumeration<kLaunchPairOutcomeTable>>("pairOutcome", &R::pair_outcome),
      field<Enumeration<kLaunchOutcomeTable>>("pairPrimaryOutcome", &R::pair_primary_outcome),
      field<Enumeration<kLaunchOutcomeTable>>("pairSecondaryOutcome", &R::pair_secondary_outcome),
      field<Enumeration<kLaunchLayoutOutcomeTable>>("pairLayoutOutcome", &R::pair_layout_outcome),
  };
};

// Every key a message may carry, with the check of its value, one entry per key and record
// (a key several types carry appears once for each). Sorted by key.
using ValueCheck = bool (*)(const Json&, std::string&);
struct MessageKey {
  std::string_view key;
  ValueCheck check;
  KolvoDeckMessageType carried_by;
};
const std::vector<MessageKey>& message_keys();

// The keys of the record of one message type, in its order ("type" not included).
std::vector<std::string_view> message_keys_of(KolvoDeckMessageType type);

}  // namespace kolvo::deck::wire
