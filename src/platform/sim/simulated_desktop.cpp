#include "platform/sim/simulated_desktop.hpp"

#include "platform/sim/simulated_icon.hpp"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "base/json_reader.hpp"
#include "base/json_text.hpp"
#include "controls/keyboard_controllers.hpp"

namespace kolvo::sim {
namespace {

using dock::Rect;
using nlohmann::json;

class Failure {
 public:
  explicit Failure(std::string* out) : out_(out) {}
  bool operator()(const std::string& where, const std::string& what) {
    if (out_ && out_->empty()) *out_ = where + ": " + what;
    return false;
  }

 private:
  std::string* out_;
};

std::optional<Rect> rect_of(const json& value) {
  if (!value.is_array() || value.size() != 4) return std::nullopt;
  for (const auto& number : value) {
    if (!number.is_number()) return std::nullopt;
  }
  return Rect{value[0].get<double>(), value[1].get<double>(), value[2].get<double>(), value[3].get<double>()};
}

// Plain JSON into property-list values: the Dock's domain as the layout gives it.
std::optional<prefs::PreferenceValue> property_list_of(const json& value) {
  switch (value.type()) {
    case json::value_t::boolean: return prefs::PreferenceValue(value.get<bool>());
    case json::value_t::number_integer:
    case json::value_t::number_unsigned: return prefs::PreferenceValue(value.get<std::int64_t>());
    case json::value_t::number_float: return prefs::PreferenceValue(value.get<double>());
    case json::value_t::string: return prefs::PreferenceValue(value.get<std::string>());
    case json::value_t::array: {
      prefs::PreferenceValue::Array array;
      for (const auto& element : value) {
        auto converted = property_list_of(element);
        if (!converted) return std::nullopt;
        array.push_back(std::move(*converted));
      }
      return prefs::PreferenceValue(std::move(array));
    }
    case json::value_t::object: {
      prefs::PreferenceValue::Dictionary dictionary;
      for (const auto& [key, element] : value.items()) {
        auto converted = property_list_of(element);
        if (!converted) return std::nullopt;
        dictionary.emplace(key, std::move(*converted));
      }
      return prefs::PreferenceValue(std::move(dictionary));
    }
    default: return std::nullopt;
  }
}

bool parse_element(const json& value, const std::string& where, double primary_height, SimulatedElement& out,
                   Failure& fail) {
  if (!value.is_object()) return fail(where, "expected an object");
  base::JsonReader r(value);
  out.role = r.optional_string("role");
  out.subrole = r.optional_string("subrole");
  out.title = r.optional_string("title");
  if (!r.ok()) return fail(where, r.error());
  if (value.contains("frame") && value.contains("axFrame")) return fail(where, "give frame or axFrame, not both");
  if (value.contains("frame")) {
    out.frame = rect_of(value["frame"]);
    if (!out.frame) return fail(where + ".frame", "expected [x, y, width, height]");
  } else if (value.contains("axFrame")) {
    const auto ax = rect_of(value["axFrame"]);
    if (!ax) return fail(where + ".axFrame", "expected [x, y, width, height]");
    out.frame = dock::from_accessibility_space(ax->x, ax->y, ax->width, ax->height, primary_height);
  }
  for (const char* list : {"children", "windows"}) {
    if (!value.contains(list)) continue;
    if (!value[list].is_array()) return fail(where + "." + list, "expected an array");
    auto& target = std::string(list) == "children" ? out.children : out.windows;
    for (std::size_t i = 0; i < value[list].size(); ++i) {
      SimulatedElement child;
      if (!parse_element(value[list][i], where + "." + list + "[" + std::to_string(i) + "]", primary_height, child,
                         fail)) {
        return false;
      }
      target.push_back(std::move(child));
    }
  }
  return true;
}

class ElementView final : public dock::AccessibilityElement {
 public:
  explicit ElementView(const SimulatedElement& element) : element_(element) {}
  std::optional<std::string> role() const override { return element_.role; }
  std::optional<std::string> subrole() const override { return element_.subrole; }
  std::optional<std::string> title() const override { return element_.title; }
  std::optional<Rect> frame() const override { return element_.frame; }
  std::vector<std::unique_ptr<dock::AccessibilityElement>> children() const override {
    return views(element_.children);
  }
  std::vector<std::unique_ptr<dock::AccessibilityElement>> windows() const override {
    return views(element_.windows);
  }

