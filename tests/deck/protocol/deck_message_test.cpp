#include <gtest/gtest.h>

#include "deck/protocol/deck_message.hpp"

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

TEST(DeckMessage, ExactWireFormsOfRepresentativeMessages) {
  struct Case {
    KolvoDeckMessage message;
    std::string json;
  };
  KolvoDeckMessage approval;
  approval.type = KolvoDeckMessageType::approvalRequired;
  KolvoDeckMessage set;
  set.type = KolvoDeckMessageType::setControl;
  set.control = KolvoDeckControl::volume;
  set.value = 1.0;
  KolvoDeckMessage tab;
  tab.type = KolvoDeckMessageType::tabStep;
  tab.step = -3;
  KolvoDeckMessage empty_state;
  empty_state.type = KolvoDeckMessageType::stateUpdate;
  empty_state.state = KolvoDeckState{};
  KolvoDeckMessage surface;
  surface.type = KolvoDeckMessageType::shelfSurfaceState;
  surface.surface_identity = deck::ShelfSurfaceIdentity::photoshop;
  surface.surface_state = deck::ShelfSurfaceState{};
  surface.surface_state->identity = deck::ShelfSurfaceIdentity::photoshop;
  surface.surface_state->timestamp = 785000000.25;
  surface.surface_state->tool_grid = std::vector<std::optional<deck::AdobeToolID>>{deck::AdobeToolID::psMove, std::nullopt};
  surface.surface_state->artwork = std::vector<std::uint8_t>{0xFF, 0xD8};
  const std::vector<Case> cases = {
      {approval, R"({"type":"approval_required"})"},
      {set, R"({"type":"setControl","control":"volume","value":1})"},
      {tab, R"({"type":"tabStep","step":-3})"},
      {empty_state,
       R"({"type":"stateUpdate","state":{"volume":0,"brightness":0,"dark":false,"keyboardBacklight":0,"available":)"
       R"({"volume":false,"brightness":false,"appearance":false,"keyboardBacklight":false,"audioOutput":false},)"
       R"("audioDevices":[]}})"},
      {surface,
       R"({"type":"shelfSurfaceState","surfaceState":{"identity":"photoshop","available":false,"artwork":"/9g=",)"
       R"("isPlaying":false,"timestamp":785000000.25,"toolGrid":["ps.move",null]},"surfaceIdentity":"photoshop"})"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(encode_json(c.message), c.json);
    EXPECT_EQ(decode_message_text(c.json), c.message) << c.json;
  }
}

TEST(DeckMessage, DecodingRulesOfThePhonesCodec) {
  struct Case {
    std::string json;
    bool decodes;
  };
  const std::vector<Case> cases = {
      {R"({"type":"ping","somethingNew":[1,2]})", true},          // unknown keys ignored
      {R"({"type":"approvalRequired"})", false},                  // only the snake-case string
      {R"({"type":"approval_required"})", true},
      {R"({"deviceId":"A"})", false},                             // no type
      {R"({"type":"hello","deviceId":7})", false},                // wrong JSON type
      {R"({"type":"hello","deviceId":null})", true},              // null is absent
      {R"({"type":"setControl","value":"0.5"})", false},
      {R"({"type":"setControl","control":"volumes"})", false},    // unknown enumeration
      {R"({"type":"tabStep","step":1.5})", false},                // not a whole number
      {R"({"type":"tabStep","step":2.0})", true},
      {R"({"type":"setControl","value":1})", true},               // an integer is a real
      {R"({"type":"shelfWidgets","shelfWidgets":["spotify","timer"]})", true},
      {R"({"type":"shelfWidgets","shelfWidgets":["spotify","radio"]})", false},
      {R"({"type":"stateUpdate","state":{"volume":0.5}})", false},  // required state fields
      {R"({"type":"stateUpdate","state":{"volume":0,"brightness":0,"dark":false,"keyboardBacklight":0,)"
       R"("available":{"volume":true,"brightness":true,"appearance":true,"keyboardBacklight":true,"audioOutput":true},)"
       R"("audioDevices":[],"stats":[{"kind":"unknown","value":0}]}})",
       true},
      {R"({"type":"stateUpdate","state":{"volume":0,"brightness":0,"dark":false,"keyboardBacklight":0,)"
       R"("available":{"volume":true,"brightness":true,"appearance":true,"keyboardBacklight":true,"audioOutput":true},)"
       R"("audioDevices":[],"stats":[{"kind":"gpu","value":0}]}})",
       false},
      {R"({"type":"shelfSurfaceState","surfaceState":{"identity":"spotify","available":true,"isPlaying":true}})", false},
      {R"({"type":"shelfSurfaceState","surfaceState":{"identity":"spotify","available":true,"isPlaying":true,)"
       R"("timestamp":1,"artwork":"not base64!"}})",
       false},
      {R"({"type":"launchConfig","launchItems":[{"bundleID":"a","name":"A","index":0,"pinned":true}]})", true},
      {R"({"type":"launchConfig","launchItems":[{"bundleID":"a","name":"A","pinned":true}]})", false},
      {R"([{"type":"ping"}])", false},
  };
  for (const Case& c : cases) EXPECT_EQ(decode_message_text(c.json).has_value(), c.decodes) << c.json;
}

TEST(DeckMessage, ARealisticStateRoundTripsAndOmitsAbsentSlots) {
  KolvoDeckMessage update;
  update.type = KolvoDeckMessageType::stateUpdate;
  update.state = realistic_state();
  const std::string json = encode_json(update);
  EXPECT_EQ(json.find("topRight"), std::string::npos);
  EXPECT_NE(json.find(R"("topLeft":{"type":"volume","available":true,"value":0.4})"), std::string::npos);
  EXPECT_NE(json.find(R"("stats":[{"kind":"cpu","value":0.12},{"kind":"battery","value":0.8,"charging":true}])"),
            std::string::npos);
  EXPECT_EQ(decode_message_text(json), update);
}

TEST(DeckMessage, NonFiniteRealsAreNeverWritten) {
  KolvoDeckMessage m;
  m.type = KolvoDeckMessageType::setControl;
  m.value = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(encode_json(m), R"({"type":"setControl","value":0})");
  m.value = -0.0;
  EXPECT_EQ(encode_json(m), R"({"type":"setControl","value":0})");
}

}  // namespace
}  // namespace kolvo::deck
