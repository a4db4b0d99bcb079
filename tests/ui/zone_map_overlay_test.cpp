#include <gtest/gtest.h>

#include <functional>

#include "ui/zone_map_overlay.hpp"

namespace kolvo::ui {
namespace {

ZoneMap map_of_displays(int count) {
  ZoneMap map;
  for (int i = 0; i < count; ++i) {
    ZoneMapDisplay d;
    d.name = "D";
    d.frame = {i * 1000.0, 0, 1000, 800};
    d.zones.push_back({ZoneMapKind::display, d.frame, {"D", {}, 0, false, {}, {}}});
    map.displays.push_back(d);
  }
  return map;
}

class RecordingPanels final : public ZoneMapPanels {
 public:
  void show_zone_map(const ZoneMap& map) override { events.push_back("show " + std::to_string(map.displays.size())); }
  void hide_zone_map() override { events.push_back("hide"); }
  std::vector<std::string> events;
};

// The overlay follows the switch and the zones, and never draws the same map twice.
TEST(ZoneMapOverlay, ShownWhileOnRedrawnWhenTheMapChangesHiddenWhenOff) {
  prefs::MemoryPreferenceStore prefs({{"com.kolvo.showActivationZones", true}});
  ZoneMapSettingsStore settings(prefs);
  auto panels = std::make_shared<RecordingPanels>();
  int displays = 1;
  ZoneMapOverlay overlay(settings, panels, [&displays] { return map_of_displays(displays); });

  struct Step {
    const char* name;
    std::function<void()> act;
    std::vector<std::string> events;  // everything the panels were told so far
  };
  const Step steps[] = {
      {"on at launch: shown at once", [] {}, {"show 1"}},
      {"rebuilt, nothing changed", [&] { overlay.zones_rebuilt(); }, {"show 1"}},
      {"a display added", [&] { displays = 2; overlay.zones_rebuilt(); }, {"show 1", "show 2"}},
      {"turned off", [&] { settings.set_show_activation_zones(false); }, {"show 1", "show 2", "hide"}},
      {"rebuilt while off", [&] { overlay.zones_rebuilt(); }, {"show 1", "show 2", "hide"}},
      {"turned on again", [&] { settings.set_show_activation_zones(true); }, {"show 1", "show 2", "hide", "show 2"}},
  };
  for (const Step& step : steps) {
    step.act();
    EXPECT_EQ(panels->events, step.events) << step.name;
  }
  EXPECT_EQ(prefs.read_bool("com.kolvo.showActivationZones").value, true);
}

}  // namespace
}  // namespace kolvo::ui
