#pragma once

#include <functional>

#include "base/observable.hpp"

namespace kolvo::ui {

class SystemAppearance {
 public:
  virtual ~SystemAppearance() = default;
  virtual bool is_dark() const = 0;
  // Called on the main thread whenever the system theme changes
  // ("AppleInterfaceThemeChangedNotification").
  [[nodiscard]] virtual base::Subscription observe_theme_changes(std::function<void()> changed) = 0;
};

}  // namespace kolvo::ui
