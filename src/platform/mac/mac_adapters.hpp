#pragma once

// The Mac's implementations of the core's ports. The declarations are plain C++ so that C++
// code can hold them; every Objective-C type stays inside the .mm files.

#include <map>
#include <memory>
#include <string>

#include "app/app_ports.hpp"
#include "app/launch_at_login_manager.hpp"
#include "app/platform_ports.hpp"
#include "app/runtime.hpp"
#include "base/diagnostics_log.hpp"
#include "base/executor.hpp"
#include "blender/blender_ports.hpp"
#include "catalog/app_item.hpp"
#include "catalog/application_opener.hpp"
#include "catalog/focused_application_monitor.hpp"
#include "controls/control_ports.hpp"
#include "deck/server/dns_service_registrar.hpp"
#include "deck/server/system_stats.hpp"
#include "dock/accessibility_trust.hpp"
#include "overlay/dock_expansion_gesture.hpp"
#include "overlay/hover_monitor.hpp"
#include "overlay/hover_monitor_control.hpp"
#include "overlay/overlay_window_manager.hpp"
#include "overlay/panel_frames.hpp"
#include "platform/host_ports.hpp"
#include "prefs/preference_store.hpp"
#include "shelf/shelf_ports.hpp"
#include "sound/sound_ports.hpp"
#include "ui/accent_color_store.hpp"
#include "ui/calibration_window_model.hpp"
#include "ui/control_appearance_store.hpp"
#include "ui/control_panel_model.hpp"
#include "ui/launcher_drag.hpp"
#include "ui/panel_look.hpp"
#include "ui/tray_model.hpp"
#include "ui/system_appearance.hpp"
#include "ui/zone_map.hpp"
#include "update/update_feed_fetcher.hpp"

namespace kolvo::platform {

// The real Mac's ports, with nothing simulated: all the menu-bar application runs on. The
// command-line tool's make_host_ports (host_ports_mac.cpp) starts from these.
app::PlatformPorts make_mac_platform_ports(const HostIdentity& identity);

// The application's user-defaults domain through CFPreferences, addressed by bundle
// identifier so that the command-line tool and the app share one domain.
class MacPreferenceStore final : public prefs::PreferenceStore {
 public:
  explicit MacPreferenceStore(std::string application_id);
  std::optional<prefs::PreferenceValue> value(std::string_view key) const override;
  void set(std::string_view key, prefs::PreferenceValue value) override;
  void remove(std::string_view key) override;
  std::map<std::string, prefs::PreferenceValue> all() const override;

 private:
  std::string application_id_;
};

class MacAccessibilityTrust final : public dock::AccessibilityTrust {
 public:
  bool is_process_trusted() const override;
};

// The system theme, from the global "AppleInterfaceStyle" and its distributed notification.
class MacSystemAppearance final : public ui::SystemAppearance {
 public:
  bool is_dark() const override;
  [[nodiscard]] base::Subscription observe_theme_changes(std::function<void()> changed) override;
};

// The AudioObject functions of CoreAudio.
class MacCoreAudio final : public controls::CoreAudioPort {
 public:
  bool has_property(sound::AudioObjectID object, const controls::AudioPropertyAddress& address) const override;
  bool is_property_settable(sound::AudioObjectID object, const controls::AudioPropertyAddress& address) const override;
  std::optional<std::uint32_t> property_data_size(sound::AudioObjectID object,
                                                  const controls::AudioPropertyAddress& address) const override;
  std::optional<float> float32_value(sound::AudioObjectID object,
                                     const controls::AudioPropertyAddress& address) const override;
  std::optional<std::uint32_t> uint32_value(sound::AudioObjectID object,
                                            const controls::AudioPropertyAddress& address) const override;
  std::optional<std::vector<sound::AudioObjectID>> object_list(
      sound::AudioObjectID object, const controls::AudioPropertyAddress& address) const override;
  std::optional<std::string> string_value(sound::AudioObjectID object,
                                          const controls::AudioPropertyAddress& address) const override;
  bool set_float32(sound::AudioObjectID object, const controls::AudioPropertyAddress& address, float value) override;
  bool set_uint32(sound::AudioObjectID object, const controls::AudioPropertyAddress& address,
                  std::uint32_t value) override;
};

// dlopen/dlsym for DisplayServices, the Objective-C runtime for CoreBrightness's client.
class MacPrivateFrameworks final : public controls::PrivateFrameworksPort {
 public:
  ~MacPrivateFrameworks() override;
  bool load_library(std::string_view path) override;
  controls::GetBrightnessEntry get_brightness_symbol(std::string_view path, std::string_view symbol) override;
  controls::SetBrightnessEntry set_brightness_symbol(std::string_view path, std::string_view symbol) override;
  std::unique_ptr<controls::KeyboardBrightnessClient> make_keyboard_brightness_client(
      std::string_view class_name) override;
  std::uint32_t main_display_id() const override;

