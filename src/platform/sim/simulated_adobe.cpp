#include "platform/sim/simulated_adobe.hpp"

#include <fstream>
#include <regex>
#include <span>
#include <string_view>

namespace kolvo::sim {
namespace {

using shelf::AdobeApp;

constexpr std::uint64_t kShift = 0x20000;
constexpr std::uint64_t kControl = 0x40000;
constexpr std::uint64_t kOption = 0x80000;
constexpr std::uint64_t kCommand = 0x100000;
constexpr std::uint64_t kModifiers = kShift | kControl | kOption | kCommand;

struct Shortcut {
  char letter;
  std::uint64_t modifiers;
  std::string_view tool;
};

// Each application's factory shortcuts, by the application's own names for its tools.
constexpr Shortcut kPhotoshop[] = {
    {'v', 0, "moveTool"},      {'m', 0, "marqueeRectTool"}, {'l', 0, "lassoTool"},
    {'w', 0, "magicLassoTool"}, {'b', 0, "paintbrushTool"},  {'e', 0, "eraserTool"},
    {'c', 0, "cropTool"},      {'t', 0, "typeCreateOrEditTool"}, {'h', 0, "handTool"},
};
constexpr Shortcut kAfterEffects[] = {
    {'v', 0, "Tool_Arrow"},       {'h', 0, "Tool_Hand"},          {'z', 0, "Tool_Magnify"},
    {'w', 0, "Tool_Rotate"},      {'y', 0, "Tool_PanBehind"},     {'g', 0, "Tool_Pen"},
    {'c', 0, "Tool_CameraMaya"},  {'t', kCommand, "Tool_TextH"},  {'q', 0, "Tool_Rect"},
    {'b', kCommand, "Tool_Paintbrush"}, {'w', kOption, "Tool_Quickselect"}, {'p', kCommand, "Tool_Pin"},
};
constexpr Shortcut kIllustrator[] = {
    {'v', 0, "ai.selection"}, {'a', 0, "ai.directSelection"}, {'p', 0, "ai.pen"},
    {'t', 0, "ai.type"},      {'m', 0, "ai.rectangle"},       {'m', kShift, "ai.shapeBuilder"},
    {'i', 0, "ai.eyedropper"}, {'h', 0, "ai.hand"},           {'z', 0, "ai.zoom"},
};
constexpr Shortcut kPremiere[] = {
    {'v', 0, "pr.selection"}, {'a', 0, "pr.trackForward"}, {'c', 0, "pr.razor"},
    {'b', 0, "pr.ripple"},    {'n', 0, "pr.rolling"},      {'y', 0, "pr.slip"},
    {'r', 0, "pr.rateStretch"}, {'p', 0, "pr.pen"},        {'h', 0, "pr.hand"},
};

std::span<const Shortcut> shortcuts_of(AdobeApp app) {
  switch (app) {
    case AdobeApp::photoshop: return kPhotoshop;
    case AdobeApp::afterEffects: return kAfterEffects;
    case AdobeApp::illustrator: return kIllustrator;
    case AdobeApp::premiere: return kPremiere;
  }
  return {};
}

// The letter printed on the key at `code` on a US keyboard.
std::optional<char> us_letter(std::uint16_t code) {
  for (char c = 'a'; c <= 'z'; ++c) {
    if (shelf::ansi_key_code(c) == code) return c;
  }
  return std::nullopt;
}

// One AppleScript string literal at `at`, which moves past it.
std::optional<std::string> read_literal(std::string_view text, std::size_t& at) {
  if (at >= text.size() || text[at] != '"') return std::nullopt;
  std::string out;
  for (std::size_t i = at + 1; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '"') {
      at = i + 1;
      return out;
    }
    if (c != '\\') {
      out += c;
      continue;
    }
    if (++i >= text.size()) return std::nullopt;
    switch (text[i]) {
      case '\\': out += '\\'; break;
      case '"': out += '"'; break;
      case 'n': out += '\n'; break;
      case 'r': out += '\r'; break;
      case 't': out += '\t'; break;
      default: return std::nullopt;  // AppleScript knows no other escape
    }
  }
  return std::nullopt;
}

std::optional<int> hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return std::nullopt;
}

