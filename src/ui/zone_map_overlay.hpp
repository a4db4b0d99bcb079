#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "base/observable.hpp"
#include "ui/zone_map.hpp"
#include "ui/zone_map_settings_store.hpp"

namespace kolvo::ui {

// Keeps the platform's zone-map panels in step with the switch and the zones: shown while the
// switch is on, drawn again whenever the zones are rebuilt and the map changed, hidden when
// the switch goes off.
class ZoneMapOverlay {
 public:
  using Build = std::function<ZoneMap()>;

  // Shows the map at once when the switch is already on. Null panels: nothing is drawn.
  ZoneMapOverlay(ZoneMapSettingsStore& settings, std::shared_ptr<ZoneMapPanels> panels, Build build);
  ZoneMapOverlay(const ZoneMapOverlay&) = delete;
  ZoneMapOverlay& operator=(const ZoneMapOverlay&) = delete;

  // The zones were rebuilt: a setting, the frontmost app, the Dock or the displays changed.
  void zones_rebuilt();

  bool is_shown() const { return shown_.has_value(); }

 private:
  void apply(bool on);

  ZoneMapSettingsStore& settings_;
  std::shared_ptr<ZoneMapPanels> panels_;
  Build build_;
  // What the panels show now; the same map is never drawn twice.
  std::optional<ZoneMap> shown_;
  base::Subscription subscription_;
};

}  // namespace kolvo::ui
