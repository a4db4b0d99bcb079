#pragma once

namespace kolvo::dock {

class DockRectRefreshControl {
 public:
  virtual ~DockRectRefreshControl() = default;
  virtual void stop() = 0;
};

}  // namespace kolvo::dock
