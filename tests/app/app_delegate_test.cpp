#include <gtest/gtest.h>

#include "app/app_delegate.hpp"
#include "app/diagnostics_report.hpp"
#include "app/instance_report.hpp"
#include "prefs/settings_keys.hpp"
#include "support/scripted_feed_fetcher.hpp"
#include "support/settings_fixture.hpp"
#include "ui/general_page_model.hpp"

namespace kolvo::app {
namespace {

using Events = std::vector<std::string>;

// Everything the delegate does to the platform and the subsystems, in one ordered list.
struct Recorder {
  Events events;
  void operator()(std::string event) { events.push_back(std::move(event)); }
};

class RecordingShell final : public AppShell {
 public:
  explicit RecordingShell(Recorder& r) : r_(r) {}
  void set_activation_policy_accessory() override { r_("policy accessory"); }
  bool set_application_icon(std::string_view name) override {
    r_("icon " + std::string(name));
    return false;
  }
  void create_status_item(const std::vector<StatusMenuItem>& menu, std::function<void(MenuAction)> chosen,
                          std::shared_ptr<StatusItemMenuDelegate> delegate) override {
    r_("status item " + std::to_string(menu.size()));
    choose = std::move(chosen);
    menu_delegate = std::move(delegate);
  }
  void set_status_menu(const std::vector<StatusMenuItem>& menu) override {
    std::string titles;
    for (const auto& item : menu) titles += item.is_separator ? "|" : item.title + (item.enabled ? "" : " (disabled)") + "|";
    r_("menu " + titles);
  }
  void open_url(std::string_view url) override { r_("open " + std::string(url)); }
  bool has_visible_titled_window() const override { return visible_window; }
  void activate_ignoring_other_apps() override { r_("activate"); }
  void create_settings_window(std::function<void()> on_calibrate, std::function<void()> on_replay) override {
    r_("create settings");
    settings_calibrate = std::move(on_calibrate);
    settings_replay = std::move(on_replay);
  }
  void show_settings_window(ui::SettingsPage page) override { r_("settings " + std::string(ui::to_string(page))); }
  void create_onboarding_window(std::function<void()> on_calibrate, std::function<void()> on_finished) override {
    r_("create onboarding");
    onboarding_finished = std::move(on_finished);
    (void)on_calibrate;
  }
  void show_onboarding_window() override { r_("onboarding"); }
  void release_onboarding_window() override { r_("release onboarding"); }
  void terminate() override { r_("terminate"); }

  bool visible_window = false;
  std::function<void(MenuAction)> choose;
  std::shared_ptr<StatusItemMenuDelegate> menu_delegate;
  std::function<void()> settings_calibrate, settings_replay, onboarding_finished;

 private:
  Recorder& r_;
};

class RecordingOverlay final : public overlay::OverlayWindowManager {
 public:
  explicit RecordingOverlay(Recorder& r) : r_(r) {}
  void show_hidden_dock(overlay::DockSide side, bool pinned) override {
    last = side;
    r_(std::string("dock ") + (side == overlay::DockSide::left ? "left" : "right") + (pinned ? " pinned" : ""));
  }
  void hide_hidden_dock() override { r_("hide dock"); }
  bool is_hidden_dock_visible() const override { return false; }
  bool is_hidden_dock_pinned() const override { return false; }
  overlay::DockSide last_open_side() const override { return last; }
  void show_slider(overlay::DockSide, prefs::EdgeMode) override {}
  void hide_slider() override {}
  void show_dial(prefs::Corner, prefs::CornerControlMode) override {}
  void hide_dial() override {}
  void set_pressure_cue_visible(bool, overlay::DockSide) override {}
  void close_all_panels() override { r_("close panels"); }
  std::optional<dock::ScreenInfo> active_screen() const override { return std::nullopt; }
  void recompute_geometry() override { r_("recompute"); }
  void selected_display_disconnected() override { r_("display gone"); }
  void reveal_timer_control() override { r_("reveal timer"); }
  void start_calibration(std::function<void()> completed) override {
    r_("calibration");
    calibration_done = std::move(completed);
  }
  overlay::DockSide last = overlay::DockSide::left;
  std::function<void()> calibration_done;

 private:
  Recorder& r_;
};

class RecordingHover final : public overlay::HoverMonitorControl {
 public:
  explicit RecordingHover(Recorder& r) : r_(r) {}
  void set_menu_open(bool open) override { r_(open ? "menu open" : "menu closed"); }
  void stop() override { r_("stop hover"); }

