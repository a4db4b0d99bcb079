#include "shelf/adobe/adobe_tools.hpp"

#include <algorithm>

namespace kolvo::shelf {
namespace {

using T = AdobeToolID;

struct ToolInfo {
  AdobeToolID tool;
  AdobeApp app;
  std::string_view title;
  AdobeShortcut shortcut;
};

// Each tool once, grouped by application in the order the settings page lists them. The
// shortcuts are the applications' factory defaults. Photoshop's letters select a whole group
// (W is Object Selection, Quick Selection and Magic Wand), and After Effects' C cycles through
// the camera tools and Option-W reaches the Roto Brush group.
constexpr std::array<ToolInfo, 39> kTools{{
    {T::selection, AdobeApp::afterEffects, "Selection", {'v', 0}},
    {T::hand, AdobeApp::afterEffects, "Hand", {'h', 0}},
    {T::zoom, AdobeApp::afterEffects, "Zoom", {'z', 0}},
    {T::rotation, AdobeApp::afterEffects, "Rotation", {'w', 0}},
    {T::panBehind, AdobeApp::afterEffects, "Pan Behind", {'y', 0}},
    {T::pen, AdobeApp::afterEffects, "Pen", {'g', 0}},
    {T::cube, AdobeApp::afterEffects, "Camera", {'c', 0}},
    {T::type, AdobeApp::afterEffects, "Type", {'t', kCommandKeyFlag}},
    {T::shape, AdobeApp::afterEffects, "Shape", {'q', 0}},
    {T::brush, AdobeApp::afterEffects, "Brush", {'b', kCommandKeyFlag}},
    {T::objectMatte, AdobeApp::afterEffects, "Roto Brush", {'w', kOptionKeyFlag}},
    {T::puppetPosition, AdobeApp::afterEffects, "Puppet Position Pin", {'p', kCommandKeyFlag}},
    {T::aiSelection, AdobeApp::illustrator, "Selection", {'v', 0}},
    {T::aiDirectSelection, AdobeApp::illustrator, "Direct Selection", {'a', 0}},
    {T::aiPen, AdobeApp::illustrator, "Pen", {'p', 0}},
    {T::aiType, AdobeApp::illustrator, "Type", {'t', 0}},
    {T::aiRectangle, AdobeApp::illustrator, "Rectangle", {'m', 0}},
    {T::aiShapeBuilder, AdobeApp::illustrator, "Shape Builder", {'m', kShiftKeyFlag}},
    {T::aiEyedropper, AdobeApp::illustrator, "Eyedropper", {'i', 0}},
    {T::aiHand, AdobeApp::illustrator, "Hand", {'h', 0}},
    {T::aiZoom, AdobeApp::illustrator, "Zoom", {'z', 0}},
    {T::psMove, AdobeApp::photoshop, "Move", {'v', 0}},
    {T::psMarquee, AdobeApp::photoshop, "Marquee", {'m', 0}},
    {T::psLasso, AdobeApp::photoshop, "Lasso", {'l', 0}},
    {T::psObjectSelect, AdobeApp::photoshop, "Object Selection", {'w', 0}},
    {T::psBrush, AdobeApp::photoshop, "Brush", {'b', 0}},
    {T::psEraser, AdobeApp::photoshop, "Eraser", {'e', 0}},
    {T::psCrop, AdobeApp::photoshop, "Crop", {'c', 0}},
    {T::psType, AdobeApp::photoshop, "Type", {'t', 0}},
    {T::psHand, AdobeApp::photoshop, "Hand", {'h', 0}},
    {T::prSelection, AdobeApp::premiere, "Selection", {'v', 0}},
    {T::prTrackForward, AdobeApp::premiere, "Track Select Forward", {'a', 0}},
    {T::prRazor, AdobeApp::premiere, "Razor", {'c', 0}},
    {T::prRipple, AdobeApp::premiere, "Ripple Edit", {'b', 0}},
    {T::prRolling, AdobeApp::premiere, "Rolling Edit", {'n', 0}},
    {T::prSlip, AdobeApp::premiere, "Slip", {'y', 0}},
    {T::prRateStretch, AdobeApp::premiere, "Rate Stretch", {'r', 0}},
    {T::prPen, AdobeApp::premiere, "Pen", {'p', 0}},
    {T::prHand, AdobeApp::premiere, "Hand", {'h', 0}},
}};

// The table follows the enumeration's order, so a tool is its own index.
constexpr bool follows_the_enumeration() {
  for (std::size_t i = 0; i < kTools.size(); ++i) {
    if (static_cast<std::size_t>(kTools[i].tool) != i) return false;
  }
  return kTools.size() == deck::kAdobeToolIDTable.entries.size();
}
static_assert(follows_the_enumeration());

const ToolInfo& info(AdobeToolID tool) { return kTools[static_cast<std::size_t>(tool)]; }

struct NativeName {
  std::string_view name;
  AdobeToolID tool;
};

// `app.currentTool` of every member of the groups Photoshop's shortcuts select.
constexpr NativeName kPhotoshopTools[] = {
    {"moveTool", T::psMove},
    {"artboardTool", T::psMove},
    {"marqueeRectTool", T::psMarquee},
    {"marqueeEllipTool", T::psMarquee},
    {"marqueeSingleRowTool", T::psMarquee},
    {"marqueeSingleColumnTool", T::psMarquee},
    {"lassoTool", T::psLasso},
    {"polySelTool", T::psLasso},
    {"magneticLassoTool", T::psLasso},
    {"magicLassoTool", T::psObjectSelect},  // the Object Selection tool's name inside Photoshop
    {"quickSelectTool", T::psObjectSelect},
    {"magicWandTool", T::psObjectSelect},
    {"paintbrushTool", T::psBrush},
    {"pencilTool", T::psBrush},
    {"colorReplacementBrushTool", T::psBrush},
    {"wetBrushTool", T::psBrush},
    {"eraserTool", T::psEraser},
    {"backgroundEraserTool", T::psEraser},
    {"magicEraserTool", T::psEraser},
    {"cropTool", T::psCrop},
    {"perspectiveCropTool", T::psCrop},
    {"sliceTool", T::psCrop},
    {"sliceSelectTool", T::psCrop},
    {"typeCreateOrEditTool", T::psType},
    {"typeVerticalCreateOrEditTool", T::psType},
    {"typeCreateMaskTool", T::psType},
    {"typeVerticalCreateMaskTool", T::psType},
    {"handTool", T::psHand},
};

// After Effects' `ToolType` names, grouped as its shortcuts cycle through them.
constexpr NativeName kAfterEffectsToolTypes[] = {
    {"Tool_Arrow", T::selection},
    {"Tool_Hand", T::hand},
    {"Tool_Magnify", T::zoom},
    {"Tool_Rotate", T::rotation},
    {"Tool_PanBehind", T::panBehind},
    {"Tool_Pen", T::pen},
    {"Tool_Feather", T::pen},
    {"Tool_PenPlus", T::pen},
    {"Tool_PenMinus", T::pen},
    {"Tool_PenConvert", T::pen},
    {"Tool_CameraMaya", T::cube},
    {"Tool_CameraOrbit", T::cube},
    {"Tool_CameraTrackXY", T::cube},
    {"Tool_CameraTrackZ", T::cube},
    {"Tool_TextH", T::type},
    {"Tool_TextV", T::type},
    {"Tool_Rect", T::shape},
    {"Tool_RoundedRect", T::shape},
    {"Tool_Oval", T::shape},
    {"Tool_Polygon", T::shape},
    {"Tool_Star", T::shape},
    {"Tool_Paintbrush", T::brush},
    {"Tool_CloneStamp", T::brush},
    {"Tool_Eraser", T::brush},
    {"Tool_Quickselect", T::objectMatte},
    {"Tool_Hairbrush", T::objectMatte},
    {"Tool_Pin", T::puppetPosition},
    {"Tool_PinStarch", T::puppetPosition},
    {"Tool_PinDepth", T::puppetPosition},
};

bool equal_ignoring_case(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
           return lower(x) == lower(y);
         });
}

