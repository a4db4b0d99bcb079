#include "ui/zone_map_overlay.hpp"

namespace kolvo::ui {

ZoneMapOverlay::ZoneMapOverlay(ZoneMapSettingsStore& settings, std::shared_ptr<ZoneMapPanels> panels, Build build)
    : settings_(settings), panels_(std::move(panels)), build_(std::move(build)) {
  subscription_ = settings_.setting().subscribe([this](bool on) { apply(on); });
  apply(settings_.show_activation_zones());
}

void ZoneMapOverlay::zones_rebuilt() {
  if (settings_.show_activation_zones()) apply(true);
}

void ZoneMapOverlay::apply(bool on) {
  if (!panels_) return;
  if (!on) {
    if (shown_) panels_->hide_zone_map();
    shown_.reset();
    return;
  }
  ZoneMap map = build_();
  if (shown_ && *shown_ == map) return;
  panels_->show_zone_map(map);
  shown_ = std::move(map);
}

}  // namespace kolvo::ui
