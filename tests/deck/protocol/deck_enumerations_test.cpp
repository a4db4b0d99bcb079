// The wire strings of every enumeration and the keys of every message, against lists written
// out by hand. A round trip cannot catch a misspelt string or key, because one table serves
// both directions; only a second, independent spelling can.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "deck/protocol/deck_message.hpp"
#include "deck/protocol/deck_message_fields.hpp"

namespace kolvo::deck {
namespace {

struct TableCase {
  std::string name;
  std::vector<std::string> strings;    // the table's, in its order
  std::vector<std::size_t> cases;      // each entry's case, as its declaration index
  std::vector<std::string> expected;   // written out independently
};

template <typename Table>
TableCase table_case(std::string name, const Table& table, std::vector<std::string> expected) {
  TableCase c{std::move(name), {}, {}, std::move(expected)};
  for (const auto& [value, text] : table.entries) {
    c.strings.emplace_back(text);
    c.cases.push_back(static_cast<std::size_t>(value));
  }
  return c;
}

TEST(DeckEnumerations, WireStringsAreSpeltAsThePhoneSpellsThem) {
  const std::vector<TableCase> cases = {
      table_case("KolvoDeckMessageType", kMessageTypeTable,
                 {"shelfSurfaceState", "shelfSurfaceCommand", "shelfWidgets", "hello", "approval_required", "approved",
                  "denied", "ping", "pong", "requestState", "stateUpdate", "setControl", "setAppearance",
                  "setAudioOutput", "profileIcon", "switchDesktopLeft", "switchDesktopRight", "mediaPlayPause",
                  "toggleDesktopVisibility", "tabStep", "windowSnap", "launchConfig", "launchIcon", "launchApp",
                  "launchResult", "launchPair", "launchPairResult"}),
      table_case("KolvoDeckCorner", kCornerTable, {"topLeft", "topRight", "bottomLeft", "bottomRight"}),
      table_case("KolvoDeckControl", kControlTable, {"volume", "brightness", "keyboardBacklight"}),
      table_case("KolvoDeckSlotType", kSlotTypeTable,
                 {"off", "volume", "brightness", "appearance", "keyboardBacklight", "audioOutput", "playPause",
                  "showDesktop", "tabCarousel", "windowSnap"}),
      table_case("KolvoDeckStatKind", prefs::kKolvoDeckStatKindTable, {"cpu", "ram", "storage", "battery", "unknown"}),
      table_case("KolvoDeckWindowLayout", kWindowLayoutTable,
                 {"leftHalf", "rightHalf", "maximize", "topHalf", "bottomHalf", "topLeft", "topRight", "bottomLeft",
                  "bottomRight", "center"}),
      table_case("KolvoDeckLaunchDirection", kLaunchDirectionTable,
                 {"top", "bottom", "left", "right", "topLeft", "topRight", "bottomLeft", "bottomRight"}),
      table_case("KolvoDeckLaunchOutcome", kLaunchOutcomeTable, {"launched", "focused", "rejected", "failed"}),
      table_case("KolvoDeckLaunchLayout", kLaunchLayoutTable, {"split50"}),
      table_case("KolvoDeckLaunchPairOutcome", kLaunchPairOutcomeTable,
                 {"completed", "partiallyCompleted", "rejected", "failed"}),
      table_case("KolvoDeckLaunchLayoutOutcome", kLaunchLayoutOutcomeTable,
                 {"applied", "partial", "unavailable", "skipped"}),
      table_case("ShelfSurfaceIdentity", kShelfSurfaceIdentityTable,
                 {"spotify", "claudeCode", "codex", "timer", "afterEffects", "illustrator", "photoshop", "premiere",
                  "blender"}),
      table_case("ShelfWidgetBackground", kShelfWidgetBackgroundTable, {"liquidGlass", "solid"}),
      table_case("ShelfAgentActivity", kShelfAgentActivityTable,
                 {"idle", "thinking", "working", "waiting", "done", "failed"}),
      table_case("ShelfSurfaceCommand", kShelfSurfaceCommandTable,
                 {"selectTool", "setColor", "applyColor", "cancelColor", "setContinuous", "endContinuous",
                  "setContinuousAxis", "setContinuousChoice", "blenderAction", "playPause", "previous", "next", "seek",
                  "setVolume", "dismiss"}),
      table_case("AdobeToolID", kAdobeToolIDTable,
                 {"selection", "hand", "zoom", "rotation", "panBehind", "pen", "cube", "type", "shape", "brush",
                  "objectMatte", "puppetPosition", "ai.selection", "ai.directSelection", "ai.pen", "ai.type",
                  "ai.rectangle", "ai.shapeBuilder", "ai.eyedropper", "ai.hand", "ai.zoom", "ps.move", "ps.marquee",
                  "ps.lasso", "ps.objectSelect", "ps.brush", "ps.eraser", "ps.crop", "ps.type", "ps.hand",
                  "pr.selection", "pr.trackForward", "pr.razor", "pr.ripple", "pr.rolling", "pr.slip",
                  "pr.rateStretch", "pr.pen", "pr.hand"}),
      table_case("BlenderToolID", kBlenderToolIDTable,
                 {"bl.select", "bl.move", "bl.rotate", "bl.scale", "bl.editMode", "bl.frameSelected", "bl.cameraView",
                  "bl.xray", "bl.shading"}),
      table_case("CreativeContinuousControl.Unit", kUnitTable,
                 {"pixels", "points", "percent", "degrees", "none", "millimeters", "watts", "wattsPerSquareMeter"}),
      table_case("CreativeContinuousControl.Curve", kCurveTable, {"linear", "logarithmic"}),
  };
  for (const TableCase& c : cases) {
    EXPECT_EQ(c.strings, c.expected) << c.name;
    // Each case appears once, in declaration order, so the string list is the case list.
    for (std::size_t i = 0; i < c.cases.size(); ++i) EXPECT_EQ(c.cases[i], i) << c.name << " entry " << i;
  }
}

// Every key a message may carry, in the one order the phone's encoder writes them.
const std::vector<std::string> kMessageKeysInOrder = {
    "surfaceState", "surfaceCommand", "surfaceIdentity", "surfaceColorHex", "surfaceColorPickerID",
    "surfaceControlID", "surfaceControlAxis", "surfaceControlChoice", "surfaceToolID", "surfaceBlenderTool",
    "surfaceValue", "shelfWidgets", "shelfWidgetBackground", "deviceId", "deviceName", "protocolVersion", "slot",
    "control", "value", "dark", "audioDeviceId", "state", "iconBundleID", "iconPNG", "step", "windowLayout",
    "launchItems", "launchIconBundleID", "launchIconPNG", "launchBundleID", "launchDirection", "launchVelocityX",
    "launchVelocityY", "launchIntensity", "launchRequestID", "launchOutcome", "pairRequestID", "pairPrimaryBundleID",
    "pairSecondaryBundleID", "pairRequestedLayout", "pairOutcome", "pairPrimaryOutcome", "pairSecondaryOutcome",
    "pairLayoutOutcome",
};

TEST(DeckEnumerations, EveryMessageKeyIsSpeltRightAndKeepsTheOneOrder) {
  std::set<std::string> carried;
  for (const auto& entry : wire::message_keys()) carried.emplace(entry.key);
  EXPECT_EQ(carried, std::set<std::string>(kMessageKeysInOrder.begin(), kMessageKeysInOrder.end()));
  for (const auto& [type, text] : kMessageTypeTable.entries) {
    std::vector<std::size_t> places;
    for (const auto key : wire::message_keys_of(type)) {
      const auto at = std::find(kMessageKeysInOrder.begin(), kMessageKeysInOrder.end(), key);
      ASSERT_NE(at, kMessageKeysInOrder.end()) << text << ": " << key;
      places.push_back(static_cast<std::size_t>(at - kMessageKeysInOrder.begin()));
    }
    EXPECT_TRUE(std::is_sorted(places.begin(), places.end())) << text;
    EXPECT_EQ(std::adjacent_find(places.begin(), places.end()), places.end()) << text << ": a key twice";
  }
}

}  // namespace
}  // namespace kolvo::deck
