#pragma once

namespace kolvo::overlay {

// The pointer monitor, as the delegate and the status menu drive it.
class HoverMonitorControl {
 public:
  virtual ~HoverMonitorControl() = default;
  // Activation is suppressed while the status menu is open.
  virtual void set_menu_open(bool open) = 0;
  // Removes its event monitors.
  virtual void stop() = 0;
};

}  // namespace kolvo::overlay
