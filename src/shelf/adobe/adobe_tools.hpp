#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "shelf/apple_events.hpp"
#include "shelf/shelf_surface_session.hpp"

// What Kolvo knows about each Adobe application it drives: how the Mac names it, which of the
// phone's tools belong to it, and the keyboard shortcut that selects each tool.
namespace kolvo::shelf {

using deck::AdobeToolID;

// CGEventFlags masks of the modifier keys a shortcut holds down.
inline constexpr std::uint64_t kShiftKeyFlag = 0x20000;
inline constexpr std::uint64_t kOptionKeyFlag = 0x80000;
inline constexpr std::uint64_t kCommandKeyFlag = 0x100000;

// A tool's default shortcut in its application: a lower-case letter and its modifiers.
struct AdobeShortcut {
  char letter = 'a';
  std::uint64_t flags = 0;
  friend bool operator==(const AdobeShortcut&, const AdobeShortcut&) = default;
};

inline constexpr std::size_t kAdobeToolGridSize = 9;
// The phone's tool grid in cell order; an empty cell is absent.
using AdobeToolGrid = std::array<std::optional<AdobeToolID>, kAdobeToolGridSize>;

inline constexpr std::array kAdobeApps{AdobeApp::afterEffects, AdobeApp::illustrator, AdobeApp::photoshop,
                                       AdobeApp::premiere};

// The application's canonical bundle identifier, which its installed copy carries.
std::string_view adobe_bundle_id(AdobeApp app);
// "After Effects", "Illustrator", "Photoshop", "Premiere Pro".
std::string_view adobe_app_name(AdobeApp app);
ShelfSurfaceIdentity adobe_identity(AdobeApp app);

// Whether a running application with `bundle_id` is `app`. Premiere Pro runs under a
// versioned identifier ("com.adobe.PremierePro.25") and After Effects may run as
// "com.adobe.AfterEffects.application", so the canonical identifier alone would miss them.
bool is_adobe_instance(AdobeApp app, std::string_view bundle_id);
// The running instance of `app`: the frontmost one when several run, else the first listed.
std::optional<RunningProcess> find_adobe_instance(AdobeApp app, const std::vector<RunningProcess>& running,
                                                  std::optional<std::int64_t> frontmost_pid = std::nullopt);

// The application a tool belongs to.
AdobeApp adobe_app_of(AdobeToolID tool);
// Every tool of the application, in the order the settings page offers them.
std::span<const AdobeToolID> adobe_tools(AdobeApp app);
// The tool's name as the application's own tool tips say it ("Object Selection").
std::string_view adobe_tool_title(AdobeToolID tool);

AdobeShortcut adobe_shortcut(AdobeToolID tool);
AdobeToolGrid default_adobe_tool_grid(AdobeApp app);

// The tool whose button stands for the application's own name of its active tool: Photoshop's
// `app.currentTool` ("magicWandTool") or the name of After Effects' `ToolType` ("Tool_Oval").
// A tool of a group answers for the whole group, as its shortcut selects the group. Absent for
// a tool the phone has no button for, and for an application that cannot say.
std::optional<AdobeToolID> adobe_tool_named(AdobeApp app, std::string_view native_name);
// The names of After Effects' `ToolType` values that stand for a phone's tool.
std::vector<std::string_view> after_effects_tool_type_names();

// The keystroke for a tool's shortcut on this Mac's keyboard: the key that types the letter on
// the current layout (a German keyboard has Y and Z swapped), or its place on a US keyboard
// when the layout cannot say.
std::optional<KeyStroke> adobe_key_stroke(AdobeToolID tool, const ApplicationProcesses& processes);

}  // namespace kolvo::shelf
