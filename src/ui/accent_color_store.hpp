#pragma once

#include "base/observable.hpp"
#include "prefs/preference_store.hpp"

namespace kolvo::ui {

// A colour in sRGB, each component 0...1.
struct RGBColor {
  double red = 0, green = 0, blue = 0;
  friend bool operator==(const RGBColor&, const RGBColor&) = default;
};

struct HSBColor {
  double hue = 0, saturation = 0, brightness = 0;  // hue 0...1, as AppKit gives it
};

HSBColor to_hsb(RGBColor color);
RGBColor from_hsb(HSBColor color);

inline constexpr RGBColor kDefaultAccentColor{10.0 / 255.0, 132.0 / 255.0, 1.0};
// The accent must stay readable on dark glass, so it is never darker than this.
inline constexpr double kAccentBrightnessFloor = 0.3;

class AccentColorStore {
 public:
  explicit AccentColorStore(prefs::PreferenceStore& prefs);

  const RGBColor& color() const { return color_.get(); }
  base::Observable<RGBColor>& observable() { return color_; }

  // Takes a colour already converted to sRGB (the platform converts, and does not call when
  // conversion fails). Raises its HSB brightness to the floor, stores and publishes it.
  void set_color(RGBColor srgb);
  void reset_to_default();

 private:
  prefs::PreferenceStore& prefs_;
  base::Observable<RGBColor> color_;
};

}  // namespace kolvo::ui
