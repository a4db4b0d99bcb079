#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/diagnostics_log.hpp"
#include "base/notification_center.hpp"
#include "base/observable.hpp"
#include "dock/dock_calibration.hpp"
#include "dock/screens_port.hpp"
#include "prefs/preference_store.hpp"

namespace kolvo::dock {

using Calibrations = std::map<std::string, DockCalibration>;
using Identities = std::map<std::string, KolvoDisplayIdentity>;

// The Dock-rectangle cache as the calibration store drives it.
class DockRectCacheControl {
 public:
  virtual ~DockRectCacheControl() = default;
  virtual void invalidate() = 0;
  virtual void refresh(const std::optional<ScreenInfo>& screen, std::string_view reason, bool force) = 0;
};

// The persisted form under "com.kolvo.multiDisplayCalibration".
struct StoredCalibrations {
  Calibrations calibrations;
  KolvoDisplayMode display_mode = AutomaticDisplay{};
  Identities identities;
};
nlohmann::ordered_json to_json(const StoredCalibrations& stored);
std::optional<StoredCalibrations> stored_calibrations_from_json(const nlohmann::json& json, std::string* error = nullptr);

// One Dock calibration per display, kept across launches, and the rules that tell which
// stored record belongs to a display whose identity has drifted (a new UUID after an update,
// a new number after reconnecting).
class MultiDisplayCalibrationStore {
 public:
  MultiDisplayCalibrationStore(prefs::PreferenceStore& prefs, base::NotificationCenter& center,
                               const ScreensPort& screens, base::DiagnosticsLog& log);

  const Calibrations& calibrations() const { return calibrations_.get(); }
  const KolvoDisplayMode& display_mode() const { return display_mode_.get(); }
  const Identities& identities() const { return identities_; }
  base::Observable<Calibrations>& calibrations_observable() { return calibrations_; }
  base::Observable<KolvoDisplayMode>& display_mode_observable() { return display_mode_; }

  void attach_cache(DockRectCacheControl* cache) { cache_ = cache; }

  // Loading adopts the older single-display record in memory; this writes the migrated store,
  // once, at the program's start.
  void finish_migration();

  // The key this display's calibration is stored under, if any.
  std::optional<std::string> calibration_key(const KolvoDisplayIdentity& identity) const;
  std::optional<ScreenInfo> screen_for_key(const std::string& key, const std::vector<ScreenInfo>& screens) const;
  std::optional<ScreenInfo> screen_for_key(const std::string& key) const;
  std::optional<DockCalibration> calibration_for_screen(const ScreenInfo& screen) const;
  bool has_calibration(const ScreenInfo& screen) const { return calibration_key(screen.identity).has_value(); }
  std::vector<ScreenInfo> calibrated_screens() const;
  bool is_selected_display_missing() const;

  // The older single-display record, when it decodes.
  std::optional<DockCalibration> legacy_calibration() const;

  void save(const DockCalibration& calibration, const ScreenInfo& screen);
  void reset_all();
  void set_display_mode(KolvoDisplayMode mode);

  // After displays change: records found through a fallback rule move to the display's primary
  // key, identities are refreshed, a selected key follows its record. Records of displays
  // that are not connected are kept. Writes once, if anything changed.
  void screens_changed();

 private:
  void load();
  void write();
  bool is_own_key_of_another_display(const std::string& key, const ScreenInfo& screen) const;

  prefs::PreferenceStore& prefs_;
  base::NotificationCenter& center_;
  const ScreensPort& screens_;
  base::DiagnosticsLog& log_;
  bool migration_pending_ = false;
  DockRectCacheControl* cache_ = nullptr;
  base::Observable<Calibrations> calibrations_;
  base::Observable<KolvoDisplayMode> display_mode_{AutomaticDisplay{}};
  Identities identities_;
};

}  // namespace kolvo::dock
