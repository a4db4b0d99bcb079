#include "core/alignment_settings_store.hpp"

#include <algorithm>
#include <cmath>

#include "core/settings_keys.hpp"

namespace kolvo::core {
namespace {

double load_offset(const PreferenceStore& prefs) {
  const double stored = prefs.read_real(keys::kAlignmentEdgeOffset).value_or(0.0);
  if (std::isnan(stored)) return 0.0;
  return std::clamp(stored, -AlignmentSettingsStore::kMaximumEdgeOffset, AlignmentSettingsStore::kMaximumEdgeOffset);
}

}  // namespace

AlignmentSettingsStore::AlignmentSettingsStore(PreferenceStore& prefs, NotificationCenter& center,
                                               const AccessibilityTrust& accessibility, DiagnosticsLog& log)
    : prefs_(prefs),
      center_(center),
      accessibility_(accessibility),
      log_(log),
      lock_calibration_(prefs, keys::kLockCalibration, prefs.read_bool(keys::kLockCalibration).value_or(false),
                        &center, notifications::kLockCalibrationChanged),
      follow_dock_changes_(prefs, keys::kFollowDockChangesAutomatically,
                           prefs.read_bool(keys::kFollowDockChangesAutomatically).value_or(false) &&
                               accessibility.is_process_trusted(),
                           &center, notifications::kFollowDockChangesChanged),
      edge_offset_(load_offset(prefs)),
      accessibility_trusted_(accessibility.is_process_trusted()) {}

void AlignmentSettingsStore::set_alignment_edge_offset(double offset_pt) {
  if (std::isnan(offset_pt)) return;
  const double clamped = std::clamp(offset_pt, -kMaximumEdgeOffset, kMaximumEdgeOffset);
  edge_offset_.set(clamped);
  prefs_.set(keys::kAlignmentEdgeOffset, clamped);
  center_.post(notifications::kAlignmentEdgeOffsetChanged);
}

void AlignmentSettingsStore::refresh_accessibility() {
  const bool trusted = accessibility_.is_process_trusted();
  accessibility_trusted_.set(trusted);
  follow_dock_changes_.set(trusted);
  if (trusted) {
    log_.record("Kolvo", "accessibility-granted");
    center_.post(notifications::kFollowDockChangesChanged);
  }
}

}  // namespace kolvo::core
