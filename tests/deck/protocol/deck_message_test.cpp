#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <set>

#include <nlohmann/json.hpp>

#include "deck/protocol/deck_message.hpp"
#include "deck/protocol/deck_message_fields.hpp"

namespace kolvo::deck {
namespace {

KolvoDeckState realistic_state() {
  KolvoDeckState s;
  s.volume = 0.4;
  s.brightness = 1.0;
  s.dark = true;
  s.keyboard_backlight = 0.25;
  s.available = {true, true, true, false, true};
  s.audio_devices = {{"73", "MacBook Pro Speakers"}, {"91", "AirPods Pro"}};
  s.current_audio_device_id = "91";
  s.top_left = KolvoDeckSlot{KolvoDeckSlotType::volume, true, 0.4, std::nullopt, std::nullopt, std::nullopt};
  s.bottom_right = KolvoDeckSlot{KolvoDeckSlotType::audioOutput, true, std::nullopt, std::nullopt, s.audio_devices, "91"};
  s.profile = KolvoDeckProfileInfo{"Default", std::nullopt, true, "Safari", "com.apple.Safari"};
  s.appearance = KolvoDeckAppearance{10.0 / 255, 132.0 / 255, 1.0, true};
  s.desktop_switch_available = true;
  s.stats = std::vector<KolvoDeckStat>{{KolvoDeckStatKind::cpu, 0.12, std::nullopt},
                                       {KolvoDeckStatKind::battery, 0.8, true}};
  return s;
}

// A state with every key present, each slot kind of value used once.
KolvoDeckState full_state() {
  KolvoDeckState s;
  s.volume = 0.4;
  s.brightness = 1.0;
  s.dark = true;
  s.keyboard_backlight = 0.25;
  s.available = {true, false, true, false, true};
  s.audio_devices = {{"73", "MacBook Pro Speakers"}, {"91", "AirPods Pro"}};
  s.current_audio_device_id = "91";
  s.top_left = KolvoDeckSlot{KolvoDeckSlotType::volume, true, 0.4, std::nullopt, std::nullopt, std::nullopt};
  s.top_right = KolvoDeckSlot{KolvoDeckSlotType::appearance, true, std::nullopt, true, std::nullopt, std::nullopt};
  s.bottom_left = KolvoDeckSlot{KolvoDeckSlotType::playPause, false, std::nullopt, std::nullopt, std::nullopt, std::nullopt};
  s.bottom_right = KolvoDeckSlot{KolvoDeckSlotType::audioOutput, true, 0.5, false,
                                 std::vector<KolvoDeckAudioDevice>{{"91", "AirPods Pro"}}, "91"};
  s.profile = KolvoDeckProfileInfo{"Photoshop", "com.adobe.Photoshop", false, "Photoshop", "com.adobe.Photoshop"};
  s.appearance = KolvoDeckAppearance{0.04, 0.52, 1.0, true};
  s.desktop_switch_available = false;
  s.stats = std::vector<KolvoDeckStat>{{KolvoDeckStatKind::cpu, 0.12, std::nullopt},
                                       {KolvoDeckStatKind::battery, 0.8, true}};
  return s;
}

struct Golden {
  KolvoDeckMessage message;
  std::string json;
};

// One message of every type, each with every key its type carries, in the exact form the
// phone's codec writes and expects.
std::vector<Golden> every_type_with_every_key() {
  ShelfSurfaceState surface;
  surface.identity = ShelfSurfaceIdentity::spotify;
  surface.available = true;
  surface.is_playing = true;
  surface.timestamp = 785000000.25;

  ShelfSurfaceCommandMessage command;
  command.surface_command = ShelfSurfaceCommand::setColor;
  command.surface_identity = ShelfSurfaceIdentity::photoshop;
  command.surface_color_hex = "FF8800";
  command.surface_color_picker_id = "foreground";
  command.surface_control_id = "ps.brushSize";
  command.surface_control_axis = "X";
  command.surface_control_choice = "size";
  command.surface_tool_id = "ps.brush";
  command.surface_blender_tool = BlenderToolID::editMode;
  command.surface_value = 48.5;

  LaunchAppMessage launch;
  launch.launch_bundle_id = "com.apple.Safari";
  launch.launch_direction = KolvoDeckLaunchDirection::topLeft;
  launch.launch_velocity_x = 812.5;
  launch.launch_velocity_y = -40.0;
  launch.launch_intensity = 0.9;
  launch.launch_request_id = "R-1042";

  LaunchPairResultMessage pair_result;
  pair_result.pair_request_id = "P-7";
  pair_result.pair_primary_bundle_id = "com.apple.Safari";
  pair_result.pair_secondary_bundle_id = "com.apple.Notes";
  pair_result.pair_outcome = KolvoDeckLaunchPairOutcome::partiallyCompleted;
  pair_result.pair_primary_outcome = KolvoDeckLaunchOutcome::launched;
  pair_result.pair_secondary_outcome = KolvoDeckLaunchOutcome::failed;
  pair_result.pair_layout_outcome = KolvoDeckLaunchLayoutOutcome::skipped;

  return {
      {ShelfSurfaceStateMessage{surface, ShelfSurfaceIdentity::spotify},
       R"({"type":"shelfSurfaceState","surfaceState":{"identity":"spotify","available":true,"isPlaying":true,)"
       R"("timestamp":785000000.25},"surfaceIdentity":"spotify"})"},
      {command,
       R"({"type":"shelfSurfaceCommand","surfaceCommand":"setColor","surfaceIdentity":"photoshop",)"
       R"("surfaceColorHex":"FF8800","surfaceColorPickerID":"foreground","surfaceControlID":"ps.brushSize",)"
       R"("surfaceControlAxis":"X","surfaceControlChoice":"size","surfaceToolID":"ps.brush",)"
       R"("surfaceBlenderTool":"bl.editMode","surfaceValue":48.5})"},
      {ShelfWidgetsMessage{std::vector{ShelfSurfaceIdentity::spotify, ShelfSurfaceIdentity::claudeCode},
                           ShelfWidgetBackground::solid},
       R"({"type":"shelfWidgets","shelfWidgets":["spotify","claudeCode"],"shelfWidgetBackground":"solid"})"},
      {HelloMessage{"6F1C", "Anna’s iPhone", 1},
       R"({"type":"hello","deviceId":"6F1C","deviceName":"Anna’s iPhone","protocolVersion":1})"},
      {ApprovalRequiredMessage{}, R"({"type":"approval_required"})"},
      {ApprovedMessage{}, R"({"type":"approved"})"},
      {DeniedMessage{}, R"({"type":"denied"})"},
      {PingMessage{}, R"({"type":"ping"})"},
      {PongMessage{}, R"({"type":"pong"})"},
      {RequestStateMessage{}, R"({"type":"requestState"})"},
      {StateUpdateMessage{full_state()},
       R"({"type":"stateUpdate","state":{"volume":0.4,"brightness":1,"dark":true,"keyboardBacklight":0.25,)"
       R"("available":{"volume":true,"brightness":false,"appearance":true,"keyboardBacklight":false,"audioOutput":true},)"
       R"("audioDevices":[{"id":"73","name":"MacBook Pro Speakers"},{"id":"91","name":"AirPods Pro"}],)"
       R"("currentAudioDeviceId":"91",)"
       R"("topLeft":{"type":"volume","available":true,"value":0.4},)"
       R"("topRight":{"type":"appearance","available":true,"dark":true},)"
       R"("bottomLeft":{"type":"playPause","available":false},)"
       R"("bottomRight":{"type":"audioOutput","available":true,"value":0.5,"dark":false,)"
       R"("audioDevices":[{"id":"91","name":"AirPods Pro"}],"currentAudioDeviceId":"91"},)"
       R"("profile":{"name":"Photoshop","bundleID":"com.adobe.Photoshop","isDefault":false,)"
       R"("activeAppName":"Photoshop","activeAppBundleID":"com.adobe.Photoshop"},)"
       R"("appearance":{"accentRed":0.04,"accentGreen":0.52,"accentBlue":1,"dark":true},)"
       R"("desktopSwitchAvailable":false,)"
       R"("stats":[{"kind":"cpu","value":0.12},{"kind":"battery","value":0.8,"charging":true}]}})"},
      {SetControlMessage{KolvoDeckCorner::topLeft, KolvoDeckControl::keyboardBacklight, 0.75},
       R"({"type":"setControl","slot":"topLeft","control":"keyboardBacklight","value":0.75})"},
      {SetAppearanceMessage{false}, R"({"type":"setAppearance","dark":false})"},
      {SetAudioOutputMessage{"91"}, R"({"type":"setAudioOutput","audioDeviceId":"91"})"},
      {ProfileIconMessage{"com.apple.Safari", "iVBORw0KGgo="},
       R"({"type":"profileIcon","iconBundleID":"com.apple.Safari","iconPNG":"iVBORw0KGgo="})"},
      {SwitchDesktopLeftMessage{}, R"({"type":"switchDesktopLeft"})"},
      {SwitchDesktopRightMessage{}, R"({"type":"switchDesktopRight"})"},
      {MediaPlayPauseMessage{}, R"({"type":"mediaPlayPause"})"},
      {ToggleDesktopVisibilityMessage{}, R"({"type":"toggleDesktopVisibility"})"},
      {TabStepMessage{-3}, R"({"type":"tabStep","step":-3})"},
      {WindowSnapMessage{KolvoDeckWindowLayout::topRight}, R"({"type":"windowSnap","windowLayout":"topRight"})"},
      {LaunchConfigMessage{std::vector<KolvoDeckLaunchItem>{{"com.apple.Safari", "Safari", 0, true},
                                                            {"com.apple.Notes", "Notes", 1, false}}},
       R"({"type":"launchConfig","launchItems":[{"bundleID":"com.apple.Safari","name":"Safari","index":0,)"
       R"("pinned":true},{"bundleID":"com.apple.Notes","name":"Notes","index":1,"pinned":false}]})"},
      {LaunchIconMessage{"com.apple.Notes", "iVBORw0KGgo="},
       R"({"type":"launchIcon","launchIconBundleID":"com.apple.Notes","launchIconPNG":"iVBORw0KGgo="})"},
      {launch,
       R"({"type":"launchApp","launchBundleID":"com.apple.Safari","launchDirection":"topLeft",)"
       R"("launchVelocityX":812.5,"launchVelocityY":-40,"launchIntensity":0.9,"launchRequestID":"R-1042"})"},
      {LaunchResultMessage{"com.apple.Safari", "R-1042", KolvoDeckLaunchOutcome::focused},
       R"({"type":"launchResult","launchBundleID":"com.apple.Safari","launchRequestID":"R-1042",)"
       R"("launchOutcome":"focused"})"},
      {LaunchPairMessage{"P-7", "com.apple.Safari", "com.apple.Notes", KolvoDeckLaunchLayout::split50},
       R"({"type":"launchPair","pairRequestID":"P-7","pairPrimaryBundleID":"com.apple.Safari",)"
       R"("pairSecondaryBundleID":"com.apple.Notes","pairRequestedLayout":"split50"})"},
      {pair_result,
       R"({"type":"launchPairResult","pairRequestID":"P-7","pairPrimaryBundleID":"com.apple.Safari",)"
       R"("pairSecondaryBundleID":"com.apple.Notes","pairOutcome":"partiallyCompleted",)"
       R"("pairPrimaryOutcome":"launched","pairSecondaryOutcome":"failed","pairLayoutOutcome":"skipped"})"},
  };
}

TEST(DeckMessage, EveryTypeWithEveryKeyHasItsExactWireForm) {
  std::set<KolvoDeckMessageType> types;
  for (const Golden& g : every_type_with_every_key()) {
    types.insert(g.message.type());
    EXPECT_EQ(encode_json(g.message), g.json);
    std::string error;
    EXPECT_EQ(decode_message_text(g.json, &error), g.message) << g.json << "\n" << error;
    // The form above really carries every key of its type.
    std::vector<std::string> keys;
    const auto parsed = nlohmann::ordered_json::parse(g.json);
    for (const auto& [key, value] : parsed.items()) {
      if (key != "type") keys.push_back(key);
    }
    const auto table = wire::message_keys_of(g.message.type());
    EXPECT_EQ(keys, std::vector<std::string>(table.begin(), table.end())) << g.json;
  }
  EXPECT_EQ(types.size(), kMessageTypeTable.entries.size());
}

TEST(DeckMessage, ExactWireFormsOfRepresentativeMessages) {
  ShelfSurfaceState surface;
  surface.identity = ShelfSurfaceIdentity::photoshop;
  surface.timestamp = 785000000.25;
  surface.tool_grid = std::vector<std::optional<AdobeToolID>>{AdobeToolID::psMove, std::nullopt};
  surface.artwork = std::vector<std::uint8_t>{0xFF, 0xD8};
  const std::vector<Golden> cases = {
      {SetControlMessage{std::nullopt, KolvoDeckControl::volume, 1.0},
       R"({"type":"setControl","control":"volume","value":1})"},
      {StateUpdateMessage{KolvoDeckState{}},
       R"({"type":"stateUpdate","state":{"volume":0,"brightness":0,"dark":false,"keyboardBacklight":0,"available":)"
       R"({"volume":false,"brightness":false,"appearance":false,"keyboardBacklight":false,"audioOutput":false},)"
       R"("audioDevices":[]}})"},
      {StateUpdateMessage{}, R"({"type":"stateUpdate"})"},
      {ShelfSurfaceStateMessage{surface, ShelfSurfaceIdentity::photoshop},
       R"({"type":"shelfSurfaceState","surfaceState":{"identity":"photoshop","available":false,"artwork":"/9g=",)"
       R"("isPlaying":false,"timestamp":785000000.25,"toolGrid":["ps.move",null]},"surfaceIdentity":"photoshop"})"},
      {HelloMessage{}, R"({"type":"hello"})"},
  };
  for (const Golden& c : cases) {
    EXPECT_EQ(encode_json(c.message), c.json);
    EXPECT_EQ(decode_message_text(c.json), c.message) << c.json;
  }
}

TEST(DeckMessage, DecodingRulesOfThePhonesCodec) {
  struct Case {
    std::string json;
    bool decodes;
  };
  const std::string state_head =
      R"({"type":"stateUpdate","state":{"volume":0,"brightness":0,"dark":false,"keyboardBacklight":0,)"
      R"("available":{"volume":true,"brightness":true,"appearance":true,"keyboardBacklight":true,"audioOutput":true},)"
      R"("audioDevices":[])";
  const std::vector<Case> cases = {
      {R"({"type":"ping","somethingNew":[1,2]})", true},          // unknown keys ignored
      {R"({"type":"approvalRequired"})", false},                  // only the snake-case string
      {R"({"type":"approval_required"})", true},
      {R"({"deviceId":"A"})", false},                             // no type
      {R"({"type":null})", false},
      {R"({"type":7})", false},
      {R"({"type":"Ping"})", false},                              // case matters
      {R"({"type":"hello","deviceId":7})", false},                // wrong JSON type
      {R"({"type":"hello","deviceId":null})", true},              // null is absent
      {R"({"type":"setControl","value":"0.5"})", false},
      {R"({"type":"setControl","control":"volumes"})", false},    // unknown enumeration
      {R"({"type":"setControl","slot":"middle"})", false},
      {R"({"type":"tabStep","step":1.5})", false},                // not a whole number
      {R"({"type":"tabStep","step":1e300})", false},              // whole, but no Int holds it
      {R"({"type":"tabStep","step":9223372036854775808})", false},
      {R"({"type":"tabStep","step":2.0})", true},
      {R"({"type":"tabStep","step":-9223372036854775808})", true},
      {R"({"type":"hello","protocolVersion":1.5})", false},
      {R"({"type":"setControl","value":1})", true},               // an integer is a real
      {R"({"type":"setControl","value":true})", false},
      {R"({"type":"setAppearance","dark":1})", false},
      {R"({"type":"shelfWidgets","shelfWidgets":["spotify","timer"]})", true},
      {R"({"type":"shelfWidgets","shelfWidgets":["spotify","radio"]})", false},
      {R"({"type":"shelfWidgets","shelfWidgets":["spotify",null]})", false},
      {R"({"type":"shelfWidgets","shelfWidgets":"spotify"})", false},
      {R"({"type":"windowSnap","windowLayout":"center"})", true},
      {R"({"type":"windowSnap","windowLayout":"centre"})", false},
      {R"({"type":"stateUpdate","state":{"volume":0.5}})", false},  // required state fields
      {R"({"type":"stateUpdate","state":[]})", false},
      {state_head + R"(,"stats":[{"kind":"unknown","value":0}]}})", true},
      {state_head + R"(,"stats":[{"kind":"gpu","value":0}]}})", false},
      {state_head + R"(,"topLeft":{"type":"timer","available":true}}})", false},  // no timer slot
      {state_head + R"(,"topLeft":{"type":"off","available":false}}})", true},
      {state_head + R"(,"profile":{"name":"Default"}}})", false},  // isDefault is required
      {state_head + R"(,"appearance":{"accentRed":1,"accentGreen":1,"accentBlue":1,"dark":false}}})", true},
      {state_head + R"(,"available":null}})", false},              // a required key given null
      {R"({"type":"shelfSurfaceState","surfaceState":{"identity":"spotify","available":true,"isPlaying":true}})", false},
      {R"({"type":"shelfSurfaceState","surfaceState":{"identity":"spotify","available":true,"isPlaying":true,)"
       R"("timestamp":1,"artwork":"not base64!"}})",
       false},
      {R"({"type":"launchConfig","launchItems":[{"bundleID":"a","name":"A","index":0,"pinned":true}]})", true},
      {R"({"type":"launchConfig","launchItems":[{"bundleID":"a","name":"A","pinned":true}]})", false},
      {R"({"type":"launchConfig","launchItems":[{"bundleID":"a","name":"A","index":1.5,"pinned":true}]})", false},
      {R"({"type":"launchConfig","launchItems":[{"bundleID":"a","name":"A","index":1e300,"pinned":true}]})", false},
      {R"({"type":"launchConfig","launchItems":[{"bundleID":"a","name":"A","index":2.0,"pinned":true}]})", true},
      {R"({"type":"launchPairResult","pairOutcome":"partial"})", false},
      {R"({"type":"launchPairResult","pairLayoutOutcome":"partial"})", true},
      // A key another type carries is still held to its type, as the phone's decoder would.
      {R"({"type":"ping","deviceId":7})", false},
      {R"({"type":"ping","control":"volumes"})", false},
      {R"({"type":"ping","launchItems":[{"bundleID":"a"}]})", false},
      {R"({"type":"ping","step":0.5})", false},
      {R"({"type":"setControl","control":"volume","deviceId":"A","step":3})", true},
      {R"([{"type":"ping"}])", false},
      {R"("ping")", false},
  };
  for (const Case& c : cases) {
    std::string error;
    EXPECT_EQ(decode_message_text(c.json, &error).has_value(), c.decodes) << c.json << "\n" << error;
  }
}

TEST(DeckMessage, AKeyAnotherTypeCarriesIsCheckedAndDropped) {
  const auto message = decode_message_text(R"({"type":"setControl","control":"volume","value":0.5,"deviceId":"A"})");
  ASSERT_TRUE(message);
  EXPECT_EQ(*message, KolvoDeckMessage(SetControlMessage{std::nullopt, KolvoDeckControl::volume, 0.5}));
  EXPECT_EQ(encode_json(*message), R"({"type":"setControl","control":"volume","value":0.5})");
  // A key several types carry reads the same way for all of them.
  std::map<std::string_view, wire::ValueCheck> checks;
  for (const auto& entry : wire::message_keys()) {
    const auto [it, inserted] = checks.emplace(entry.key, entry.check);
    EXPECT_TRUE(inserted || it->second == entry.check) << entry.key;
  }
  EXPECT_EQ(checks.size(), 44u);  // every key of the message but "type"
}

TEST(DeckMessage, ErrorsNameThePathOfTheBadField) {
  struct Case {
    std::string json;
    std::string error;
  };
  const std::vector<Case> cases = {
      {R"({"deviceId":"A"})", "KolvoDeckMessage.type: missing"},
      {R"({"type":"hello","deviceId":7})", "KolvoDeckMessage.deviceId: expected a string"},
      {R"({"type":"launchConfig","launchItems":[{"bundleID":"a","name":"A","index":0,"pinned":true},{"name":"B"}]})",
       "KolvoDeckMessage.launchItems[1].bundleID: missing"},
      {R"({"type":"stateUpdate","state":{"volume":0,"brightness":0,"dark":false,"keyboardBacklight":0,)"
       R"("available":{"volume":1}}})",
       "KolvoDeckMessage.state.available.volume: expected a boolean"},
      {"{", "it is not valid JSON"},
  };
  for (const Case& c : cases) {
    std::string error;
    EXPECT_FALSE(decode_message_text(c.json, &error)) << c.json;
    EXPECT_EQ(error, c.error) << c.json;
  }
}

TEST(DeckMessage, ARealisticStateRoundTripsAndOmitsAbsentSlots) {
  const KolvoDeckMessage update = StateUpdateMessage{realistic_state()};
  const std::string json = encode_json(update);
  EXPECT_EQ(json.find("topRight"), std::string::npos);
  EXPECT_EQ(json.find("bottomLeft"), std::string::npos);
  EXPECT_NE(json.find(R"("topLeft":{"type":"volume","available":true,"value":0.4})"), std::string::npos);
  EXPECT_NE(json.find(R"("stats":[{"kind":"cpu","value":0.12},{"kind":"battery","value":0.8,"charging":true}])"),
            std::string::npos);
  EXPECT_NE(json.find(R"("accentRed":0.0392156862745098)"), std::string::npos);
  EXPECT_EQ(decode_message_text(json), update);
  EXPECT_EQ(encode_json(realistic_state()), json.substr(std::string(R"({"type":"stateUpdate","state":)").size(),
                                                        json.size() - 1 - std::string(R"({"type":"stateUpdate","state":)").size()));
}

TEST(DeckMessage, NonFiniteRealsAreNeverWritten) {
  struct Case {
    double value;
    std::string json;
  };
  const std::vector<Case> cases = {
      {std::numeric_limits<double>::quiet_NaN(), R"({"type":"setControl","value":0})"},
      {std::numeric_limits<double>::infinity(), R"({"type":"setControl","value":0})"},
      {-std::numeric_limits<double>::infinity(), R"({"type":"setControl","value":0})"},
      {-0.0, R"({"type":"setControl","value":0})"},
      {0.1 + 0.2, R"({"type":"setControl","value":0.30000000000000004})"},
      {1e21, R"({"type":"setControl","value":1e+21})"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(encode_json(SetControlMessage{std::nullopt, std::nullopt, c.value}), c.json);
  }
}

TEST(DeckMessage, RecordsAreReachedThroughTheirType) {
  KolvoDeckMessage message = TabStepMessage{2};
  EXPECT_EQ(message.type(), KolvoDeckMessageType::tabStep);
  ASSERT_NE(message.get_if<TabStepMessage>(), nullptr);
  EXPECT_EQ(message.get_if<TabStepMessage>()->step, 2);
  EXPECT_EQ(message.get_if<HelloMessage>(), nullptr);
  message.get_if<TabStepMessage>()->step = -1;
  EXPECT_EQ(encode_json(message), R"({"type":"tabStep","step":-1})");
  for (const auto& [type, text] : kMessageTypeTable.entries) {
    const KolvoDeckMessage fresh = KolvoDeckMessage::of(type);
    EXPECT_EQ(fresh.type(), type);
    EXPECT_EQ(encode_json(fresh), R"({"type":")" + std::string(text) + R"("})");
  }
  // Copies are deep: changing one leaves the other alone.
  const KolvoDeckMessage original = HelloMessage{"A", "Anna", std::nullopt};
  KolvoDeckMessage copy = original;
  copy.get_if<HelloMessage>()->device_name = "Ben";
  EXPECT_EQ(original.get_if<HelloMessage>()->device_name, "Anna");
  EXPECT_NE(copy, original);
}

}  // namespace
}  // namespace kolvo::deck