// A text expression: literals joined by `&` to `(«data utf8…» as text)`.
std::optional<std::string> read_text(std::string_view text) {
  constexpr std::string_view kDataOpen = " & (\xC2\xAB" "data utf8";
  constexpr std::string_view kDataClose = "\xC2\xBB as text) & ";
  std::size_t at = 0;
  auto out = read_literal(text, at);
  if (!out) return std::nullopt;
  while (at < text.size()) {
    if (text.substr(at, kDataOpen.size()) != kDataOpen) return std::nullopt;
    at += kDataOpen.size();
    const std::size_t close = text.find(kDataClose, at);
    if (close == std::string_view::npos || close == at || (close - at) % 2 != 0) return std::nullopt;
    for (; at < close; at += 2) {
      const auto high = hex_digit(text[at]);
      const auto low = hex_digit(text[at + 1]);
      if (!high || !low) return std::nullopt;
      *out += static_cast<char>(*high * 16 + *low);
    }
    at += kDataClose.size();
    const auto next = read_literal(text, at);
    if (!next) return std::nullopt;
    *out += *next;
  }
  return out;
}

// A JavaScript single-quoted literal's inside, as ExtendScript's File reads it as a path:
// escapes undone, then %XX decoded.
std::optional<std::string> extendscript_path(std::string_view quoted) {
  std::string unescaped;
  for (std::size_t i = 0; i < quoted.size(); ++i) {
    if (quoted[i] == '\\' && i + 1 < quoted.size()) ++i;
    unescaped += quoted[i];
  }
  std::string path;
  for (std::size_t i = 0; i < unescaped.size(); ++i) {
    if (unescaped[i] == '%') {
      if (i + 2 >= unescaped.size()) return std::nullopt;
      const auto high = hex_digit(unescaped[i + 1]);
      const auto low = hex_digit(unescaped[i + 2]);
      if (!high || !low) return std::nullopt;
      path += static_cast<char>(*high * 16 + *low);
      i += 2;
      continue;
    }
    path += unescaped[i];
  }
  return path;
}

std::string_view initial_tool(AdobeApp app) { return shortcuts_of(app)[0].tool; }

}  // namespace

std::optional<HandedJavaScript> read_handed_javascript(const std::string& source) {
  constexpr std::string_view kOpen = "with timeout of ";
  constexpr std::string_view kTell = " seconds\n  tell application id ";
  constexpr std::string_view kEnd = "\nend timeout";
  std::string_view text = source;
  if (!text.starts_with(kOpen) || !text.ends_with(kEnd)) return std::nullopt;
  text = text.substr(kOpen.size(), text.size() - kOpen.size() - kEnd.size());
  HandedJavaScript handed;
  std::size_t at = 0;
  while (at < text.size() && text[at] >= '0' && text[at] <= '9' && at < 6) {
    handed.timeout_seconds = handed.timeout_seconds * 10 + (text[at] - '0');
    ++at;
  }
  if (at == 0 || text.substr(at, kTell.size()) != kTell) return std::nullopt;
  at += kTell.size();
  auto bundle_id = read_literal(text, at);
  if (!bundle_id) return std::nullopt;
  handed.bundle_id = std::move(*bundle_id);
  text = text.substr(at);
  for (const std::string_view command : {std::string_view("do javascript"), std::string_view("DoScript")}) {
    const std::string lead = " to " + std::string(command) + " ";
    if (!text.starts_with(lead)) continue;
    auto javascript = read_text(text.substr(lead.size()));
    if (!javascript) return std::nullopt;
    handed.command = std::string(command);
    handed.javascript = std::move(*javascript);
    return handed;
  }
  return std::nullopt;
}

SimulatedAdobeApplication::SimulatedAdobeApplication(AdobeApp app) : app_(app), active_tool_(initial_tool(app)) {}

std::string SimulatedAdobeApplication::active_tool() const {
  std::lock_guard lock(mutex_);
  return active_tool_;
}

void SimulatedAdobeApplication::set_active_tool(std::string name) {
  std::lock_guard lock(mutex_);
  active_tool_ = std::move(name);
}

void SimulatedAdobeApplication::set_scripts_may_write_files(bool allowed) {
  std::lock_guard lock(mutex_);
  may_write_files_ = allowed;
}

std::vector<std::string> SimulatedAdobeApplication::javascripts() const {
  std::lock_guard lock(mutex_);
  return javascripts_;
}

void SimulatedAdobeApplication::hold_replies() {
  std::lock_guard lock(mutex_);
  held_ = true;
}

void SimulatedAdobeApplication::release_replies() {
  {
    std::lock_guard lock(mutex_);
    held_ = false;
  }
  released_.notify_all();
}

int SimulatedAdobeApplication::waiting() const {
  std::lock_guard lock(mutex_);
  return waiting_;
}

std::optional<shelf::ScriptRun> SimulatedAdobeApplication::answer(const std::string& source) {
  const auto handed = read_handed_javascript(source);
  if (!handed) return std::nullopt;
  {
    std::lock_guard lock(mutex_);
    javascripts_.push_back(handed->javascript);
  }
  // The answer is what the application knew when the script arrived; a held reply arrives late
  // with it.
  auto reply = answer_javascript(*handed);
  std::unique_lock lock(mutex_);
  ++waiting_;
  released_.wait(lock, [this] { return !held_; });
  --waiting_;
  return reply;
}