 private:
  static std::vector<std::unique_ptr<dock::AccessibilityElement>> views(const std::vector<SimulatedElement>& list) {
    std::vector<std::unique_ptr<dock::AccessibilityElement>> out;
    out.reserve(list.size());
    for (const auto& element : list) out.push_back(std::make_unique<ElementView>(element));
    return out;
  }
  const SimulatedElement& element_;
};

using controls::AXElement;
using controls::AXPoint;
using controls::AXSize;
using Sink = std::function<void(std::string_view)>;

class SimulatedWindowElement final : public AXElement {
 public:
  SimulatedWindowElement(std::shared_ptr<SimulatedApplicationState> app, std::size_t index, const Sink* changes)
      : app_(std::move(app)), index_(index), changes_(changes) {}

  std::optional<std::string> string_attribute(std::string_view attribute) const override {
    if (!window()) return std::nullopt;
    if (attribute == "AXRole") return window()->role;
    if (attribute == "AXSubrole") return window()->subrole;
    if (attribute == "AXTitle") return window()->title;
    return std::nullopt;
  }
  std::optional<bool> bool_attribute(std::string_view attribute) const override {
    if (!window() || attribute != "AXFullScreen") return std::nullopt;
    return window()->full_screen;
  }
  std::optional<AXPoint> point_attribute(std::string_view attribute) const override {
    if (!window() || attribute != "AXPosition") return std::nullopt;
    return AXPoint{window()->frame.x, window()->frame.y};
  }
  std::optional<AXSize> size_attribute(std::string_view attribute) const override {
    if (!window() || attribute != "AXSize") return std::nullopt;
    return AXSize{window()->frame.width, window()->frame.height};
  }
  std::unique_ptr<AXElement> element_attribute(std::string_view) const override { return nullptr; }
  std::vector<std::unique_ptr<AXElement>> element_array_attribute(std::string_view) const override { return {}; }
  bool set_bool_attribute(std::string_view, bool) override { return false; }

  bool set_point_attribute(std::string_view attribute, AXPoint value) override {
    SimulatedWindow* w = window();
    if (!w || attribute != "AXPosition" || w->full_screen) return false;
    if (w->lagging_moves > 0) {
      --w->lagging_moves;
      return true;
    }
    if (app_->enhanced_user_interface) {
      // The animation is cut short by the next write and leaves the window halfway.
      value = {(w->frame.x + value.x) / 2, (w->frame.y + value.y) / 2};
    }
    const Rect before = w->frame;
    w->frame.x = value.x;
    w->frame.y = value.y;
    report(before);
    return true;
  }

  bool set_size_attribute(std::string_view attribute, AXSize value) override {
    SimulatedWindow* w = window();
    if (!w || attribute != "AXSize" || w->full_screen) return false;
    if (w->min_size) value = {std::max(value.width, w->min_size->width), std::max(value.height, w->min_size->height)};
    if (w->max_size) value = {std::min(value.width, w->max_size->width), std::min(value.height, w->max_size->height)};
    const Rect before = w->frame;
    w->frame.width = value.width;
    w->frame.height = value.height;
    report(before);
    return true;
  }

 private:
  SimulatedWindow* window() const { return index_ < app_->windows.size() ? &app_->windows[index_] : nullptr; }
  void report(const Rect& before) const {
    if (window()->frame == before) return;
    if (changes_ && *changes_) (*changes_)("window \"" + window()->title + "\" at " + dock::describe(window()->frame));
  }

  std::shared_ptr<SimulatedApplicationState> app_;
  std::size_t index_;
  const Sink* changes_;
};

class SimulatedApplicationElement final : public AXElement {
 public:
  SimulatedApplicationElement(std::shared_ptr<SimulatedApplicationState> app, const Sink* changes)
      : app_(std::move(app)), changes_(changes) {}