 private:
  void* symbol(std::string_view path, std::string_view name);
  std::map<std::string, void*, std::less<>> handles_;  // dlopen handles by path, kept for the process
};

// Quartz keyboard events and NSEvent's system-defined media-key events.
class MacHIDEvents final : public controls::HIDEventPort {
 public:
  bool post_keyboard_events(const std::vector<controls::KeyboardEvent>& events) override;
  bool post_system_defined(const controls::SystemDefinedEvent& event) override;
  double system_uptime() const override;
};

// NSAppleScript, compiled and run in this process.
class MacAppleScript final : public controls::AppleScriptPort {
 public:
  controls::AppleScriptOutcome run_apple_script(const std::string& source) override;
};

// Blender as the workspace knows it, by its bundle identifier: the application it would open,
// with the bundle's short version; the running instances; and their launches and quits.
class MacBlenderProcesses final : public blender::BlenderProcesses {
 public:
  std::optional<blender::BlenderApplication> application() const override;
  std::vector<std::int32_t> running() const override;
  std::unique_ptr<blender::BlenderLaunchObservation> observe_launches(base::Executor& main,
                                                                      std::function<void()> changed) override;
};

// The home folder, ~/Library/Application Support/Blender and the per-user temporary folder.
blender::BlenderPaths mac_blender_paths();

// NSUserDefaults' global domain.
class MacGlobalPreferences final : public controls::GlobalPreferencesPort {
 public:
  std::optional<prefs::PreferenceValue> global_domain_value(std::string_view key) const override;
};

// AXUIElement by attribute name, for moving windows.
class MacAXApplications final : public controls::AXApplicationsPort {
 public:
  std::unique_ptr<controls::AXElement> create_application(std::int64_t pid) const override;
};

// AVAudioPlayer over "Sounds/<name>.mp3" in the bundle's resources, or in `fallback_folder`
// when running outside a bundle (the command-line tool).
class MacSoundLibrary final : public sound::SoundLibrary {
 public:
  explicit MacSoundLibrary(std::string fallback_folder) : fallback_folder_(std::move(fallback_folder)) {}
  std::unique_ptr<sound::SoundPlayer> load(prefs::Sound sound) override;

 private:
  std::string fallback_folder_;
};

// SMAppService.mainAppService.
class MacLoginItemService final : public app::LoginItemService {
 public:
  app::LoginItemStatus status() const override;
  std::optional<std::string> register_main_app() override;
  std::optional<std::string> unregister_main_app() override;
};

// NSURLSession with an ephemeral configuration, one session per transfer, its delegate on the
// operation queue "com.kolvo.update": a body past the limit is cancelled as soon as it is
// known to be too long, an HTTP status of 400 or more as soon as it arrives. Answers are
// posted to the main executor; none arrives after the fetcher is destroyed.
class MacUpdateFeedFetcher final : public update::UpdateFeedFetcher {
 public:
  explicit MacUpdateFeedFetcher(base::Executor& main);
  ~MacUpdateFeedFetcher() override;
  MacUpdateFeedFetcher(const MacUpdateFeedFetcher&) = delete;
  MacUpdateFeedFetcher& operator=(const MacUpdateFeedFetcher&) = delete;
  void fetch(update::FeedRequest request, std::function<void(update::FeedResponse)> done) override;

