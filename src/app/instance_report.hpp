#pragma once

#include <string>
#include <vector>

#include "app/app_ports.hpp"

namespace kolvo::app {

// The lines printed first thing at launch. A second copy of the program would also advertise
// the Deck service and fight over the phone's session, so a developer testing a build needs
// to see at once whether one is running.
std::vector<std::string> instance_report(const ProcessEnvironment& process);

}  // namespace kolvo::app
