#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/requests.hpp"
#include "deck/server/deck_mac.hpp"
#include "deck/server/deck_state.hpp"

namespace kolvo::app {

class Runtime;

// A phone's command as the request the menu, the panels and the command line would make for
// it; absent for messages that are no command of the Mac's controls.
std::optional<Request> request_for(const deck::KolvoDeckMessage& command);
// What a phone is answered after its request ran: launch results carry their request id.
std::optional<deck::KolvoDeckMessage> answer_for(const deck::KolvoDeckMessage& command, const Reply& reply);

// The running program as the phone link sees it: the state is read from the control
// services and stores, and every command goes through the one request-handler table.
class DeckLink final : public deck::DeckMac {
 public:
  static constexpr int kIconPixels = 128;

  explicit DeckLink(Runtime& runtime) : runtime_(runtime) {}

  deck::KolvoDeckState current_state() override;
  std::vector<deck::KolvoDeckLaunchItem> launch_items() override;
  std::optional<std::string> frontmost_bundle_id() override;
  std::optional<std::vector<std::uint8_t>> application_icon_png(const std::string& bundle_id) override;
  void perform(const deck::KolvoDeckMessage& command,
               std::function<void(std::optional<deck::KolvoDeckMessage>)> done) override;
  [[nodiscard]] base::Subscription observe_changes(std::function<void()> changed) override;
  std::optional<deck::ShelfWidgetsMessage> shelf_widgets() override;
  void refresh_shelf() override;

  deck::DeckReadings readings();

 private:
  Runtime& runtime_;
};

}  // namespace kolvo::app
