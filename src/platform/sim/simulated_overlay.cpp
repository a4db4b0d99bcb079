#include "platform/sim/simulated_overlay.hpp"

#include <string>

namespace kolvo::sim {
namespace {

const char* side_word(overlay::DockSide side) { return side == overlay::DockSide::left ? "left" : "right"; }

}  // namespace

void SimulatedOverlayWindowManager::show_hidden_dock(overlay::DockSide side, bool pinned) {
  dock_visible_ = true;
  dock_pinned_ = pinned;
  last_side_ = side;
  sink_(std::string("open hidden dock ") + side_word(side) + (pinned ? " pinned" : ""));
}

void SimulatedOverlayWindowManager::hide_hidden_dock() {
  dock_visible_ = false;
  dock_pinned_ = false;
  sink_("hide");
}

void SimulatedOverlayWindowManager::show_slider(overlay::DockSide side, prefs::EdgeMode mode) {
  sink_(std::string("show slider ") + side_word(side) + " " + std::string(prefs::to_string(mode)));
}

void SimulatedOverlayWindowManager::show_dial(prefs::Corner corner, prefs::CornerControlMode) {
  sink_("show dial " + std::string(prefs::to_string(corner)));
}

void SimulatedOverlayWindowManager::set_pressure_cue_visible(bool visible, overlay::DockSide) {
  sink_(visible ? "pressure cue" : "hide pressure cue");
}

void SimulatedOverlayWindowManager::close_all_panels() {
  dock_visible_ = false;
  dock_pinned_ = false;
  sink_("hide all");
}

void SimulatedZoneMapPanels::show_zone_map(const ui::ZoneMap& map) {
  std::string line = "show zone map:";
  for (std::size_t i = 0; i < map.displays.size(); ++i) {
    const ui::ZoneMapDisplay& display = map.displays[i];
    line += (i == 0 ? " " : ", ") + display.name + " " + std::to_string(display.zones.size()) + " rectangles (" +
            (display.reacts ? "reacts" : "does not react") + ")";
  }
  sink_(line);
}

void SimulatedOverlayWindowManager::start_calibration(std::function<void()> completed) {
  // The headless host has no calibration window; `kolvo dock calibrate` does it instead.
  sink_("calibration unavailable without a screen");
  completed();
}

}  // namespace kolvo::sim
