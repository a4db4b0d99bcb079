#include "ui/zone_map.hpp"

#include <algorithm>
#include <cmath>

namespace kolvo::ui {

const std::array<ZoneMapStyle, 9> kZoneMapStyles{{
    {ZoneMapKind::display, "display", "Display", "slate", {71, 85, 105}, 0.0, 0.9},
    {ZoneMapKind::dock, "dock", "Dock (detected)", "amber", {217, 119, 6}, 0.30, 0.9},
    {ZoneMapKind::dockTrigger, "dockTrigger", "Hidden Dock trigger", "green", {22, 163, 74}, 0.45, 0.9},
    {ZoneMapKind::triggerStrip, "triggerStrip", "Trigger strip", "teal", {13, 148, 136}, 0.75, 0.9},
    {ZoneMapKind::hoverBand, "hoverBand", "Hover band", "sky", {14, 165, 233}, 0.14, 0.6},
    {ZoneMapKind::tray, "tray", "Hidden Dock tray", "blue", {37, 99, 235}, 0.22, 0.9},
    {ZoneMapKind::pressurePoint, "pressurePoint", "Pressure Point", "red", {220, 38, 38}, 0.65, 0.9},
    {ZoneMapKind::sliderZone, "sliderZone", "Edge Slider", "purple", {147, 51, 234}, 0.55, 0.9},
    {ZoneMapKind::dialZone, "dialZone", "Corner Dial", "magenta", {219, 39, 119}, 0.60, 0.9},
}};

const ZoneMapStyle& style_of(ZoneMapKind kind) {
  for (const ZoneMapStyle& style : kZoneMapStyles) {
    if (style.kind == kind) return style;
  }
  return kZoneMapStyles.front();
}

dock::Rect ZoneMap::bounds() const {
  if (displays.empty()) return {};
  double min_x = displays.front().frame.min_x(), min_y = displays.front().frame.min_y();
  double max_x = displays.front().frame.max_x(), max_y = displays.front().frame.max_y();
  for (const ZoneMapDisplay& display : displays) {
    min_x = std::min(min_x, display.frame.min_x());
    min_y = std::min(min_y, display.frame.min_y());
    max_x = std::max(max_x, display.frame.max_x());
    max_y = std::max(max_y, display.frame.max_y());
  }
  return {min_x, min_y, max_x - min_x, max_y - min_y};
}

namespace {

using dock::Point;
using dock::Rect;
using dock::Side;

constexpr std::array kCorners{prefs::Corner::topLeft, prefs::Corner::topRight, prefs::Corner::bottomLeft,
                              prefs::Corner::bottomRight};

// "keyboardBacklight" -> "keyboard backlight": the stored names, as words.
std::string words(std::string_view name) {
  std::string out;
  for (const char c : name) {
    if (c >= 'A' && c <= 'Z') {
      out += ' ';
      out += static_cast<char>(c - 'A' + 'a');
    } else {
      out += c;
    }
  }
  return out;
}

std::string side_word(Side side) { return side == Side::left ? "Left" : "Right"; }

std::string corner_words(prefs::Corner corner) {
  switch (corner) {
    case prefs::Corner::topLeft: return "Top-left";
    case prefs::Corner::topRight: return "Top-right";
    case prefs::Corner::bottomLeft: return "Bottom-left";
    case prefs::Corner::bottomRight: break;
  }
  return "Bottom-right";
}

// The part of `r` on the display: a pointer on a display is never outside it, so an overhang
// below the screen's edge or a trigger beside a side Dock that runs off the screen is no zone.
std::optional<Rect> on_display(const Rect& r, const Rect& frame) {
  const double x0 = std::max(r.min_x(), frame.min_x());
  const double y0 = std::max(r.min_y(), frame.min_y());
  const double x1 = std::min(r.max_x(), frame.max_x());
  const double y1 = std::min(r.max_y(), frame.max_y());
  if (!(x1 > x0) || !(y1 > y0)) return std::nullopt;
  return Rect{x0, y0, x1 - x0, y1 - y0};
}

// Text is measured by code points: the platforms draw a proportional sans-serif whose average
// advance is near 0.6 of its size, and a label a little wider than its text only leaves room.
std::size_t code_points(std::string_view text) {
  std::size_t n = 0;
  for (const char c : text) n += (static_cast<unsigned char>(c) & 0xC0) != 0x80 ? 1 : 0;
  return n;
}

Point nearest_in(const Rect& r, Point p) {
  return {std::clamp(p.x, r.min_x(), r.max_x()), std::clamp(p.y, r.min_y(), r.max_y())};
}

// Places each display's labels so that none covers another: beside its zone where there is
// room, otherwise pushed into the display with a leader back to the zone.
class LabelPlacer {
 public:
  LabelPlacer(const Rect& frame, double size) : frame_(frame), size_(size) {}

