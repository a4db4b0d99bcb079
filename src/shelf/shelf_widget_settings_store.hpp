#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/observable.hpp"
#include "prefs/preference_store.hpp"
#include "shelf/shelf_surface_session.hpp"

namespace kolvo::shelf {

using deck::ShelfWidgetBackground;

// The two widgets the user keeps on the phone's Shelf, and how they are drawn.
class ShelfWidgetSettingsStore {
 public:
  static constexpr std::size_t kSlotCount = 2;
  using Slots = std::array<std::optional<ShelfSurfaceIdentity>, kSlotCount>;

  static constexpr std::string_view kHelpText =
      "Choose up to two widgets to keep available on your iPhone. More apps will be supported over time.";
  static constexpr std::string_view kSlotsFullText = "Both Shelf widgets are in use. Replace one on the Corvane page.";

  explicit ShelfWidgetSettingsStore(prefs::PreferenceStore& prefs);

  base::Observable<Slots>& slots() { return slots_; }
  base::Observable<ShelfWidgetBackground>& background() { return background_; }
  // The chosen widgets in slot order: what the phone shows and the sessions that run.
  std::vector<ShelfSurfaceIdentity> widgets() const;
  // The slots as they are stored: each widget's name, or "" for an empty slot.
  std::vector<std::string> stored_slots() const;

  // Called with the widget list after the slots or the background changed.
  void set_on_change(std::function<void(const std::vector<ShelfSurfaceIdentity>&)> on_change) {
    on_change_ = std::move(on_change);
  }

  std::optional<ShelfSurfaceIdentity> slot(std::size_t index) const;
  // Puts a widget in a slot, moving it out of the other one; null empties the slot.
  void setSlot(std::size_t index, std::optional<ShelfSurfaceIdentity> identity);
  // Puts a widget in the first empty slot. True when it is on the Shelf afterwards; false, and
  // nothing changed, when both slots hold other widgets.
  bool add(ShelfSurfaceIdentity identity);
  void set_background(ShelfWidgetBackground background);

 private:
  void announce();

  prefs::PreferenceStore& prefs_;
  base::Observable<Slots> slots_;
  base::Observable<ShelfWidgetBackground> background_{ShelfWidgetBackground::liquidGlass};
  std::function<void(const std::vector<ShelfSurfaceIdentity>&)> on_change_;
};

}  // namespace kolvo::shelf
