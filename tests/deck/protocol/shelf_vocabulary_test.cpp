#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "deck/protocol/shelf_vocabulary.hpp"
#include "deck/protocol/shelf_vocabulary_fields.hpp"

namespace kolvo::deck {
namespace {

using Control = CreativeContinuousControl;

std::optional<ShelfSurfaceState> parse(const std::string& text, std::string* error = nullptr) {
  return surface_state_from_json(nlohmann::json::parse(text), error);
}

ShelfSurfaceState every_field() {
  ShelfSurfaceState s;
  s.identity = ShelfSurfaceIdentity::blender;
  s.available = false;
  s.unavailable = "Open Blender on your Mac";
  s.track_id = "spotify:track:1";
  s.title = "Song";
  s.artist = "Artist";
  s.album = "Album";
  s.artwork = std::vector<std::uint8_t>{0xFF, 0xD8, 0xFF, 0xE0};
  s.duration = 200.5;
  s.position = 12.0;
  s.is_playing = true;
  s.volume = 50;
  s.timestamp = 785000000.25;
  s.tool_grid = std::vector<std::optional<AdobeToolID>>{AdobeToolID::selection, std::nullopt, AdobeToolID::psMove};
  s.color_context = AdobeColorState{"FF8800", 255, 136, 0, 32, 100, 100, "Foreground", "fg"};
  Control control;
  control.id = "bl:Cube/rotation_euler/2";
  control.label = "Rotation";
  control.detail = "45.0°";
  control.value = 45;
  control.minimum = -180;
  control.maximum = 180;
  control.unit = Control::Unit::degrees;
  control.curve = Control::Curve::linear;
  control.decimals = 1;
  control.blocked_reason = "Stop the timer to change it";
  control.axes = std::vector<std::string>{"X", "Y", "Z"};
  control.active_axis = "Z";
  control.choices = std::vector<Control::Choice>{{"size", "Size"}, {"strength", "Strength"}};
  control.active_choice = "size";
  s.continuous_control = control;
  s.active_tool = AdobeToolID::prRazor;
  s.agent_activity = ShelfAgentActivity::thinking;
  s.agent_detail = "Running make";
  s.blender_tools = std::vector<BlenderToolID>{BlenderToolID::select, BlenderToolID::move};
  s.blender_active = std::vector<BlenderToolID>{BlenderToolID::move};
  s.blender_labels = std::map<std::string, std::string>{{"bl.select", "Box"}, {"bl.editMode", "Edit"}};
  return s;
}

const std::string kEveryField =
    R"({"identity":"blender","available":false,"unavailable":"Open Blender on your Mac","trackID":"spotify:track:1",)"
    R"("title":"Song","artist":"Artist","album":"Album","artwork":"/9j/4A==","duration":200.5,"position":12,)"
    R"("isPlaying":true,"volume":50,"timestamp":785000000.25,"toolGrid":["selection",null,"ps.move"],)"
    R"("colorContext":{"hex":"FF8800","red":255,"green":136,"blue":0,"hue":32,"saturation":100,"brightness":100,)"
    R"("title":"Foreground","pickerID":"fg"},)"
    R"("continuousControl":{"id":"bl:Cube/rotation_euler/2","label":"Rotation","detail":"45.0°","value":45,)"
    R"("minimum":-180,"maximum":180,"unit":"degrees","curve":"linear","decimals":1,)"
    R"("blockedReason":"Stop the timer to change it","axes":["X","Y","Z"],"activeAxis":"Z",)"
    R"("choices":[{"id":"size","label":"Size"},{"id":"strength","label":"Strength"}],"activeChoice":"size"},)"
    R"("activeTool":"pr.razor","agentActivity":"thinking","agentDetail":"Running make",)"
    R"("blenderTools":["bl.select","bl.move"],"blenderActive":["bl.move"],)"
    R"("blenderLabels":{"bl.editMode":"Edit","bl.select":"Box"}})";

TEST(ShelfSurfaceState, EveryFieldHasItsExactWireForm) {
  EXPECT_EQ(encode_json(every_field()), kEveryField);
  std::string error;
  EXPECT_EQ(parse(kEveryField, &error), every_field()) << error;
  // The form above carries every key of the state, the colour and the control.
  const auto json = nlohmann::ordered_json::parse(kEveryField);
  struct Record {
    std::string name;
    nlohmann::ordered_json object;
    std::vector<std::string_view> table;
  };
  for (const Record& r : {Record{"ShelfSurfaceState", json, wire::keys_of<ShelfSurfaceState>()},
                          Record{"AdobeColorState", json["colorContext"], wire::keys_of<AdobeColorState>()},
                          Record{"CreativeContinuousControl", json["continuousControl"], wire::keys_of<Control>()},
                          Record{"Choice", json["continuousControl"]["choices"][0], wire::keys_of<Control::Choice>()}}) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : r.object.items()) keys.push_back(key);
    EXPECT_EQ(keys, std::vector<std::string>(r.table.begin(), r.table.end())) << r.name;
  }
}