  ZoneMapLabel place(const std::string& text, const Rect& zone, ZoneMapKind kind) {
    const double w = static_cast<double>(code_points(text)) * size_ * 0.6 + size_ * 0.8;
    const double h = size_ * 1.5;
    const double gap = size_ * 0.3;
    const bool low = zone.mid_y() <= frame_.mid_y();
    std::vector<Rect> candidates;
    // Where to start when every candidate is taken: the side facing into the display.
    Rect fallback;
    if (kind == ZoneMapKind::display) {
      // Top centre, below the menu bar and clear of the top corners' dials.
      candidates.push_back({frame_.mid_x() - w / 2, frame_.max_y() - h - std::max(gap, 36.0), w, h});
      fallback = candidates.front();
    } else {
      const bool fits_inside = zone.width >= w + 2 * gap && zone.height >= h + 2 * gap;
      if (fits_inside) {
        const double x = kind == ZoneMapKind::dock ? zone.mid_x() - w / 2 : zone.min_x() + gap;
        candidates.push_back({x, zone.max_y() - gap - h, w, h});
      }
      const Rect above{zone.min_x(), zone.max_y() + gap, w, h};
      const Rect below{zone.min_x(), zone.min_y() - gap - h, w, h};
      candidates.push_back(low ? above : below);
      candidates.push_back(low ? below : above);
      candidates.push_back({zone.max_x() + gap, zone.mid_y() - h / 2, w, h});
      candidates.push_back({zone.min_x() - gap - w, zone.mid_y() - h / 2, w, h});
      fallback = low ? above : below;
    }
    for (Rect& candidate : candidates) candidate = clamped(candidate, gap);

    const auto free_candidate =
        std::find_if(candidates.begin(), candidates.end(), [this](const Rect& r) { return free(r); });
    Rect box;
    if (free_candidate != candidates.end()) {
      box = *free_candidate;
    } else {
      // Into the display, away from the edge the zone is on, a line at a time.
      box = clamped(fallback, gap);
      const double step = low && kind != ZoneMapKind::display ? h : -h;
      for (int i = 0; i < 80 && !free(box); ++i) box = clamped({box.x, box.y + step, w, h}, gap);
    }
    taken_.push_back(box);

    ZoneMapLabel label{text, box, size_, false, {}, {}};
    if (kind != ZoneMapKind::display && !dock::intersects(box, zone.grown(2 * gap + 0.5, 2 * gap + 0.5))) {
      label.has_leader = true;
      label.leader_to = nearest_in(zone, {box.mid_x(), box.mid_y()});
      label.leader_from = nearest_in(box, label.leader_to);
    }
    return label;
  }

 private:
  Rect clamped(Rect r, double gap) const {
    r.x = std::max(frame_.min_x() + gap, std::min(r.x, frame_.max_x() - gap - r.width));
    r.y = std::max(frame_.min_y() + gap, std::min(r.y, frame_.max_y() - gap - r.height));
    return r;
  }

  bool free(const Rect& r) const {
    return std::none_of(taken_.begin(), taken_.end(), [&](const Rect& t) { return dock::intersects(r, t); });
  }

