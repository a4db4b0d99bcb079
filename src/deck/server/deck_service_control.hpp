#pragma once

namespace kolvo::deck {

// The Deck server as the settings see it: the enabled switch starts and stops it.
class DeckServiceControl {
 public:
  virtual ~DeckServiceControl() = default;
  virtual void start() = 0;
  virtual void stop() = 0;
};

}  // namespace kolvo::deck