TEST(ShelfSurfaceState, AbsentOptionalsAreLeftOut) {
  ShelfSurfaceState s;
  s.identity = ShelfSurfaceIdentity::codex;
  s.available = true;
  s.timestamp = 1;
  s.agent_activity = ShelfAgentActivity::idle;
  s.title = "Codex";
  const std::string json = R"({"identity":"codex","available":true,"title":"Codex","isPlaying":false,"timestamp":1,)"
                           R"("agentActivity":"idle"})";
  EXPECT_EQ(encode_json(s), json);
  EXPECT_EQ(parse(json), s);
}

TEST(ShelfSurfaceState, EveryUnitAndCurveTravelsAsItsName) {
  struct Case {
    Control::Unit unit;
    Control::Curve curve;
    std::string wire;
  };
  const std::vector<Case> cases = {
      {Control::Unit::pixels, Control::Curve::linear, R"("unit":"pixels","curve":"linear")"},
      {Control::Unit::points, Control::Curve::logarithmic, R"("unit":"points","curve":"logarithmic")"},
      {Control::Unit::percent, Control::Curve::linear, R"("unit":"percent","curve":"linear")"},
      {Control::Unit::degrees, Control::Curve::linear, R"("unit":"degrees","curve":"linear")"},
      {Control::Unit::none, Control::Curve::linear, R"("unit":"none","curve":"linear")"},
      {Control::Unit::millimeters, Control::Curve::logarithmic, R"("unit":"millimeters","curve":"logarithmic")"},
      {Control::Unit::watts, Control::Curve::logarithmic, R"("unit":"watts","curve":"logarithmic")"},
      {Control::Unit::wattsPerSquareMeter, Control::Curve::linear,
       R"("unit":"wattsPerSquareMeter","curve":"linear")"},
  };
  for (const Case& c : cases) {
    ShelfSurfaceState s;
    s.identity = ShelfSurfaceIdentity::timer;
    Control control;
    control.id = "timer.minutes";
    control.label = "Minutes";
    control.value = 25;
    control.minimum = 1;
    control.maximum = 60;
    control.unit = c.unit;
    control.curve = c.curve;
    s.continuous_control = control;
    const std::string json = encode_json(s);
    EXPECT_EQ(json, R"({"identity":"timer","available":false,"isPlaying":false,"timestamp":0,)"
                    R"("continuousControl":{"id":"timer.minutes","label":"Minutes","value":25,"minimum":1,)"
                    R"("maximum":60,)" + c.wire + R"(,"decimals":0}})");
    EXPECT_EQ(parse(json), s) << c.wire;
  }
}

