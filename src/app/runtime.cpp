#include "app/runtime.hpp"

#include "app/deck_link.hpp"
#include "blender/blender_surface_session.hpp"
#include "overlay/zone_rebuilder.hpp"
#include "prefs/settings_keys.hpp"
#include "shelf/shelf_session_factory.hpp"
#include "ui/zone_map_overlay.hpp"

namespace kolvo::app {
namespace {

std::unique_ptr<prefs::PreferenceStore> copy_if_read_only(const PlatformPorts& ports, Runtime::Mode mode) {
  if (mode == Runtime::Mode::live) return nullptr;
  return std::make_unique<prefs::MemoryPreferenceStore>(ports.prefs->all());
}

// The platform's panels, with the pointer zones rebuilt whenever the panels recompute their
// geometry, whoever asks: the Dock's refresh, a setting's change or a display's. The zones
// are built from the same settings and geometry, so they never lag behind what is drawn; the
// zone map, when shown, is drawn again from them.
class ZoneFollowingPanels final : public overlay::OverlayWindowManager {
 public:
  // `monitor` is read at each rebuild: the monitor is made after the panels.
  ZoneFollowingPanels(std::shared_ptr<overlay::OverlayWindowManager> panels,
                      const std::shared_ptr<overlay::HoverMonitor>& monitor, std::weak_ptr<ui::ZoneMapOverlay> zone_map)
      : panels_(std::move(panels)), monitor_(monitor), zone_map_(std::move(zone_map)) {}

  void show_hidden_dock(overlay::DockSide side, bool pinned) override { panels_->show_hidden_dock(side, pinned); }
  void hide_hidden_dock() override { panels_->hide_hidden_dock(); }
  bool is_hidden_dock_visible() const override { return panels_->is_hidden_dock_visible(); }
  bool is_hidden_dock_pinned() const override { return panels_->is_hidden_dock_pinned(); }
  overlay::DockSide last_open_side() const override { return panels_->last_open_side(); }
  void show_slider(overlay::DockSide side, prefs::EdgeMode mode) override { panels_->show_slider(side, mode); }
  void hide_slider() override { panels_->hide_slider(); }
  void show_dial(prefs::Corner corner, prefs::CornerControlMode mode) override { panels_->show_dial(corner, mode); }
  void hide_dial() override { panels_->hide_dial(); }
  void set_pressure_cue_visible(bool visible, overlay::DockSide side) override {
    panels_->set_pressure_cue_visible(visible, side);
  }
  void close_all_panels() override { panels_->close_all_panels(); }
  void reveal_timer_control() override { panels_->reveal_timer_control(); }
  void start_calibration(std::function<void()> completed) override { panels_->start_calibration(std::move(completed)); }

  std::optional<dock::ScreenInfo> active_screen() const override { return panels_->active_screen(); }
  void recompute_geometry() override {
    panels_->recompute_geometry();
    rebuild_zones();
  }
  void selected_display_disconnected() override {
    panels_->selected_display_disconnected();
    rebuild_zones();
  }

 private:
  void rebuild_zones() {
    if (monitor_) monitor_->rebuild_zones();
    if (const auto map = zone_map_.lock()) map->zones_rebuilt();
  }

  std::shared_ptr<overlay::OverlayWindowManager> panels_;
  const std::shared_ptr<overlay::HoverMonitor>& monitor_;
  std::weak_ptr<ui::ZoneMapOverlay> zone_map_;
};

class RuntimeComponents final : public AppComponents {
 public:
  RuntimeComponents(Runtime& runtime, OverlayPlatform& overlay) : runtime_(runtime), overlay_(overlay) {}

