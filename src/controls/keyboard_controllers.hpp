#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/diagnostics_log.hpp"
#include "base/executor.hpp"
#include "base/observable.hpp"
#include "base/serial_queue.hpp"
#include "controls/control_ports.hpp"
#include "dock/accessibility_trust.hpp"

// The controls that act by pressing keys on the user's behalf. Posting synthetic events needs
// the Accessibility permission; without it each of these does nothing and says so.
namespace kolvo::controls {

// Keyboard modifier masks in the Core Graphics event-flag encoding.
inline constexpr std::uint64_t kControlFlag = 0x40000;
inline constexpr std::uint64_t kShiftFlag = 0x20000;

// Show Desktop is F11; the flag mirrors what was last asked for.
class ShowDesktopController {
 public:
  static constexpr std::uint16_t kShowDesktopKey = 103;

  ShowDesktopController(const dock::AccessibilityTrust& trust, HIDEventPort& events) : trust_(trust), events_(events) {}

  // F11 down and up. False when nothing was posted.
  bool toggle();
  base::Observable<bool>& desktop_shown() { return desktop_shown_; }

 private:
  const dock::AccessibilityTrust& trust_;
  HIDEventPort& events_;
  base::Observable<bool> desktop_shown_{false};
};

struct TabShortcut {
  std::uint16_t key_code = 0;
  std::uint64_t next_flags = 0;
  std::uint64_t prev_flags = 0;
  friend bool operator==(const TabShortcut&, const TabShortcut&) = default;
};

// Next and previous tab in the frontmost browser.
class TabSwitchController {
 public:
  using FrontmostBundleID = std::function<std::optional<std::string>()>;

  TabSwitchController(const dock::AccessibilityTrust& trust, HIDEventPort& events, FrontmostBundleID frontmost)
      : trust_(trust), events_(events), frontmost_(std::move(frontmost)) {}

  static bool is_supported(const std::optional<std::string>& bundle_id);
  static std::optional<TabShortcut> shortcut(std::string_view bundle_id);

  // One tab forward for a positive delta, one back for a negative one, whatever its size: a
  // fast dial turn must not skip across a window full of tabs. False when nothing was posted.
  bool step(int delta);

 private:
  const dock::AccessibilityTrust& trust_;
  HIDEventPort& events_;
  FrontmostBundleID frontmost_;
};

// The play/pause media key, as the keyboard's own key sends it.
class MediaPlaybackController {
 public:
  static constexpr std::int64_t kPlayPauseKey = 16;
  static constexpr double kMinimumInterval = 0.3;

  MediaPlaybackController(const dock::AccessibilityTrust& trust, HIDEventPort& events)
      : trust_(trust), events_(events) {}

  // Posts a key-down and key-up pair. A second press within 0.3 s is dropped: a dial flicked
  // twice would otherwise start and stop the music in one gesture. False when dropped.
  bool play_pause();
  double last_toggle() const { return last_toggle_; }

  static SystemDefinedEvent media_key_event(bool key_down, double timestamp);

 private:
  const dock::AccessibilityTrust& trust_;
  HIDEventPort& events_;
  double last_toggle_ = 0;
};

enum class SpaceDirection { left, right };

// Switches Spaces with Control-arrow through System Events. The keystroke goes through the
// osascript interpreter on a private queue, so the caller never waits for it.
class DesktopSpaceController {
 public:
  enum class KeyCode : std::uint16_t { leftArrow = 123, rightArrow = 124 };
  static constexpr std::string_view kQueueLabel = "com.kolvo.desktopspace";
  static constexpr std::string_view kInterpreter = "/usr/bin/osascript";

  // The outcome, on the main executor: true when the interpreter exited cleanly.
  using Completion = std::function<void(bool switched)>;

  DesktopSpaceController(ProcessLauncherPort& launcher, base::Executor& main, base::DiagnosticsLog& log)
      : launcher_(launcher), log_(log), queue_(std::string(kQueueLabel), main, base::SerialQueue::Priority::user_initiated) {}

  void switch_space(SpaceDirection direction, Completion done = {});

  static std::string script(SpaceDirection direction);

 private:
  ProcessLauncherPort& launcher_;
  base::DiagnosticsLog& log_;
  base::SerialQueue queue_;
};

}  // namespace kolvo::controls