bool starts_with_ignoring_case(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && equal_ignoring_case(text.substr(0, prefix.size()), prefix);
}

}  // namespace

std::string_view adobe_bundle_id(AdobeApp app) {
  switch (app) {
    case AdobeApp::afterEffects: return "com.adobe.AfterEffects";
    case AdobeApp::illustrator: return "com.adobe.illustrator";
    case AdobeApp::photoshop: return "com.adobe.Photoshop";
    case AdobeApp::premiere: return "com.adobe.PremierePro";
  }
  return {};
}

std::string_view adobe_app_name(AdobeApp app) {
  switch (app) {
    case AdobeApp::afterEffects: return "After Effects";
    case AdobeApp::illustrator: return "Illustrator";
    case AdobeApp::photoshop: return "Photoshop";
    case AdobeApp::premiere: return "Premiere Pro";
  }
  return {};
}

ShelfSurfaceIdentity adobe_identity(AdobeApp app) {
  switch (app) {
    case AdobeApp::afterEffects: return ShelfSurfaceIdentity::afterEffects;
    case AdobeApp::illustrator: return ShelfSurfaceIdentity::illustrator;
    case AdobeApp::photoshop: return ShelfSurfaceIdentity::photoshop;
    case AdobeApp::premiere: return ShelfSurfaceIdentity::premiere;
  }
  return ShelfSurfaceIdentity::photoshop;
}

