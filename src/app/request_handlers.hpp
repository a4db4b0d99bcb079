#pragma once

#include <functional>

#include "app/requests.hpp"
#include "app/runtime.hpp"

namespace kolvo::app {

// The one handler of each request, over the running program's services. Most replies come
// at once; a Space switch replies when its keystroke has been delivered.
class RequestHandlers {
 public:
  explicit RequestHandlers(Runtime& runtime) : runtime_(runtime) {}

  void handle(const Request& request, std::function<void(Reply)> reply);

 private:
  Runtime& runtime_;
};

}  // namespace kolvo::app
