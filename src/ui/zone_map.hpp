#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "dock/dock_services.hpp"
#include "overlay/activation_zones.hpp"
#include "overlay/zone_provider.hpp"

// The activation zones drawn as a map: per display, every rectangle the pointer can meet, the
// Dock they are built from and where the tray opens. Hot corners and edges are invisible, so
// people cannot tell why a push did nothing; the map shows them where the zones really are.
// The overlay on the Mac and `kolvo dock --svg` draw the same model.
namespace kolvo::ui {

enum class ZoneMapKind {
  display,        // the display's frame
  dock,           // the Dock's detected rectangle
  dockTrigger,    // beside a Dock end: opens the Hidden Dock at once (hover mode)
  triggerStrip,   // the narrow strip at a Dock end where the Hidden Dock meets the Dock
  hoverBand,      // the band beside a Dock end the tray grows into
  tray,           // where the Hidden Dock opens on that side
  pressurePoint,  // a bottom corner that opens the Hidden Dock after a short hold
  sliderZone,     // where an Edge Slider opens
  dialZone,       // a corner square that opens its Corner Dial
};

struct ZoneMapColor {
  std::uint8_t red = 0, green = 0, blue = 0;
  friend bool operator==(const ZoneMapColor&, const ZoneMapColor&) = default;
};

// How one kind is drawn wherever the map is drawn: one colour per kind, so the legend, the
// picture and the overlay agree.
struct ZoneMapStyle {
  ZoneMapKind kind;
  std::string_view kind_name;    // "dockTrigger"
  std::string_view legend;       // "Hidden Dock trigger"
  std::string_view colour_name;  // "green"
  ZoneMapColor colour;
  double fill_alpha;
  double stroke_alpha;
};

// In the order the legend lists them.
extern const std::array<ZoneMapStyle, 9> kZoneMapStyles;
const ZoneMapStyle& style_of(ZoneMapKind kind);

// Labels: dark text on a pale plate, readable over any zone and any desktop picture.
inline constexpr ZoneMapColor kZoneMapLabelText{17, 24, 39};
inline constexpr ZoneMapColor kZoneMapLabelPlate{255, 255, 255};
inline constexpr double kZoneMapLabelPlateAlpha = 0.85;
// The label size of the overlay on a real screen, in points.
inline constexpr double kZoneMapOverlayLabelSize = 11;

struct ZoneMapLabel {
  std::string text;
  dock::Rect box;  // the plate, in the global space; the text starts inside it at the left
  double size = 0;  // text size in points
  // A label pushed away from a small zone by its neighbours points back at it.
  bool has_leader = false;
  dock::Point leader_from, leader_to;

  friend bool operator==(const ZoneMapLabel&, const ZoneMapLabel&) = default;
};

struct ZoneMapZone {
  ZoneMapKind kind = ZoneMapKind::display;
  dock::Rect rect;  // in the global space, inside its display (the display's own frame for `display`)
  ZoneMapLabel label;

  friend bool operator==(const ZoneMapZone&, const ZoneMapZone&) = default;
};

struct ZoneMapDisplay {
  std::string name;
  std::string key;
  dock::Rect frame;
  // Whether the pointer on this display opens anything at all. A display that does not react
  // shows only its frame and its Dock.
  bool reacts = false;
  dock::DockRectSource dock_source = dock::DockRectSource::defaultsEstimate;
  dock::DockPosition dock_position = dock::DockPosition::bottom;
  // The display first, then the Dock, then each zone; labels do not overlap one another.
  std::vector<ZoneMapZone> zones;

  friend bool operator==(const ZoneMapDisplay&, const ZoneMapDisplay&) = default;
};

struct ZoneMap {
  std::vector<ZoneMapDisplay> displays;

  // The union of the displays' frames; empty without displays.
  dock::Rect bounds() const;
  friend bool operator==(const ZoneMap&, const ZoneMap&) = default;
};

// One display as the zones were built for it, and where its tray opens on each side (the
// rectangle the open Hidden Dock really takes: left, right).
struct ZoneMapScreen {
  dock::ScreenInfo screen;
  std::array<dock::Rect, 2> tray_frames;
};

// The map of `layout`, whose displays are `screens` in the same order. Only what reacts under
// the settings appears: a side that is not active has nothing, a slider side its slider zones,
// Pressure Point its corner strips, a blocked or unset dial nothing. Zones are cut to their
// display: a pointer on a display is never outside it. `label_size` is the text size in
// points, which sets how far labels move apart.
ZoneMap make_zone_map(const overlay::ZoneLayout& layout, const std::vector<ZoneMapScreen>& screens, double edge_offset,
                      double label_size);

// Places every label at `label_size` points, beside its zone, none over another. The SVG
// picture, drawn smaller than the screen, uses larger labels than the overlay.
void place_labels(ZoneMap& map, double label_size);

// The map of the running program now: its live zones, the displays and the tray frames.
ZoneMap live_zone_map(overlay::LiveZoneProvider& zones, dock::DockServices& dock, double edge_offset, double label_size);

// The panels a platform draws the map with, one per display, click-through and above normal
// windows.
class ZoneMapPanels {
 public:
  virtual ~ZoneMapPanels() = default;
  // Replaces whatever was drawn with `map`.
  virtual void show_zone_map(const ZoneMap& map) = 0;
  virtual void hide_zone_map() = 0;
};

}  // namespace kolvo::ui
