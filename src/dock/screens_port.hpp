#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/observable.hpp"
#include "dock/dock_calibration.hpp"
#include "dock/rect.hpp"

// The platform readings the geometry rules run on. The Mac reads them from NSScreen,
// NSWorkspace and the accessibility interface; the simulated Mac from a layout file; tests
// feed them directly.
namespace kolvo::dock {

struct ScreenInfo {
  Rect frame;
  Rect visible_frame;  // the frame less the menu bar and a Dock that is not hidden
  KolvoDisplayIdentity identity;
};

class ScreensPort {
 public:
  virtual ~ScreensPort() = default;
  // In the system's order; the first is the primary display, at the global origin.
  virtual std::vector<ScreenInfo> screens() const = 0;
  // The index of the screen with the key window, when there is one.
  virtual std::optional<std::size_t> main_screen_index() const = 0;
  // Called on the main thread when displays are added, removed or rearranged.
  [[nodiscard]] virtual base::Subscription observe_screen_parameters(std::function<void()> changed) const = 0;
};

struct RunningApplication {
  std::optional<std::string> bundle_id;
  bool regular = true;  // activation policy regular: shown in the Dock
  std::int64_t pid = 0;
};

class RunningApplicationsPort {
 public:
  virtual ~RunningApplicationsPort() = default;
  virtual std::vector<RunningApplication> running_applications() const = 0;
  virtual std::int64_t own_pid() const = 0;
  // Called on the main thread when an application launches or terminates.
  [[nodiscard]] virtual base::Subscription observe_launches(std::function<void()> launched) const = 0;
  [[nodiscard]] virtual base::Subscription observe_terminations(std::function<void()> terminated) const = 0;
};

// One accessibility element. Frames are already in the bottom-left global space: the adapter
// converts from the top-left form before anything here sees them.
class AccessibilityElement {
 public:
  virtual ~AccessibilityElement() = default;
  virtual std::optional<std::string> role() const = 0;
  virtual std::optional<std::string> subrole() const = 0;
  virtual std::optional<std::string> title() const = 0;
  virtual std::optional<Rect> frame() const = 0;
  virtual std::vector<std::unique_ptr<AccessibilityElement>> children() const = 0;
  virtual std::vector<std::unique_ptr<AccessibilityElement>> windows() const = 0;
};

class AccessibilityElementReader {
 public:
  virtual ~AccessibilityElementReader() = default;
  // AXUIElementCreateApplication.
  virtual std::unique_ptr<AccessibilityElement> application(std::int64_t pid) const = 0;
};

// Top-left accessibility space to the bottom-left global space. `primary_height` is the height
// of the primary display (the one at the global origin), never the screen with the key window.
inline Rect from_accessibility_space(double x, double y_top_left, double width, double height, double primary_height) {
  return {x, primary_height - (y_top_left + height), width, height};
}

}  // namespace kolvo::dock
