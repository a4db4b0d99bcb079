#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>

#include "controls/keyboard_controllers.hpp"
#include "controls/window_layout.hpp"
#include "deck/protocol/deck_message.hpp"
#include "dock/dock_calibration.hpp"
#include "dock/rect.hpp"
#include "shelf/shelf_surface_session.hpp"

// What a person or another process asks of the running program, already checked for form.
// Each edge (the command line's words, the control socket's JSON, later the phone's messages
// and the status menu) turns what it received into one of these; the handlers never see text.
namespace kolvo::app {

// Exit codes: 0 done, 1 the request failed, 2 the request was malformed.
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

// How a launch went, for callers that answer in kind (the phone's launch results).
struct LaunchReport {
  deck::KolvoDeckLaunchOutcome primary = deck::KolvoDeckLaunchOutcome::rejected;
  // Pairs only.
  std::optional<deck::KolvoDeckLaunchOutcome> secondary;
  std::optional<deck::KolvoDeckLaunchPairOutcome> pair;
  std::optional<deck::KolvoDeckLaunchLayoutOutcome> layout;
  friend bool operator==(const LaunchReport&, const LaunchReport&) = default;
};

// What a request printed, and how it ended.
struct Reply {
  int exit_code = 0;
  std::string output;
  std::string error;
  // Set by launches.
  std::optional<LaunchReport> launch;
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

// Launches an application, or brings it forward when it runs.
struct LaunchRequest {
  std::string bundle_id;
};

// Launches two applications and places them side by side, the first on the left.
struct LaunchPairRequest {
  std::string primary_bundle_id;
  std::string secondary_bundle_id;
};

// The user's word on a phone waiting for approval, given from outside the prompt.
struct DeckApprovalAnswer {
  std::string key;  // the phone's device id, or "connection-N"
  bool allow = false;
};

// Lists the trusted phones and those waiting for approval.
struct DeckTrustedRequest {
  bool json = false;
};

// A command for one of the Shelf's widgets, as the phone sends it.
struct ShelfCommandRequest {
  deck::ShelfSurfaceIdentity identity = deck::ShelfSurfaceIdentity::timer;
  shelf::ShelfCommand command;
};

// Forgets a trusted phone: its next hello asks again.
struct DeckForgetRequest {
  std::string device_id;
};

using Request = std::variant<LevelRequest, OutputRequest, DarkModeRequest, ShowDesktopRequest, SpaceRequest,
                             TabRequest, SnapRequest, PlayPauseRequest, TimerRequest, CalibrateDockRequest,
                             LaunchRequest, LaunchPairRequest, DeckApprovalAnswer, DeckTrustedRequest,
                             DeckForgetRequest, ShelfCommandRequest>;

// Whether a request only looks. Such a request runs over a copy of the preferences when no
// host is running, so that looking never writes.
bool only_reads(const Request& request);

}  // namespace kolvo::app