 private:
  struct Objects;
  std::shared_ptr<Objects> objects_;
};

// The processor's load counters (host_statistics), the virtual-memory counters over hw.memsize,
// the boot volume (statfs) and the internal battery (IOKit power sources).
class MacSystemStats final : public deck::SystemStatsPort {
 public:
  deck::SystemReadings read(const std::vector<prefs::KolvoDeckStatKind>& kinds) const override;
};

// Registrations with mDNSResponder through dns_sd in libSystem, named after the computer's
// name as set in System Settings.
deck::DnsServiceRegistrarFactory mac_dns_service_registrar_factory();

// The main dispatch queue as the program's main loop.
class MainQueueExecutor final : public base::Executor {
 public:
  MainQueueExecutor();
  ~MainQueueExecutor() override;
  void post(base::Task task) override;
  base::TaskId post_after(base::Duration delay, base::Task task) override;
  void cancel(base::TaskId id) override;
  base::TimePoint now() const override { return base::Clock::now(); }

 private:
  struct Pending;
  std::unique_ptr<Pending> pending_;
  base::TaskId next_id_ = 1;
};

// This process and its siblings, from NSBundle, NSProcessInfo and NSRunningApplication.
class MacProcessEnvironment final : public app::ProcessEnvironment {
 public:
  explicit MacProcessEnvironment(HostIdentity fallback) : fallback_(std::move(fallback)) {}
  std::int64_t pid() const override;
  std::string bundle_path() const override;
  std::string bundle_identifier() const override;
  std::string short_version() const override;
  std::string build_version() const override;
  std::string os_version() const override;
  std::string system_version() const override;
  std::vector<app::RunningInstance> running_instances(std::string_view bundle_identifier) const override;

 private:
  HostIdentity fallback_;
};

// The frontmost application other than Kolvo itself, from NSWorkspace activations.
class MacFocusedApplicationMonitor final : public catalog::FocusedApplicationMonitor {
 public:
  MacFocusedApplicationMonitor();
  ~MacFocusedApplicationMonitor() override;
  std::optional<std::string> frontmost_bundle_id() const override { return bundle_id_; }
  std::optional<std::string> frontmost_name() const override { return name_; }
  std::optional<std::int64_t> frontmost_pid() const override { return pid_; }

