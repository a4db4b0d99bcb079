#include "app/requests.hpp"

#include <type_traits>

namespace kolvo::app {

bool only_reads(const Request& request) {
  return std::visit(
      [](const auto& r) {
        using R = std::decay_t<decltype(r)>;
        if constexpr (std::is_same_v<R, LevelRequest>) return !r.set_to.has_value();
        if constexpr (std::is_same_v<R, OutputRequest>) return !r.make_default.has_value();
        if constexpr (std::is_same_v<R, DarkModeRequest>) return !r.set_dark.has_value();
        if constexpr (std::is_same_v<R, TimerRequest>) return r.action == TimerRequest::Action::status;
        if constexpr (std::is_same_v<R, DeckTrustedRequest>) return true;
        return false;
      },
      request);
}

}  // namespace kolvo::app
