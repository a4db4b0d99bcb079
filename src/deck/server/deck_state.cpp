#include "deck/server/deck_state.hpp"

#include <algorithm>
#include <cmath>
#include <set>

namespace kolvo::deck {
namespace {

// The phone cannot read NaN or infinity, and a level outside 0 … 1 means nothing to it.
double level(std::optional<double> value) {
  if (!value || !std::isfinite(*value)) return 0;
  return std::clamp(*value, 0.0, 1.0);
}

std::optional<KolvoDeckSlot> slot_for(prefs::CornerControlMode mode, const DeckReadings& r,
                                      const KolvoDeckAvailability& available) {
  using Mode = prefs::CornerControlMode;
  KolvoDeckSlot slot;
  switch (mode) {
    case Mode::timer: return std::nullopt;
    case Mode::off: slot.type = KolvoDeckSlotType::off; break;
    case Mode::volume:
      slot = {KolvoDeckSlotType::volume, available.volume, level(r.volume), {}, {}, {}};
      break;
    case Mode::brightness:
      slot = {KolvoDeckSlotType::brightness, available.brightness, level(r.brightness), {}, {}, {}};
      break;
    case Mode::keyboardBacklight:
      slot = {KolvoDeckSlotType::keyboardBacklight, available.keyboard_backlight, level(r.keyboard_backlight), {}, {}, {}};
      break;
    case Mode::appearance: slot = {KolvoDeckSlotType::appearance, true, {}, r.dark, {}, {}}; break;
    case Mode::audioOutput:
      slot = {KolvoDeckSlotType::audioOutput, available.audio_output, {}, {}, r.audio_devices, r.current_audio_device_id};
      break;
    case Mode::playPause: slot = {KolvoDeckSlotType::playPause, r.accessibility_trusted, {}, {}, {}, {}}; break;
    case Mode::showDesktop: slot = {KolvoDeckSlotType::showDesktop, r.accessibility_trusted, {}, {}, {}, {}}; break;
    case Mode::tabCarousel: slot = {KolvoDeckSlotType::tabCarousel, r.accessibility_trusted, {}, {}, {}, {}}; break;
    case Mode::windowSnap: slot = {KolvoDeckSlotType::windowSnap, r.accessibility_trusted, {}, {}, {}, {}}; break;
  }
  return slot;
}

}  // namespace

KolvoDeckState assemble_state(const DeckReadings& r) {
  KolvoDeckState state;
  state.volume = level(r.volume);
  state.brightness = level(r.brightness);
  state.dark = r.dark;
  state.keyboard_backlight = level(r.keyboard_backlight);
  state.available = {.volume = r.has_volume_control,
                     .brightness = r.brightness_entry_points && r.brightness.has_value(),
                     .appearance = true,
                     .keyboard_backlight = r.backlight_present,
                     .audio_output = !r.audio_devices.empty()};
  state.audio_devices = r.audio_devices;
  state.current_audio_device_id = r.current_audio_device_id;
  state.top_left = slot_for(r.corners[0], r, state.available);
  state.top_right = slot_for(r.corners[1], r, state.available);
  state.bottom_left = slot_for(r.corners[2], r, state.available);
  state.bottom_right = slot_for(r.corners[3], r, state.available);
  state.profile = r.profile;
  state.appearance = KolvoDeckAppearance{level(r.accent[0]), level(r.accent[1]), level(r.accent[2]), r.dark};
  state.desktop_switch_available = r.accessibility_trusted;
  state.stats = r.stats;
  return state;
}

std::vector<KolvoDeckLaunchItem> launch_items(const std::vector<catalog::KolvoAppItem>& dock_apps,
                                              std::span<const std::optional<catalog::KolvoAppItem>> launcher_slots) {
  std::vector<KolvoDeckLaunchItem> items;
  std::set<std::string> listed;
  const auto add = [&](const catalog::KolvoAppItem& app, bool pinned) {
    if (!app.bundle_identifier || app.bundle_identifier->empty()) return;
    if (!listed.insert(*app.bundle_identifier).second) return;
    items.push_back({*app.bundle_identifier, app.name, static_cast<std::int64_t>(items.size()), pinned});
  };
  for (const auto& app : dock_apps) add(app, true);
  for (const auto& slot : launcher_slots) {
    if (slot) add(*slot, false);
  }
  return items;
}

}  // namespace kolvo::deck
