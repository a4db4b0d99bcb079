#pragma once

#include <functional>
#include <optional>
#include <string>

#include "catalog/app_stores.hpp"
#include "catalog/profile_store.hpp"
#include "dock/alignment_settings_store.hpp"
#include "dock/dock_services.hpp"
#include "overlay/activation_settings_stores.hpp"
#include "overlay/hover_monitor.hpp"

namespace kolvo::overlay {

// The settings the zones are built from. Each is read when the zones are built, never cached.
struct ActivationSettings {
  CornerControlSettingsStore& corner_controls;
  EdgeModeSettingsStore& edge_modes;
  KolvoActivationSettingsStore& activation;
  PressureZoneSettingsStore& pressure_zone;
  dock::AlignmentSettingsStore& alignment;
};

// The zones of the running program, from its stores and the live Dock geometry.
class LiveZoneProvider final : public ZoneProvider {
 public:
  using Frontmost = std::function<std::optional<std::string>()>;

  LiveZoneProvider(dock::DockServices& dock, ActivationSettings settings, catalog::KolvoAppStore& apps, catalog::ProfileStore& profiles,
                   Frontmost frontmost_bundle_id);

  ZoneLayout zone_layout() override;
  // Where the open tray goes on `side` of `screen`: the rectangle the `tray` zone grows from.
  dock::Rect tray_frame(const dock::ScreenInfo& screen, dock::Side side);
  void hidden_dock_opening() override;

  // The Default and profile layout for the frontmost application now.
  catalog::EffectiveLayout effective() const;

 private:
  dock::DockServices& dock_;
  ActivationSettings settings_;
  catalog::KolvoAppStore& apps_;
  catalog::ProfileStore& profiles_;
  Frontmost frontmost_;
};

// The settings of the zones from the effective layout and the activation stores.
ZoneSettings zone_settings(const ActivationSettings& settings, const catalog::EffectiveLayout& layout);

}  // namespace kolvo::overlay