 private:
  struct Observer;
  std::unique_ptr<Observer> observer_;
  std::optional<std::int64_t> pid_;
  std::optional<std::string> bundle_id_;
  std::optional<std::string> name_;
};

// NSScreen: frames, visible frames, and the identity of each display.
class MacScreens final : public dock::ScreensPort {
 public:
  std::vector<dock::ScreenInfo> screens() const override;
  std::optional<std::size_t> main_screen_index() const override;
  [[nodiscard]] base::Subscription observe_screen_parameters(std::function<void()> changed) const override;
};

// NSWorkspace's running applications and their launches and terminations.
class MacRunningApplications final : public dock::RunningApplicationsPort {
 public:
  std::vector<dock::RunningApplication> running_applications() const override;
  std::int64_t own_pid() const override;
  [[nodiscard]] base::Subscription observe_launches(std::function<void()> launched) const override;
  [[nodiscard]] base::Subscription observe_terminations(std::function<void()> terminated) const override;
};

// Whether an application with the program's bundle identifier is running.
class MacRunningProgramProbe final : public shelf::RunningProgramProbe {
 public:
  bool is_running(const shelf::ProgramIdentity& program) const override;
};

// NSAppleScript in this process, with the compiled scripts kept process-wide by key.
class MacScriptRunner final : public shelf::ScriptRunner {
 public:
  shelf::ScriptRun run_script(const std::string& source, const std::optional<std::string>& cache_key) override;
};

// NSWorkspace's applications, keystrokes posted with CGEventPostToPid, the keyboard layout
// through UCKeyTranslate (main thread) and AXObserver notifications on the main run loop.
class MacApplicationProcesses final : public shelf::ApplicationProcesses {
 public:
  std::vector<shelf::RunningProcess> running() const override;
  std::optional<std::int64_t> frontmost_pid() const override;
  bool activate(std::int64_t pid) override;
  std::optional<std::uint16_t> key_code_typing(char letter) const override;
  bool post_key_stroke(std::int64_t pid, shelf::KeyStroke stroke) override;
  std::unique_ptr<shelf::InteractionObservation> observe_interactions(std::int64_t pid, base::Executor& main,
                                                                      std::function<void()> interacted) override;
};

// NSURLSession's shared session, answering from its cache when it can.
class MacDownloader final : public shelf::Downloader {
 public:
  shelf::Download get(const std::string& url, base::Duration request_timeout, base::Duration wait,
                      std::size_t max_bytes) override;
};

// ImageIO: a thumbnail from the full image, turned upright, encoded as JPEG.
class MacImageThumbnailer final : public shelf::ImageThumbnailer {
 public:
  std::optional<std::vector<std::uint8_t>> jpeg_thumbnail(const std::vector<std::uint8_t>& image, int max_side,
                                                          double quality) const override;
};

// Watches a folder with a dispatch source on its descriptor, opened for event notification
// only; each write, rename or deletion in it is posted to the main executor.
shelf::DirectoryWatchFactory mac_directory_watch_factory();

// AXUIElement reads, with frames flipped into the bottom-left global space.
class MacAccessibilityElements final : public dock::AccessibilityElementReader {
 public:
  std::unique_ptr<dock::AccessibilityElement> application(std::int64_t pid) const override;
};

// NSWorkspace, NSBundle and NSFileManager: where applications are and what they are called.
class MacApplicationCatalog final : public catalog::ApplicationCatalog {
 public:
  std::vector<catalog::InstalledApplication> applications_in(const std::vector<std::string>& folders) const override;
  std::optional<catalog::InstalledApplication> application_with_bundle_id(const std::string& bundle_id) const override;
  std::optional<catalog::InstalledApplication> application_at(const std::string& path) const override;
  std::optional<std::vector<std::uint8_t>> icon_png(const catalog::InstalledApplication& application,
                                                    int pixels) const override;
};

// NSWorkspace: opens the application at an item's location, which launches it or brings it to
// the front.
class MacApplicationOpener final : public catalog::ApplicationOpener {
 public:
  bool open_application(const catalog::KolvoAppItem& item) override;
};

// NSHapticFeedbackManager's default performer.
class MacHaptics final : public overlay::HapticPerformer {
 public:
  void perform_alignment() override;
};

// The panels at the edges and corners as AppKit windows: one non-activating, borderless panel
// for each of the Hidden Dock's tray, the Edge Slider, the Corner Dial and the pressure cue,
// floating above the menu bar on every Space and beside full-screen apps. Each goes where
// `placement` says, on the display under the pointer, and is ordered front or out as the
// pointer monitor says; a change of displays puts the open ones where they now belong.
class MacExpansionGestureMonitor;

// The calibration window over one display: a box to drag and resize over the Dock, with its
// numbers and buttons. `closed` runs once, after a save or a cancel.
class MacCalibrationWindow {
 public:
  MacCalibrationWindow(dock::DockServices& dock, const base::WallClock& clock, std::function<void()> closed);
  ~MacCalibrationWindow();
  MacCalibrationWindow(const MacCalibrationWindow&) = delete;
  MacCalibrationWindow& operator=(const MacCalibrationWindow&) = delete;
  void show(const dock::ScreenInfo& screen);

 private:
  struct Objects;
  ui::CalibrationWindowModel model_;
  std::unique_ptr<Objects> objects_;
};

class MacOverlayWindowManager final : public overlay::OverlayWindowManager, public overlay::HapticPerformer {
 public:
  MacOverlayWindowManager(overlay::PanelPlacement placement, dock::DockServices& dock, const base::WallClock& clock,
                          base::DiagnosticsLog& log, std::unique_ptr<ui::TrayModel> tray_model,
                          std::unique_ptr<ui::ControlPanelModel> controls, std::unique_ptr<ui::PanelLook> look);
  ~MacOverlayWindowManager() override;
  MacOverlayWindowManager(const MacOverlayWindowManager&) = delete;
  MacOverlayWindowManager& operator=(const MacOverlayWindowManager&) = delete;

