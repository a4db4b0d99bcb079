#include "dock/dock_detection.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace kolvo::dock {
namespace {

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

bool contains(const std::string& text, std::string_view part) { return text.find(part) != std::string::npos; }

double distance_to_edge(const Rect& frame, const Rect& r, DockPosition edge) {
  switch (edge) {
    case DockPosition::bottom: return std::fabs(r.min_y() - frame.min_y());
    case DockPosition::left: return std::fabs(r.min_x() - frame.min_x());
    case DockPosition::right: break;
  }
  return std::fabs(r.max_x() - frame.max_x());
}

struct Candidate {
  Rect rect;
  double score;
};

class LiveFrameWalk {
 public:
  LiveFrameWalk(const Rect& frame, const std::optional<DockCalibration>& calibration)
      : frame_(frame), calibration_(calibration) {}

  void visit(const AccessibilityElement& element, int depth) {
    if (depth > kMaxDepth) return;
    if (const auto r = element.frame()) consider(element, *r);
    for (const auto& child : element.children()) visit(*child, depth + 1);
  }

  std::optional<Rect> best() const {
    if (!best_) return std::nullopt;
    return best_->rect;
  }

 private:
  static constexpr int kMaxDepth = 11;

  void consider(const AccessibilityElement& element, const Rect& r) {
    const DockPosition edge = nearest_edge(frame_, r);
    if (!is_plausible_edge_rect(frame_, edge, r)) return;
    const std::string role = lower(element.role().value_or(""));
    const std::string subrole = lower(element.subrole().value_or(""));
    const bool is_list = contains(role, "list");
    const bool long_group = role == "axgroup" && ((r.width > 200 && edge == DockPosition::bottom) ||
                                                  (r.height > 200 && edge != DockPosition::bottom));
    if (!is_list && !contains(subrole, "dock") && !long_group) return;
    if (calibration_ && !is_plausible_live_rect(*calibration_, frame_, r)) return;

    double score = r.width * r.height;
    if (is_list) score *= 2;
    if (edge == DockPosition::bottom) score *= 1.2;
    score += std::max(0.0, 200 - distance_to_edge(frame_, r, edge));
    if (calibration_) {
      const Rect& c = calibration_->dock_rect;
      score -= 0.5 * std::fabs(r.mid_x() - c.mid_x());
      if (intersects(r, c.grown(24, 24))) score += 500;
    }
    // Strictly greater: on a tie the first candidate found stays.
    if (!best_ || score > best_->score) best_ = Candidate{r, score};
  }

  Rect frame_;
  const std::optional<DockCalibration>& calibration_;
  std::optional<Candidate> best_;
};

}  // namespace

Rect defaults_estimate_rect(const ScreenInfo& screen, const DockPreferences& prefs) {
  const Rect& f = screen.frame;
  const Rect& v = screen.visible_frame;
  const double tile = effective_tile(prefs);
  const double thickness = tile + 24;
  const double length = (tile + 8) * static_cast<double>(slot_count(prefs)) + 80;
  Rect r;
  switch (prefs.orientation) {
    case DockPosition::bottom: {
      const double inset = v.min_y() - f.min_y();
      r.height = inset > 1 ? inset : thickness;
      r.y = f.min_y() + (inset <= 1 ? 8 : 0);
      r.width = std::min(0.95 * f.width, length);
      // Centred on the uncapped length even when the width was capped.
      r.x = f.mid_x() - length / 2;
      return r;
    }
    case DockPosition::left: {
      const double inset = v.min_x() - f.min_x();
      r.width = inset > 1 ? inset : thickness;
      r.x = f.min_x();
      break;
    }
    case DockPosition::right: {
      const double inset = f.max_x() - v.max_x();
      r.width = inset > 1 ? inset : thickness;
      r.x = f.max_x() - r.width;
      break;
    }
  }
  r.y = f.mid_y() - length / 2;
  r.height = std::min(0.95 * f.height, length);
  return r;
}

Rect visible_frame_estimate_rect(const ScreenInfo& screen, const DockPreferences& prefs) {
  const Rect& f = screen.frame;
  const Rect& v = screen.visible_frame;
  if (const double bottom = v.min_y() - f.min_y(); bottom > 2) return {v.min_x(), f.min_y(), v.width, bottom};
  if (const double left = v.min_x() - f.min_x(); left > 2) return {f.min_x(), v.min_y(), left, v.height};
  if (const double right = f.max_x() - v.max_x(); right > 2) return {v.max_x(), v.min_y(), right, v.height};
  return defaults_estimate_rect(screen, prefs);
}