  std::optional<std::string> string_attribute(std::string_view attribute) const override {
    if (attribute == "AXRole") return "AXApplication";
    return std::nullopt;
  }
  std::optional<bool> bool_attribute(std::string_view attribute) const override {
    if (attribute == "AXEnhancedUserInterface") return app_->enhanced_user_interface;
    return std::nullopt;
  }
  std::optional<AXPoint> point_attribute(std::string_view) const override { return std::nullopt; }
  std::optional<AXSize> size_attribute(std::string_view) const override { return std::nullopt; }
  std::unique_ptr<AXElement> element_attribute(std::string_view attribute) const override {
    std::optional<std::size_t> index;
    if (attribute == "AXFocusedWindow") index = app_->focused_window;
    if (attribute == "AXMainWindow") index = app_->main_window;
    if (!index || *index >= app_->windows.size()) return nullptr;
    return std::make_unique<SimulatedWindowElement>(app_, *index, changes_);
  }
  std::vector<std::unique_ptr<AXElement>> element_array_attribute(std::string_view attribute) const override {
    std::vector<std::unique_ptr<AXElement>> out;
    if (attribute != "AXWindows") return out;
    for (std::size_t i = 0; i < app_->windows.size(); ++i) {
      out.push_back(std::make_unique<SimulatedWindowElement>(app_, i, changes_));
    }
    return out;
  }
  bool set_bool_attribute(std::string_view attribute, bool value) override {
    if (attribute != "AXEnhancedUserInterface") return false;
    app_->enhanced_user_interface = value;
    return true;
  }
  bool set_point_attribute(std::string_view, AXPoint) override { return false; }
  bool set_size_attribute(std::string_view, AXSize) override { return false; }

