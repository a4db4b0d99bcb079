#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "dock/multi_display_calibration_store.hpp"

namespace kolvo::dock {
namespace {

using Json = nlohmann::ordered_json;

TEST(DockCalibrationJson, KeysInOrderWithOptionalBaselinesOmitted) {
  DockCalibration c{{416, 0, 680, 70}, {0, 0, 1512, 982}, DockPosition::bottom, 785000000.5, {}, 7, {}, 48.0, {}};
  EXPECT_EQ(to_json(c).dump(),
            R"({"dockMinX":416.0,"dockMinY":0.0,"dockWidth":680.0,"dockHeight":70.0,"screenMinX":0.0,"screenMinY":0.0,)"
            R"("screenWidth":1512.0,"screenHeight":982.0,"dockPosition":"bottom","createdAt":785000000.5,)"
            R"("baselinePersistentItemCount":7,"baselineTileSize":48.0})");
  EXPECT_EQ(calibration_from_json(nlohmann::json::parse(to_json(c).dump())), c);
}

TEST(DockCalibrationJson, DecodingFollowsTheStrictRulesOfTheEarlierRecords) {
  const std::string base = R"("dockMinX":416,"dockMinY":0,"dockWidth":680,"dockHeight":70,"screenMinX":0,)"
                           R"("screenMinY":0,"screenWidth":1512,"screenHeight":982,"createdAt":1)";
  struct Case {
    std::string extra;
    bool decodes;
  };
  const std::vector<Case> cases = {
      {R"(,"dockPosition":"left")", true},
      {R"(,"dockPosition":"left","unknownKey":[1])", true},      // unknown keys are ignored
      {R"(,"dockPosition":"top")", false},                      // unknown case fails the record
      {R"(,"dockPosition":"left","baselineShowRecents":null)", true},
      {R"(,"dockPosition":"left","baselinePersistentItemCount":7.5)", false},
      {R"(,"dockPosition":"left","baselinePersistentItemCount":7.0)", true},
      {R"(,"dockPosition":"left","baselineTileSize":"48")", false},
      {R"()", false},                                             // position missing
  };
  for (const Case& c : cases) {
    const auto json = nlohmann::json::parse("{" + base + c.extra + "}");
    EXPECT_EQ(calibration_from_json(json).has_value(), c.decodes) << c.extra;
  }
  auto missing_width = nlohmann::json::parse("{" + base + R"(,"dockPosition":"left"})");
  missing_width.erase("dockWidth");
  std::string error;
  EXPECT_FALSE(calibration_from_json(missing_width, &error));
  EXPECT_NE(error.find("dockWidth"), std::string::npos);
}

TEST(DisplayIdentityJson, FrameIsThePairOfPairsAndTheUuidIsOptional) {
  KolvoDisplayIdentity identity{69733382, "Studio Display", {1512, -200, 2560, 1440}, 1.0, std::nullopt};
  EXPECT_EQ(to_json(identity).dump(),
            R"({"cgDirectDisplayID":69733382,"localizedName":"Studio Display","screenFrame":[[1512.0,-200.0],)"
            R"([2560.0,1440.0]],"backingScaleFactor":1.0})");
  EXPECT_EQ(identity_from_json(nlohmann::json::parse(to_json(identity).dump())), identity);
  EXPECT_EQ(primary_key(identity), "69733382");
  identity.display_uuid = "E1C2";
  EXPECT_EQ(primary_key(identity), "E1C2");
  EXPECT_FALSE(identity_from_json(nlohmann::json::parse(
      R"({"cgDirectDisplayID":-1,"localizedName":"x","screenFrame":[[0,0],[1,1]],"backingScaleFactor":1})")));
  EXPECT_FALSE(identity_from_json(nlohmann::json::parse(
      R"({"cgDirectDisplayID":1,"localizedName":"x","screenFrame":[0,0,1,1],"backingScaleFactor":1})")));
}

TEST(DisplayModeJson, OneMemberNamedAfterTheCase) {
  struct Case {
    std::string json;
    std::optional<KolvoDisplayMode> mode;
    std::string error;
  };
  const std::vector<Case> cases = {
      {R"({"automatic":{}})", AutomaticDisplay{}, ""},
      {R"({"allCalibratedDisplays":{}})", AllCalibratedDisplays{}, ""},
      {R"({"selectedDisplay":{"_0":"E1C2"}})", SelectedDisplay{"E1C2"}, ""},
      {R"({})", std::nullopt, "Invalid number of keys found, expected one."},
      {R"({"automatic":{},"allCalibratedDisplays":{}})", std::nullopt, "Invalid number of keys found, expected one."},
      {R"({"selectedDisplay":{}})", std::nullopt, "_0"},
      {R"({"mirrored":{}})", std::nullopt, "unknown case"},
  };
  for (const Case& c : cases) {
    std::string error;
    const auto mode = display_mode_from_json(nlohmann::json::parse(c.json), &error);
    EXPECT_EQ(mode, c.mode) << c.json;
    if (!c.mode) {
      EXPECT_NE(error.find(c.error), std::string::npos) << c.json << " -> " << error;
    } else {
      EXPECT_EQ(to_json(*mode).dump(), nlohmann::ordered_json::parse(c.json).dump());
    }
  }
  EXPECT_EQ(describe(KolvoDisplayMode{SelectedDisplay{"E1C2"}}), "selectedDisplay(E1C2)");
}

TEST(StoredCalibrationsJson, WritesTheSelectedKeyAlongsideTheModeAndRoundTrips) {
  StoredCalibrations stored;
  stored.calibrations["B"] = {{1, 2, 300, 40}, {0, 0, 1000, 800}, DockPosition::right, 5, {}, {}, {}, {}, true};
  stored.display_mode = SelectedDisplay{"B"};
  stored.identities["B"] = {2, "B", {0, 0, 1000, 800}, 2.0, "B"};
  const auto json = to_json(stored);
  std::vector<std::string> keys;
  for (const auto& [key, value] : json.items()) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::string>{"calibrations", "displayMode", "selectedDisplayID", "identities"}));
  EXPECT_EQ(json["selectedDisplayID"], "B");
  const auto back = stored_calibrations_from_json(nlohmann::json::parse(json.dump()));
  ASSERT_TRUE(back);
  EXPECT_EQ(back->calibrations, stored.calibrations);
  EXPECT_EQ(back->identities, stored.identities);
  EXPECT_EQ(back->display_mode, stored.display_mode);
  // One bad record fails the whole store, as it always has.
  auto broken = nlohmann::json::parse(json.dump());
  broken["calibrations"]["B"]["dockPosition"] = "top";
  EXPECT_FALSE(stored_calibrations_from_json(broken));
}

}  // namespace
}  // namespace kolvo::dock