  void show_hidden_dock(overlay::DockSide side, bool pinned) override;
  void hide_hidden_dock() override;
  bool is_hidden_dock_visible() const override { return tray_.has_value(); }
  bool is_hidden_dock_pinned() const override { return tray_.has_value() && pinned_; }
  overlay::DockSide last_open_side() const override { return last_side_; }
  void show_slider(overlay::DockSide side, prefs::EdgeMode mode) override;
  void hide_slider() override;
  void show_dial(prefs::Corner corner, prefs::CornerControlMode mode) override;
  void hide_dial() override;
  void set_pressure_cue_visible(bool visible, overlay::DockSide side) override;
  void close_all_panels() override;
  void reveal_timer_control() override;
  void start_calibration(std::function<void()> completed) override;

  std::optional<dock::ScreenInfo> active_screen() const override;
  void recompute_geometry() override;
  void selected_display_disconnected() override;

  void perform_alignment() override { haptics_.perform_alignment(); }

 private:
  enum class Kind { tray, slider, dial, cue };
  // An open panel: the display it is on, and the side or corner it belongs to.
  struct Open {
    dock::ScreenInfo screen;
    overlay::DockSide side = overlay::DockSide::left;
    prefs::Corner corner = prefs::Corner::topLeft;
  };
  struct Panels;

  std::optional<dock::ScreenInfo> pointer_screen() const;
  dock::Rect frame_for(Kind kind, const Open& open);
  void show(Kind kind, std::optional<Open>& slot, Open open);
  void hide(Kind kind, std::optional<Open>& slot);
  void replace(Kind kind, std::optional<Open>& slot);
  // Draws the tray's icons, and the launcher's grid while it is open, for the tray's frame now.
  void fill_tray();
  void set_expansion(double progress);
  // Places the launcher's cells for the tray's frame now, without making them again.
  void layout_grid();
  // Shows each cell's app as the launcher's slots hold it now, in the views already made.
  void refresh_grid();
  void clicked_tray_icon(std::size_t index);
  void clicked_launcher_cell(std::size_t slot);
  // A press, a drag and a release in the launcher's grid, in the grid view's own points.
  void grid_pressed(dock::Point point);
  void grid_dragged(dock::Point point);
  void grid_released(dock::Point point);
  // Puts down whatever the grid is carrying, without dropping it anywhere.
  void end_launcher_drag();
  // Whether a press at this global point picks up an app of the open launcher.
  bool launcher_takes_press(dock::Point point) const;
  // Draws every panel, open or not, in the look the settings give now.
  void apply_look(const ui::PanelGlassStyle& style);
  // Draws the control a slider or dial panel shows, with its value, wired to the model.
  void fill_control(Kind kind, prefs::CornerControlMode mode);

  overlay::PanelPlacement placement_;
  dock::DockServices& dock_;
  const base::WallClock& clock_;
  base::DiagnosticsLog& log_;
  MacHaptics haptics_;
  std::unique_ptr<MacCalibrationWindow> calibration_;
  std::unique_ptr<ui::TrayModel> tray_model_;
  std::unique_ptr<ui::ControlPanelModel> controls_;
  std::unique_ptr<ui::PanelLook> look_;
  std::unique_ptr<MacExpansionGestureMonitor> expansion_;
  double expansion_progress_ = 0;
  std::unique_ptr<Panels> panels_;
  std::optional<Open> tray_, slider_, dial_, cue_;
  // The launcher's cells as last laid out, in the grid view's space, and the press in it.
  std::vector<ui::LauncherCell> grid_cells_;
  std::optional<ui::LauncherDrag> launcher_drag_;
  // After the panels, the look and the tray model, so they are cancelled before either goes.
  base::Subscription look_subscription_;
  base::Subscription launcher_subscription_;
  bool pinned_ = false;
  overlay::DockSide last_side_ = overlay::DockSide::left;
};

// The zone map as AppKit panels: one borderless, click-through, non-activating panel over each
// display, above normal windows and the Dock, drawing the rectangles, colours and labels the
// map gives with Core Animation layers. The panels are kept and redrawn as the map changes.
class MacZoneMapPanels final : public ui::ZoneMapPanels {
 public:
  MacZoneMapPanels();
  ~MacZoneMapPanels() override;
  MacZoneMapPanels(const MacZoneMapPanels&) = delete;
  MacZoneMapPanels& operator=(const MacZoneMapPanels&) = delete;

