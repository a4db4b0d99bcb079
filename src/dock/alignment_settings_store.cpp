#include "dock/alignment_settings_store.hpp"

#include <algorithm>
#include <cmath>

#include "prefs/settings_keys.hpp"

namespace kolvo::dock {
namespace {

double load_offset(const prefs::PreferenceStore& prefs) {
  const double stored = prefs.read_real(prefs::keys::kAlignmentEdgeOffset).value_or(0.0);
  if (std::isnan(stored)) return 0.0;
  return std::clamp(stored, -AlignmentSettingsStore::kMaximumEdgeOffset, AlignmentSettingsStore::kMaximumEdgeOffset);
}

}  // namespace

AlignmentSettingsStore::AlignmentSettingsStore(prefs::PreferenceStore& prefs, base::NotificationCenter& center,
                                               const AccessibilityTrust& accessibility, base::DiagnosticsLog& log)
    : prefs_(prefs),
      center_(center),
      accessibility_(accessibility),
      log_(log),
      lock_calibration_(prefs, prefs::keys::kLockCalibration, prefs.read_bool(prefs::keys::kLockCalibration).value_or(false),
                        &center, prefs::notifications::kLockCalibrationChanged),
      follow_dock_changes_(prefs, prefs::keys::kFollowDockChangesAutomatically,
                           prefs.read_bool(prefs::keys::kFollowDockChangesAutomatically).value_or(false) &&
                               accessibility.is_process_trusted(),
                           &center, prefs::notifications::kFollowDockChangesChanged),
      edge_offset_(load_offset(prefs)),
      accessibility_trusted_(accessibility.is_process_trusted()) {}

void AlignmentSettingsStore::set_alignment_edge_offset(double offset_pt) {
  if (std::isnan(offset_pt)) return;
  const double clamped = std::clamp(offset_pt, -kMaximumEdgeOffset, kMaximumEdgeOffset);
  edge_offset_.set(clamped);
  prefs_.set(prefs::keys::kAlignmentEdgeOffset, clamped);
  center_.post(prefs::notifications::kAlignmentEdgeOffsetChanged);
}

void AlignmentSettingsStore::refresh_accessibility() {
  const bool trusted = accessibility_.is_process_trusted();
  accessibility_trusted_.set(trusted);
  follow_dock_changes_.set(trusted);
  if (trusted) {
    log_.record("Kolvo", "accessibility-granted");
    center_.post(prefs::notifications::kFollowDockChangesChanged);
  }
}

bool AlignmentSettingsStore::refresh_accessibility_if_changed() {
  if (accessibility_.is_process_trusted() == accessibility_trusted_.get()) return false;
  refresh_accessibility();
  return true;
}

}  // namespace kolvo::dock