namespace kolvo::dock {
namespace {

TEST(CalibrationRecords, ARectangleMustTouchItsDisplayWithAFiniteSize) {
  const Rect display{0, 0, 1512, 982};
  struct Case {
    Rect dock;
    const char* problem;  // empty: accepted
  };
  const double inf = std::numeric_limits<double>::infinity();
  const Case cases[] = {
      {{416, 0, 680, 70}, ""},
      {{1500, 970, 20, 20}, ""},                   // overlapping a corner is enough
      {{1e300, 2, 3, 4}, "does not touch"},
      {{1512, 0, 10, 70}, "does not touch"},       // sharing an edge is not touching
      {{-10, 0, 10, 70}, "does not touch"},
      {{416, 0, 0, 70}, "has no size"},
      {{416, 0, 680, -70}, "has no size"},
      {{416, 0, inf, 70}, "not made of finite numbers"},
      {{std::nan(""), 0, 680, 70}, "not made of finite numbers"},
  };
  for (const Case& c : cases) {
    const std::string problem = calibration_rect_problem(display, c.dock);
    if (std::string(c.problem).empty()) {
      EXPECT_EQ(problem, "") << describe(c.dock);
    } else {
      EXPECT_NE(problem.find(c.problem), std::string::npos) << describe(c.dock) << ": " << problem;
    }
  }
}

}  // namespace
}  // namespace kolvo::dock