  Rect frame_;
  double size_;
  std::vector<Rect> taken_;
};

int draw_rank(ZoneMapKind kind) {
  switch (kind) {
    case ZoneMapKind::display: return 0;
    case ZoneMapKind::dock: return 1;
    case ZoneMapKind::hoverBand: return 2;
    case ZoneMapKind::tray: return 3;
    case ZoneMapKind::dockTrigger: return 4;
    case ZoneMapKind::triggerStrip: return 5;
    case ZoneMapKind::pressurePoint:
    case ZoneMapKind::sliderZone: return 6;
    case ZoneMapKind::dialZone: break;
  }
  return 7;
}

// Labels go to the small zones first, so the large ones (the band, the tray), which can hold
// their label inside, take what is left.
int label_priority(ZoneMapKind kind) {
  switch (kind) {
    case ZoneMapKind::display: return 0;
    case ZoneMapKind::dialZone: return 1;
    case ZoneMapKind::pressurePoint:
    case ZoneMapKind::sliderZone: return 2;
    case ZoneMapKind::dockTrigger: return 3;
    case ZoneMapKind::dock: return 4;
    case ZoneMapKind::triggerStrip: return 5;
    case ZoneMapKind::tray: return 6;
    case ZoneMapKind::hoverBand: break;
  }
  return 7;
}

ZoneMapDisplay map_display(const overlay::ZoneLayout& layout, const overlay::DisplayZones& zones,
                           const ZoneMapScreen& screen, double offset) {
  const overlay::ZoneSettings& s = layout.settings;
  const Rect& frame = zones.frame;
  ZoneMapDisplay out;
  out.name = screen.screen.identity.localized_name;
  out.key = dock::primary_key(screen.screen.identity);
  out.frame = frame;
  // A lone display answers every point; otherwise the layout says which displays react.
  out.reacts = layout.single_display || zones.reacts;
  out.dock_source = zones.dock.detection.source;
  out.dock_position = zones.dock.detection.dock_position;

  std::vector<ZoneMapZone> drawn;
  const auto add = [&](ZoneMapKind kind, const Rect& r, std::string text) {
    const auto visible = kind == ZoneMapKind::display || kind == ZoneMapKind::dock ? std::optional<Rect>(r)
                                                                                    : on_display(r, frame);
    if (!visible || visible->is_empty()) return;
    drawn.push_back({kind, *visible, {std::move(text), {}, 0, false, {}, {}}});
  };

  add(ZoneMapKind::display, frame,
      (out.name.empty() ? "Display " + out.key : out.name) + (out.reacts ? " — reacts" : " — does not react"));
  add(ZoneMapKind::dock, zones.dock.dock_rect, "Dock (" + std::string(dock::to_string(out.dock_source)) + ")");

  if (out.reacts) {
    for (const Side side : {Side::left, Side::right}) {
      if (!s.side_active(side)) continue;
      const std::size_t i = side == Side::left ? 0 : 1;
      const std::string name = side_word(side);
      const Rect& trigger = side == Side::left ? zones.dock.left_trigger_rect : zones.dock.right_trigger_rect;
      if (s.has_slider(side)) {
        // Both the corner strip and, on hover, the Dock end show the slider, never the Hidden Dock.
        const std::string slider = words(prefs::to_string(s.edge_mode(side)));
        if (!s.pressure_mode) add(ZoneMapKind::sliderZone, trigger, name + " " + slider + " slider (Dock end)");
        add(ZoneMapKind::sliderZone, zones.corner_strips[i], name + " " + slider + " slider");
        continue;
      }
      if (s.pressure_mode) {
        add(ZoneMapKind::pressurePoint, zones.corner_strips[i], name + " pressure point");
      } else {
        add(ZoneMapKind::hoverBand, dock::hover_band(zones.dock, side, offset), name + " hover band");
        add(ZoneMapKind::dockTrigger, trigger, name + " Hidden Dock trigger");
        add(ZoneMapKind::triggerStrip, dock::trigger_strip(zones.dock, side, offset), name + " trigger strip");
      }
      add(ZoneMapKind::tray, screen.tray_frames[i], name + " tray");
    }
    for (std::size_t i = 0; i < kCorners.size(); ++i) {
      if (layout.active_dials[i] == prefs::CornerControlMode::off) continue;
      add(ZoneMapKind::dialZone, zones.dial_squares[i],
          corner_words(kCorners[i]) + " dial: " + words(prefs::to_string(layout.active_dials[i])));
    }
  }

  // Drawn large and faint first, small and strong last, so no small zone hides under a big one.
  std::stable_sort(drawn.begin(), drawn.end(),
                   [](const ZoneMapZone& a, const ZoneMapZone& b) { return draw_rank(a.kind) < draw_rank(b.kind); });

  out.zones = std::move(drawn);
  return out;
}

}  // namespace

void place_labels(ZoneMap& map, double label_size) {
  for (ZoneMapDisplay& display : map.displays) {
    std::vector<std::size_t> order(display.zones.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
      return label_priority(display.zones[a].kind) < label_priority(display.zones[b].kind);
    });
    LabelPlacer placer(display.frame, label_size);
    for (const std::size_t i : order) {
      ZoneMapZone& zone = display.zones[i];
      zone.label = placer.place(zone.label.text, zone.rect, zone.kind);
    }
  }
}

ZoneMap make_zone_map(const overlay::ZoneLayout& layout, const std::vector<ZoneMapScreen>& screens, double edge_offset,
                      double label_size) {
  ZoneMap map;
  const std::size_t n = std::min(layout.displays.size(), screens.size());
  for (std::size_t i = 0; i < n; ++i) {
    map.displays.push_back(map_display(layout, layout.displays[i], screens[i], edge_offset));
  }
  place_labels(map, label_size);
  return map;
}

ZoneMap live_zone_map(overlay::LiveZoneProvider& zones, dock::DockServices& dock, double edge_offset,
                      double label_size) {
  const overlay::ZoneLayout layout = zones.zone_layout();
  std::vector<ZoneMapScreen> screens;
  for (const dock::ScreenInfo& screen : dock.screens()) {
    screens.push_back({screen, {zones.tray_frame(screen, Side::left), zones.tray_frame(screen, Side::right)}});
  }
  return make_zone_map(layout, screens, edge_offset, label_size);
}

}  // namespace kolvo::ui
