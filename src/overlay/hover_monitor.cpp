#include "overlay/hover_monitor.hpp"

namespace kolvo::overlay {

using dock::contains_pointer;

namespace {

constexpr std::array kCorners{prefs::Corner::topLeft, prefs::Corner::topRight, prefs::Corner::bottomLeft,
                              prefs::Corner::bottomRight};

bool is_trigger(HoverZone zone) { return zone == HoverZone::leftTrigger || zone == HoverZone::rightTrigger; }

}  // namespace

HoverMonitor::HoverMonitor(base::Executor& main, std::weak_ptr<OverlayWindowManager> manager, HapticPerformer& haptic,
                           ZoneProvider& zones)
    : main_(main),
      manager_(std::move(manager)),
      haptic_(haptic),
      zones_(zones),
      hide_work_(main),
      pressure_reveal_(main),
      slider_hide_(main),
      corner_hide_(main) {
  rebuild_zones();
}

void HoverMonitor::rebuild_zones() { layout_ = zones_.zone_layout(); }

void HoverMonitor::stop() {
  hide_work_.cancel();
  pressure_reveal_.cancel();
  slider_hide_.cancel();
  corner_hide_.cancel();
  suspended_ = true;
}

void HoverMonitor::pointer_moved(Point p) {
  if (suspended_) return;
  const base::TimePoint now = main_.now();
  if (last_evaluation_ && now - *last_evaluation_ < base::seconds(kEvaluationMinInterval)) return;
  last_evaluation_ = now;
  auto manager = manager_.lock();
  if (!manager) return;

  const DisplayZones* display = layout_.display_for(p);
  if (!display) {
    // On a display that does not react, open panels still hide as they do anywhere else.
    leave_dial();
    handle_slider_leaving(p);
    cancel_pressure_reveal(*manager);
    if (manager->is_hidden_dock_visible()) leave_to_outside();
    last_zone_ = HoverZone::outside;
    return;
  }
  if (handle_dials(*display, p, *manager)) return;
  handle_slider_leaving(p);

  // The tray only counts while the Hidden Dock is really open.
  if (!manager->is_hidden_dock_visible()) open_side_.reset();
  const HoverZone zone = classify(*display, layout_.settings, p, open_side_);
  if (zone == last_zone_) return;
  const HoverZone previous = last_zone_;
  last_zone_ = zone;

  if (is_trigger(previous) && pressure_reveal_.is_pending() && !is_trigger(zone)) cancel_pressure_reveal(*manager);
  if (is_trigger(zone)) {
    hide_work_.cancel();
    open_side(zone == HoverZone::leftTrigger ? Side::left : Side::right, *display, *manager);
  } else if (zone == HoverZone::tray) {
    hide_work_.cancel();
  } else if (previous == HoverZone::tray || is_trigger(previous)) {
    leave_to_outside();
  }
}

bool HoverMonitor::handle_dials(const DisplayZones& display, Point p, OverlayWindowManager& manager) {
  for (std::size_t i = 0; i < kCorners.size(); ++i) {
    const prefs::CornerControlMode mode = layout_.active_dials[i];
    if (mode == prefs::CornerControlMode::off || !contains_pointer(display.dial_squares[i], p)) continue;
    corner_hide_.cancel();
    if (active_corner_ != kCorners[i]) {
      active_corner_ = kCorners[i];
      manager.show_dial(kCorners[i], mode);
    }
    return true;
  }
  leave_dial();
  return false;
}

void HoverMonitor::leave_dial() {
  if (active_corner_ && !corner_hide_.is_pending()) {
    corner_hide_.start(base::seconds(kDialHideDelay), [this] {
      active_corner_.reset();
      if (auto m = manager_.lock()) m->hide_dial();
    });
  }
}

void HoverMonitor::handle_slider_leaving(Point p) {
  if (!active_slider_) return;
  // The strip of the display the slider opened on, wherever the pointer is now.
  if (contains_pointer(slider_strip_, p)) {
    slider_hide_.cancel();
  } else if (!slider_hide_.is_pending()) {
    slider_hide_.start(base::seconds(kSliderHideDelay), [this] {
      active_slider_.reset();
      if (auto m = manager_.lock()) m->hide_slider();
    });
  }
}

void HoverMonitor::open_side(Side side, const DisplayZones& display, OverlayWindowManager& manager) {
  const ZoneSettings& settings = layout_.settings;
  if (settings.has_slider(side)) {
    cancel_pressure_reveal(manager);
    slider_hide_.cancel();
    slider_strip_ = display.corner_strips[side == Side::left ? 0 : 1];
    if (active_slider_ != side) {
      active_slider_ = side;
      manager.show_slider(side, settings.edge_mode(side));
    }
    return;
  }
  // Already open on this side, whoever opened it (a pinned one stays pinned).
  if (manager.is_hidden_dock_visible() && manager.last_open_side() == side) {
    open_side_ = side;
    return;
  }
  if (!settings.pressure_mode) {
    zones_.hidden_dock_opening();
    open_side_ = side;
    manager.show_hidden_dock(side, /*pinned=*/false);
    return;
  }
  pressure_side_ = side;
  manager.set_pressure_cue_visible(true, side);
  if (!has_played_pressure_haptic_) {
    has_played_pressure_haptic_ = true;
    haptic_.perform_alignment();
  }
  pressure_reveal_.start(base::seconds(kPressureRevealDelay), [this, side] {
    has_played_pressure_haptic_ = false;
    pressure_side_.reset();
    if (auto m = manager_.lock()) {
      m->set_pressure_cue_visible(false, side);
      zones_.hidden_dock_opening();
      open_side_ = side;
      m->show_hidden_dock(side, /*pinned=*/false);
    }
  });
}

void HoverMonitor::cancel_pressure_reveal(OverlayWindowManager& manager) {
  if (!pressure_reveal_.is_pending() && !pressure_side_) return;
  pressure_reveal_.cancel();
  has_played_pressure_haptic_ = false;
  if (pressure_side_) manager.set_pressure_cue_visible(false, *pressure_side_);
  pressure_side_.reset();
}

void HoverMonitor::leave_to_outside() {
  last_zone_ = HoverZone::outside;
  if (hide_work_.is_pending()) return;
  hide_work_.start(base::seconds(kTrayHideDelay), [this] {
    auto m = manager_.lock();
    if (!m || !m->is_hidden_dock_visible() || m->is_hidden_dock_pinned()) return;
    open_side_.reset();
    m->hide_hidden_dock();
  });
}

}  // namespace kolvo::overlay
