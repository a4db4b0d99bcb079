#pragma once

#include <string>
#include <variant>
#include <vector>

#include "app/requests.hpp"

namespace kolvo::host {

// The words after "kolvo" ("control volume 40%", "timer set 5") as a request, or the usage
// reply that says what is wrong with them. The command line and the control socket both
// carry words, so both turn them into requests here.
std::variant<app::Request, app::Reply> parse_request_words(std::vector<std::string> words);

}  // namespace kolvo::host
