#include "ui/zone_map_svg.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <set>

#include "base/number_text.hpp"
#include "base/utf8.hpp"

namespace kolvo::ui {
namespace {

using dock::Rect;

// Hundredths of a point are finer than any display draws; fewer digits keep the file readable.
std::string num(double value) {
  double rounded = std::round(value * 100) / 100;
  if (rounded == 0) rounded = 0;  // never "-0"
  return base::shortest_real_text(rounded);
}

std::string hex(const ZoneMapColor& c) {
  char text[8];
  std::snprintf(text, sizeof text, "#%02X%02X%02X", c.red, c.green, c.blue);
  return text;
}

// The rectangle's attributes in the flipped space.
std::string rect_attributes(const Rect& r) {
  return "x=\"" + num(r.min_x()) + "\" y=\"" + num(-r.max_y()) + "\" width=\"" + num(r.width) + "\" height=\"" +
         num(r.height) + "\"";
}

class Writer {
 public:
  explicit Writer(const ZoneMap& map)
      : map_(map), bounds_(map.bounds()), scale_(zone_map_svg_scale(bounds_)), stroke_(1.5 / scale_) {}

  std::string write() {
    const double width_px = std::max(1.0, std::round(bounds_.width * scale_));
    const double height_px = std::max(1.0, std::round(bounds_.height * scale_));
    out_ += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    out_ += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + num(width_px) + "\" height=\"" + num(height_px) +
            "\" viewBox=\"" + num(bounds_.min_x()) + " " + num(-bounds_.max_y()) + " " + num(bounds_.width) + " " +
            num(bounds_.height) + "\" font-family=\"Helvetica, Arial, sans-serif\">\n";
    out_ += "<title>Kolvo activation zones</title>\n";
    out_ += "<rect id=\"page\" " + rect_attributes(bounds_) + " fill=\"" + hex(kZoneMapSvgPage) + "\"/>\n";
    for (std::size_t i = 0; i < map_.displays.size(); ++i) display(i, map_.displays[i]);
    for (const ZoneMapDisplay& d : map_.displays) labels(d);
    legend();
    out_ += "</svg>\n";
    return std::move(out_);
  }

 private:
  void display(std::size_t index, const ZoneMapDisplay& d) {
    out_ += "<g id=\"display-" + std::to_string(index) + "\" data-key=\"" + escape_xml(d.key) + "\" data-reacts=\"" +
            (d.reacts ? "true" : "false") + "\" data-dock-source=\"" + std::string(dock::to_string(d.dock_source)) +
            "\">\n";
    for (const ZoneMapZone& zone : d.zones) {
      const ZoneMapStyle& style = style_of(zone.kind);
      out_ += "<rect data-kind=\"" + std::string(style.kind_name) + "\" " + rect_attributes(zone.rect);
      if (zone.kind == ZoneMapKind::display) {
        out_ += " fill=\"" + hex(kZoneMapSvgPaper) + "\"";
      } else {
        out_ += " fill=\"" + hex(style.colour) + "\" fill-opacity=\"" + num(style.fill_alpha) + "\"";
      }
      out_ += " stroke=\"" + hex(style.colour) + "\" stroke-opacity=\"" + num(style.stroke_alpha) +
              "\" stroke-width=\"" + num(zone.kind == ZoneMapKind::display ? 2 * stroke_ : stroke_) + "\"";
      // A display that does not react is drawn dashed, as nothing on it opens.
      if (zone.kind == ZoneMapKind::display && !d.reacts) {
        out_ += " stroke-dasharray=\"" + num(8 * stroke_) + " " + num(6 * stroke_) + "\"";
      }
      out_ += "><title>" + escape_xml(zone.label.text) + " (" + num(zone.rect.x) + ", " + num(zone.rect.y) + ", " +
              num(zone.rect.width) + ", " + num(zone.rect.height) + ")</title></rect>\n";
      kinds_.insert(static_cast<int>(zone.kind));
    }
    out_ += "</g>\n";
  }

  void labels(const ZoneMapDisplay& d) {
    out_ += "<g class=\"labels\">\n";
    for (const ZoneMapZone& zone : d.zones) {
      const ZoneMapLabel& label = zone.label;
      if (label.has_leader) {
        out_ += "<line x1=\"" + num(label.leader_from.x) + "\" y1=\"" + num(-label.leader_from.y) + "\" x2=\"" +
                num(label.leader_to.x) + "\" y2=\"" + num(-label.leader_to.y) + "\" stroke=\"" +
                hex(kZoneMapLabelText) + "\" stroke-opacity=\"0.6\" stroke-width=\"" + num(stroke_) + "\"/>\n";
      }
      plate_and_text(label.box, label.size, label.text);
    }
    out_ += "</g>\n";
  }

  void plate_and_text(const Rect& box, double size, const std::string& text) {
    out_ += "<rect " + rect_attributes(box) + " rx=\"" + num(size * 0.3) + "\" fill=\"" + hex(kZoneMapLabelPlate) +
            "\" fill-opacity=\"" + num(kZoneMapLabelPlateAlpha) + "\"/>\n";
    out_ += "<text x=\"" + num(box.min_x() + size * 0.4) + "\" y=\"" + num(-box.mid_y()) + "\" font-size=\"" +
            num(size) + "\" dominant-baseline=\"central\" fill=\"" + hex(kZoneMapLabelText) + "\">" + escape_xml(text) +
            "</text>\n";
  }