DockPosition nearest_edge(const Rect& f, const Rect& r) {
  const double bottom = std::fabs(r.min_y() - f.min_y());
  const double left = std::fabs(r.min_x() - f.min_x());
  const double right = std::fabs(r.max_x() - f.max_x());
  if (bottom <= left && bottom <= right) return DockPosition::bottom;
  if (left <= right) return DockPosition::left;
  return DockPosition::right;
}

bool is_plausible_edge_rect(const Rect& f, DockPosition position, const Rect& r) {
  if (!(r.width > 0 && r.height > 0 && r.width < 0.95 * f.width && r.height < 0.95 * f.height)) return false;
  switch (position) {
    case DockPosition::bottom: return r.width > 100 && r.height > 20 && std::fabs(r.min_y() - f.min_y()) < 48;
    case DockPosition::left: return r.width > 20 && r.height > 100 && std::fabs(r.min_x() - f.min_x()) < 48;
    case DockPosition::right: break;
  }
  return r.width > 20 && r.height > 100 && std::fabs(r.max_x() - f.max_x()) < 48;
}

DockDetectionResult detect_uncalibrated(const ScreenInfo& screen, const DockPreferences& prefs) {
  const Rect estimate = defaults_estimate_rect(screen, prefs);
  if (is_plausible_edge_rect(screen.frame, prefs.orientation, estimate)) {
    return {estimate, DockRectSource::defaultsEstimate, prefs.orientation, false};
  }
  const Rect visible = visible_frame_estimate_rect(screen, prefs);
  return {visible, DockRectSource::visibleFrameEstimate, nearest_edge(screen.frame, visible), false};
}

bool is_plausible_live_rect(const DockCalibration& calibration, const Rect& f, const Rect& r) {
  const Rect& c = calibration.dock_rect;
  const bool bottom = calibration.dock_position == DockPosition::bottom;
  // Length over 100 and thickness over 20, whichever way the Dock runs.
  const double length = bottom ? r.width : r.height;
  const double thickness = bottom ? r.height : r.width;
  if (!(length > 100 && thickness > 20 && r.width < 0.95 * f.width && r.height < 0.95 * f.height)) return false;
  if (bottom) {
    return std::fabs(r.min_y() - f.min_y()) < 80 && r.width >= 0.7 * c.width && r.width <= f.width &&
           std::fabs(r.mid_x() - c.mid_x()) <= 0.25 * f.width && intersects(r, c.grown(0, 24)) && r.height >= 10 &&
           r.height <= 2.5 * c.height;
  }
  return is_plausible_edge_rect(f, calibration.dock_position, r) && r.height >= 0.7 * c.height;
}

std::optional<Rect> adapt_live_rect(const DockCalibration& calibration, const Rect& f, const Rect& r) {
  if (!is_plausible_live_rect(calibration, f, r)) return std::nullopt;
  const Rect& c = calibration.dock_rect;
  switch (calibration.dock_position) {
    case DockPosition::bottom: {
      if (std::fabs(r.width - c.width) < 12 && std::fabs(r.min_x() - c.min_x()) < 12 &&
          std::fabs(r.min_y() - c.min_y()) < 12 && std::fabs(r.height - c.height) < 12) {
        return c;
      }
      const double x = std::fabs(r.mid_x() - c.mid_x()) <= 0.15 * f.width ? r.min_x() : c.mid_x() - r.width / 2;
      return Rect{x, c.y, r.width, c.height};
    }
    case DockPosition::left: return Rect{c.min_x(), r.min_y(), c.width, r.height};
    case DockPosition::right: break;
  }
  return Rect{r.min_x(), r.min_y(), c.width, r.height};
}

std::optional<Rect> live_dock_frame(const ScreenInfo& screen, const std::optional<DockCalibration>& calibration,
                                    const DockEnvironment& environment) {
  if (!environment.accessibility.is_process_trusted()) return std::nullopt;
  std::optional<std::int64_t> dock_pid;
  for (const RunningApplication& app : environment.running.running_applications()) {
    if (app.bundle_id == "com.apple.dock") {
      dock_pid = app.pid;
      break;
    }
  }
  if (!dock_pid) return std::nullopt;
  const auto application = environment.elements.application(*dock_pid);
  if (!application) return std::nullopt;
  LiveFrameWalk walk(screen.frame, calibration);
  for (const auto& child : application->children()) walk.visit(*child, 0);
  for (const auto& window : application->windows()) walk.visit(*window, 0);
  return walk.best();
}

}  // namespace kolvo::dock
