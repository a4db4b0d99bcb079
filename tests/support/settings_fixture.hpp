#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/settings.hpp"
#include "base/diagnostics_log.hpp"
#include "base/manual_executor.hpp"
#include "base/notification_center.hpp"
#include "platform/sim/simulated_mac.hpp"
#include "prefs/preference_store.hpp"

namespace kolvo::testing {

class FixedWallClock final : public base::WallClock {
 public:
  base::WallTime now() const override { return time; }
  base::WallTime time = base::from_seconds_since_2001(800'000'000);
};

// A whole settings registry over an in-memory domain and the simulated Mac, with every
// notification posted recorded by name.
struct SettingsFixture {
  prefs::MemoryPreferenceStore prefs;
  base::NotificationCenter center;
  base::ManualExecutor executor;
  FixedWallClock clock;
  base::DiagnosticsLog log{clock, base::DiagnosticsLog::silent()};
  sim::SimulatedMac mac;
  std::vector<std::string> posted;
  std::vector<base::Observation> observations;
  std::unique_ptr<app::Settings> settings;

  explicit SettingsFixture(std::map<std::string, prefs::PreferenceValue> stored = {}) : prefs(stored) {
    for (const char* name : {"com.kolvo.lockCalibrationChanged", "com.kolvo.followDockChangesChanged",
                             "com.kolvo.alignmentEdgeOffsetChanged", "com.kolvo.edgeModeChanged",
                             "com.kolvo.activationSideChanged", "com.kolvo.selectedDisplayChanged"}) {
      observations.push_back(center.observe(name, [this](std::string_view n) { posted.emplace_back(n); }));
    }
    settings = std::make_unique<app::Settings>(app::SettingsPorts{prefs, center, executor, log, mac, mac, mac, mac});
  }

  int count_posted(std::string_view name) const {
    int n = 0;
    for (const auto& p : posted) n += p == name ? 1 : 0;
    return n;
  }
};

}  // namespace kolvo::testing
