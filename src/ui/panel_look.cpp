#include "ui/panel_look.hpp"

#include <algorithm>

namespace kolvo::ui {
namespace {

double unit(double value) { return std::clamp(value, 0.0, 1.0); }

}  // namespace

PanelGlassStyle panel_glass_style(const LiquidGlassConfiguration& c, bool glass_enabled, bool dark,
                                  const RGBColor& accent) {
  PanelGlassStyle style;
  style.dark = dark;
  style.accent = accent;

  // Frost whitens light glass and darkens dark glass; the material's strength thickens it too.
  const double frost = kGlassFrostFloor + (kGlassFrostCeiling - kGlassFrostFloor) *
                                              (0.6 * unit(c.frost) + 0.4 * unit(c.material_strength));
  const double shade = dark ? 0.11 : 0.98;
  style.fill = {shade, shade, shade, glass_enabled ? frost : 1.0};

  const double tint_alpha = kGlassTintCeiling * unit(c.tint_strength);
  switch (c.tint) {
    case prefs::LiquidGlassTint::automatic: style.tint = {accent.red, accent.green, accent.blue, tint_alpha}; break;
    case prefs::LiquidGlassTint::custom:
      style.tint = {unit(c.tint_color.red), unit(c.tint_color.green), unit(c.tint_color.blue), tint_alpha};
      break;
    case prefs::LiquidGlassTint::neutral: style.tint = {shade, shade, shade, 0}; break;
  }

  // Dark glass catches less light at its edge than light glass does.
  style.rim = {1, 1, 1, unit(c.highlight_strength) * (dark ? 0.35 : 0.7)};
  return style;
}

PanelLook::PanelLook(ControlAppearanceStore& appearance, AccentColorStore& accent, LiquidGlassStore& glass)
    : appearance_(appearance), accent_(accent), glass_(glass) {
  style_.set(panel_glass_style(glass_.configuration(), appearance_.liquid_glass_enabled(), appearance_.dark(),
                               accent_.color()));
  // The appearance store re-publishes `dark` on every theme or glass change, even when nothing
  // it decides has changed; update() passes on only what alters the look.
  dark_subscription_ = appearance_.dark_observable().subscribe([this](bool) { update(); });
  switch_subscription_ = appearance_.liquid_glass_enabled_observable().subscribe([this](bool) { update(); });
  accent_subscription_ = accent_.observable().subscribe([this](const RGBColor&) { update(); });
  glass_subscription_ = glass_.observable().subscribe([this](const LiquidGlassConfiguration&) { update(); });
}

void PanelLook::update() {
  PanelGlassStyle now = panel_glass_style(glass_.configuration(), appearance_.liquid_glass_enabled(),
                                          appearance_.dark(), accent_.color());
  if (now != style_.get()) style_.set(std::move(now));
}

}  // namespace kolvo::ui
