#pragma once

#include <functional>
#include <string>
#include <vector>

#include "catalog/focused_application_monitor.hpp"
#include "controls/control_services.hpp"

namespace kolvo::host {

// What a `kolvo control` or `kolvo timer` request printed, and how it ended.
struct ControlReply {
  int exit_code = 0;
  std::string output;
  std::string error;
};

struct ControlContext {
  controls::ControlServices& services;
  const catalog::FocusedApplicationMonitor* focused = nullptr;
  const sound::OutputAudibilityPort* audibility = nullptr;
  const base::WallClock& clock;
};

// Runs one request, given as the words after "kolvo": "control volume 0.4", "timer status".
// Most replies come at once; a Space switch replies when the keystroke has been delivered.
// The same handler serves the command line and a running host's control socket.
void handle_control_request(ControlContext& context, std::vector<std::string> words,
                            std::function<void(ControlReply)> reply);

}  // namespace kolvo::host