 private:
  std::shared_ptr<SimulatedApplicationState> app_;
  const Sink* changes_;
};

std::optional<AXSize> size_of(const json& value) {
  if (!value.is_array() || value.size() != 2 || !value[0].is_number() || !value[1].is_number()) return std::nullopt;
  return AXSize{value[0].get<double>(), value[1].get<double>()};
}

bool parse_application_state(const json& entry, const std::string& where, SimulatedApplicationState& out,
                             Failure& fail) {
  base::JsonReader r(entry, where);
  out.tab_count = static_cast<int>(r.optional_integer("tabs", 0, 1000).value_or(0));
  out.selected_tab = static_cast<int>(r.optional_integer("selectedTab", 1, 1000).value_or(1));
  out.enhanced_user_interface = r.optional_boolean("enhancedUserInterface").value_or(false);
  if (!r.ok()) return fail(where, r.error());
  if (out.tab_count > 0 && out.selected_tab > out.tab_count) return fail(where + ".selectedTab", "beyond the last tab");
  if (!entry.contains("windows")) return true;
  if (!entry["windows"].is_array()) return fail(where + ".windows", "expected an array");
  for (std::size_t i = 0; i < entry["windows"].size(); ++i) {
    const auto& value = entry["windows"][i];
    const std::string here = where + ".windows[" + std::to_string(i) + "]";
    base::JsonReader w(value, here);
    SimulatedWindow window;
    window.title = w.optional_string("title").value_or("Window " + std::to_string(i + 1));
    if (value.contains("role")) window.role = w.optional_string("role");
    if (value.contains("subrole")) window.subrole = w.optional_string("subrole");
    window.full_screen = w.optional_boolean("fullScreen").value_or(false);
    window.lagging_moves = static_cast<int>(w.optional_integer("laggingMoves", 0, 100).value_or(0));
    if (w.optional_boolean("focused").value_or(false)) out.focused_window = i;
    if (w.optional_boolean("main").value_or(false)) out.main_window = i;
    if (!w.ok()) return fail(here, w.error());
    const auto frame = value.contains("frame") ? rect_of(value["frame"]) : std::nullopt;
    if (!frame) return fail(here + ".frame", "expected [x, y, width, height] from the top-left");
    window.frame = *frame;
    for (const char* key : {"minSize", "maxSize"}) {
      if (!value.contains(key)) continue;
      const auto size = size_of(value[key]);
      if (!size) return fail(here + "." + key, "expected [width, height]");
      (std::string(key) == "minSize" ? window.min_size : window.max_size) = size;
    }
    out.windows.push_back(std::move(window));
  }
  return true;
}

base::Subscription notify_on(base::Observable<int>& counter, std::function<void()> callback) {
  return counter.subscribe([callback = std::move(callback)](int) { callback(); });
}

}  // namespace

SimulatedLayout SimulatedLayout::built_in() {
  SimulatedLayout layout;
  dock::ScreenInfo screen;
  screen.frame = {0, 0, 1512, 982};
  screen.visible_frame = {0, 70, 1512, 875};  // a 70-point Dock below, a 37-point menu bar above
  screen.identity = {1, "Built-in Retina Display", screen.frame, 2.0, "37D8832A-2D66-02CA-B9F7-8F30A301B230"};
  layout.screens.push_back(screen);
  layout.main_screen = 0;
  auto app = [](const char* id) {
    return prefs::PreferenceValue(prefs::PreferenceValue::Dictionary{
        {"tile-data", prefs::PreferenceValue(prefs::PreferenceValue::Dictionary{{"bundle-identifier", id}})}});
  };
  layout.dock_domain = prefs::PreferenceValue::Dictionary{
      {"orientation", "bottom"},
      {"tilesize", 48},
      {"show-recents", true},
      {"persistent-apps", prefs::PreferenceValue::Array{app("com.apple.Safari"), app("com.apple.mail"),
                                                       app("com.apple.iCal"), app("com.apple.Notes"),
                                                       app("com.apple.MobileSMS")}},
      {"persistent-others", prefs::PreferenceValue::Array{prefs::PreferenceValue::Dictionary{}}},
  };
  layout.running_applications = {{"com.apple.dock", false, 100}, {"com.apple.finder", true, 101},
                                 {"com.apple.Safari", true, 102}, {"com.apple.Terminal", true, 103}};
  // Safari in front with five tabs; a Terminal window that will not shrink below 480 × 300.
  SimulatedApplicationState safari;
  auto window = [](const char* title, Rect frame) {
    SimulatedWindow w;
    w.title = title;
    w.frame = frame;
    return w;
  };
  safari.windows.push_back(window("Apple", Rect{200, 120, 1000, 700}));
  safari.focused_window = safari.main_window = 0;
  safari.tab_count = 5;
  layout.application_states[102] = safari;
  SimulatedApplicationState terminal;
  terminal.windows.push_back(window("Terminal", Rect{80, 300, 640, 420}));
  terminal.windows.back().min_size = controls::AXSize{480, 300};
  terminal.focused_window = terminal.main_window = 0;
  layout.application_states[103] = terminal;
  layout.frontmost_application = "com.apple.Safari";
  layout.accessibility_trusted = true;
  SimulatedElement list;
  list.role = "AXList";
  list.frame = Rect{416, 4, 680, 62};
  SimulatedElement dock;
  dock.role = "AXApplication";
  dock.title = "Dock";
  dock.children.push_back(list);
  layout.dock_accessibility = dock;
  const std::vector<std::pair<const char*, const char*>> installed = {
      {"/System/Library/CoreServices/Finder.app", "com.apple.finder"},
      {"/Applications/Safari.app", "com.apple.Safari"},
      {"/System/Applications/Mail.app", "com.apple.mail"},
      {"/System/Applications/Messages.app", "com.apple.MobileSMS"},
      {"/System/Applications/Calendar.app", "com.apple.iCal"},
      {"/System/Applications/Maps.app", "com.apple.Maps"},
      {"/System/Applications/Photos.app", "com.apple.Photos"},
      {"/System/Applications/Music.app", "com.apple.Music"},
      {"/System/Applications/Notes.app", "com.apple.Notes"},
      {"/System/Applications/Reminders.app", "com.apple.reminders"},
      {"/System/Applications/FaceTime.app", "com.apple.FaceTime"},
      {"/System/Applications/App Store.app", "com.apple.AppStore"},
      {"/System/Applications/System Settings.app", "com.apple.systempreferences"},
      {"/System/Applications/Preview.app", "com.apple.Preview"},
      {"/System/Applications/TextEdit.app", "com.apple.TextEdit"},
      {"/System/Applications/Calculator.app", "com.apple.calculator"},
      {"/System/Applications/Utilities/Terminal.app", "com.apple.Terminal"},
      {"/System/Applications/Utilities/Activity Monitor.app", "com.apple.ActivityMonitor"},
      {"/System/Applications/Contacts.app", "com.apple.Contacts"},
  };
  for (const auto& [path, id] : installed) {
    const std::string name = std::string(path).substr(std::string(path).rfind('/') + 1);
    layout.installed_applications.push_back({path, id, name});
  }
  return layout;
}

std::optional<SimulatedLayout> parse_layout(const std::string& text, std::string* error) {
  Failure fail(error);
  std::string problem;
  const json document = base::parse_json(text, &problem);
  if (document.is_discarded()) return fail("layout", problem), std::nullopt;
  if (!document.is_object()) return fail("layout", "expected an object"), std::nullopt;

  SimulatedLayout layout;
  if (!document.contains("screens") || !document["screens"].is_array() || document["screens"].empty()) {
    return fail("screens", "expected a non-empty array"), std::nullopt;
  }
  for (std::size_t i = 0; i < document["screens"].size(); ++i) {
    const auto& entry = document["screens"][i];
    const std::string where = "screens[" + std::to_string(i) + "]";
    base::JsonReader r(entry, where);
    dock::ScreenInfo screen;
    screen.identity.localized_name = r.optional_string("name").value_or("Display " + std::to_string(i + 1));
    screen.identity.cg_direct_display_id =
        static_cast<std::uint32_t>(r.optional_integer("id", 0, UINT32_MAX).value_or(static_cast<std::int64_t>(i + 1)));
    screen.identity.display_uuid = r.optional_string("uuid");
    screen.identity.backing_scale_factor = r.optional_real("scale").value_or(2.0);
    if (!r.ok()) return fail(where, r.error()), std::nullopt;
    const auto frame = entry.contains("frame") ? rect_of(entry["frame"]) : std::nullopt;
    if (!frame || frame->is_empty()) return fail(where + ".frame", "expected [x, y, width, height]"), std::nullopt;
    screen.frame = *frame;
    screen.identity.screen_frame = *frame;
    if (entry.contains("visibleFrame")) {
      const auto visible = rect_of(entry["visibleFrame"]);
      if (!visible) return fail(where + ".visibleFrame", "expected [x, y, width, height]"), std::nullopt;
      screen.visible_frame = *visible;
    } else {
      screen.visible_frame = *frame;
    }
    layout.screens.push_back(screen);
  }

  base::JsonReader top(document);
  if (const auto main = top.optional_integer("mainScreen", 0, static_cast<std::int64_t>(layout.screens.size()) - 1)) {
    layout.main_screen = static_cast<std::size_t>(*main);
  } else if (top.ok()) {
    layout.main_screen = 0;
  }
  layout.accessibility_trusted = top.optional_boolean("accessibilityTrusted");
  layout.frontmost_application = top.optional_string("frontmostApplication");
  if (!top.ok()) return fail("layout", top.error()), std::nullopt;

  if (document.contains("dock") && !document["dock"].is_null()) {
    const auto domain = property_list_of(document["dock"]);
    const auto* dictionary = domain ? domain->get_if<prefs::PreferenceValue::Dictionary>() : nullptr;
    if (!dictionary) return fail("dock", "expected an object of property-list values"), std::nullopt;
    layout.dock_domain = *dictionary;
  }

  if (document.contains("runningApplications")) {
    const auto& apps = document["runningApplications"];
    if (!apps.is_array()) return fail("runningApplications", "expected an array"), std::nullopt;
    for (std::size_t i = 0; i < apps.size(); ++i) {
      const std::string where = "runningApplications[" + std::to_string(i) + "]";
      base::JsonReader r(apps[i], where);
      dock::RunningApplication app;
      app.bundle_id = r.optional_string("bundleID");
      app.pid = r.optional_integer("pid", 2).value_or(static_cast<std::int64_t>(1000 + i));
      app.regular = r.optional_boolean("regular").value_or(true);
      if (!r.ok()) return fail(where, r.error()), std::nullopt;
      SimulatedApplicationState state;
      if (!parse_application_state(apps[i], where, state, fail)) return std::nullopt;
      if (!state.windows.empty() || state.tab_count > 0) layout.application_states[app.pid] = std::move(state);
      layout.running_applications.push_back(app);
    }
  }

  if (document.contains("installedApplications")) {
    const auto& apps = document["installedApplications"];
    if (!apps.is_array()) return fail("installedApplications", "expected an array"), std::nullopt;
    for (std::size_t i = 0; i < apps.size(); ++i) {
      const std::string where = "installedApplications[" + std::to_string(i) + "]";
      base::JsonReader r(apps[i], where);
      catalog::InstalledApplication app;
      app.path = catalog::standardized_path(r.string("path"));
      app.bundle_identifier = r.optional_string("bundleID");
      app.display_name = r.optional_string("name").value_or(app.path.substr(app.path.rfind('/') + 1));
      if (!r.ok()) return fail(where, r.error()), std::nullopt;
      layout.installed_applications.push_back(std::move(app));
    }
  } else {
    layout.installed_applications = SimulatedLayout::built_in().installed_applications;
  }

  if (document.contains("dockAccessibility") && !document["dockAccessibility"].is_null()) {
    SimulatedElement root;
    if (!parse_element(document["dockAccessibility"], "dockAccessibility", layout.screens.front().frame.max_y(), root,
                       fail)) {
      return std::nullopt;
    }
    layout.dock_accessibility = std::move(root);
  }
  return layout;
}

std::optional<SimulatedLayout> load_layout(const std::optional<std::string>& path, std::string* error) {
  if (!path) return SimulatedLayout::built_in();
  std::ifstream in(*path);
  if (!in) {
    if (error) *error = "The layout file " + *path + " cannot be read.";
    return std::nullopt;
  }
  std::stringstream text;
  text << in.rdbuf();
  std::string detail;
  auto layout = parse_layout(text.str(), &detail);
  if (!layout && error) *error = "The layout file " + *path + " is not valid (" + detail + ").";
  return layout;
}

SimulatedDesktop::SimulatedDesktop(SimulatedLayout layout) : layout_(std::move(layout)) {
  for (const auto& [pid, state] : layout_.application_states) {
    states_[pid] = std::make_shared<SimulatedApplicationState>(state);
  }
  if (layout_.dock_domain) {
    dock_domain_.emplace(std::map<std::string, prefs::PreferenceValue>(layout_.dock_domain->begin(),
                                                                      layout_.dock_domain->end()));
  }
}

base::Subscription SimulatedDesktop::observe_screen_parameters(std::function<void()> changed) const {
  return notify_on(screen_changes_, std::move(changed));
}
base::Subscription SimulatedDesktop::observe_launches(std::function<void()> launched) const {
  return notify_on(launches_, std::move(launched));
}
base::Subscription SimulatedDesktop::observe_terminations(std::function<void()> terminated) const {
  return notify_on(terminations_, std::move(terminated));
}

std::unique_ptr<dock::AccessibilityElement> SimulatedDesktop::application(std::int64_t pid) const {
  const bool is_dock = std::any_of(layout_.running_applications.begin(), layout_.running_applications.end(),
                                   [pid](const auto& app) { return app.pid == pid && app.bundle_id == "com.apple.dock"; });
  if (!is_dock || !layout_.dock_accessibility) return nullptr;
  return std::make_unique<ElementView>(*layout_.dock_accessibility);
}

std::vector<catalog::InstalledApplication> SimulatedDesktop::applications_in(
    const std::vector<std::string>& folders) const {
  std::vector<catalog::InstalledApplication> found;
  for (const std::string& folder : folders) {
    for (const auto& app : layout_.installed_applications) {
      if (app.path.rfind(folder + "/", 0) == 0 && app.path.find('/', folder.size() + 1) == std::string::npos) {
        found.push_back(app);
      }
    }
  }
  return found;
}

std::optional<catalog::InstalledApplication> SimulatedDesktop::application_with_bundle_id(
    const std::string& bundle_id) const {
  for (const auto& app : layout_.installed_applications) {
    if (app.bundle_identifier == bundle_id) return app;
  }
  return std::nullopt;
}

std::optional<catalog::InstalledApplication> SimulatedDesktop::application_at(const std::string& path) const {
  const std::string wanted = catalog::standardized_path(path);
  for (const auto& app : layout_.installed_applications) {
    if (app.path == wanted) return app;
  }
  return std::nullopt;
}

std::optional<std::vector<std::uint8_t>> SimulatedDesktop::icon_png(const catalog::InstalledApplication& application,
                                                                    int pixels) const {
  return simulated_icon_png(application.bundle_identifier.value_or(application.path), pixels);
}

void SimulatedDesktop::set_screens(std::vector<dock::ScreenInfo> screens) {
  layout_.screens = std::move(screens);
  if (layout_.main_screen && *layout_.main_screen >= layout_.screens.size()) layout_.main_screen = 0;
  screen_changes_.set(screen_changes_.get() + 1);
}

void SimulatedDesktop::launch(dock::RunningApplication app) {
  layout_.running_applications.push_back(std::move(app));
  launches_.set(launches_.get() + 1);
}

std::optional<std::int64_t> SimulatedDesktop::frontmost_pid() const {
  if (!layout_.frontmost_application) return std::nullopt;
  for (const auto& app : layout_.running_applications) {
    if (app.bundle_id == layout_.frontmost_application) return app.pid;
  }
  return std::nullopt;
}

bool SimulatedDesktop::open_application(const catalog::KolvoAppItem& item) {
  if (!catalog::is_installed(item, *this)) return false;
  const auto installed = application_at(item.path());
  const std::optional<std::string> bundle_id = installed ? installed->bundle_identifier : item.bundle_identifier;
  const auto& running = layout_.running_applications;
  const bool was_running = bundle_id && std::any_of(running.begin(), running.end(),
                                                    [&](const auto& app) { return app.bundle_id == bundle_id; });
  if (!was_running) {
    // A launched application opens one window a moment later on a real Mac; here at once,
    // so window arrangement after a launch can be tried headless.
    std::int64_t pid = 1000;
    for (const auto& app : running) pid = std::max(pid, app.pid + 1);
    auto state = std::make_shared<SimulatedApplicationState>();
    SimulatedWindow window;
    window.title = item.name;
    window.frame = Rect{160, 100, 900, 640};
    state->windows.push_back(std::move(window));
    state->focused_window = state->main_window = 0;
    states_[pid] = std::move(state);
    if (changes_) changes_("launched " + item.name);
    launch({bundle_id, true, pid});
  } else if (changes_) {
    changes_("opened " + item.name);
  }
  set_frontmost_application(bundle_id);
  return true;
}

std::unique_ptr<controls::AXElement> SimulatedDesktop::create_application(std::int64_t wide_pid) const {
  // The accessibility API takes a 32-bit process id, so a wider one reaches whatever process its
  // low bits name, as on the Mac.
  const std::int64_t pid = static_cast<std::int32_t>(static_cast<std::uint32_t>(wide_pid));
  const bool running = std::any_of(layout_.running_applications.begin(), layout_.running_applications.end(),
                                   [pid](const auto& app) { return app.pid == pid; });
  if (!running) return nullptr;
  auto& state = states_[pid];
  if (!state) state = std::make_shared<SimulatedApplicationState>();
  return std::make_unique<SimulatedApplicationElement>(state, &changes_);
}

SimulatedApplicationState* SimulatedDesktop::application_state(std::int64_t pid) {
  const auto found = states_.find(pid);
  return found == states_.end() ? nullptr : found->second.get();
}

void SimulatedDesktop::receive_key_event(const controls::KeyboardEvent& event) {
  constexpr std::uint16_t kTab = 48;
  const auto pid = frontmost_pid();
  auto* app = pid ? application_state(*pid) : nullptr;
  if (!app || app->tab_count < 1 || event.key_code != kTab || !event.key_down || !event.flags) return;
  const std::uint64_t modifiers = *event.flags & (controls::kControlFlag | controls::kShiftFlag);
  int step = 0;
  if (modifiers == controls::kControlFlag) step = 1;
  if (modifiers == (controls::kControlFlag | controls::kShiftFlag)) step = -1;
  if (step == 0) return;
  // Browsers wrap from the last tab to the first and back.
  app->selected_tab = (app->selected_tab - 1 + step + app->tab_count) % app->tab_count + 1;
  if (changes_) {
    changes_("tab " + std::to_string(app->selected_tab) + " of " + std::to_string(app->tab_count) + " in " +
             layout_.frontmost_application.value_or("?"));
  }
}

void SimulatedDesktop::terminate(std::int64_t pid) {
  states_.erase(pid);
  std::erase_if(layout_.running_applications, [pid](const auto& app) { return app.pid == pid; });
  terminations_.set(terminations_.get() + 1);
}

}  // namespace kolvo::sim
