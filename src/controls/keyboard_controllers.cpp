#include "controls/keyboard_controllers.hpp"

#include <array>
#include <utility>

namespace kolvo::controls {
namespace {

bool post_key_pair(HIDEventPort& events, std::uint16_t key_code, std::optional<std::uint64_t> flags = std::nullopt) {
  return events.post_keyboard_events({{key_code, true, flags}, {key_code, false, flags}});
}

constexpr std::uint16_t kTabKey = 48;
constexpr TabShortcut kBrowserTabShortcut{kTabKey, kControlFlag, kControlFlag | kShiftFlag};

constexpr std::array<std::string_view, 12> kTabbedBrowsers = {
    "com.apple.Safari",         "com.apple.SafariTechnologyPreview",   "com.google.Chrome",
    "com.google.Chrome.beta",   "com.google.Chrome.canary",            "company.thebrowser.Browser",
    "org.mozilla.firefox",      "org.mozilla.firefoxdeveloperedition", "com.microsoft.edgemac",
    "com.brave.Browser",        "com.vivaldi.Vivaldi",                 "com.operasoftware.Opera",
};

// "Down" and "up" as a media key carries them, in bits 8–15 of data1.
constexpr std::int64_t kKeyStateDown = 0x0A;
constexpr std::int64_t kKeyStateUp = 0x0B;
// Uptimes that should compare equal can differ in the last bit; a press exactly 0.3 s after
// the previous one counts.
constexpr double kUptimeTolerance = 1e-9;

std::string trimmed(std::string_view text) {
  constexpr std::string_view kSpace = " \t\r\n";
  const auto first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(kSpace) - first + 1));
}

}  // namespace

bool ShowDesktopController::toggle() {
  if (!trust_.is_process_trusted()) return false;
  if (!post_key_pair(events_, kShowDesktopKey)) return false;
  desktop_shown_.set(!desktop_shown_.get());
  return true;
}

bool TabSwitchController::is_supported(const std::optional<std::string>& bundle_id) {
  return bundle_id && shortcut(*bundle_id).has_value();
}

std::optional<TabShortcut> TabSwitchController::shortcut(std::string_view bundle_id) {
  for (const std::string_view browser : kTabbedBrowsers) {
    if (browser == bundle_id) return kBrowserTabShortcut;
  }
  return std::nullopt;
}

bool TabSwitchController::step(int delta) {
  if (!trust_.is_process_trusted()) return false;
  const auto frontmost = frontmost_ ? frontmost_() : std::nullopt;
  const auto row = frontmost ? shortcut(*frontmost) : std::nullopt;
  if (!row || delta == 0) return false;
  return post_key_pair(events_, row->key_code, delta < 0 ? row->prev_flags : row->next_flags);
}

SystemDefinedEvent MediaPlaybackController::media_key_event(bool key_down, double timestamp) {
  const std::int64_t state = key_down ? kKeyStateDown : kKeyStateUp;
  SystemDefinedEvent event;
  event.modifier_flags = static_cast<std::uint64_t>(state << 8);
  event.data1 = (kPlayPauseKey << 16) | (state << 8);
  event.timestamp = timestamp;
  return event;
}

bool MediaPlaybackController::play_pause() {
  if (!trust_.is_process_trusted()) return false;
  const double now = events_.system_uptime();
  if (now - last_toggle_ + kUptimeTolerance < kMinimumInterval) return false;
  last_toggle_ = now;
  events_.post_system_defined(media_key_event(true, now));
  events_.post_system_defined(media_key_event(false, now + 0.001));
  return true;
}

std::string DesktopSpaceController::script(SpaceDirection direction) {
  const auto key = direction == SpaceDirection::left ? KeyCode::leftArrow : KeyCode::rightArrow;
  return "tell application \"System Events\" to key code " + std::to_string(static_cast<int>(key)) +
         " using {control down}";
}

void DesktopSpaceController::switch_space(SpaceDirection direction, Completion done) {
  ProcessLauncherPort* launcher = &launcher_;
  queue_.async(
      [launcher, source = script(direction)] {
        return launcher->run_process({.executable = std::string(kInterpreter), .arguments = {"-e", source}});
      },
      [this, done = std::move(done)](ProcessOutcome outcome) {
        const bool switched = outcome.launched && outcome.exit_status == 0;
        if (!switched) {
          // Nothing is shown to the user: the usual cause is a refused automation permission
          // or Control-arrow not being the Space shortcut, and the log says which.
          const std::string reason = outcome.launched ? trimmed(outcome.output) : outcome.launch_error;
          log_.record("Desktop", reason.empty() ? "osascript exited with status " + std::to_string(outcome.exit_status)
                                                : reason);
        }
        if (done) done(switched);
      });
}

}  // namespace kolvo::controls
