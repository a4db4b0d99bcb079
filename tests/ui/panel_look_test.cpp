#include <gtest/gtest.h>

#include <vector>

#include "support/settings_fixture.hpp"
#include "ui/panel_look.hpp"

namespace kolvo::ui {
namespace {

using Tint = prefs::LiquidGlassTint;

const RGBColor kAccent{1.0, 0.2, 0.1};

LiquidGlassConfiguration glass(double frost, double material, Tint tint, double tint_strength, double highlight) {
  LiquidGlassConfiguration c = LiquidGlassConfiguration::defaults(true);
  c.frost = frost;
  c.material_strength = material;
  c.tint = tint;
  c.tint_color = {0.2, 0.9, 0.3};
  c.tint_strength = tint_strength;
  c.highlight_strength = highlight;
  return c;
}

// Glass stays see-through however it is set, and readable; a panel with glass turned off is solid.
TEST(PanelGlassStyle, FrostStaysGlassWhileGlassIsOnAndIsSolidWhenOff) {
  struct Case {
    const char* name;
    double frost;
    double material;
  };
  const Case cases[] = {
      {"none", 0, 0}, {"the defaults", 0.4, 0.45}, {"all", 1, 1}, {"stored past the ends", 7, 12}, {"negative", -3, -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const auto config = glass(c.frost, c.material, Tint::neutral, 0, 0);
    for (const bool dark : {false, true}) {
      const double on = panel_glass_style(config, true, dark, kAccent).fill.alpha;
      EXPECT_GE(on, kGlassFrostFloor);
      EXPECT_LE(on, kGlassFrostCeiling);
      EXPECT_EQ(panel_glass_style(config, false, dark, kAccent).fill.alpha, 1.0);
    }
  }
  EXPECT_EQ(panel_glass_style(glass(7, 12, Tint::neutral, 0, 0), true, false, kAccent),
            panel_glass_style(glass(1, 1, Tint::neutral, 0, 0), true, false, kAccent))
      << "values past the ends draw as the ends";
}

// Each setting moves the drawing its own way, so two that were swapped or one that was ignored
// shows here.
TEST(PanelGlassStyle, EachSettingChangesItsOwnLayer) {
  const auto base = glass(0.3, 0.3, Tint::automatic, 0.3, 0.3);
  const auto style = [](const LiquidGlassConfiguration& c) { return panel_glass_style(c, true, false, kAccent); };
  const PanelGlassStyle before = style(base);
  struct Case {
    const char* name;
    LiquidGlassConfiguration changed;
    bool fill;
    bool tint;
    bool rim;
  };
  const Case cases[] = {
      {"more frost", glass(0.9, 0.3, Tint::automatic, 0.3, 0.3), true, false, false},
      {"a stronger material", glass(0.3, 0.9, Tint::automatic, 0.3, 0.3), true, false, false},
      {"a stronger tint", glass(0.3, 0.3, Tint::automatic, 0.9, 0.3), false, true, false},
      {"a stronger highlight", glass(0.3, 0.3, Tint::automatic, 0.3, 0.9), false, false, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const PanelGlassStyle after = style(c.changed);
    EXPECT_EQ(after.fill.alpha > before.fill.alpha, c.fill);
    EXPECT_EQ(after.tint.alpha > before.tint.alpha, c.tint);
    EXPECT_EQ(after.rim.alpha > before.rim.alpha, c.rim);
    if (!c.fill) {
      EXPECT_EQ(after.fill, before.fill);
    }
  }
  EXPECT_EQ(style(glass(0.3, 0.3, Tint::automatic, 0.3, 0)).rim.alpha, 0) << "no highlight, no rim";
  EXPECT_LE(style(glass(0.3, 0.3, Tint::automatic, 0.3, 5)).rim.alpha, 1);
}

TEST(PanelGlassStyle, TheTintFollowsItsModeAndTheFrostTheAppearance) {
  struct Case {
    const char* name;
    Tint tint;
    double strength;
    RGBAColor expected;
  };
  const Case cases[] = {
      {"automatic takes the accent", Tint::automatic, 1, {1.0, 0.2, 0.1, kGlassTintCeiling}},
      {"custom takes its own colour", Tint::custom, 1, {0.2, 0.9, 0.3, kGlassTintCeiling}},
      {"half strength", Tint::custom, 0.5, {0.2, 0.9, 0.3, kGlassTintCeiling / 2}},
      {"no strength", Tint::automatic, 0, {1.0, 0.2, 0.1, 0}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(panel_glass_style(glass(0.4, 0.4, c.tint, c.strength, 0.5), true, false, kAccent).tint, c.expected);
  }
  EXPECT_EQ(panel_glass_style(glass(0.4, 0.4, Tint::neutral, 1, 0.5), true, false, kAccent).tint.alpha, 0)
      << "neutral glass has no colour at any strength";

  LiquidGlassConfiguration odd = glass(0.4, 0.4, Tint::custom, 1, 0.5);
  odd.tint_color = {1.4, -0.2, 0.5};
  const RGBAColor tint = panel_glass_style(odd, true, false, kAccent).tint;
  EXPECT_EQ(tint.red, 1);
  EXPECT_EQ(tint.green, 0);

  const auto light = panel_glass_style(glass(0.4, 0.4, Tint::neutral, 0, 0.5), true, false, kAccent);
  const auto dark = panel_glass_style(glass(0.4, 0.4, Tint::neutral, 0, 0.5), true, true, kAccent);
  EXPECT_GT(light.fill.red, 0.5);
  EXPECT_LT(dark.fill.red, 0.5);
  EXPECT_FALSE(light.dark);
  EXPECT_TRUE(dark.dark);
  EXPECT_EQ(dark.accent, kAccent);
}

// Open panels restyle from this: every change of a setting that alters the look publishes the
// new look once, and nothing is published for a change that alters nothing.
TEST(PanelLook, PublishesOnceForEachChangeThatAltersTheLook) {
  testing::SettingsFixture fixture;
  auto& settings = *fixture.settings;
  settings.control_appearance().set_mode(prefs::ControlAppearanceMode::light);
  settings.accent_color().set_color(kAccent);
  settings.liquid_glass().set_configuration(glass(0.4, 0.4, Tint::automatic, 0.5, 0.5));
  settings.control_appearance().set_liquid_glass_enabled(true);

  PanelLook look(settings.control_appearance(), settings.accent_color(), settings.liquid_glass());
  EXPECT_FALSE(look.style().dark);
  EXPECT_EQ(look.style().tint.red, settings.accent_color().color().red);
  std::vector<PanelGlassStyle> published;
  auto subscription = look.observable().subscribe([&](const PanelGlassStyle& s) { published.push_back(s); });

  struct Step {
    const char* name;
    std::function<void()> change;
    std::size_t published;
    std::function<bool(const PanelGlassStyle&)> holds;
  };
  const Step steps[] = {
      {"dark mode", [&] { settings.control_appearance().set_mode(prefs::ControlAppearanceMode::dark); }, 1,
       [](const PanelGlassStyle& s) { return s.dark; }},
      {"dark mode again", [&] { settings.control_appearance().set_mode(prefs::ControlAppearanceMode::dark); }, 1,
       nullptr},
      {"the system turns light, which dark mode ignores", [&] { fixture.mac.set_dark_mode(false); }, 1, nullptr},
      {"follow the system", [&] { settings.control_appearance().set_mode(prefs::ControlAppearanceMode::automatic); },
       2, [](const PanelGlassStyle& s) { return !s.dark; }},
      {"the system turns dark", [&] { fixture.mac.set_dark_mode(true); }, 3,
       [](const PanelGlassStyle& s) { return s.dark; }},
      {"a new accent", [&] { settings.accent_color().set_color({0.1, 0.8, 0.2}); }, 4,
       [&](const PanelGlassStyle& s) {
         const RGBColor now = settings.accent_color().color();
         return now.green > 0.7 && s.accent == now && s.tint.green == now.green;
       }},
      {"more frost", [&] { settings.liquid_glass().set_configuration(glass(0.9, 0.4, Tint::automatic, 0.5, 0.5)); },
       5, [](const PanelGlassStyle& s) { return s.fill.alpha < 1; }},
      {"the same configuration",
       [&] { settings.liquid_glass().set_configuration(glass(0.9, 0.4, Tint::automatic, 0.5, 0.5)); }, 5, nullptr},
      {"glass off", [&] { settings.control_appearance().set_liquid_glass_enabled(false); }, 6,
       [](const PanelGlassStyle& s) { return s.fill.alpha == 1; }},
  };
  for (const Step& step : steps) {
    SCOPED_TRACE(step.name);
    step.change();
    ASSERT_EQ(published.size(), step.published);
    if (step.holds) {
      EXPECT_TRUE(step.holds(published.back()));
    }
    EXPECT_EQ(look.style(), published.back());
  }
}

}  // namespace
}  // namespace kolvo::ui
