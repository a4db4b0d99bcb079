#pragma once

#include <functional>
#include <optional>
#include <string>

#include "core/settings.hpp"
#include "geometry/dock_services.hpp"
#include "hidden_dock/app_stores.hpp"
#include "hidden_dock/hover_monitor.hpp"
#include "hidden_dock/profile_store.hpp"

namespace kolvo::hidden_dock {

// The zones of the running program, from its stores and the live Dock geometry.
class LiveZoneProvider final : public ZoneProvider {
 public:
  using Frontmost = std::function<std::optional<std::string>()>;

  LiveZoneProvider(geometry::DockServices& dock, core::Settings& settings, KolvoAppStore& apps, ProfileStore& profiles,
                   Frontmost frontmost_bundle_id);

  ZoneLayout zone_layout() override;
  // Where the open tray goes on `side` of `screen`: the rectangle the `tray` zone grows from.
  Rect tray_frame(const geometry::ScreenInfo& screen, Side side);
  void hidden_dock_opening() override;

  // The Default and profile layout for the frontmost application now.
  EffectiveLayout effective() const;

 private:
  geometry::DockServices& dock_;
  core::Settings& settings_;
  KolvoAppStore& apps_;
  ProfileStore& profiles_;
  Frontmost frontmost_;
};

// The settings of the zones from the effective layout and the activation stores.
ZoneSettings zone_settings(core::Settings& settings, const EffectiveLayout& layout);

}  // namespace kolvo::hidden_dock
