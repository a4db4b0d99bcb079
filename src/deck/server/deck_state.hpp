#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "catalog/app_item.hpp"
#include "deck/protocol/deck_message.hpp"
#include "prefs/settings_enums.hpp"

namespace kolvo::deck {

// What the Mac reports at one moment, gathered by the running program from its services.
// A reading the Mac could not give is absent.
struct DeckReadings {
  std::optional<double> volume;
  bool has_volume_control = false;
  std::optional<double> brightness;
  bool brightness_entry_points = false;
  bool dark = false;
  std::optional<double> keyboard_backlight;
  bool backlight_present = false;
  // Output devices as (id, name), ids the decimal device numbers.
  std::vector<KolvoDeckAudioDevice> audio_devices;
  std::optional<std::string> current_audio_device_id;
  // The corners in force for the frontmost application: topLeft, topRight, bottomLeft, bottomRight.
  std::array<prefs::CornerControlMode, 4> corners{};
  // Keystrokes and window moves need it: play/pause, show desktop, tabs, snapping, Spaces.
  bool accessibility_trusted = false;
  KolvoDeckProfileInfo profile;
  std::array<double, 3> accent{};  // sRGB, 0 … 1
  // Absent when the user chose no statistics.
  std::optional<std::vector<KolvoDeckStat>> stats;
};

// The state the phone mirrors. Levels without a reading are sent as 0 with the control marked
// unavailable; a timer corner has no slot the phone knows, so its key is left out.
KolvoDeckState assemble_state(const DeckReadings& readings);

// The applications the phone may launch: the Hidden Dock's (pinned) first, then the
// launcher's that are not already listed, once per bundle id; items without one are skipped.
std::vector<KolvoDeckLaunchItem> launch_items(const std::vector<catalog::KolvoAppItem>& dock_apps,
                                              std::span<const std::optional<catalog::KolvoAppItem>> launcher_slots);

}  // namespace kolvo::deck
