#pragma once

#include <memory>

#include "dock/dock_services.hpp"
#include "platform/sim/simulated_desktop.hpp"
#include "support/settings_fixture.hpp"

namespace kolvo::testing {

// Screens people really have, in the bottom-left global space.
inline dock::ScreenInfo laptop_screen(double dock_inset = 70, const char* uuid = "LAPTOP-UUID") {
  dock::ScreenInfo s;
  s.frame = {0, 0, 1512, 982};
  s.visible_frame = {0, dock_inset, 1512, 982 - 37 - dock_inset};
  s.identity = {1, "Built-in Retina Display", s.frame, 2.0, std::string(uuid)};
  return s;
}

// A 27-inch display at scale 1, to the right of the laptop, top edges not aligned.
inline dock::ScreenInfo external_right(const char* uuid = "STUDIO-UUID") {
  dock::ScreenInfo s;
  s.frame = {1512, -200, 2560, 1440};
  s.visible_frame = {1512, -200, 2560, 1440 - 25};
  s.identity = {5, "Studio Display", s.frame, 1.0, std::string(uuid)};
  return s;
}

// A display above the laptop at scale 2.
inline dock::ScreenInfo external_above(const char* uuid = "ABOVE-UUID") {
  dock::ScreenInfo s;
  s.frame = {-300, 982, 1920, 1080};
  s.visible_frame = {-300, 982, 1920, 1080 - 25};
  s.identity = {7, "LG UltraFine", s.frame, 2.0, std::string(uuid)};
  return s;
}

inline prefs::PreferenceValue::Dictionary dock_domain(const char* orientation, int apps = 5, int others = 2,
                                                     bool recents = true, double tile = 48) {
  prefs::PreferenceValue::Array persistent;
  for (int i = 0; i < apps; ++i) {
    persistent.emplace_back(prefs::PreferenceValue::Dictionary{
        {"tile-data", prefs::PreferenceValue(prefs::PreferenceValue::Dictionary{
                          {"bundle-identifier", "com.example.app" + std::to_string(i)}})}});
  }
  return {{"orientation", orientation},
          {"tilesize", tile},
          {"show-recents", recents},
          {"persistent-apps", persistent},
          {"persistent-others", prefs::PreferenceValue::Array(static_cast<std::size_t>(others),
                                                              prefs::PreferenceValue::Dictionary{})}};
}

// The whole geometry subsystem over a simulated desktop and an in-memory domain.
struct GeometryFixture {
  explicit GeometryFixture(sim::SimulatedLayout layout, std::map<std::string, prefs::PreferenceValue> stored = {})
      : settings(std::move(stored)), desktop(std::move(layout)) {
    if (desktop.layout().accessibility_trusted) settings.mac.set_accessibility_trusted(*desktop.layout().accessibility_trusted);
    make_services();
  }

  void make_services() {
    services.reset();
    services = std::make_unique<dock::DockServices>(
        dock::DockEnvironment{desktop, desktop.dock_domain(), desktop, settings.mac, desktop}, settings.prefs,
        settings.center, settings.executor, settings.log, settings.settings->alignment(), settings.clock);
  }

  void live_follow(bool on) {
    settings.mac.set_accessibility_trusted(on);
    settings.settings->alignment().refresh_accessibility();
  }

  SettingsFixture settings;
  sim::SimulatedDesktop desktop;
  std::unique_ptr<dock::DockServices> services;
};

inline sim::SimulatedLayout layout_of(std::vector<dock::ScreenInfo> screens,
                                      std::optional<prefs::PreferenceValue::Dictionary> dock = dock_domain("bottom")) {
  sim::SimulatedLayout layout;
  layout.screens = std::move(screens);
  layout.main_screen = 0;
  layout.dock_domain = std::move(dock);
  layout.running_applications = {{"com.apple.dock", false, 100}};
  layout.accessibility_trusted = false;
  return layout;
}

}  // namespace kolvo::testing
