#include <gtest/gtest.h>

#include "catalog/profile_store.hpp"

namespace kolvo::catalog {
namespace {

using prefs::CornerControlMode;
using prefs::EdgeMode;

// Each part of a profile overrides only its own part of the Default, and each edge and corner
// comes from its own field: a right edge read from the left field would go unnoticed by any
// profile that sets both sides alike.
TEST(ProfileLayout, EachOverrideTakesItsOwnFields) {
  const std::vector<KolvoAppItem> defaults(3);
  const std::array<CornerControlMode, 4> default_corners{CornerControlMode::volume, CornerControlMode::off,
                                                         CornerControlMode::off, CornerControlMode::timer};
  struct Case {
    const char* name;
    bool sliders, dials;
    EdgeMode left, right;
    EdgeMode expected_left, expected_right;
    std::array<CornerControlMode, 4> expected_corners;
  };
  const Case cases[] = {
      {"no overrides", false, false, EdgeMode::volume, EdgeMode::brightness, EdgeMode::dock, EdgeMode::appearance,
       default_corners},
      {"sliders", true, false, EdgeMode::volume, EdgeMode::brightness, EdgeMode::volume, EdgeMode::brightness,
       default_corners},
      {"sliders, right only", true, false, EdgeMode::dock, EdgeMode::volume, EdgeMode::dock, EdgeMode::volume,
       default_corners},
      {"dials", false, true, EdgeMode::volume, EdgeMode::brightness, EdgeMode::dock, EdgeMode::appearance,
       {CornerControlMode::off, CornerControlMode::brightness, CornerControlMode::off, CornerControlMode::off}},
  };
  for (const Case& c : cases) {
    KolvoProfile profile;
    profile.bundle_id = "com.example.app";
    profile.overrides_sliders = c.sliders;
    profile.left_edge_mode = c.left;
    profile.right_edge_mode = c.right;
    profile.overrides_dials = c.dials;
    profile.corners = {{"topRight", CornerControlMode::brightness}};
    const EffectiveLayout layout =
        effective_layout(&profile, defaults, EdgeMode::dock, EdgeMode::appearance, default_corners);
    EXPECT_EQ(layout.left_edge_mode, c.expected_left) << c.name;
    EXPECT_EQ(layout.right_edge_mode, c.expected_right) << c.name;
    EXPECT_EQ(layout.corners, c.expected_corners) << c.name;
    EXPECT_EQ(layout.dock_apps.size(), 3u) << c.name;
  }
}

}  // namespace
}  // namespace kolvo::catalog