  void show_zone_map(const ui::ZoneMap& map) override;
  void hide_zone_map() override;

 private:
  struct Panels;
  std::unique_ptr<Panels> panels_;
};

// The pointer monitor with its global and local event monitors for pointer moves and left
// drags; stopping removes them.
class MacHoverMonitor final : public overlay::HoverMonitorControl {
 public:
  explicit MacHoverMonitor(std::shared_ptr<overlay::HoverMonitor> monitor);
  ~MacHoverMonitor() override;
  // Installs the global and local monitors.
  void install();
  void set_menu_open(bool open) override { monitor_->set_menu_open(open); }
  void stop() override;
  overlay::HoverMonitor& monitor() { return *monitor_; }

 private:
  struct Monitors;
  std::shared_ptr<overlay::HoverMonitor> monitor_;
  std::unique_ptr<Monitors> monitors_;
};

// The application-local monitor (left down, up, dragged and scroll wheel: mask 0x400046) that
// feeds the expansion gesture of the Hidden Dock's view. `anchor_view` is an NSView.
class MacExpansionGestureMonitor {
 public:
  MacExpansionGestureMonitor(void* anchor_view, overlay::DockExpansionGesture gesture);
  ~MacExpansionGestureMonitor();
  MacExpansionGestureMonitor(const MacExpansionGestureMonitor&) = delete;
  MacExpansionGestureMonitor& operator=(const MacExpansionGestureMonitor&) = delete;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// The menu-bar application's panels and pointer: AppKit panels placed over the runtime's
// zones, and the global and local event monitors feeding the pointer monitor.
class MacOverlayPlatform final : public app::OverlayPlatform {
 public:
  explicit MacOverlayPlatform(app::Runtime& runtime) : runtime_(runtime) {}

  std::shared_ptr<overlay::OverlayWindowManager> make_panels() override {
    panels_ = std::make_shared<MacOverlayWindowManager>(
        overlay::PanelPlacement(runtime_.dock(), runtime_.hidden_dock().zones()), runtime_.dock(), runtime_.clock(),
        runtime_.log(),
        std::make_unique<ui::TrayModel>(runtime_.hidden_dock().zones(), runtime_.hidden_dock().launcher(),
                                        *runtime_.ports().applications, *runtime_.ports().opener, runtime_.center(),
                                        runtime_.settings().sound_effects()),
        std::make_unique<ui::ControlPanelModel>(runtime_.controls(), runtime_.settings().sound_effects(),
                                                [focused = runtime_.ports().focused_application] {
                                                  return focused ? focused->frontmost_pid() : std::nullopt;
                                                }),
        std::make_unique<ui::PanelLook>(runtime_.settings().control_appearance(), runtime_.settings().accent_color(),
                                        runtime_.settings().liquid_glass()));
    return panels_;
  }
  overlay::HapticPerformer& haptics() override {
    return panels_ ? static_cast<overlay::HapticPerformer&>(*panels_) : haptics_;
  }
  std::shared_ptr<overlay::HoverMonitorControl> attach_pointer_monitors(
      std::shared_ptr<overlay::HoverMonitor> monitor) override {
    pointer_monitors_ = std::make_shared<MacHoverMonitor>(std::move(monitor));
    return pointer_monitors_;
  }
  void install_pointer_monitors() override {
    if (pointer_monitors_) pointer_monitors_->install();
  }
  std::shared_ptr<ui::ZoneMapPanels> make_zone_map_panels() override { return std::make_shared<MacZoneMapPanels>(); }

 private:
  app::Runtime& runtime_;
  MacHaptics haptics_;
  std::shared_ptr<MacOverlayWindowManager> panels_;
  std::shared_ptr<MacHoverMonitor> pointer_monitors_;
};

}  // namespace kolvo::platform
