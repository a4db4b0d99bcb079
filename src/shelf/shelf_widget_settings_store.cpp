#include "shelf/shelf_widget_settings_store.hpp"

#include <algorithm>
#include <string>

#include "prefs/settings_keys.hpp"

namespace kolvo::shelf {

ShelfWidgetSettingsStore::ShelfWidgetSettingsStore(prefs::PreferenceStore& prefs) : prefs_(prefs) {
  // A list that is not a list of strings reads as empty; it stays stored as it is until the
  // user picks a widget.
  const auto stored = prefs_.read_string_array(prefs::keys::kShelfWidgets).value_or({});
  Slots loaded{};
  for (std::size_t i = 0; i < kSlotCount && i < stored.size(); ++i) {
    loaded[i] = deck::kShelfSurfaceIdentityTable.parse(stored[i]);
  }
  slots_.set(loaded);
  const auto background = prefs_.read_string(prefs::keys::kShelfBackground);
  background_.set(background.is_present() && background.value == "solid" ? ShelfWidgetBackground::solid
                                                                          : ShelfWidgetBackground::liquidGlass);
}

std::vector<ShelfSurfaceIdentity> ShelfWidgetSettingsStore::widgets() const {
  std::vector<ShelfSurfaceIdentity> widgets;
  for (const auto& slot : slots_.get()) {
    if (slot) widgets.push_back(*slot);
  }
  return widgets;
}

std::vector<std::string> ShelfWidgetSettingsStore::stored_slots() const {
  std::vector<std::string> stored;
  for (const auto& slot : slots_.get()) {
    stored.emplace_back(slot ? deck::kShelfSurfaceIdentityTable.to_string(*slot) : std::string_view());
  }
  return stored;
}

std::optional<ShelfSurfaceIdentity> ShelfWidgetSettingsStore::slot(std::size_t index) const {
  return index < kSlotCount ? slots_.get()[index] : std::nullopt;
}

void ShelfWidgetSettingsStore::setSlot(std::size_t index, std::optional<ShelfSurfaceIdentity> identity) {
  if (index >= kSlotCount || slots_.get()[index] == identity) return;
  Slots next = slots_.get();
  if (identity) {
    // A widget is on the Shelf once: choosing it for one slot takes it out of the other.
    for (auto& other : next) {
      if (other == identity) other.reset();
    }
  }
  next[index] = identity;
  slots_.set(next);
  prefs::PreferenceValue::Array stored;
  for (auto& name : stored_slots()) stored.emplace_back(std::move(name));
  prefs_.set(prefs::keys::kShelfWidgets, std::move(stored));
  announce();
}

bool ShelfWidgetSettingsStore::add(ShelfSurfaceIdentity identity) {
  const auto& current = slots_.get();
  if (std::find(current.begin(), current.end(), identity) != current.end()) return true;
  const auto empty = std::find(current.begin(), current.end(), std::nullopt);
  if (empty == current.end()) return false;
  setSlot(static_cast<std::size_t>(empty - current.begin()), identity);
  return true;
}

void ShelfWidgetSettingsStore::set_background(ShelfWidgetBackground background) {
  if (background_.get() == background) return;
  background_.set(background);
  prefs_.set(prefs::keys::kShelfBackground, std::string(deck::kShelfWidgetBackgroundTable.to_string(background)));
  announce();
}

void ShelfWidgetSettingsStore::announce() {
  if (on_change_) on_change_(widgets());
}

}  // namespace kolvo::shelf
