#pragma once

#include <optional>

#include "dock/screens_port.hpp"

namespace kolvo::dock {

// Whoever draws from the Dock geometry: the overlay window manager.
class DockGeometryClient {
 public:
  virtual ~DockGeometryClient() = default;
  // The display the panels are on now, if they are open.
  virtual std::optional<ScreenInfo> active_screen() const = 0;
  virtual void recompute_geometry() = 0;
  virtual void selected_display_disconnected() = 0;
};

}  // namespace kolvo::dock
