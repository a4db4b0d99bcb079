#include "dock/dock_geometry.hpp"

#include <algorithm>

namespace kolvo::dock {
namespace {

constexpr double kStripWidth = 8;
constexpr double kBandWidth = 380;
constexpr double kDockOverlap = 6;
constexpr double kScreenMargin = 8;
constexpr double kMinimumTrayWidth = 150;
constexpr double kMaximumTrayWidth = 360;

Rect beside_dock(const DockGeometry& g, Side side, double offset, double width) {
  const Rect& dock = g.dock_rect;
  const double x = side == Side::right ? dock.max_x() - kDockOverlap + offset
                                       : dock.min_x() + kDockOverlap - offset - width;
  return {x, dock.min_y(), width, dock.height};
}

}  // namespace

DockGeometry make_dock_geometry(const Rect& screen_frame, const DockDetectionResult& detection) {
  const Rect& dock = detection.dock_rect;
  DockGeometry g;
  g.screen_frame = screen_frame;
  g.dock_rect = dock;
  g.detection = detection;
  const double height = dock.height + 2 * kTriggerOverhang;
  g.left_trigger_rect = {dock.min_x() - kTriggerWidth, dock.min_y() - kTriggerOverhang, kTriggerWidth, height};
  g.right_trigger_rect = {dock.max_x(), dock.min_y() - kTriggerOverhang, kTriggerWidth, height};
  return g;
}

Rect trigger_strip(const DockGeometry& g, Side side, double offset) { return beside_dock(g, side, offset, kStripWidth); }

Rect hover_band(const DockGeometry& g, Side side, double offset) { return beside_dock(g, side, offset, kBandWidth); }

double natural_tray_width(int items, double icon_size) {
  const int n = std::max(items, 0);
  return 24 + n * icon_size + std::max(n - 1, 0) * 8.0;
}

Rect tray_rect(const DockGeometry& g, Side side, int items, double offset) {
  const Rect& dock = g.dock_rect;
  const Rect& f = g.screen_frame;
  const double icon = std::clamp(dock.height * 0.62, 42.0, 58.0);
  const double natural = natural_tray_width(items, icon);
  double x;
  double width = natural;
  if (side == Side::right) {
    x = dock.max_x() - kDockOverlap + offset;
    const double limit = f.max_x() - kScreenMargin;
    if (x + width > limit) width = limit - x;
    if (width < kMinimumTrayWidth) {
      width = kMinimumTrayWidth;
      x = std::min(limit - kMinimumTrayWidth, dock.max_x() - kDockOverlap + offset);
    }
    width = std::clamp(width, kMinimumTrayWidth, kMaximumTrayWidth);
  } else {
    const double end = dock.min_x() + kDockOverlap - offset;
    const double floor = f.min_x() + kScreenMargin;
    x = end - width;
    if (x < floor) {
      x = floor;
      width = end - floor;
    }
    if (width < kMinimumTrayWidth) {
      width = kMinimumTrayWidth;
      x = std::max(end, floor + kMinimumTrayWidth) - kMinimumTrayWidth;
    }
    width = std::clamp(width, kMinimumTrayWidth, kMaximumTrayWidth);
    // A capped tray stays attached to the Dock rather than to where it would have begun.
    x = std::max(end - width, floor);
  }
  return {x, dock.min_y(), width, dock.height};
}

}  // namespace kolvo::dock
