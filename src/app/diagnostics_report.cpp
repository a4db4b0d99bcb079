#include "app/diagnostics_report.hpp"

#include "base/number_text.hpp"

namespace kolvo::app {
namespace {

const char* yes_no(bool value) { return value ? "true" : "false"; }

}  // namespace

std::string diagnostics_report(const DiagnosticsInput& in) {
  std::vector<std::string> lines;
  lines.push_back("Kolvo " + in.short_version + " (" + in.build_version + ")");
  lines.push_back("macOS " + in.os_version);
  lines.push_back("Bundle: " + in.bundle_path);
  if (in.bundle_path.find("/AppTranslocation/") != std::string::npos) {
    lines.push_back("WARNING: running from a translocated path — move Kolvo to /Applications");
  }
  lines.push_back("Launch at login: " + std::string(describe(in.launch_at_login)));

  lines.push_back("Connected displays:");
  for (const dock::DiagnosticsScreen& screen : in.screens) {
    lines.push_back("  " + screen.name);
    lines.push_back("    resolved calibration key: " + screen.resolved_calibration_key);
    lines.push_back("    displayID " + std::to_string(screen.display_id) + "  scale " +
                    base::swift_real_text(screen.backing_scale));
    lines.push_back("    uuid " + screen.uuid.value_or("unavailable"));
    lines.push_back("    frame " + dock::describe(screen.frame));
    lines.push_back("    saved calibration: " + screen.saved_calibration.value_or("none"));
  }

  lines.push_back("Display mode: " + in.display_mode);
  lines.push_back(std::string("Selected display connected: ") + yes_no(in.selected_display_connected));

  lines.push_back("Saved calibrations: " + std::to_string(in.calibrations.size()));
  for (const dock::DiagnosticsCalibration& calibration : in.calibrations) {
    lines.push_back("  [" + calibration.key + "] " + (calibration.keyed_by_uuid ? "uuid" : "legacy displayID"));
    lines.push_back("    screen " + dock::describe(calibration.screen_frame) + "  dock " + calibration.dock_edge +
                    " " + dock::describe(calibration.dock_rect));
    lines.push_back("    saved " + base::format_report_date(calibration.saved_at));
    lines.push_back("    identity '" + calibration.identity_name + "' uuid " +
                    calibration.identity_uuid.value_or("none"));
  }

  lines.push_back(std::string("Lock calibration: ") + yes_no(in.lock_calibration));
  lines.push_back(std::string("Follow Dock changes: ") + yes_no(in.follow_dock_changes));

  std::string report;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i > 0) report += '\n';
    report += lines[i];
  }
  return report;
}

}  // namespace kolvo::app