TEST(ShelfSurfaceState, IntegerFieldsTakeOnlyWholeNumbersAndRealFieldsTakeAnyNumber) {
  const auto with = [](const std::string& extra) {
    return R"({"identity":"photoshop","available":true,"isPlaying":false,"timestamp":1)" + extra + "}";
  };
  const auto color = [&](const std::string& red) {
    return with(R"(,"colorContext":{"hex":"FF0000","red":)" + red +
                R"(,"green":0,"blue":0,"hue":0,"saturation":100,"brightness":100,"title":"Colour"})");
  };
  const auto control = [&](const std::string& decimals, const std::string& value) {
    return with(R"(,"continuousControl":{"id":"c","label":"C","value":)" + value +
                R"(,"minimum":0,"maximum":100,"unit":"pixels","curve":"linear","decimals":)" + decimals + "}");
  };
  struct Case {
    std::string name;
    std::string json;
    bool decodes;
  };
  const std::vector<Case> cases = {
      {"volume 50", with(R"(,"volume":50)"), true},
      {"volume 50.0 is whole", with(R"(,"volume":50.0)"), true},
      {"volume 1.5", with(R"(,"volume":1.5)"), false},
      {"volume 1e300", with(R"(,"volume":1e300)"), false},
      {"volume 2^63", with(R"(,"volume":9223372036854775808)"), false},
      {"volume as text", with(R"(,"volume":"50")"), false},
      {"red 255", color("255"), true},
      {"red 1.5", color("1.5"), false},
      {"red 1e300", color("1e300"), false},
      {"red -0.0", color("-0.0"), true},
      {"decimals 2", control("2", "50"), true},
      {"decimals 1.5", control("1.5", "50"), false},
      {"decimals 1e300", control("1e300", "50"), false},
      {"a real given an integer literal", control("0", "45"), true},
      {"a real given a fraction", control("0", "45.25"), true},
      {"a real given 1e300", control("0", "1e300"), true},
      {"a real given text", control("0", R"("45")"), false},
      {"reals given integer literals", with(R"(,"duration":200,"position":0)"), true},
      {"duration as text", with(R"(,"duration":"200")"), false},
  };
  for (const Case& c : cases) {
    std::string error;
    EXPECT_EQ(parse(c.json, &error).has_value(), c.decodes) << c.name << ": " << error;
  }
  // What was read keeps its type on the way out: a whole real has no fraction, an integer is one.
  const auto read = parse(control("2", "45"));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->continuous_control->value, 45.0);
  EXPECT_NE(encode_json(*read).find(R"("value":45,"minimum":0,"maximum":100,"unit":"pixels","curve":"linear","decimals":2})"),
            std::string::npos);
  const auto whole = parse(with(R"(,"volume":50.0)"));
  ASSERT_TRUE(whole);
  EXPECT_EQ(whole->volume, 50);
}

