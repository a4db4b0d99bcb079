#pragma once

#include "base/diagnostics_log.hpp"
#include "base/notification_center.hpp"
#include "base/observable.hpp"
#include "dock/accessibility_trust.hpp"
#include "prefs/preference_store.hpp"
#include "prefs/stored_setting.hpp"

namespace kolvo::dock {

// How the Hidden Dock lines up with the system Dock: whether the calibration is locked,
// whether it follows the live Dock (which needs Accessibility), and a fine offset.
class AlignmentSettingsStore {
 public:
  static constexpr double kMaximumEdgeOffset = 12.0;

  AlignmentSettingsStore(prefs::PreferenceStore& prefs, base::NotificationCenter& center, const AccessibilityTrust& accessibility,
                         base::DiagnosticsLog& log);

  bool lock_calibration() const { return lock_calibration_.get(); }
  void set_lock_calibration(bool locked) { lock_calibration_.set(locked); }

  bool follow_dock_changes_automatically() const { return follow_dock_changes_.get(); }
  void set_follow_dock_changes_automatically(bool follow) { follow_dock_changes_.set(follow); }

  double alignment_edge_offset() const { return edge_offset_.get(); }
  // Clamped to ±12 points; writes and notifies once per effective value. NaN is ignored.
  void set_alignment_edge_offset(double offset_pt);

  bool is_accessibility_trusted() const { return accessibility_trusted_.get(); }

  // Re-reads the trust. Finding it turns following on, even over the user's earlier choice:
  // the moment trust is granted is the moment the user asked for live following.
  void refresh_accessibility();
  // Refreshes only when the trust differs from what was last seen, so that merely coming back to
  // Kolvo never overrides a user who turned following off while trusted. True when it refreshed.
  bool refresh_accessibility_if_changed();

  prefs::StoredSetting<bool>& lock_calibration_setting() { return lock_calibration_; }
  prefs::StoredSetting<bool>& follow_dock_changes_setting() { return follow_dock_changes_; }
  base::Observable<double>& edge_offset_observable() { return edge_offset_; }
  base::Observable<bool>& accessibility_observable() { return accessibility_trusted_; }

 private:
  prefs::PreferenceStore& prefs_;
  base::NotificationCenter& center_;
  const AccessibilityTrust& accessibility_;
  base::DiagnosticsLog& log_;
  prefs::StoredSetting<bool> lock_calibration_;
  prefs::StoredSetting<bool> follow_dock_changes_;
  base::Observable<double> edge_offset_;
  base::Observable<bool> accessibility_trusted_;
};

}  // namespace kolvo::dock