std::optional<shelf::ScriptRun> SimulatedAdobeApplication::answer_javascript(const HandedJavaScript& handed) {
  const auto text = [](std::string value) { return shelf::ScriptRun::returned({std::move(value), std::nullopt, std::nullopt}); };
  switch (app_) {
    case AdobeApp::photoshop:
      if (handed.command == "do javascript" && handed.javascript == "app.currentTool") return text(active_tool());
      return std::nullopt;
    case AdobeApp::illustrator:
      if (handed.command == "do javascript" && handed.javascript == "app.name") return text("Adobe Illustrator");
      return std::nullopt;
    case AdobeApp::afterEffects:
      if (handed.command == "DoScript") return run_after_effects(handed.javascript);
      return std::nullopt;
    case AdobeApp::premiere:
      // Premiere Pro's dictionary has no command that runs JavaScript.
      return std::nullopt;
  }
  return std::nullopt;
}

std::optional<shelf::ScriptRun> SimulatedAdobeApplication::run_after_effects(const std::string& javascript) {
  // The result file is opened first, the lines are collected in `L`, and the file is written
  // last; a script of any other shape is not one this After Effects was taught.
  static const std::regex kShape(
      R"(^var __out=new File\('((?:[^'\\]|\\.)*)'\);__out\.encoding='UTF-8';([\s\S]*)__out\.lineFeed='Unix';)"
      R"(if\(__out\.open\('w'\)\)\{__out\.write\(L\.join\('\\n'\)\+'\\n'\);__out\.close\(\);\}$)");
  std::smatch match;
  if (!std::regex_match(javascript, match, kShape)) return std::nullopt;
  const auto path = extendscript_path(match[1].str());
  const std::string body = match[2].str();
  // The tool read: which of the listed `ToolType` names is the active tool's.
  static const std::regex kToolRead(R"(^var L=\[\];try\{var t=app\.project\.toolType;var N=\[([^\]]*)\];[\s\S]*\}catch\(e\)\{\}$)");
  std::smatch read;
  if (!path || !std::regex_match(body, read, kToolRead)) return std::nullopt;
  std::vector<std::string> lines;
  const std::string names = read[1].str();
  static const std::regex kName(R"('([A-Za-z_]+)')");
  const std::string active = active_tool();
  for (auto it = std::sregex_iterator(names.begin(), names.end(), kName); it != std::sregex_iterator(); ++it) {
    if ((*it)[1].str() == active) {
      lines.push_back(active);
      break;
    }
  }
  bool may_write = false;
  {
    std::lock_guard lock(mutex_);
    may_write = may_write_files_;
  }
  // Without the preference the script's File cannot be opened, and nothing is written.
  if (may_write) {
    std::string joined;
    for (const auto& line : lines) joined += line + "\n";
    if (lines.empty()) joined = "\n";
    std::ofstream(*path, std::ios::binary) << joined;
  }
  // DoScript itself returns nothing.
  return shelf::ScriptRun::returned({});
}

void SimulatedAdobeApplication::receive_key_stroke(const shelf::KeyStroke& stroke) {
  const auto letter = us_letter(stroke.key_code);
  if (!letter) return;
  for (const auto& shortcut : shortcuts_of(app_)) {
    if (shortcut.letter == *letter && shortcut.modifiers == (stroke.flags & kModifiers)) {
      set_active_tool(std::string(shortcut.tool));
      return;
    }
  }
}

std::shared_ptr<SimulatedAdobeApplication> SimulatedAdobeApplications::operator[](AdobeApp app) const {
  switch (app) {
    case AdobeApp::afterEffects: return after_effects;
    case AdobeApp::illustrator: return illustrator;
    case AdobeApp::photoshop: return photoshop;
    case AdobeApp::premiere: return premiere;
  }
  return nullptr;
}

SimulatedAdobeApplications install_simulated_adobe(SimulatedApplications& applications) {
  SimulatedAdobeApplications installed{
      std::make_shared<SimulatedAdobeApplication>(AdobeApp::afterEffects),
      std::make_shared<SimulatedAdobeApplication>(AdobeApp::illustrator),
      std::make_shared<SimulatedAdobeApplication>(AdobeApp::photoshop),
      std::make_shared<SimulatedAdobeApplication>(AdobeApp::premiere),
  };
  applications.install("com.adobe.AfterEffects", installed.after_effects);
  applications.install("com.adobe.illustrator", installed.illustrator);
  applications.install("com.adobe.Photoshop", installed.photoshop);
  applications.install("com.adobe.PremierePro", installed.premiere);
  return installed;
}

}  // namespace kolvo::sim
