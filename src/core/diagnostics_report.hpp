#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/date_time.hpp"
#include "core/launch_at_login_manager.hpp"
#include "geometry/rect.hpp"

namespace kolvo::core {

// One connected display as the report shows it.
struct DiagnosticsScreen {
  std::string name;
  std::string resolved_calibration_key;
  std::uint32_t display_id = 0;
  double backing_scale = 1;
  std::optional<std::string> uuid;
  geometry::Rect frame;
  // The calibration stored under the resolved key, already summarised; absent prints "none".
  std::optional<std::string> saved_calibration;
};

// One stored calibration as the report shows it.
struct DiagnosticsCalibration {
  std::string key;
  bool keyed_by_uuid = false;  // else by the older display number
  geometry::Rect screen_frame;
  std::string dock_edge;  // "left", "bottom", "right"
  geometry::Rect dock_rect;
  WallTime saved_at;
  std::string identity_name;
  std::optional<std::string> identity_uuid;
};

struct DiagnosticsInput {
  std::string short_version;
  std::string build_version;
  std::string os_version;
  std::string bundle_path;
  LoginItemStatus launch_at_login = LoginItemStatus::unknown;
  std::vector<DiagnosticsScreen> screens;
  std::string display_mode = "automatic";  // "automatic", "allCalibratedDisplays", "selectedDisplay(<key>)"
  bool selected_display_connected = true;
  std::vector<DiagnosticsCalibration> calibrations;  // in key order
  bool lock_calibration = false;
  bool follow_dock_changes = false;
};

// The text the Advanced page copies for a support request, lines joined by line feeds.
std::string diagnostics_report(const DiagnosticsInput& input);

}  // namespace kolvo::core
