#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/diagnostics_log.hpp"
#include "core/notification_center.hpp"
#include "core/preference_store.hpp"
#include "core/settings.hpp"
#include "platform/sim/simulated_mac.hpp"
#include "core/manual_executor.hpp"

namespace kolvo::testing {

class FixedWallClock final : public core::WallClock {
 public:
  core::WallTime now() const override { return time; }
  core::WallTime time = core::from_seconds_since_2001(800'000'000);
};

// A whole settings registry over an in-memory domain and the simulated Mac, with every
// notification posted recorded by name.
struct SettingsFixture {
  core::MemoryPreferenceStore prefs;
  core::NotificationCenter center;
  core::ManualExecutor executor;
  FixedWallClock clock;
  core::DiagnosticsLog log{clock, core::DiagnosticsLog::silent()};
  sim::SimulatedMac mac;
  std::vector<std::string> posted;
  std::vector<core::Observation> observations;
  std::unique_ptr<core::Settings> settings;

  explicit SettingsFixture(std::map<std::string, core::PreferenceValue> stored = {}) : prefs(stored) {
    for (const char* name : {"com.kolvo.lockCalibrationChanged", "com.kolvo.followDockChangesChanged",
                             "com.kolvo.alignmentEdgeOffsetChanged", "com.kolvo.edgeModeChanged",
                             "com.kolvo.activationSideChanged", "com.kolvo.selectedDisplayChanged"}) {
      observations.push_back(center.observe(name, [this](std::string_view n) { posted.emplace_back(n); }));
    }
    settings = std::make_unique<core::Settings>(core::SettingsPorts{prefs, center, executor, log, mac, mac, mac, mac});
  }

  int count_posted(std::string_view name) const {
    int n = 0;
    for (const auto& p : posted) n += p == name ? 1 : 0;
    return n;
  }
};

}  // namespace kolvo::testing