bool is_adobe_instance(AdobeApp app, std::string_view bundle_id) {
  // Bundle identifiers compare without regard to case, as Launch Services compares them.
  if (equal_ignoring_case(bundle_id, adobe_bundle_id(app))) return true;
  switch (app) {
    case AdobeApp::premiere: return starts_with_ignoring_case(bundle_id, "com.adobe.PremierePro.");
    case AdobeApp::afterEffects: return equal_ignoring_case(bundle_id, "com.adobe.AfterEffects.application");
    default: return false;
  }
}

std::optional<RunningProcess> find_adobe_instance(AdobeApp app, const std::vector<RunningProcess>& running,
                                                  std::optional<std::int64_t> frontmost_pid) {
  std::optional<RunningProcess> found;
  for (const auto& process : running) {
    if (!is_adobe_instance(app, process.bundle_id)) continue;
    if (frontmost_pid && process.pid == *frontmost_pid) return process;
    if (!found) found = process;
  }
  return found;
}

AdobeApp adobe_app_of(AdobeToolID tool) { return info(tool).app; }

std::span<const AdobeToolID> adobe_tools(AdobeApp app) {
  static const auto kByApp = [] {
    std::array<std::vector<AdobeToolID>, kAdobeApps.size()> by_app;
    for (const auto& t : kTools) by_app[static_cast<std::size_t>(t.app)].push_back(t.tool);
    return by_app;
  }();
  return kByApp[static_cast<std::size_t>(app)];
}

std::string_view adobe_tool_title(AdobeToolID tool) { return info(tool).title; }

AdobeShortcut adobe_shortcut(AdobeToolID tool) { return info(tool).shortcut; }

AdobeToolGrid default_adobe_tool_grid(AdobeApp app) {
  AdobeToolGrid grid{};
  if (app == AdobeApp::afterEffects) {
    // Twelve tools for nine cells: the everyday ones, leaving out the camera, Roto Brush and
    // Puppet tools, which are reached from the settings page.
    grid = {T::selection, T::hand, T::zoom, T::rotation, T::panBehind, T::pen, T::type, T::shape, T::brush};
    return grid;
  }
  const auto tools = adobe_tools(app);
  for (std::size_t i = 0; i < grid.size() && i < tools.size(); ++i) grid[i] = tools[i];
  return grid;
}

std::optional<AdobeToolID> adobe_tool_named(AdobeApp app, std::string_view native_name) {
  const auto find = [native_name](const auto& table) -> std::optional<AdobeToolID> {
    for (const auto& entry : table) {
      if (entry.name == native_name) return entry.tool;
    }
    return std::nullopt;
  };
  switch (app) {
    case AdobeApp::photoshop: return find(kPhotoshopTools);
    case AdobeApp::afterEffects: return find(kAfterEffectsToolTypes);
    default: return std::nullopt;
  }
}

std::vector<std::string_view> after_effects_tool_type_names() {
  std::vector<std::string_view> names;
  for (const auto& entry : kAfterEffectsToolTypes) names.push_back(entry.name);
  return names;
}

std::optional<KeyStroke> adobe_key_stroke(AdobeToolID tool, const ApplicationProcesses& processes) {
  const AdobeShortcut shortcut = adobe_shortcut(tool);
  auto code = processes.key_code_typing(shortcut.letter);
  if (!code) code = ansi_key_code(shortcut.letter);
  if (!code) return std::nullopt;
  return KeyStroke{*code, shortcut.flags};
}

}  // namespace kolvo::shelf
