#include "overlay/zone_rebuilder.hpp"

namespace kolvo::overlay {

ZoneRebuilder::ZoneRebuilder(base::Executor& main, ActivationSettings settings, catalog::KolvoAppStore& apps,
                             catalog::ProfileStore& profiles, catalog::FocusedApplicationMonitor* frontmost,
                             std::function<void()> rebuild)
    : main_(main), rebuild_(std::move(rebuild)) {
  const auto changed = [this](const auto&) { schedule(); };
  for (const prefs::Corner corner :
       {prefs::Corner::topLeft, prefs::Corner::topRight, prefs::Corner::bottomLeft, prefs::Corner::bottomRight}) {
    subscriptions_.push_back(settings.corner_controls.setting(corner).subscribe(changed));
  }
  subscriptions_.push_back(settings.edge_modes.left_setting().subscribe(changed));
  subscriptions_.push_back(settings.edge_modes.right_setting().subscribe(changed));
  subscriptions_.push_back(settings.activation.setting().subscribe(changed));
  subscriptions_.push_back(settings.pressure_zone.setting().subscribe(changed));
  subscriptions_.push_back(settings.alignment.edge_offset_observable().subscribe(changed));
  subscriptions_.push_back(apps.observable().subscribe(changed));
  subscriptions_.push_back(profiles.observable().subscribe(changed));
  if (frontmost) subscriptions_.push_back(frontmost->observe_changes([this] { schedule(); }));
}

void ZoneRebuilder::schedule() {
  if (*pending_) return;
  *pending_ = true;
  main_.post([pending = std::weak_ptr<bool>(pending_), this] {
    const auto alive = pending.lock();
    if (!alive) return;
    *alive = false;
    rebuild_();
  });
}

}  // namespace kolvo::overlay
