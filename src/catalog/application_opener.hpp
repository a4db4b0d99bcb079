#pragma once

#include "catalog/app_item.hpp"

namespace kolvo::catalog {

// Launches an application, or brings it to the front when it already runs.
class ApplicationOpener {
 public:
  virtual ~ApplicationOpener() = default;
  // False when there is nothing at the item's location to open.
  virtual bool open_application(const KolvoAppItem& item) = 0;
};

}  // namespace kolvo::catalog
