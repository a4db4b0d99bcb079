#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "app/launch_at_login_manager.hpp"
#include "base/date_time.hpp"
#include "dock/dock_diagnostics.hpp"

namespace kolvo::app {

// The program's facts, and the displays' and calibrations' from the Dock services.
struct DiagnosticsInput : dock::DockDiagnostics {
  std::string short_version;
  std::string build_version;
  std::string os_version;
  std::string bundle_path;
  LoginItemStatus launch_at_login = LoginItemStatus::unknown;
  bool lock_calibration = false;
  bool follow_dock_changes = false;
};

// The text the Advanced page copies for a support request, lines joined by line feeds.
std::string diagnostics_report(const DiagnosticsInput& input);

}  // namespace kolvo::app
