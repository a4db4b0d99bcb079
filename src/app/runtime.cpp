#include "app/runtime.hpp"

namespace kolvo::app {
namespace {

std::unique_ptr<prefs::PreferenceStore> copy_if_read_only(const PlatformPorts& ports, Runtime::Mode mode) {
  if (mode == Runtime::Mode::live) return nullptr;
  return std::make_unique<prefs::MemoryPreferenceStore>(ports.prefs->all());
}

// The Dock's geometry asks the panels to rebuild; the pointer zones are built from the same
// geometry, so they rebuild with them.
class ZoneRebuildingGeometryClient final : public dock::DockGeometryClient {
 public:
  // `monitor` is read at each rebuild: the monitor may be made after the Dock's refresh starts.
  ZoneRebuildingGeometryClient(std::weak_ptr<overlay::OverlayWindowManager> panels,
                               const std::shared_ptr<overlay::HoverMonitor>& monitor)
      : panels_(std::move(panels)), monitor_(monitor) {}

  std::optional<dock::ScreenInfo> active_screen() const override {
    const auto panels = panels_.lock();
    return panels ? panels->active_screen() : std::nullopt;
  }
  void recompute_geometry() override {
    if (const auto panels = panels_.lock()) panels->recompute_geometry();
    if (monitor_) monitor_->rebuild_zones();
  }
  void selected_display_disconnected() override {
    if (const auto panels = panels_.lock()) panels->selected_display_disconnected();
    if (monitor_) monitor_->rebuild_zones();
  }

 private:
  std::weak_ptr<overlay::OverlayWindowManager> panels_;
  const std::shared_ptr<overlay::HoverMonitor>& monitor_;
};

class RuntimeComponents final : public AppComponents {
 public:
  RuntimeComponents(Runtime& runtime, OverlayPlatform& overlay) : runtime_(runtime), overlay_(overlay) {}

  std::shared_ptr<catalog::FocusedApplicationMonitor> make_focused_application_monitor() override {
    return runtime_.ports().focused_application;
  }
  std::shared_ptr<overlay::OverlayWindowManager> make_overlay_window_manager() override {
    return overlay_.make_panels();
  }
  std::shared_ptr<overlay::HoverMonitorControl> make_hover_monitor(
      std::weak_ptr<overlay::OverlayWindowManager> manager) override {
    monitor_ = std::make_shared<overlay::HoverMonitor>(runtime_.main(), std::move(manager), overlay_.haptics(),
                                                       runtime_.hidden_dock().zones());
    return overlay_.attach_pointer_monitors(monitor_);
  }
  void install_pointer_monitors(std::weak_ptr<overlay::HoverMonitorControl>) override {
    overlay_.install_pointer_monitors();
  }
  std::shared_ptr<dock::DockRectRefreshControl> make_dock_rect_refresh_controller(
      std::weak_ptr<overlay::OverlayWindowManager> manager) override {
    geometry_client_ = std::make_shared<ZoneRebuildingGeometryClient>(std::move(manager), monitor_);
    std::shared_ptr<dock::DockRectRefreshController> controller =
        runtime_.dock().make_refresh_controller(geometry_client_);
    controller->start();
    return controller;
  }
  // Making the timer here restores one left running at the last quit.
  void set_timer_completion_reveal(std::function<void()> reveal) override {
    runtime_.controls().timer().set_on_completion_reveal(std::move(reveal));
  }

 private:
  Runtime& runtime_;
  OverlayPlatform& overlay_;
  std::shared_ptr<overlay::HoverMonitor> monitor_;
  std::shared_ptr<ZoneRebuildingGeometryClient> geometry_client_;
};

}  // namespace

Runtime::Runtime(PlatformPorts ports, base::Executor& main, const base::WallClock& clock, Options options)
    : ports_(std::move(ports)),
      main_(main),
      clock_(clock),
      log_(clock_, std::move(options.log_mirror)),
      read_only_copy_(copy_if_read_only(ports_, options.mode)),
      prefs_(read_only_copy_ ? *read_only_copy_ : *ports_.prefs),
      settings_(SettingsPorts{.prefs = prefs_,
                              .center = center_,
                              .executor = main_,
                              .log = log_,
                              .accessibility = *ports_.accessibility,
                              .appearance = *ports_.appearance,
                              .audio = *ports_.audibility,
                              .sounds = *ports_.sounds}),
      launch_at_login_(*ports_.login_items),
      dock_(dock::DockEnvironment{.screens = *ports_.screens,
                                  .dock_domain = ports_.dock_domain.get(),
                                  .running = *ports_.running,
                                  .accessibility = *ports_.accessibility,
                                  .elements = *ports_.elements},
            prefs_, center_, main_, log_, settings_.alignment(), clock_) {}

std::optional<std::string> Runtime::frontmost_bundle_id() const {
  return ports_.focused_application ? ports_.focused_application->frontmost_bundle_id() : std::nullopt;
}

overlay::HiddenDockServices& Runtime::hidden_dock() {
  if (!hidden_dock_) {
    hidden_dock_ = std::make_unique<overlay::HiddenDockServices>(prefs_, *ports_.applications, log_,
                                                                 settings_.activation_settings(), dock_,
                                                                 [this] { return frontmost_bundle_id(); });
  }
  return *hidden_dock_;
}

controls::ControlServices& Runtime::controls() {
  if (!controls_) {
    controls_ = std::make_unique<controls::ControlServices>(controls::ControlPorts{
        .trust = *ports_.accessibility,
        .audio = *ports_.core_audio,
        .frameworks = *ports_.frameworks,
        .events = *ports_.events,
        .scripts = *ports_.scripts,
        .processes = *ports_.processes,
        .global_preferences = *ports_.global_preferences,
        .accessibility = *ports_.windows,
        .screens = *ports_.screens,
        .own_pid = ports_.running->own_pid(),
        .frontmost_bundle_id = [this] { return frontmost_bundle_id(); },
        .prefs = prefs_,
        .main = main_,
        .clock = clock_,
        .log = log_,
        .sounds = &settings_.sound_effects()});
  }
  return *controls_;
}

DiagnosticsInput Runtime::diagnostics_input() {
  const ProcessEnvironment& process = *ports_.process;
  DiagnosticsInput input;
  input.short_version = process.short_version();
  input.build_version = process.build_version();
  input.os_version = process.os_version();
  input.bundle_path = process.bundle_path();
  input.launch_at_login = launch_at_login_.status();
  dock_.fill_diagnostics(input);
  input.lock_calibration = settings_.alignment().lock_calibration();
  input.follow_dock_changes = settings_.alignment().follow_dock_changes_automatically();
  return input;
}

std::unique_ptr<AppComponents> Runtime::make_components(OverlayPlatform& overlay) {
  return std::make_unique<RuntimeComponents>(*this, overlay);
}

}  // namespace kolvo::app