  // Where the legend covers no zone and no label: the middle of a display, else another part of
  // one, else the middle of the first display over whatever is there.
  Rect legend_box(double width, double height) const {
    constexpr std::array<std::array<double, 2>, 9> kSpots{{{0.5, 0.5},
                                                            {0.5, 0.7},
                                                            {0.3, 0.6},
                                                            {0.7, 0.6},
                                                            {0.5, 0.3},
                                                            {0.25, 0.35},
                                                            {0.75, 0.35},
                                                            {0.25, 0.8},
                                                            {0.75, 0.8}}};
    const auto at = [&](const Rect& frame, const std::array<double, 2>& spot) {
      const double x = std::clamp(frame.min_x() + frame.width * spot[0] - width / 2, frame.min_x(), frame.max_x() - width);
      const double y = std::clamp(frame.min_y() + frame.height * spot[1] - height / 2, frame.min_y(),
                                  frame.max_y() - height);
      return Rect{x, y, width, height};
    };
    for (const auto& spot : kSpots) {
      for (const ZoneMapDisplay& display : map_.displays) {
        if (display.frame.width < width || display.frame.height < height) continue;
        const Rect box = at(display.frame, spot);
        const bool covers = std::any_of(map_.displays.begin(), map_.displays.end(), [&](const ZoneMapDisplay& d) {
          return std::any_of(d.zones.begin(), d.zones.end(), [&](const ZoneMapZone& z) {
            return dock::intersects(box, z.label.box) || (z.kind != ZoneMapKind::display && dock::intersects(box, z.rect));
          });
        });
        if (!covers) return box;
      }
    }
    return at(map_.displays.front().frame, kSpots.front());
  }

  // What each colour means, for the kinds on this map.
  void legend() {
    if (map_.displays.empty()) return;
    const double size = map_.displays.front().zones.empty() ? 13 / scale_ : map_.displays.front().zones.front().label.size;
    const double row = size * 1.6;
    std::vector<const ZoneMapStyle*> rows;
    for (const ZoneMapStyle& style : kZoneMapStyles) {
      if (kinds_.contains(static_cast<int>(style.kind))) rows.push_back(&style);
    }
    std::size_t longest = 16;  // "Activation zones"
    for (const ZoneMapStyle* style : rows) longest = std::max(longest, style->legend.size() + style->colour_name.size() + 3);
    const double width = static_cast<double>(longest) * size * 0.6 + size * 3.2;
    const double height = row * static_cast<double>(rows.size() + 1) + size * 0.6;
    const Rect box = legend_box(width, height);
    out_ += "<g id=\"legend\">\n<rect " + rect_attributes(box) + " rx=\"" + num(size * 0.4) + "\" fill=\"" +
            hex(kZoneMapLabelPlate) + "\" fill-opacity=\"0.92\" stroke=\"" + hex(style_of(ZoneMapKind::display).colour) +
            "\" stroke-width=\"" + num(stroke_) + "\"/>\n";
    double top = box.max_y() - size * 0.3;
    out_ += "<text x=\"" + num(box.min_x() + size * 0.6) + "\" y=\"" + num(-(top - row / 2)) + "\" font-size=\"" +
            num(size) + "\" font-weight=\"bold\" dominant-baseline=\"central\" fill=\"" + hex(kZoneMapLabelText) +
            "\">Activation zones</text>\n";
    for (const ZoneMapStyle* style : rows) {
      top -= row;
      const Rect swatch{box.min_x() + size * 0.6, top - row / 2 - size * 0.5, size * 1.2, size};
      out_ += "<rect data-legend=\"" + std::string(style->kind_name) + "\" " + rect_attributes(swatch) + " fill=\"" +
              hex(style->kind == ZoneMapKind::display ? kZoneMapSvgPaper : style->colour) + "\" fill-opacity=\"" +
              num(style->kind == ZoneMapKind::display ? 1.0 : std::max(style->fill_alpha, 0.35)) + "\" stroke=\"" +
              hex(style->colour) + "\" stroke-width=\"" + num(stroke_) + "\"/>\n";
      out_ += "<text x=\"" + num(swatch.max_x() + size * 0.5) + "\" y=\"" + num(-(top - row / 2)) + "\" font-size=\"" +
              num(size) + "\" dominant-baseline=\"central\" fill=\"" + hex(kZoneMapLabelText) + "\">" +
              escape_xml(style->legend) + " (" + std::string(style->colour_name) + ")</text>\n";
    }
    out_ += "</g>\n";
  }

  const ZoneMap& map_;
  Rect bounds_;
  double scale_;
  double stroke_;
  std::set<int> kinds_;
  std::string out_;
};

}  // namespace

double zone_map_svg_scale(const dock::Rect& bounds) {
  const double longest = std::max(bounds.width, bounds.height);
  return longest > kZoneMapSvgLongestSide ? kZoneMapSvgLongestSide / longest : 1.0;
}

double zone_map_svg_label_size(const dock::Rect& bounds) { return kZoneMapSvgLabelPixels / zone_map_svg_scale(bounds); }

std::string zone_map_svg(const ZoneMap& map) { return Writer(map).write(); }

std::string escape_xml(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  const auto* data = reinterpret_cast<const std::uint8_t*>(text.data());
  std::size_t i = 0;
  while (i < text.size()) {
    const base::Utf8Step step = base::utf8_step(data + i, text.size() - i);
    if (!step.valid) {
      out += base::kReplacementCharacter;
    } else if (step.length > 1) {
      out.append(text.substr(i, step.length));
    } else {
      const char c = text[i];
      switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        case '\'': out += "&apos;"; break;
        case '\t':
        case '\n':
        case '\r': out += c; break;
        default:
          if (static_cast<unsigned char>(c) >= 0x20) out += c;
      }
    }
    i += step.length;
  }
  return out;
}

}  // namespace kolvo::ui
