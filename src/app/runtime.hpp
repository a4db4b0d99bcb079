#pragma once

#include <memory>

#include "app/app_ports.hpp"
#include "app/diagnostics_report.hpp"
#include "app/launch_at_login_manager.hpp"
#include "app/platform_ports.hpp"
#include "app/settings.hpp"
#include "base/date_time.hpp"
#include "base/diagnostics_log.hpp"
#include "base/executor.hpp"
#include "base/notification_center.hpp"
#include "blender/blender_bridge_client.hpp"
#include "blender/blender_bridge_section.hpp"
#include "controls/control_services.hpp"
#include "deck/server/bonjour_advertiser.hpp"
#include "deck/server/deck_stats_collector.hpp"
#include "deck/server/deck_trust_store.hpp"
#include "deck/server/kolvo_deck_server.hpp"
#include "dock/dock_services.hpp"
#include "shelf/shelf_surface_controller.hpp"
#include "overlay/hidden_dock_services.hpp"
#include "ui/onboarding_model.hpp"
#include "ui/settings_pages.hpp"
#include "update/update_notice_controller.hpp"

namespace kolvo::app {

class DeckLink;

// The one place where the program's services are built, in dependency order, from a
// platform's ports. The menu-bar app and every host command build the same runtime; only the
// ports and the main loop they pass differ.
class Runtime {
 public:
  // `read_only` runs the loading rules over a copy of the preferences, so a command that only
  // looks never writes to the user's domain, not even the migrations a start would make.
  enum class Mode { live, read_only };

  struct Options {
    Mode mode = Mode::live;
    // Where the diagnostics log is mirrored as it grows.
    base::DiagnosticsLog::Mirror log_mirror = base::DiagnosticsLog::stderr_mirror();
  };

  Runtime(PlatformPorts ports, base::Executor& main, const base::WallClock& clock, Options options);
  ~Runtime();
  Runtime(const Runtime&) = delete;
  Runtime& operator=(const Runtime&) = delete;

  const PlatformPorts& ports() const { return ports_; }
  base::Executor& main() { return main_; }
  const base::WallClock& clock() const { return clock_; }
  base::DiagnosticsLog& log() { return log_; }
  base::NotificationCenter& center() { return center_; }
  prefs::PreferenceStore& prefs() { return prefs_; }
  Settings& settings() { return settings_; }
  LaunchAtLoginManager& launch_at_login() { return launch_at_login_; }
  dock::DockServices& dock() { return dock_; }
  // Made at first use: loading the app stores reads the installed applications.
  overlay::HiddenDockServices& hidden_dock();
  // Made at first use: the timer restores itself from the preferences when made.
  controls::ControlServices& controls();

  // What the program does once when it really starts, before launch: every store loads its
  // keys, and the migrations that rewrite older keys are written.
  void load_for_launch();

  // The frontmost application's bundle identifier, Kolvo itself never counted.
  std::optional<std::string> frontmost_bundle_id() const;

  DiagnosticsInput diagnostics_input();

  // Every setting's effective value in its stored form: the settings stores' (see
  // app::effective_settings), then the Hidden Dock's apps, the launcher, the profiles, the
  // timer and the skipped update, in the domain's key order.
  nlohmann::ordered_json effective_settings();

  // The settings window's pages over this runtime's stores. `hooks` holds what the shell can do
  // beyond the stores; launch at login and the diagnostics report are this runtime's own.
  ui::SettingsPages settings_pages(ui::SettingsPageHooks hooks);
  // The first-run steps over the same stores; finishing them is remembered in the settings.
  ui::OnboardingModel onboarding(ui::OnboardingHooks hooks);

  // The activation zones as a map, from the live zones, the displays and the trays, with
  // labels of `label_size` points.
  ui::ZoneMap zone_map(double label_size);
  // This program and the macOS it runs on, as the update check compares them with a feed.
  update::RunningSystem running_system() const;
  // Made at first use; null where the platform has nothing to fetch with.
  update::UpdateFeedFetcher* update_feed_fetcher();
  // Made at first use, over the platform's feed address; without one it never checks.
  update::UpdateNoticeController& update_notice();

  // The long-lived services the delegate creates at launch, with the platform's panels and
  // pointer monitors.
  std::unique_ptr<AppComponents> make_components(OverlayPlatform& overlay);

  // The trusted phones; made at first use.
  deck::KolvoDeckTrustStore& deck_trust();
  // The phone link's server, made once over this runtime with the platform's socket context
  // and approval prompt; the settings switch and launch start it.
  deck::KolvoDeckServer& make_deck_server(asio::io_context& network, deck::DeckApprovalPrompt& prompt);
  // Null until made.
  deck::KolvoDeckServer* deck_server() { return deck_server_.get(); }
  // The Shelf's widget sessions; made at first use, configured while the Deck server runs.
  shelf::ShelfSurfaceController& shelf();
  // The one connection to Blender's bridge, which the Blender widget and the settings page
  // share; null until the phone link has given it a socket context, or without Blender ports.
  blender::BlenderBridgeClient* blender_client();

  // The settings' Blender Bridge section over the platform's Blender; made at first use, null
  // where the platform cannot look for Blender.
  blender::BlenderBridgeSection* blender_bridge_section();

  // The machine's statistics the phone shows, each 0 … 1, in the given order.
  std::vector<deck::KolvoDeckStat> deck_stats(const std::vector<prefs::KolvoDeckStatKind>& kinds);

 private:
  void connect_shelf_to_deck();

  PlatformPorts ports_;
  base::Executor& main_;
  const base::WallClock& clock_;
  base::DiagnosticsLog log_;
  base::NotificationCenter center_;
  std::unique_ptr<prefs::PreferenceStore> read_only_copy_;
  prefs::PreferenceStore& prefs_;
  Settings settings_;
  LaunchAtLoginManager launch_at_login_;
  dock::DockServices dock_;
  std::unique_ptr<overlay::HiddenDockServices> hidden_dock_;
  std::unique_ptr<controls::ControlServices> controls_;
  std::unique_ptr<update::UpdateFeedFetcher> update_fetcher_;
  std::unique_ptr<update::UpdateNoticeController> update_notice_;
  std::unique_ptr<deck::KolvoDeckTrustStore> deck_trust_;
  std::unique_ptr<DeckLink> deck_link_;
  std::unique_ptr<deck::KolvoDeckStatsCollector> deck_stats_;
  std::unique_ptr<deck::BonjourAdvertiser> deck_advertiser_;
  // Before the Shelf: its Blender session holds the client to the end.
  asio::io_context* network_ = nullptr;
  std::unique_ptr<blender::BlenderBridgeClient> blender_client_;
  std::unique_ptr<shelf::ShelfSurfaceController> shelf_;
  base::Subscription shelf_follows_server_;
  std::unique_ptr<blender::BlenderBridgeSection> blender_bridge_section_;
  // Declared last: it is stopped before anything it reads goes.
  std::unique_ptr<deck::KolvoDeckServer> deck_server_;
};

}  // namespace kolvo::app
