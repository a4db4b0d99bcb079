#pragma once

#include <string>

#include "cli.hpp"

namespace kolvo::host {

// Runs the request the words make on the running host when there is one, else here.
int run_request(std::string command, Arguments arguments);

}  // namespace kolvo::host
