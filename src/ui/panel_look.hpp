#pragma once

#include "base/observable.hpp"
#include "ui/accent_color_store.hpp"
#include "ui/control_appearance_store.hpp"
#include "ui/liquid_glass_store.hpp"

namespace kolvo::ui {

// A colour in sRGB with its opacity, each 0...1.
struct RGBAColor {
  double red = 0, green = 0, blue = 0, alpha = 0;
  friend bool operator==(const RGBAColor&, const RGBAColor&) = default;
};

// How the overlay panels (the tray and launcher, slider, dial and pressure cue) draw their glass:
// the layers laid over the blurred desktop behind them, and the colours their controls take.
struct PanelGlassStyle {
  bool dark = false;
  // The frost over the blur: whitish on light glass, near black on dark. Opaque when glass is
  // turned off, so the panel is a plain one.
  RGBAColor fill;
  // A wash of colour over the frost: the accent, the chosen colour, or none.
  RGBAColor tint;
  // The light caught along the panel's edge.
  RGBAColor rim;
  // The filled part of a slider or dial.
  RGBColor accent;
  friend bool operator==(const PanelGlassStyle&, const PanelGlassStyle&) = default;
};

// Never more opaque than this while glass is on, so the desktop still shows through it; never
// less than the floor, so labels stay readable over a busy desktop.
inline constexpr double kGlassFrostFloor = 0.15;
inline constexpr double kGlassFrostCeiling = 0.75;
// The strongest tint covers under half the panel's colour, so the frost still reads as glass.
inline constexpr double kGlassTintCeiling = 0.45;

// What a glass configuration looks like in the panels. Stored values outside 0...1 are taken at
// the nearer end. AppKit's public effect views blur but do not bend light, so refraction does
// not change the drawing; it is kept for the settings that show it.
PanelGlassStyle panel_glass_style(const LiquidGlassConfiguration& configuration, bool glass_enabled, bool dark,
                                  const RGBColor& accent);

// The panels' look as the settings say now. It follows the control appearance (light, dark or
// the system's, and the glass switch), the accent colour and the glass configuration, and
// publishes once for each change that alters the look, so open panels restyle while shown.
class PanelLook {
 public:
  PanelLook(ControlAppearanceStore& appearance, AccentColorStore& accent, LiquidGlassStore& glass);
  PanelLook(const PanelLook&) = delete;
  PanelLook& operator=(const PanelLook&) = delete;

  const PanelGlassStyle& style() const { return style_.get(); }
  base::Observable<PanelGlassStyle>& observable() { return style_; }

 private:
  void update();

  ControlAppearanceStore& appearance_;
  AccentColorStore& accent_;
  LiquidGlassStore& glass_;
  base::Observable<PanelGlassStyle> style_;
  base::Subscription dark_subscription_;
  base::Subscription switch_subscription_;
  base::Subscription accent_subscription_;
  base::Subscription glass_subscription_;
};

}  // namespace kolvo::ui
