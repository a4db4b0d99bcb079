#include "overlay/zone_provider.hpp"

namespace kolvo::overlay {
namespace {

constexpr std::array kCorners{prefs::Corner::topLeft, prefs::Corner::topRight, prefs::Corner::bottomLeft,
                              prefs::Corner::bottomRight};

int tray_items(const catalog::EffectiveLayout& layout) { return static_cast<int>(layout.dock_apps.size()); }

bool same_display(const dock::ScreenInfo& a, const std::optional<dock::ScreenInfo>& b) {
  return b && dock::primary_key(a.identity) == dock::primary_key(b->identity);
}

}  // namespace

LiveZoneProvider::LiveZoneProvider(dock::DockServices& dock, ActivationSettings settings, catalog::KolvoAppStore& apps,
                                   catalog::ProfileStore& profiles, Frontmost frontmost_bundle_id)
    : dock_(dock), settings_(settings), apps_(apps), profiles_(profiles), frontmost_(std::move(frontmost_bundle_id)) {}

catalog::EffectiveLayout LiveZoneProvider::effective() const {
  auto& corners = settings_.corner_controls;
  std::array<prefs::CornerControlMode, 4> defaults{};
  for (std::size_t i = 0; i < kCorners.size(); ++i) defaults[i] = corners.mode(kCorners[i]);
  return effective_layout(profiles_.profile_for(frontmost_ ? frontmost_() : std::nullopt), apps_.apps(),
                          settings_.edge_modes.left_edge_mode(), settings_.edge_modes.right_edge_mode(), defaults);
}

ZoneSettings zone_settings(const ActivationSettings& settings, const catalog::EffectiveLayout& layout) {
  ZoneSettings s;
  s.activation_side = settings.activation.activation_side();
  s.pressure_mode = settings.pressure_zone.use_pressure_zone();
  s.left_edge_mode = layout.left_edge_mode;
  s.right_edge_mode = layout.right_edge_mode;
  s.corner_modes = layout.corners;
  return s;
}

ZoneLayout LiveZoneProvider::zone_layout() {
  const catalog::EffectiveLayout layout = effective();
  ZoneLayout zones;
  zones.settings = zone_settings(settings_, layout);
  for (std::size_t i = 0; i < kCorners.size(); ++i) {
    zones.active_dials[i] =
        is_dial_blocked(kCorners[i], zones.settings) ? prefs::CornerControlMode::off : zones.settings.corner_modes[i];
  }

  const auto screens = dock_.screens();
  const auto& store = dock_.store();
  const dock::KolvoDisplayMode& mode = store.display_mode();
  zones.single_display = screens.size() == 1;
  zones.first_containing_decides = std::holds_alternative<dock::AllCalibratedDisplays>(mode);
  std::optional<dock::ScreenInfo> reacting;
  if (const auto* selected = std::get_if<dock::SelectedDisplay>(&mode)) reacting = store.screen_for_key(selected->key, screens);
  if (!reacting && !zones.first_containing_decides) reacting = dock_.target_screen();

  const double offset = settings_.alignment.alignment_edge_offset();
  const int items = tray_items(layout);
  for (const auto& screen : screens) {
    DisplayZones display = make_display_zones(screen.frame, dock_.geometry_for(screen), items, offset);
    display.reacts = zones.first_containing_decides ? store.has_calibration(screen) : same_display(screen, reacting);
    zones.displays.push_back(std::move(display));
  }
  return zones;
}

dock::Rect LiveZoneProvider::tray_frame(const dock::ScreenInfo& screen, dock::Side side) {
  return dock::tray_rect(dock_.geometry_for(screen), side, tray_items(effective()),
                         settings_.alignment.alignment_edge_offset());
}

void LiveZoneProvider::hidden_dock_opening() { dock_.cache().refresh(std::nullopt, "hover-open", /*force=*/false); }

}  // namespace kolvo::overlay
