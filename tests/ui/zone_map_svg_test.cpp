#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <set>

#include "ui/zone_map_svg.hpp"

namespace kolvo::ui {
namespace {

using dock::Rect;

ZoneMapDisplay display_of(const std::string& name, const Rect& frame, std::vector<ZoneMapZone> zones = {}) {
  ZoneMapDisplay d;
  d.name = name;
  d.key = name;
  d.frame = frame;
  d.reacts = true;
  d.zones.push_back({ZoneMapKind::display, frame, {name, {}, 0, false, {}, {}}});
  for (auto& zone : zones) d.zones.push_back(std::move(zone));
  return d;
}

ZoneMapZone zone(ZoneMapKind kind, const Rect& rect, std::string text = "zone") {
  return {kind, rect, {std::move(text), {}, 0, false, {}, {}}};
}

std::string attribute(const std::string& svg, const std::string& name) {
  std::smatch match;
  if (!std::regex_search(svg, match, std::regex("<svg[^>]* " + name + "=\"([^\"]*)\""))) return "(none)";
  return match[1];
}

// The picture spans exactly the displays, whatever their origins, and is drawn at one pixel
// per point up to 1600 pixels.
TEST(ZoneMapSvg, ViewBoxIsTheUnionOfTheDisplaysAndTheSizeKeepsTheirShape) {
  struct Case {
    const char* name;
    std::vector<Rect> frames;
    const char* view_box;
    const char* width;
    const char* height;
  };
  const Case cases[] = {
      {"one laptop", {{0, 0, 1512, 982}}, "0 -982 1512 982", "1512", "982"},
      {"a display to the right, lower", {{0, 0, 1512, 982}, {1512, -200, 2560, 1440}}, "0 -1240 4072 1440", "1600",
       "566"},
      {"a display above, further left", {{0, 0, 1512, 982}, {-300, 982, 1920, 1080}}, "-300 -2062 1920 2062", "1490",
       "1600"},
      {"a display to the left", {{0, 0, 1440, 900}, {-1280.5, 100, 1280.5, 720}}, "-1280.5 -900 2720.5 900", "1600",
       "529"},
  };
  for (const Case& c : cases) {
    ZoneMap map;
    for (const Rect& frame : c.frames) map.displays.push_back(display_of("D", frame));
    place_labels(map, zone_map_svg_label_size(map.bounds()));
    const std::string svg = zone_map_svg(map);
    EXPECT_EQ(attribute(svg, "viewBox"), c.view_box) << c.name;
    EXPECT_EQ(attribute(svg, "width"), c.width) << c.name;
    EXPECT_EQ(attribute(svg, "height"), c.height) << c.name;
  }
}

// y grows upward on the screen and downward in SVG: a rectangle's top edge is its SVG y.
TEST(ZoneMapSvg, RectanglesAreFlippedIntoSvgSpace) {
  struct Case {
    Rect rect;
    const char* attributes;
  };
  const Case cases[] = {
      {{436, 0, 640, 70}, "x=\"436\" y=\"-70\" width=\"640\" height=\"70\""},
      {{0, 960, 22, 22}, "x=\"0\" y=\"-982\" width=\"22\" height=\"22\""},
      {{1512, -200, 96, 6}, "x=\"1512\" y=\"194\" width=\"96\" height=\"6\""},
      {{220.4, 0.25, 221.6, 69.5}, "x=\"220.4\" y=\"-69.75\" width=\"221.6\" height=\"69.5\""},
  };
  for (const Case& c : cases) {
    ZoneMap map;
    map.displays.push_back(display_of("D", {0, -200, 3000, 1182}, {zone(ZoneMapKind::dialZone, c.rect)}));
    place_labels(map, 11);
    const std::string svg = zone_map_svg(map);
    EXPECT_NE(svg.find("<rect data-kind=\"dialZone\" " + std::string(c.attributes)), std::string::npos)
        << c.attributes << "\n"
        << svg;
  }
}

TEST(ZoneMapSvg, EachKindIsDrawnInItsOwnNamedColour) {
  ZoneMap map;
  std::vector<ZoneMapZone> zones;
  for (const ZoneMapStyle& style : kZoneMapStyles) {
    if (style.kind != ZoneMapKind::display) zones.push_back(zone(style.kind, {100, 100, 50, 50}));
  }
  map.displays.push_back(display_of("D", {0, 0, 1000, 800}, zones));
  place_labels(map, 11);
  const std::string svg = zone_map_svg(map);
  std::set<std::string> colours;
  for (const ZoneMapStyle& style : kZoneMapStyles) {
    char hex[8];
    std::snprintf(hex, sizeof hex, "#%02X%02X%02X", style.colour.red, style.colour.green, style.colour.blue);
    colours.insert(hex);
    const std::regex drawn("<rect data-kind=\"" + std::string(style.kind_name) + "\"[^>]* stroke=\"" + hex + "\"");
    EXPECT_TRUE(std::regex_search(svg, drawn)) << style.kind_name;
    EXPECT_NE(svg.find(std::string(style.legend) + " (" + std::string(style.colour_name) + ")"), std::string::npos)
        << "the legend names " << style.kind_name;
  }
  EXPECT_EQ(colours.size(), kZoneMapStyles.size()) << "two kinds share a colour";
}

TEST(ZoneMapSvg, TextIsEscapedAndAlwaysValidUtf8) {
  struct Case {
    std::string text;
    std::string escaped;
  };
  const Case cases[] = {
      {"Studio <&\"> Display", "Studio &lt;&amp;&quot;&gt; Display"},
      {"Bob's", "Bob&apos;s"},
      {"Écran intégré", "Écran intégré"},
      {std::string("bad \xff byte"), "bad \xEF\xBF\xBD byte"},
      {std::string("bell\x07 and nul\0!", 15), "bell and nul!"},
  };
  for (const Case& c : cases) EXPECT_EQ(escape_xml(c.text), c.escaped) << c.text;

  ZoneMap map;
  map.displays.push_back(display_of("Studio <&\"> Display", {0, 0, 1000, 800}));
  map.displays.front().key = "K<\"";
  place_labels(map, 11);
  const std::string svg = zone_map_svg(map);
  EXPECT_NE(svg.find("Studio &lt;&amp;&quot;&gt; Display"), std::string::npos);
  EXPECT_NE(svg.find("data-key=\"K&lt;&quot;\""), std::string::npos);
  EXPECT_EQ(svg.find("<&\""), std::string::npos);
}

}  // namespace
}  // namespace kolvo::ui
