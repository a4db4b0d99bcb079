#include "controls/brightness_controllers.hpp"

#include <cmath>

#include "base/unit_interval.hpp"

namespace kolvo::controls {

DisplayBrightnessController::DisplayBrightnessController(PrivateFrameworksPort& frameworks) : frameworks_(frameworks) {
  if (!frameworks_.load_library(kLibraryPath)) return;
  get_brightness_ = frameworks_.get_brightness_symbol(kLibraryPath, kGetSymbol);
  set_brightness_ = frameworks_.set_brightness_symbol(kLibraryPath, kSetSymbol);
}

std::optional<float> DisplayBrightnessController::brightness() const {
  if (!get_brightness_) return std::nullopt;
  float value = 0;
  if (get_brightness_(frameworks_.main_display_id(), &value) != 0) return std::nullopt;
  return base::clamp_unit(value);
}

void DisplayBrightnessController::set_brightness(float value) {
  const float brightness = base::clamp_unit(value);
  // The status is not worth acting on: the next read shows what the display did.
  if (set_brightness_) set_brightness_(frameworks_.main_display_id(), brightness);
}

KeyboardBacklightController::KeyboardBacklightController(PrivateFrameworksPort& frameworks) {
  if (!frameworks.load_library(kLibraryPath)) return;
  auto client = frameworks.make_keyboard_brightness_client(kClientClass);
  if (!client) return;
  for (const std::string_view selector : {kCopyIDsSelector, kGetSelector, kSetSelector}) {
    if (!client->responds_to(selector)) return;
  }
  const auto ids = client->copy_keyboard_backlight_ids();
  if (!ids || ids->empty()) return;
  keyboard_id_ = ids->front();
  client_ = std::move(client);
  unavailable_ = false;
}

std::optional<float> KeyboardBacklightController::brightness() const {
  if (!client_ || unavailable_) return std::nullopt;
  const float value = client_->brightness_for_keyboard(keyboard_id_);
  if (!std::isfinite(value)) return std::nullopt;
  return base::clamp_unit(value);
}

void KeyboardBacklightController::set_brightness(float value) {
  if (!client_ || unavailable_) return;
  client_->set_brightness_for_keyboard(base::clamp_unit(value), keyboard_id_);
}

}  // namespace kolvo::controls
