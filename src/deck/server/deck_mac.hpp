#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/observable.hpp"
#include "deck/protocol/deck_message.hpp"

namespace kolvo::deck {

// The running program as the phone link sees it: the state to mirror, what may be launched,
// and the one place commands are carried out. The application layer answers it over the same
// services and request handlers the menu, the panels and the command line use.
class DeckMac {
 public:
  virtual ~DeckMac() = default;

  virtual KolvoDeckState current_state() = 0;
  // Empty while launching from the phone is switched off.
  virtual std::vector<KolvoDeckLaunchItem> launch_items() = 0;
  virtual std::optional<std::string> frontmost_bundle_id() = 0;
  // The application's icon as PNG data (128 × 128 pixels); absent when it has none.
  virtual std::optional<std::vector<std::uint8_t>> application_icon_png(const std::string& bundle_id) = 0;

  // Carries out one command of an approved phone ("setControl", "launchApp", …). `done` runs
  // on the main thread once, with the message to answer the phone with, if the command has one.
  virtual void perform(const KolvoDeckMessage& command, std::function<void(std::optional<KolvoDeckMessage> reply)> done) = 0;

  // Calls `changed` whenever something the state shows may have changed: a setting, the
  // system appearance, the frontmost application.
  [[nodiscard]] virtual base::Subscription observe_changes(std::function<void()> changed) = 0;

  // The Shelf's widget list and background, sent to a newly approved phone after the state;
  // absent where the Mac has no Shelf.
  virtual std::optional<ShelfWidgetsMessage> shelf_widgets() { return std::nullopt; }
  // Every widget sends its state again, to every approved phone (through the server's
  // `send_to_approved`): a phone that just arrived or asked for the state needs them all.
  virtual void refresh_shelf() {}
};

}  // namespace kolvo::deck
