#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>

#include "controls/keyboard_controllers.hpp"
#include "controls/window_layout.hpp"
#include "dock/dock_calibration.hpp"
#include "dock/rect.hpp"

// What a person or another process asks of the running program, already checked for form.
// Each edge (the command line's words, the control socket's JSON, later the phone's messages
// and the status menu) turns what it received into one of these; the handlers never see text.
namespace kolvo::app {

// Exit codes: 0 done, 1 the request failed, 2 the request was malformed.
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

// What a request printed, and how it ended.
struct Reply {
  int exit_code = 0;
  std::string output;
  std::string error;
};

enum class LevelControl { volume, brightness, backlight };

// Reads a level, or sets it (0 … 1) and reads back what the Mac reports.
struct LevelRequest {
  LevelControl control = LevelControl::volume;
  std::optional<float> set_to;
};

// Lists the output devices, or makes one the default.
struct OutputRequest {
  std::optional<std::int64_t> make_default;
};

struct DarkModeRequest {
  std::optional<bool> set_dark;
};

struct ShowDesktopRequest {};

struct SpaceRequest {
  controls::SpaceDirection direction = controls::SpaceDirection::right;
};

struct TabRequest {
  std::int32_t step = 0;
};

struct SnapRequest {
  controls::WindowLayout layout = controls::WindowLayout::maximize;
  // The frontmost application's window when absent.
  std::optional<std::int64_t> pid;
};

struct PlayPauseRequest {};

struct TimerRequest {
  enum class Action { status, start, stop, set_minutes };
  Action action = Action::status;
  int minutes = 0;  // 0 … 60, for set_minutes
  bool json = false;
};

// Saves a calibration exactly as the calibration window does.
struct CalibrateDockRequest {
  std::string display_key;  // a display's UUID, number or calibration key
  dock::Rect dock_rect;
  dock::DockPosition position = dock::DockPosition::bottom;
};

using Request = std::variant<LevelRequest, OutputRequest, DarkModeRequest, ShowDesktopRequest, SpaceRequest,
                             TabRequest, SnapRequest, PlayPauseRequest, TimerRequest, CalibrateDockRequest>;

// Whether a request only looks. Such a request runs over a copy of the preferences when no
// host is running, so that looking never writes.
bool only_reads(const Request& request);

}  // namespace kolvo::app
