#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/observable.hpp"
#include "catalog/app_item.hpp"
#include "catalog/application_opener.hpp"
#include "catalog/focused_application_monitor.hpp"
#include "controls/control_ports.hpp"
#include "dock/screens_port.hpp"
#include "prefs/preference_store.hpp"

namespace kolvo::sim {

// One element of the Dock's accessibility tree, as a layout file describes it.
struct SimulatedElement {
  std::optional<std::string> role, subrole, title;
  std::optional<dock::Rect> frame;  // bottom-left global space
  std::vector<SimulatedElement> children;
  std::vector<SimulatedElement> windows;
};

// One window of a running application, in the accessibility space (top-left origin).
struct SimulatedWindow {
  std::string title;
  dock::Rect frame;
  std::optional<std::string> role = "AXWindow";
  std::optional<std::string> subrole = "AXStandardWindow";
  bool full_screen = false;
  std::optional<controls::AXSize> min_size;  // the application refuses anything smaller
  std::optional<controls::AXSize> max_size;  // or larger
  int lagging_moves = 0;  // moves it ignores before it follows, as an app mid-animation does
};

// What the simulated Mac knows of a running application beyond its identity: its windows,
// and the tabs of a browser.
struct SimulatedApplicationState {
  std::vector<SimulatedWindow> windows;
  std::optional<std::size_t> focused_window;
  std::optional<std::size_t> main_window;
  // While on, moves animate and the window stops halfway, as with assistive apps running.
  bool enhanced_user_interface = false;
  int tab_count = 0;
  int selected_tab = 1;
};

// The displays, the Dock's preferences, the running applications and the Dock's
// accessibility tree of a simulated Mac. The format is documented in the README.
struct SimulatedLayout {
  std::vector<dock::ScreenInfo> screens;
  std::optional<std::size_t> main_screen;
  std::optional<prefs::PreferenceValue::Dictionary> dock_domain;  // absent: the domain cannot be opened
  std::vector<dock::RunningApplication> running_applications;
  std::optional<bool> accessibility_trusted;
  std::optional<SimulatedElement> dock_accessibility;
  std::vector<catalog::InstalledApplication> installed_applications;
  std::optional<std::string> frontmost_application;  // bundle identifier
  std::map<std::int64_t, SimulatedApplicationState> application_states;  // by pid

  // One 1512 × 982 point display with a bottom Dock of 48-point tiles.
  static SimulatedLayout built_in();
};

// Parses a layout; on failure answers nothing and says what is wrong in `error`.
std::optional<SimulatedLayout> parse_layout(const std::string& text, std::string* error);
// The built-in layout when `path` is absent; the file's otherwise.
std::optional<SimulatedLayout> load_layout(const std::optional<std::string>& path, std::string* error);

// The layout served through the geometry ports.
class SimulatedDesktop final : public dock::ScreensPort,
                               public dock::RunningApplicationsPort,
                               public dock::AccessibilityElementReader,
                               public catalog::ApplicationCatalog,
                               public catalog::FocusedApplicationMonitor,
                               public catalog::ApplicationOpener,
                               public controls::AXApplicationsPort {
 public:
  explicit SimulatedDesktop(SimulatedLayout layout);

  std::vector<dock::ScreenInfo> screens() const override { return layout_.screens; }
  std::optional<std::size_t> main_screen_index() const override { return layout_.main_screen; }
  [[nodiscard]] base::Subscription observe_screen_parameters(std::function<void()> changed) const override;

  std::vector<dock::RunningApplication> running_applications() const override {
    return layout_.running_applications;
  }
  std::int64_t own_pid() const override { return kOwnPid; }
  [[nodiscard]] base::Subscription observe_launches(std::function<void()> launched) const override;
  [[nodiscard]] base::Subscription observe_terminations(std::function<void()> terminated) const override;

  std::unique_ptr<dock::AccessibilityElement> application(std::int64_t pid) const override;

  std::vector<catalog::InstalledApplication> applications_in(const std::vector<std::string>& folders) const override;
  std::optional<catalog::InstalledApplication> application_with_bundle_id(const std::string& bundle_id) const override;
  std::optional<catalog::InstalledApplication> application_at(const std::string& path) const override;
  std::optional<std::vector<std::uint8_t>> icon_png(const catalog::InstalledApplication& application,
                                                    int pixels) const override;

  std::optional<std::string> frontmost_bundle_id() const override { return layout_.frontmost_application; }
  std::optional<std::string> frontmost_name() const override { return layout_.frontmost_application; }
  std::optional<std::int64_t> frontmost_pid() const override;
  // An installed application comes to the front, as a click on it in the Hidden Dock does.
  bool open_application(const catalog::KolvoAppItem& item) override;
  void set_frontmost_application(std::optional<std::string> bundle_id) {
    if (layout_.frontmost_application == bundle_id) return;
    layout_.frontmost_application = std::move(bundle_id);
    frontmost_changed();
  }

  // Windows, through the accessibility interface.
  std::unique_ptr<controls::AXElement> create_application(std::int64_t pid) const override;
  // The state of an application's windows and tabs; null when it has none.
  SimulatedApplicationState* application_state(std::int64_t pid);
  // A keystroke reaching the frontmost application: Control-Tab and Control-Shift-Tab move
  // between a browser's tabs.
  void receive_key_event(const controls::KeyboardEvent& event);
  void set_change_sink(std::function<void(std::string_view)> sink) { changes_ = std::move(sink); }

  // The Dock's preference domain, or null when the layout says it cannot be opened.
  const prefs::PreferenceStore* dock_domain() const { return dock_domain_ ? &*dock_domain_ : nullptr; }
  const SimulatedLayout& layout() const { return layout_; }

  // Changes, as the Mac would announce them.
  void set_screens(std::vector<dock::ScreenInfo> screens);
  void launch(dock::RunningApplication app);
  void terminate(std::int64_t pid);
  // The Dock redrawn: a new accessibility tree.
  void set_dock_accessibility(std::optional<SimulatedElement> tree) { layout_.dock_accessibility = std::move(tree); }

  static constexpr std::int64_t kOwnPid = 1;

 private:
  SimulatedLayout layout_;
  std::optional<prefs::MemoryPreferenceStore> dock_domain_;
  // Shared with the accessibility elements handed out, which may outlive a termination. Asking
  // for an application's element gives it a state, as a real application always has one.
  mutable std::map<std::int64_t, std::shared_ptr<SimulatedApplicationState>> states_;
  std::function<void(std::string_view)> changes_;
  mutable base::Observable<int> screen_changes_{0};
  mutable base::Observable<int> launches_{0};
  mutable base::Observable<int> terminations_{0};
};

}  // namespace kolvo::sim