  std::shared_ptr<catalog::FocusedApplicationMonitor> make_focused_application_monitor() override {
    return runtime_.ports().focused_application;
  }
  std::shared_ptr<overlay::OverlayWindowManager> make_overlay_window_manager() override {
    Runtime& runtime = runtime_;
    zone_map_ = std::make_shared<ui::ZoneMapOverlay>(runtime.settings().zone_map(), overlay_.make_zone_map_panels(),
                                                     [&runtime] { return runtime.zone_map(ui::kZoneMapOverlayLabelSize); });
    return std::make_shared<ZoneFollowingPanels>(overlay_.make_panels(), monitor_, zone_map_);
  }
  std::shared_ptr<overlay::HoverMonitorControl> make_hover_monitor(
      std::weak_ptr<overlay::OverlayWindowManager> manager) override {
    auto& hidden_dock = runtime_.hidden_dock();
    monitor_ = std::make_shared<overlay::HoverMonitor>(runtime_.main(), std::move(manager), overlay_.haptics(),
                                                       hidden_dock.zones());
    rebuilder_ = std::make_unique<overlay::ZoneRebuilder>(
        runtime_.main(), runtime_.settings().activation_settings(), hidden_dock.apps(), hidden_dock.profiles(),
        runtime_.ports().focused_application.get(),
        [monitor = std::weak_ptr<overlay::HoverMonitor>(monitor_), map = std::weak_ptr<ui::ZoneMapOverlay>(zone_map_)] {
          if (const auto alive = monitor.lock()) alive->rebuild_zones();
          if (const auto shown = map.lock()) shown->zones_rebuilt();
        });
    return overlay_.attach_pointer_monitors(monitor_);
  }
  void install_pointer_monitors(std::weak_ptr<overlay::HoverMonitorControl>) override {
    overlay_.install_pointer_monitors();
  }
  std::shared_ptr<dock::DockRectRefreshControl> make_dock_rect_refresh_controller(
      std::weak_ptr<overlay::OverlayWindowManager> manager) override {
    std::shared_ptr<dock::DockRectRefreshController> controller =
        runtime_.dock().make_refresh_controller(std::weak_ptr<dock::DockGeometryClient>(manager.lock()));
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
  std::unique_ptr<overlay::ZoneRebuilder> rebuilder_;
  std::shared_ptr<ui::ZoneMapOverlay> zone_map_;
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

Runtime::~Runtime() {
  // The widget settings outlive the server; their changes must not reach it once it is gone.
  if (deck_server_) settings_.shelf_widgets().set_on_change(nullptr);
  if (shelf_) settings_.adobe_tool_grids().set_on_change(nullptr);
}

deck::KolvoDeckTrustStore& Runtime::deck_trust() {
  if (!deck_trust_) deck_trust_ = std::make_unique<deck::KolvoDeckTrustStore>(prefs_, log_, clock_);
  return *deck_trust_;
}

deck::KolvoDeckServer& Runtime::make_deck_server(asio::io_context& network, deck::DeckApprovalPrompt& prompt) {
  if (deck_server_) return *deck_server_;
  network_ = &network;
  deck_link_ = std::make_unique<DeckLink>(*this);
  deck_advertiser_ = std::make_unique<deck::BonjourAdvertiser>(ports_.make_dns_service_registrar, main_, log_);
  deck_server_ = std::make_unique<deck::KolvoDeckServer>(
      deck::DeckServerPorts{.network = network,
                            .main = main_,
                            .log = log_,
                            .trust = deck_trust(),
                            .prompt = prompt,
                            .mac = *deck_link_,
                            .advertise = [this](std::uint16_t port) { deck_advertiser_->start(port); },
                            .withdraw = [this] { deck_advertiser_->stop(); }});
  connect_shelf_to_deck();
  return *deck_server_;
}

shelf::ShelfSurfaceController& Runtime::shelf() {
  if (!shelf_) {
    shelf_ = std::make_unique<shelf::ShelfSurfaceController>(shelf::make_shelf_session_factory({
        .main = main_,
        .clock = clock_,
        .log = log_,
        .timer = [this]() -> timer::KolvoTimerStore& { return controls().timer(); },
        .agent_paths = ports_.agent_paths,
        .programs = ports_.programs,
        .watch_directory = ports_.watch_directory,
        .apple_events = ports_.apple_events,
        .application_processes = ports_.application_processes,
        .downloader = ports_.downloader,
        .thumbnailer = ports_.thumbnailer,
        .accessibility = ports_.accessibility,
        .tool_grids = &settings_.adobe_tool_grids(),
        .blender = [this]() -> std::unique_ptr<shelf::ShelfSurfaceSession> {
          auto* client = blender_client();
          if (!client) return nullptr;
          return std::make_unique<blender::BlenderSurfaceSession>(*client, main_, clock_);
        },
    }));
    // An edited grid goes to the Adobe widgets that run, which publish it to the phones.
    settings_.adobe_tool_grids().set_on_change([this](shelf::AdobeApp app) { shelf_->toolGridDidChange(app); });
  }
  return *shelf_;
}

blender::BlenderBridgeClient* Runtime::blender_client() {
  if (!blender_client_ && network_ && ports_.blender) {
    blender_client_ = std::make_unique<blender::BlenderBridgeClient>(
        blender::BlenderBridgeClient::Ports{.main = main_,
                                            .network = *network_,
                                            .blender = ports_.blender,
                                            .info_file = ports_.blender_paths.bridge_info_file(),
                                            .log = log_});
  }
  return blender_client_.get();
}

// The widgets run while the phone link does: every state goes to the approved phones, a change
// of widgets is sent before the new widgets' first states, and stopping the link stops them.
void Runtime::connect_shelf_to_deck() {
  auto& widgets = settings_.shelf_widgets();
  auto& server = *deck_server_;
  shelf().set_on_state([&server](const deck::ShelfSurfaceState& state) {
    server.send_to_approved(deck::ShelfSurfaceStateMessage{state, state.identity});
  });
  widgets.set_on_change([this, &server, &widgets](const std::vector<deck::ShelfSurfaceIdentity>& list) {
    if (!server.is_running().get()) return;
    server.send_to_approved(deck::ShelfWidgetsMessage{list, widgets.background().get()});
    shelf().configure(list);
  });
  shelf_follows_server_ = server.is_running().subscribe([this, &widgets](bool running) {
    shelf().configure(running ? widgets.widgets() : std::vector<deck::ShelfSurfaceIdentity>{});
  });
  if (server.is_running().get()) shelf().configure(widgets.widgets());
}

std::vector<deck::KolvoDeckStat> Runtime::deck_stats(const std::vector<prefs::KolvoDeckStatKind>& kinds) {
  if (!ports_.system_stats) return {};
  if (!deck_stats_) deck_stats_ = std::make_unique<deck::KolvoDeckStatsCollector>(*ports_.system_stats, main_);
  return deck_stats_->sample(kinds);
}

void Runtime::load_for_launch() {
  settings_.load_all();
  dock_.store().finish_migration();
}

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

nlohmann::ordered_json Runtime::effective_settings() {
  nlohmann::ordered_json out = app::effective_settings(settings_);
  const auto key = [](std::string_view k) { return std::string(k); };
  auto& stores = hidden_dock();
  auto apps = nlohmann::ordered_json::array();
  for (const auto& item : stores.apps().apps()) apps.push_back(catalog::to_json(item));
  out[key(prefs::keys::kSelectedApps)] = std::move(apps);
  auto slots = nlohmann::ordered_json::array();
  for (const auto& slot : stores.launcher().slots()) {
    slots.push_back(slot ? nlohmann::ordered_json(catalog::to_json(*slot)) : nlohmann::ordered_json(nullptr));
  }
  out[key(prefs::keys::kAppLauncherSlots)] = std::move(slots);
  out[key(prefs::keys::kAppLauncherConfigurationVersion)] = catalog::AppLauncherStore::kConfigurationVersion;
  auto profiles = nlohmann::ordered_json::array();
  for (const auto& profile : stores.profiles().profiles()) profiles.push_back(catalog::to_json(profile));
  out[key(prefs::keys::kAppProfiles)] = std::move(profiles);
  auto& timer = controls().timer();
  out[key(prefs::keys::kTimerSelectedMinutes)] = timer.selected_minutes().get();
  out[key(prefs::keys::kTimerRunning)] = timer.is_running().get();
  out[key(prefs::keys::kTimerEndDate)] =
      timer.end_date() ? nlohmann::ordered_json(base::format_iso8601(*timer.end_date())) : nlohmann::ordered_json(nullptr);
  const auto& skipped = settings_.update_dismissal().dismissed_version();
  out[key(prefs::keys::kUpdateDismissedVersion)] =
      skipped ? nlohmann::ordered_json(skipped->text()) : nlohmann::ordered_json(nullptr);
  return out;
}

ui::ZoneMap Runtime::zone_map(double label_size) {
  return ui::live_zone_map(hidden_dock().zones(), dock_, settings_.alignment().alignment_edge_offset(), label_size);
}

update::RunningSystem Runtime::running_system() const {
  const ProcessEnvironment& process = *ports_.process;
  return {.build_version = process.build_version(),
          .short_version = process.short_version(),
          .system_version = process.system_version()};
}

update::UpdateFeedFetcher* Runtime::update_feed_fetcher() {
  if (!update_fetcher_ && ports_.make_update_feed_fetcher) update_fetcher_ = ports_.make_update_feed_fetcher(main_);
  return update_fetcher_.get();
}

update::UpdateNoticeController& Runtime::update_notice() {
  if (!update_notice_) {
    update_notice_ = std::make_unique<update::UpdateNoticeController>(
        update::UpdateNoticePorts{.fetcher = update_feed_fetcher(),
                                  .main = main_,
                                  .log = log_,
                                  .dismissal = settings_.update_dismissal()},
        ports_.update_feed_url, running_system());
  }
  return *update_notice_;
}

std::unique_ptr<AppComponents> Runtime::make_components(OverlayPlatform& overlay) {
  return std::make_unique<RuntimeComponents>(*this, overlay);
}

ui::SettingsPages Runtime::settings_pages(ui::SettingsPageHooks hooks) {
  hooks.launch_at_login = [this] {
    return ui::LaunchAtLoginState{launch_at_login_.is_enabled(), launch_at_login_.needs_approval(),
                                  launch_at_login_.last_error()};
  };
  hooks.set_launch_at_login = [this](bool enabled) { launch_at_login_.set_enabled(enabled); };
  hooks.diagnostics_report = [this] { return diagnostics_report(diagnostics_input()); };
  auto& hidden = hidden_dock();
  return ui::SettingsPages(
      ui::SettingsPageStores{.corner_controls = settings_.corner_controls(),
                             .edge_modes = settings_.edge_modes(),
                             .activation = settings_.activation(),
                             .pressure_zone = settings_.pressure_zone(),
                             .alignment = settings_.alignment(),
                             .calibrations = dock_.store(),
                             .apps = hidden.apps(),
                             .launcher = hidden.launcher(),
                             .profiles = hidden.profiles(),
                             .catalog = *ports_.applications,
                             .appearance = settings_.control_appearance(),
                             .sounds = settings_.sound_effects(),
                             .deck = settings_.deck(),
                             .deck_stats = settings_.deck_stats(),
                             .zone_map = settings_.zone_map(),
                             .deck_server = deck_server_.get(),
                             .deck_trust = &deck_trust(),
                             .shelf_widgets = &settings_.shelf_widgets(),
                             .agent_paths = &ports_.agent_paths,
                             .tool_grids = &settings_.adobe_tool_grids(),
                             .blender_bridge = blender_bridge_section(),
                             .blender_client = blender_client()},
      std::move(hooks));
}

blender::BlenderBridgeSection* Runtime::blender_bridge_section() {
  if (!blender_bridge_section_ && ports_.blender && ports_.blender_command_line) {
    blender_bridge_section_ = std::make_unique<blender::BlenderBridgeSection>(
        blender::BlenderBridgeInstallPorts{.blender = ports_.blender,
                                           .command_line = ports_.blender_command_line,
                                           .paths = ports_.blender_paths},
        main_);
  }
  return blender_bridge_section_.get();
}

ui::OnboardingModel Runtime::onboarding(ui::OnboardingHooks hooks) {
  hooks.mark_completed = [this] { settings_.set_onboarding_completed(true); };
  auto& hidden = hidden_dock();
  return ui::OnboardingModel(ui::OnboardingStores{.apps = hidden.apps(),
                                                  .catalog = *ports_.applications,
                                                  .edge_modes = settings_.edge_modes(),
                                                  .activation = settings_.activation()},
                             std::move(hooks));
}

}  // namespace kolvo::app
