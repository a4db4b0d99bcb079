#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/observable.hpp"
#include "blender/blender_bridge_client.hpp"
#include "blender/blender_bridge_section.hpp"
#include "catalog/app_stores.hpp"
#include "catalog/profile_store.hpp"
#include "deck/server/deck_settings_stores.hpp"
#include "deck/server/kolvo_deck_server.hpp"
#include "shelf/adobe/adobe_tool_grid_store.hpp"
#include "shelf/shelf_ports.hpp"
#include "shelf/shelf_widget_settings_store.hpp"
#include "dock/alignment_settings_store.hpp"
#include "dock/multi_display_calibration_store.hpp"
#include "overlay/activation_settings_stores.hpp"
#include "sound/sound_effects_manager.hpp"
#include "ui/control_appearance_store.hpp"
#include "ui/page_content.hpp"
#include "ui/settings_page.hpp"
#include "ui/zone_map_settings_store.hpp"

namespace kolvo::ui {

// The stores the settings window shows and edits.
struct SettingsPageStores {
  overlay::CornerControlSettingsStore& corner_controls;
  overlay::EdgeModeSettingsStore& edge_modes;
  overlay::KolvoActivationSettingsStore& activation;
  overlay::PressureZoneSettingsStore& pressure_zone;
  dock::AlignmentSettingsStore& alignment;
  dock::MultiDisplayCalibrationStore& calibrations;
  catalog::KolvoAppStore& apps;
  catalog::AppLauncherStore& launcher;
  catalog::ProfileStore& profiles;
  const catalog::ApplicationCatalog& catalog;
  ControlAppearanceStore& appearance;
  sound::SoundEffectsManager& sounds;
  deck::KolvoDeckSettingsStore& deck;
  deck::DeckStatsSettingsStore& deck_stats;
  ZoneMapSettingsStore& zone_map;
  // The phone link's live state and its trusted phones; the page shows only the switch
  // where the program runs no server.
  deck::KolvoDeckServer* deck_server = nullptr;
  deck::KolvoDeckTrustStore* deck_trust = nullptr;
  // The phone's Shelf widgets; the Corvane page shows nothing of the Shelf without them.
  shelf::ShelfWidgetSettingsStore* shelf_widgets = nullptr;
  // Where Claude Code keeps its settings; without it the page offers no status hooks.
  const shelf::AgentPaths* agent_paths = nullptr;
  // The Adobe widgets' tool grids; the page shows no grids without them.
  shelf::AdobeToolGridStore* tool_grids = nullptr;
  // The Blender bridge's install; the page shows no Blender section without it.
  blender::BlenderBridgeSection* blender_bridge = nullptr;
  // The bridge client whose status the Blender section shows; null, or not started, while no
  // Blender widget is on the Shelf.
  blender::BlenderBridgeClient* blender_client = nullptr;
};

struct LaunchAtLoginState {
  bool is_enabled = false;
  bool needs_approval = false;
  std::optional<std::string> last_error;
};

// What the pages reach outside the stores. Each is set by the shell that can do it; a page
// leaves out the control whose hook is missing, so no control ever does nothing.
struct SettingsPageHooks {
  std::function<LaunchAtLoginState()> launch_at_login = {};
  std::function<void(bool)> set_launch_at_login = {};
  std::function<void()> open_login_items_settings = {};
  std::function<void()> open_accessibility_settings = {};
  std::function<void()> calibrate = {};
  std::function<void()> replay_onboarding = {};
  // The diagnostics report, and the pasteboard it is copied to.
  std::function<std::string()> diagnostics_report = {};
  std::function<void(const std::string&)> copy_to_pasteboard = {};
  // Lets the user pick an application bundle; its location, or absent when cancelled.
  std::function<std::optional<std::string>()> choose_app_location = {};
  // Asks before something that cannot be undone: title, explanation, confirming button.
  std::function<bool(const std::string&, const std::string&, const std::string&)> confirm = {};
};

// The answer to a control event: a sentence when it could not be done.
struct EventOutcome {
  bool done = false;
  std::string message;
};

// The settings window's pages: what each shows, and what each control does to the stores.
class SettingsPages {
 public:
  SettingsPages(SettingsPageStores stores, SettingsPageHooks hooks) : stores_(stores), hooks_(std::move(hooks)) {}

  PageContent content(SettingsPage page) const;
  EventOutcome handle(SettingsPage page, const ControlEvent& event);

  // Calls `changed` on the main thread when what the pages show has changed other than through
  // handle(): an install finishing in the background, Blender starting or quitting. The shell
  // draws the page again.
  [[nodiscard]] base::Subscription observe_changes(std::function<void()> changed);

 private:
  PageContent general() const;
  PageContent controls() const;
  PageContent profiles() const;
  PageContent apps() const;
  PageContent deck() const;
  PageContent corvane() const;
  PageContent advanced() const;

  EventOutcome handle_profile(const ControlEvent& event);
  EventOutcome handle_tool_grid(const ControlEvent& event);
  // The application the user picks: absent when cancelled, an error when it is not one.
  std::optional<catalog::KolvoAppItem> choose_app(EventOutcome& refusal) const;

  SettingsPageStores stores_;
  SettingsPageHooks hooks_;
  // What the last "Set Up Claude Code Status" came to, shown under its button.
  std::optional<std::string> claude_setup_outcome_;
};

// The titles the sidebar lists.
std::string_view page_title(SettingsPage page);

}  // namespace kolvo::ui