 private:
  Recorder& r_;
};

class RecordingRefresh final : public dock::DockRectRefreshControl {
 public:
  explicit RecordingRefresh(Recorder& r) : r_(r) {}
  void stop() override { r_("stop refresh"); }

 private:
  Recorder& r_;
};

class RecordingComponents final : public AppComponents {
 public:
  explicit RecordingComponents(Recorder& r) : r_(r) {}
  std::shared_ptr<catalog::FocusedApplicationMonitor> make_focused_application_monitor() override {
    r_("focused monitor");
    return nullptr;
  }
  std::shared_ptr<overlay::OverlayWindowManager> make_overlay_window_manager() override {
    r_("overlay");
    overlay = std::make_shared<RecordingOverlay>(r_);
    return overlay;
  }
  std::shared_ptr<overlay::HoverMonitorControl> make_hover_monitor(std::weak_ptr<overlay::OverlayWindowManager> m) override {
    r_(m.lock() == overlay ? "hover bound" : "hover unbound");
    return std::make_shared<RecordingHover>(r_);
  }
  void install_pointer_monitors(std::weak_ptr<overlay::HoverMonitorControl> monitor) override {
    r_(monitor.lock() ? "pointer monitors" : "pointer monitors without hover");
  }
  std::shared_ptr<dock::DockRectRefreshControl> make_dock_rect_refresh_controller(
      std::weak_ptr<overlay::OverlayWindowManager>) override {
    r_("refresh controller");
    return std::make_shared<RecordingRefresh>(r_);
  }
  void set_timer_completion_reveal(std::function<void()> reveal) override {
    r_("timer reveal");
    timer_reveal = std::move(reveal);
  }
  std::shared_ptr<RecordingOverlay> overlay;
  std::function<void()> timer_reveal;

 private:
  Recorder& r_;
};

class RecordingDeck final : public deck::DeckServiceControl {
 public:
  explicit RecordingDeck(Recorder& r) : r_(r) {}
  void start() override { r_("deck start"); }
  void stop() override { r_("deck stop"); }

 private:
  Recorder& r_;
};

class FakeProcess final : public ProcessEnvironment {
 public:
  std::int64_t pid() const override { return 4242; }
  std::string bundle_path() const override { return path; }
  std::string bundle_identifier() const override { return "com.kolvo.Kolvo"; }
  std::string short_version() const override { return "1.0.0"; }
  std::string build_version() const override { return "7"; }
  std::string os_version() const override { return "Version 15.1 (Build 24B83)"; }
  std::string system_version() const override { return "15.1.0"; }
  std::vector<RunningInstance> running_instances(std::string_view) const override { return instances; }
  std::string path = "/Applications/Kolvo.app";
  std::vector<RunningInstance> instances{{4242, "/Applications/Kolvo.app"}};
};

struct DelegateHarness {
  // With `feed`, the delegate has an update check over that feed address and `fetcher`.
  explicit DelegateHarness(std::map<std::string, prefs::PreferenceValue> stored = {},
                           LoginItemStatus login = LoginItemStatus::notRegistered,
                           std::optional<std::string> feed = std::nullopt)
      : fixture(std::move(stored)) {
    fixture.mac.set_login_item_status(login);
    if (feed) {
      update = std::make_unique<update::UpdateNoticeController>(
          update::UpdateNoticePorts{.fetcher = &fetcher,
                                    .main = fixture.executor,
                                    .log = fixture.log,
                                    .dismissal = fixture.settings->update_dismissal()},
          *feed, update::RunningSystem{.build_version = "7", .short_version = "1.0.0", .system_version = "15.1"});
    }
    delegate = std::make_unique<AppDelegate>(AppDelegatePorts{shell, components, launch_at_login,
                                                              *fixture.settings, fixture.center, fixture.executor,
                                                              fixture.log, process,
                                                              [this](std::string_view l) { printed.emplace_back(l); },
                                                              &deck, update.get()});
  }
  // Events after the instance report, not counting the launch itself.
  Events since(std::size_t mark) const { return {recorder.events.begin() + static_cast<long>(mark), recorder.events.end()}; }

