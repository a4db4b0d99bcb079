#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/date_time.hpp"
#include "dock/rect.hpp"

namespace kolvo::dock {

// One connected display as the report shows it.
struct DiagnosticsScreen {
  std::string name;
  std::string resolved_calibration_key;
  std::uint32_t display_id = 0;
  double backing_scale = 1;
  std::optional<std::string> uuid;
  dock::Rect frame;
  // The calibration stored under the resolved key, already summarised; absent prints "none".
  std::optional<std::string> saved_calibration;
};

// One stored calibration as the report shows it.
struct DiagnosticsCalibration {
  std::string key;
  bool keyed_by_uuid = false;  // else by the older display number
  dock::Rect screen_frame;
  std::string dock_edge;  // "left", "bottom", "right"
  dock::Rect dock_rect;
  base::WallTime saved_at;
  std::string identity_name;
  std::optional<std::string> identity_uuid;
};

// The display and calibration part of the diagnostics report.
struct DockDiagnostics {
  std::vector<DiagnosticsScreen> screens;
  std::string display_mode = "automatic";  // "automatic", "allCalibratedDisplays", "selectedDisplay(<key>)"
  bool selected_display_connected = true;
  std::vector<DiagnosticsCalibration> calibrations;  // in key order
};

}  // namespace kolvo::dock
