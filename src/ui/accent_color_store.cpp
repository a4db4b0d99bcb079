#include "ui/accent_color_store.hpp"

#include <algorithm>
#include <cmath>

#include "prefs/settings_keys.hpp"

namespace kolvo::ui {
namespace {

RGBColor load_color(const prefs::PreferenceStore& prefs) {
  const auto stored = prefs.read_real_array(prefs::keys::kAccentColorRGB);
  if (!stored.is_present() || stored.value.size() != 3) return kDefaultAccentColor;
  for (const double component : stored.value) {
    if (!std::isfinite(component) || component < 0.0 || component > 1.0) return kDefaultAccentColor;
  }
  return {stored.value[0], stored.value[1], stored.value[2]};
}

}  // namespace

HSBColor to_hsb(RGBColor c) {
  const double max = std::max({c.red, c.green, c.blue});
  const double min = std::min({c.red, c.green, c.blue});
  const double delta = max - min;
  HSBColor out;
  out.brightness = max;
  out.saturation = max > 0 ? delta / max : 0;
  if (delta > 0) {
    double hue;
    if (max == c.red) {
      hue = std::fmod((c.green - c.blue) / delta, 6.0);
    } else if (max == c.green) {
      hue = (c.blue - c.red) / delta + 2.0;
    } else {
      hue = (c.red - c.green) / delta + 4.0;
    }
    hue /= 6.0;
    if (hue < 0) hue += 1.0;
    out.hue = hue;
  }
  return out;
}

RGBColor from_hsb(HSBColor c) {
  const double h = (c.hue >= 1.0 ? 0.0 : c.hue) * 6.0;
  const int sector = static_cast<int>(std::floor(h));
  const double f = h - sector;
  const double v = c.brightness;
  const double p = v * (1 - c.saturation);
  const double q = v * (1 - c.saturation * f);
  const double t = v * (1 - c.saturation * (1 - f));
  switch (sector) {
    case 0: return {v, t, p};
    case 1: return {q, v, p};
    case 2: return {p, v, t};
    case 3: return {p, q, v};
    case 4: return {t, p, v};
    default: return {v, p, q};
  }
}

AccentColorStore::AccentColorStore(prefs::PreferenceStore& prefs) : prefs_(prefs), color_(load_color(prefs)) {}

void AccentColorStore::set_color(RGBColor srgb) {
  auto clamp01 = [](double v) { return std::isfinite(v) ? std::clamp(v, 0.0, 1.0) : 0.0; };
  HSBColor hsb = to_hsb({clamp01(srgb.red), clamp01(srgb.green), clamp01(srgb.blue)});
  if (hsb.brightness <= kAccentBrightnessFloor) hsb.brightness = kAccentBrightnessFloor;
  const RGBColor floored = from_hsb(hsb);
  prefs_.set(prefs::keys::kAccentColorRGB, prefs::PreferenceValue::Array{floored.red, floored.green, floored.blue});
  color_.set(floored);
}

void AccentColorStore::reset_to_default() {
  prefs_.remove(prefs::keys::kAccentColorRGB);
  color_.set(kDefaultAccentColor);
}

}  // namespace kolvo::ui
