#pragma once

#include "shelf/shelf_ports.hpp"

namespace kolvo::platform {

// $HOME, and $XDG_DATA_HOME (else ~/.local/share) in place of Application Support.
shelf::AgentPaths linux_agent_paths();

}  // namespace kolvo::platform