  testing::SettingsFixture fixture;
  Recorder recorder;
  RecordingShell shell{recorder};
  RecordingComponents components{recorder};
  RecordingDeck deck{recorder};
  FakeProcess process;
  LaunchAtLoginManager launch_at_login{fixture.mac};
  std::vector<std::string> printed;
  testing::ScriptedFeedFetcher fetcher;
  std::unique_ptr<update::UpdateNoticeController> update;
  std::unique_ptr<AppDelegate> delegate;
};

TEST(AppDelegate, FirstLaunchRunsEveryStepInOrderAndShowsOnlyOnboarding) {
  DelegateHarness h({{"com.kolvo.deckEnabled", true}});
  h.delegate->did_finish_launching();
  h.fixture.executor.run_pending();
  EXPECT_EQ(h.recorder.events,
            (Events{"policy accessory", "icon AppIcon", "focused monitor", "overlay", "hover bound", "pointer monitors",
                    "refresh controller", "status item 6", "deck start", "timer reveal", "create onboarding", "activate",
                    "onboarding"}));
  ASSERT_EQ(h.printed.size(), 3u);
  EXPECT_EQ(h.printed[0], "[SHELF THROW] BUILD WITH WINDOW THROW DEBUG ACTIVE");
}

TEST(AppDelegate, PostLaunchCheckOpensSettingsOnlyForAHandStartWithNothingVisible) {
  struct Case {
    std::string name;
    LoginItemStatus login;
    bool window_visible;
    Events after_launch;
  };
  const std::vector<Case> cases = {
      {"login item off, nothing visible", LoginItemStatus::notRegistered, false, {"create settings", "settings general"}},
      {"started at login", LoginItemStatus::enabled, false, {}},
      {"a window already visible", LoginItemStatus::notRegistered, true, {}},
      {"approval pending counts as off", LoginItemStatus::requiresApproval, false, {"create settings", "settings general"}},
  };
  for (const Case& c : cases) {
    DelegateHarness h({{"com.kolvo.onboardingCompleted", true}}, c.login);
    h.shell.visible_window = c.window_visible;
    h.delegate->did_finish_launching();
    const std::size_t mark = h.recorder.events.size();
    EXPECT_EQ(h.recorder.events.back(), "create onboarding") << c.name;  // no onboarding shown
    h.fixture.executor.run_pending();  // the check runs after launch returns
    EXPECT_EQ(h.since(mark), c.after_launch) << c.name;
  }
}

TEST(AppDelegate, OpenKolvoUsesTheActivationSideOrTheLastOpenSide) {
  struct Case {
    std::string side;
    overlay::DockSide last;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {"leftOnly", overlay::DockSide::right, "dock left pinned"},
      {"rightOnly", overlay::DockSide::left, "dock right pinned"},
      {"both", overlay::DockSide::right, "dock right pinned"},
      {"none", overlay::DockSide::right, "dock right pinned"},
      {"none", overlay::DockSide::left, "dock left pinned"},
  };
  for (const Case& c : cases) {
    DelegateHarness h({{"com.kolvo.activationSide", c.side}, {"com.kolvo.onboardingCompleted", true}});
    h.delegate->did_finish_launching();
    h.components.overlay->last = c.last;
    h.shell.choose(MenuAction::showKolvo);
    EXPECT_EQ(h.recorder.events.back(), c.expected) << c.side;
  }
}

TEST(AppDelegate, SettingsWindowIsCreatedOnceAndCalibrationIsNotStartedTwice) {
  DelegateHarness h({{"com.kolvo.onboardingCompleted", true}}, LoginItemStatus::enabled);
  h.delegate->did_finish_launching();
  const std::size_t mark = h.recorder.events.size();
  h.shell.choose(MenuAction::openSettings);
  h.shell.choose(MenuAction::openSettings);
  h.shell.choose(MenuAction::calibrateKolvo);
  h.shell.settings_calibrate();  // a second request while the first is open
  h.components.overlay->calibration_done();
  h.shell.choose(MenuAction::calibrateKolvo);
  EXPECT_EQ(h.since(mark), (Events{"create settings", "settings general", "settings general", "calibration",
                                   "recompute", "calibration"}));
  ASSERT_FALSE(h.fixture.log.lines().empty());
  EXPECT_NE(h.fixture.log.lines().back().find("recompute"), std::string::npos);
}

TEST(AppDelegate, ReopenActivatesShowsOnboardingOrOpensSettings) {
  struct Case {
    bool onboarding_done;
    bool visible;
    Events expected;
  };
  const std::vector<Case> cases = {
      {true, true, {"activate"}},
      {true, false, {"create settings", "settings general"}},
      {false, false, {"activate", "onboarding"}},
  };
  for (const Case& c : cases) {
    DelegateHarness h({{"com.kolvo.onboardingCompleted", c.onboarding_done}}, LoginItemStatus::enabled);
    h.delegate->did_finish_launching();
    h.fixture.executor.run_pending();
    const std::size_t mark = h.recorder.events.size();
    EXPECT_TRUE(h.delegate->should_handle_reopen(c.visible));
    EXPECT_EQ(h.since(mark), c.expected);
  }
}

TEST(AppDelegate, MenuSuppressesActivationAndClosesPanelsWhileOpen) {
  DelegateHarness h({{"com.kolvo.onboardingCompleted", true}}, LoginItemStatus::enabled);
  h.delegate->did_finish_launching();
  const std::size_t mark = h.recorder.events.size();
  h.shell.menu_delegate->menu_will_open();
  h.shell.menu_delegate->menu_did_close();
  EXPECT_EQ(h.since(mark), (Events{"menu open", "close panels", "menu closed"}));
}

TEST(AppDelegate, TerminationStopsInOrderAndRemovesObservers) {
  DelegateHarness h({{"com.kolvo.onboardingCompleted", true}}, LoginItemStatus::enabled);
  h.delegate->did_finish_launching();
  h.fixture.center.post(prefs::notifications::kEdgeModeChanged);
  EXPECT_EQ(h.recorder.events.back(), "recompute");
  h.components.timer_reveal();
  EXPECT_EQ(h.recorder.events.back(), "reveal timer");
  const std::size_t mark = h.recorder.events.size();
  h.delegate->will_terminate();
  h.fixture.center.post(prefs::notifications::kEdgeModeChanged);  // no longer observed
  EXPECT_EQ(h.since(mark), (Events{"deck stop", "stop hover", "stop refresh"}));
  EXPECT_FALSE(h.delegate->should_terminate_after_last_window_closed());
}

TEST(AppDelegate, FinishingOnboardingReleasesItsWindowAndRecomputes) {
  DelegateHarness h;
  h.delegate->did_finish_launching();
  const std::size_t mark = h.recorder.events.size();
  h.shell.onboarding_finished();
  EXPECT_EQ(h.since(mark), (Events{"release onboarding", "recompute"}));
  EXPECT_FALSE(h.delegate->has_onboarding_window());
  h.shell.choose(MenuAction::replayOnboardingAction);  // replay makes a fresh one
  EXPECT_EQ(h.since(mark + 2), (Events{"create onboarding", "activate", "onboarding"}));
}

// Granting Accessibility while Kolvo runs turns live following on without a restart, even when
// the new trust reads back only after the system's announcement; coming back to Kolvo with the
// trust unchanged keeps a user's choice to follow no more.
TEST(AppDelegate, AccessibilityGrantedWhileRunningTurnsFollowingOnOnce) {
  struct Case {
    const char* name;
    bool trusted_at_start;
    bool follow_at_start;
    bool trusted_now;
    bool trust_reads_back_late;
    bool following;
  };
  const Case cases[] = {
      {"granted, seen at once", false, false, true, false, true},
      {"granted, seen only a moment later", false, false, true, true, true},
      {"back to Kolvo, trust unchanged, following turned off", true, false, true, false, false},
      {"back to Kolvo, trust unchanged, following on", true, true, true, false, true},
      {"trust taken away", true, true, false, false, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    DelegateHarness h({{"com.kolvo.onboardingCompleted", true}});
    h.fixture.mac.set_accessibility_trusted(c.trusted_at_start);
    auto& alignment = h.fixture.settings->alignment();
    if (c.trusted_at_start) alignment.refresh_accessibility();
    alignment.set_follow_dock_changes_automatically(c.follow_at_start);
    const std::size_t lines_before = h.fixture.log.lines().size();

    if (!c.trust_reads_back_late) h.fixture.mac.set_accessibility_trusted(c.trusted_now);
    h.delegate->accessibility_may_have_changed();
    if (c.trust_reads_back_late) {
      EXPECT_FALSE(alignment.follow_dock_changes_automatically()) << "not yet readable";
      h.fixture.mac.set_accessibility_trusted(c.trusted_now);
    }
    h.fixture.executor.advance(AppDelegate::kTrustSettleDelay);
    h.delegate->accessibility_may_have_changed();  // the app becoming active again changes nothing
    h.fixture.executor.advance(AppDelegate::kTrustSettleDelay);
    EXPECT_EQ(alignment.follow_dock_changes_automatically(), c.following);
    EXPECT_EQ(alignment.is_accessibility_trusted(), c.trusted_now);
    const bool granted = c.trusted_now && !c.trusted_at_start;
    EXPECT_EQ(h.fixture.log.lines().size() - lines_before, granted ? 1u : 0u) << "recorded once per grant";
  }
}

TEST(StatusMenu, ItemsTitlesActionsAndKeyEquivalentsInOrder) {
  const auto items = status_menu_items();
  ASSERT_EQ(items.size(), 6u);
  for (const auto& item : items) EXPECT_TRUE(item.enabled) << item.title;
  EXPECT_EQ(items[0].title, "Open Kolvo");
  EXPECT_EQ(items[1].title, "Settings…");
  EXPECT_EQ(items[1].key_equivalent, ",");
  EXPECT_EQ(items[2].title, "Calibrate Kolvo…");
  EXPECT_EQ(items[3].action, MenuAction::replayOnboardingAction);
  EXPECT_TRUE(items[4].is_separator);
  EXPECT_EQ(items[5].title, "Quit Kolvo");
  EXPECT_EQ(items[5].key_equivalent, "q");
  EXPECT_EQ(items[5].action, MenuAction::quitKolvo);
}

TEST(AppDelegate, TheUpdateCheckStartsAtLaunchAndItsNoticeHeadsTheMenuUntilSkipped) {
  const std::string standard = "Open Kolvo|Settings…|Calibrate Kolvo…|Replay Onboarding||Quit Kolvo|";
  DelegateHarness h({{"com.kolvo.onboardingCompleted", true}}, LoginItemStatus::enabled, "https://kolvo.app/appcast.xml");
  h.delegate->did_finish_launching();
  h.fixture.executor.run_pending();
  ASSERT_EQ(h.fetcher.requests.size(), 1u);
  EXPECT_EQ(h.fetcher.requests[0].url, "https://kolvo.app/appcast.xml");
  const std::size_t mark = h.recorder.events.size();
  h.fetcher.answer_feed(testing::feed_offering("8", "1.1"));
  h.shell.choose(MenuAction::openUpdate);
  h.shell.choose(MenuAction::dismissUpdate);
  h.shell.choose(MenuAction::openUpdate);  // nothing left to open
  EXPECT_EQ(h.since(mark), (Events{"menu Kolvo 1.1 Is Available…|Skip This Version||" + standard,
                                   "open https://kolvo.app/1.1", "menu " + standard}));
  EXPECT_EQ(h.fixture.prefs.value("com.kolvo.updateDismissedVersion"), prefs::PreferenceValue(std::string("8")));

  // The next day's check finds the same version: the menu stays as it is.
  h.fixture.executor.advance(std::chrono::hours(24));
  h.fetcher.answer_feed(testing::feed_offering("8", "1.1"));
  EXPECT_EQ(h.recorder.events.back(), "menu " + standard);
  EXPECT_EQ(h.recorder.events.size(), mark + 3);

  // After termination nothing more is fetched, and a notice could no longer rebuild the menu.
  h.delegate->will_terminate();
  h.fixture.executor.advance(std::chrono::hours(24 * 7));
  EXPECT_EQ(h.fetcher.requests.size(), 2u);
}

TEST(AppDelegate, ANoticeWithoutAPageOpensNothing) {
  DelegateHarness h({{"com.kolvo.onboardingCompleted", true}}, LoginItemStatus::enabled, "https://kolvo.app/appcast.xml");
  h.delegate->did_finish_launching();
  h.fixture.executor.run_pending();
  h.fetcher.answer_feed(testing::feed_offering("8", "1.1", /*with_page=*/false));
  const std::size_t mark = h.recorder.events.size();
  h.shell.choose(MenuAction::openUpdate);
  EXPECT_EQ(h.since(mark), Events{});
  EXPECT_NE(h.recorder.events.back().find("Kolvo 1.1 Is Available (disabled)|"), std::string::npos);
}

TEST(InstanceReport, NamesEveryOtherCopyByPidAndPath) {
  FakeProcess process;
  process.instances = {{4242, "/Applications/Kolvo.app"}, {77, "/Users/dev/Build/Kolvo.app"}};
  EXPECT_EQ(instance_report(process),
            (std::vector<std::string>{
                "[SHELF THROW] BUILD WITH WINDOW THROW DEBUG ACTIVE",
                "[SHELF THROW] pid=4242 path=/Applications/Kolvo.app bundle=com.kolvo.Kolvo config=RELEASE",
                "[SHELF THROW] WARNING another Kolvo is running: pid=77 path=/Users/dev/Build/Kolvo.app",
                "[SHELF THROW] WARNING that copy may already own the Deck service and your phone session. Quit it "
                "before testing this build.",
            }));
  process.instances = {{4242, "/Applications/Kolvo.app"}};
  EXPECT_EQ(instance_report(process).back(), "[SHELF THROW] no other Kolvo instance is running");
}

TEST(LaunchAtLoginManager, MapsEveryStatusAndRecordsErrors) {
  struct Case {
    LoginItemStatus status;
    bool enabled, approval;
    std::string words;
  };
  const std::vector<Case> cases = {
      {LoginItemStatus::enabled, true, false, "enabled"},
      {LoginItemStatus::requiresApproval, false, true, "requires approval in System Settings"},
      {LoginItemStatus::notRegistered, false, false, "not registered"},
      {LoginItemStatus::notFound, false, false, "not found"},
      {LoginItemStatus::unknown, false, false, "unknown"},
  };
  for (const Case& c : cases) {
    sim::SimulatedMac mac;
    mac.set_login_item_status(c.status);
    LaunchAtLoginManager manager(mac);
    EXPECT_EQ(manager.is_enabled(), c.enabled);
    EXPECT_EQ(manager.needs_approval(), c.approval);
    EXPECT_EQ(describe(c.status), c.words);
    const auto section = ui::launch_at_login_section(manager.is_enabled(), manager.needs_approval(), std::nullopt);
    EXPECT_EQ(section.approval_note.has_value(), c.approval);
  }
  sim::SimulatedMac mac;
  LaunchAtLoginManager manager(mac);
  manager.set_enabled(true);
  EXPECT_TRUE(manager.is_enabled());
  EXPECT_FALSE(manager.last_error());
}

TEST(DiagnosticsReport, LinesInOrderWithTheTranslocationWarningOnlyWhenTranslocated) {
  DiagnosticsInput input;
  input.short_version = "1.0.0";
  input.build_version = "7";
  input.os_version = "Version 15.1 (Build 24B83)";
  input.bundle_path = "/private/var/folders/x/AppTranslocation/ABC/d/Kolvo.app";
  input.launch_at_login = LoginItemStatus::requiresApproval;
  input.screens.push_back({"Built-in Retina Display", "uuid-37D8832A", 1, 2.0, "37D8832A", {0, 0, 1512, 982}, std::nullopt});
  input.display_mode = "selectedDisplay(uuid-37D8832A)";
  input.selected_display_connected = true;
  input.calibrations.push_back({"uuid-37D8832A", true, {0, 0, 1512, 982}, "bottom", {400, 0, 712, 70},
                                base::from_seconds_since_2001(730900800), "Built-in Retina Display", "37D8832A"});
  input.follow_dock_changes = true;
  EXPECT_EQ(diagnostics_report(input),
            "Kolvo 1.0.0 (7)\n"
            "macOS Version 15.1 (Build 24B83)\n"
            "Bundle: /private/var/folders/x/AppTranslocation/ABC/d/Kolvo.app\n"
            "WARNING: running from a translocated path — move Kolvo to /Applications\n"
            "Launch at login: requires approval in System Settings\n"
            "Connected displays:\n"
            "  Built-in Retina Display\n"
            "    resolved calibration key: uuid-37D8832A\n"
            "    displayID 1  scale 2.0\n"
            "    uuid 37D8832A\n"
            "    frame (0.0, 0.0, 1512.0, 982.0)\n"
            "    saved calibration: none\n"
            "Display mode: selectedDisplay(uuid-37D8832A)\n"
            "Selected display connected: true\n"
            "Saved calibrations: 1\n"
            "  [uuid-37D8832A] uuid\n"
            "    screen (0.0, 0.0, 1512.0, 982.0)  dock bottom (400.0, 0.0, 712.0, 70.0)\n"
            "    saved 2024-02-29 12:00:00 +0000\n"
            "    identity 'Built-in Retina Display' uuid 37D8832A\n"
            "Lock calibration: false\n"
            "Follow Dock changes: true");
  input.bundle_path = "/Applications/Kolvo.app";
  EXPECT_EQ(diagnostics_report(input).find("WARNING"), std::string::npos);
}

}  // namespace
}  // namespace kolvo::app