TEST(ShelfSurfaceState, EachRecordRefusesWhatThePhoneWouldRefuse) {
  const auto with = [](const std::string& extra) {
    return R"({"identity":"blender","available":true,"isPlaying":false,"timestamp":1)" + extra + "}";
  };
  const std::string control_head = R"(,"continuousControl":{"id":"c","label":"C","value":1,"minimum":0,"maximum":2,)";
  struct Case {
    std::string name;
    std::string json;
    bool decodes;
  };
  const std::vector<Case> cases = {
      {"no timestamp", R"({"identity":"spotify","available":true,"isPlaying":false})", false},
      {"no identity", R"({"available":true,"isPlaying":false,"timestamp":1})", false},
      {"unknown identity", R"({"identity":"winamp","available":true,"isPlaying":false,"timestamp":1})", false},
      {"available as a number", R"({"identity":"spotify","available":1,"isPlaying":false,"timestamp":1})", false},
      {"not an object", R"(["spotify"])", false},
      {"colour without hex", with(R"(,"colorContext":{"red":0,"green":0,"blue":0,"hue":0,"saturation":0,)"
                                  R"("brightness":0,"title":"T"})"),
       false},
      {"colour without a picker", with(R"(,"colorContext":{"hex":"000000","red":0,"green":0,"blue":0,"hue":0,)"
                                       R"("saturation":0,"brightness":0,"title":"T"})"),
       true},
      {"colour as text", with(R"(,"colorContext":"red")"), false},
      {"control without unit", with(control_head + R"("curve":"linear","decimals":0})"), false},
      {"unknown unit", with(control_head + R"("unit":"meters","curve":"linear","decimals":0})"), false},
      {"unknown curve", with(control_head + R"("unit":"none","curve":"exponential","decimals":0})"), false},
      {"choice without label",
       with(control_head + R"("unit":"none","curve":"linear","decimals":0,"choices":[{"id":"size"}]})"), false},
      {"axes with a number", with(control_head + R"("unit":"none","curve":"linear","decimals":0,"axes":["X",1]})"),
       false},
      {"a null control is absent", with(R"(,"continuousControl":null)"), true},
      {"tool grid with an empty cell", with(R"(,"toolGrid":[null,"ps.move"])"), true},
      {"tool grid with an unknown tool", with(R"(,"toolGrid":["ps.pen"])"), false},
      {"unknown active tool", with(R"(,"activeTool":"ps.pen")"), false},
      {"active tool null is absent", with(R"(,"activeTool":null)"), true},
      {"unknown agent activity", with(R"(,"agentActivity":"sleeping")"), false},
      {"unknown blender tool", with(R"(,"blenderTools":["bl.fly"])"), false},
      {"blender tools with a null", with(R"(,"blenderActive":["bl.move",null])"), false},
      {"blender labels with a number", with(R"(,"blenderLabels":{"bl.select":1})"), false},
      {"blender labels as a list", with(R"(,"blenderLabels":["Box"])"), false},
      {"artwork not base64", with(R"(,"artwork":"*")"), false},
      {"artwork with a line break", with(R"(,"artwork":"/9j/\n4A==")"), false},
      {"unknown keys are ignored", with(R"(,"lyrics":"la la")"), true},
  };
  for (const Case& c : cases) {
    std::string error;
    EXPECT_EQ(parse(c.json, &error).has_value(), c.decodes) << c.name << ": " << error;
  }
  std::string error;
  EXPECT_FALSE(parse(with(R"(,"continuousControl":{"id":"c"})"), &error));
  EXPECT_EQ(error, "ShelfSurfaceState.continuousControl.label: missing");
}

TEST(ShelfSurfaceState, SameContentLeavesOnlyTheTimestampOut) {
  const ShelfSurfaceState base = every_field();
  ShelfSurfaceState later = base;
  later.timestamp += 60;
  EXPECT_TRUE(base.same_content(later));
  EXPECT_NE(base, later);
  struct Case {
    std::string name;
    void (*change)(ShelfSurfaceState&);
  };
  const std::vector<Case> cases = {
      {"position", [](ShelfSurfaceState& s) { s.position = 13.0; }},
      {"colour", [](ShelfSurfaceState& s) { s.color_context->red = 254; }},
      {"no colour", [](ShelfSurfaceState& s) { s.color_context.reset(); }},
      {"control choice", [](ShelfSurfaceState& s) { s.continuous_control->active_choice = "strength"; }},
      {"labels", [](ShelfSurfaceState& s) { (*s.blender_labels)["bl.select"] = "Lasso"; }},
      {"grid cell", [](ShelfSurfaceState& s) { (*s.tool_grid)[1] = AdobeToolID::psHand; }},
  };
  for (const Case& c : cases) {
    ShelfSurfaceState changed = base;
    c.change(changed);
    EXPECT_FALSE(base.same_content(changed)) << c.name;
    // The copy was deep: the original is as it was.
    EXPECT_EQ(base, every_field()) << c.name;
  }
}

}  // namespace
}  // namespace kolvo::deck
