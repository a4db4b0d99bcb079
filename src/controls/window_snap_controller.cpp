#include "controls/window_snap_controller.hpp"

#include <cmath>
#include <memory>
#include <string_view>

namespace kolvo::controls {
namespace {

constexpr std::string_view kFocusedWindow = "AXFocusedWindow";
constexpr std::string_view kMainWindow = "AXMainWindow";
constexpr std::string_view kWindows = "AXWindows";
constexpr std::string_view kRole = "AXRole";
constexpr std::string_view kSubrole = "AXSubrole";
constexpr std::string_view kFullScreen = "AXFullScreen";
constexpr std::string_view kPosition = "AXPosition";
constexpr std::string_view kSize = "AXSize";
// Set by assistive apps; while it is on, many apps animate frame changes and end up where the
// animation left them rather than where they were put.
constexpr std::string_view kEnhancedUserInterface = "AXEnhancedUserInterface";

bool is_standard_window(const AXElement& window) {
  if (window.string_attribute(kRole) != "AXWindow") return false;
  const auto subrole = window.string_attribute(kSubrole);
  return !subrole || *subrole == "AXStandardWindow";
}

bool is_full_screen(const AXElement& window) { return window.bool_attribute(kFullScreen).value_or(false); }

std::unique_ptr<AXElement> target_window(const AXElement& application) {
  for (const std::string_view attribute : {kFocusedWindow, kMainWindow}) {
    auto window = application.element_attribute(attribute);
    if (window && is_standard_window(*window)) return window;
  }
  for (auto& window : application.element_array_attribute(kWindows)) {
    if (window && is_standard_window(*window) && !is_full_screen(*window)) return std::move(window);
  }
  return nullptr;
}

std::optional<TopLeftRect> frame_of(const AXElement& window) {
  const auto origin = window.point_attribute(kPosition);
  const auto size = window.size_attribute(kSize);
  if (!origin || !size) return std::nullopt;
  return TopLeftRect{origin->x, origin->y, size->width, size->height};
}

void write_frame(AXElement& window, const TopLeftRect& target) {
  // Size first so the move is not clamped by the old size at the screen edge, then the move,
  // then the size again in case the move's destination allowed more than the first attempt.
  window.set_size_attribute(kSize, {target.width, target.height});
  window.set_point_attribute(kPosition, {target.x, target.y});
  window.set_size_attribute(kSize, {target.width, target.height});
}

std::optional<bool> landed(const AXElement& window, const TopLeftRect& target) {
  const auto frame = frame_of(window);
  if (!frame) return std::nullopt;
  return std::fabs(frame->x - target.x) < WindowSnapController::kPositionTolerance &&
         std::fabs(frame->y - target.y) < WindowSnapController::kPositionTolerance;
}

bool apply_frame(AXElement& window, const TopLeftRect& target) {
  write_frame(window, target);
  const auto first = landed(window, target);
  if (!first) return false;
  if (*first) return true;
  write_frame(window, target);
  return landed(window, target).value_or(false);
}

// Clears the application's enhanced-interface flag for the length of a move and puts back
// what was there.
class EnhancedInterfacePause {
 public:
  explicit EnhancedInterfacePause(AXElement& application) : application_(application) {
    was_on_ = application_.bool_attribute(kEnhancedUserInterface).value_or(false);
    if (was_on_) application_.set_bool_attribute(kEnhancedUserInterface, false);
  }
  ~EnhancedInterfacePause() {
    if (was_on_) application_.set_bool_attribute(kEnhancedUserInterface, true);
  }
  EnhancedInterfacePause(const EnhancedInterfacePause&) = delete;
  EnhancedInterfacePause& operator=(const EnhancedInterfacePause&) = delete;

 private:
  AXElement& application_;
  bool was_on_ = false;
};

bool contains_point(const dock::Rect& r, double x, double y) {
  return x >= r.min_x() && x < r.max_x() && y >= r.min_y() && y < r.max_y();
}

}  // namespace

TopLeftRect snap_target(WindowLayout layout, const TopLeftRect& v, const std::optional<TopLeftRect>& remembered) {
  const double w = v.width / 2;
  const double h = v.height / 2;
  const double mid_x = v.x + w;
  const double mid_y = v.y + h;
  switch (layout) {
    case WindowLayout::leftHalf: return {v.x, v.y, w, v.height};
    case WindowLayout::rightHalf: return {mid_x, v.y, w, v.height};
    case WindowLayout::maximize: return v;
    case WindowLayout::topHalf: return {v.x, v.y, v.width, h};
    case WindowLayout::bottomHalf: return {v.x, mid_y, v.width, h};
    case WindowLayout::topLeft: return {v.x, v.y, w, h};
    case WindowLayout::topRight: return {mid_x, v.y, w, h};
    case WindowLayout::bottomLeft: return {v.x, mid_y, w, h};
    case WindowLayout::bottomRight: return {mid_x, mid_y, w, h};
    case WindowLayout::center: {
      if (remembered && dock::intersects(*remembered, v)) return *remembered;
      const double width = v.width * 0.6;
      const double height = v.height * 0.72;
      return {mid_x - width / 2, mid_y - height / 2, width, height};
    }
  }
  return v;
}

std::optional<TopLeftRect> visible_frame_for_window(const std::vector<dock::ScreenInfo>& screens,
                                                    const TopLeftRect& window) {
  if (screens.empty()) return std::nullopt;
  const double primary_max_y = screens.front().frame.max_y();
  // The window in the bottom-left global space the screens are described in.
  const dock::Rect flipped{window.x, primary_max_y - (window.y + window.height), window.width, window.height};
  const dock::ScreenInfo* chosen = nullptr;
  for (const auto& screen : screens) {
    if (contains_point(screen.frame, flipped.mid_x(), flipped.mid_y())) {
      chosen = &screen;
      break;
    }
  }
  if (!chosen) {
    double best = 0;
    for (const auto& screen : screens) {
      const double overlap = dock::area_of_intersection(screen.frame, flipped);
      if (overlap > best) best = overlap, chosen = &screen;
    }
  }
  if (!chosen) chosen = &screens.front();
  const dock::Rect& visible = chosen->visible_frame;
  return TopLeftRect{visible.x, primary_max_y - visible.max_y(), visible.width, visible.height};
}

bool WindowSnapController::snap(WindowLayout layout, std::int64_t pid) {
  if (pid <= 0 || pid > kLargestProcessId) return false;
  if (!trust_.is_process_trusted() || pid == own_pid_) return false;
  auto application = applications_.create_application(pid);
  if (!application) return false;
  auto window = target_window(*application);
  if (!window || is_full_screen(*window)) return false;
  const auto frame = frame_of(*window);
  if (!frame) return false;
  pre_snap_frames_.try_emplace(pid, *frame);
  const auto visible = visible_frame_for_window(screens_.screens(), *frame);
  if (!visible) return false;
  const TopLeftRect target = snap_target(layout, *visible, pre_snap_frames_.at(pid));
  EnhancedInterfacePause pause(*application);
  return apply_frame(*window, target);
}

}  // namespace kolvo::controls
