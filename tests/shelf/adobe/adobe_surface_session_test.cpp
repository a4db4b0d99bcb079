#include "shelf/adobe/adobe_surface_session.hpp"

#include <gtest/gtest.h>

#include <thread>

#include "base/manual_executor.hpp"
#include "platform/sim/simulated_adobe.hpp"
#include "shelf/shelf_session_factory.hpp"

namespace kolvo::shelf {
namespace {

using namespace std::chrono_literals;
using T = AdobeToolID;

class FixedClock final : public base::WallClock {
 public:
  base::WallTime now() const override { return base::from_seconds_since_2001(790'000'000); }
};

class Trust final : public dock::AccessibilityTrust {
 public:
  bool is_process_trusted() const override { return trusted; }
  bool trusted = true;
};

// One Adobe widget over the simulated Mac, whose activation delays run on the test's virtual
// time.
struct AdobeBench {
  explicit AdobeBench(AdobeApp app) : session(make(app)) {}

  std::unique_ptr<AdobeSurfaceSession> make(AdobeApp app) {
    auto made = std::make_unique<AdobeSurfaceSession>(
        app, AdobeSurfaceSession::Ports{main, clock, log, apps, apps, trust, grids});
    made->set_on_state([this](const ShelfSurfaceState& state) { states.push_back(state); });
    return made;
  }

  // Lets the read on the queue finish and its answer reach the main thread.
  void settle() {
    for (int spin = 0; spin < 5000 && session->is_polling(); ++spin) {
      main.run_pending();
      if (session->is_polling()) std::this_thread::sleep_for(1ms);
    }
    ASSERT_FALSE(session->is_polling()) << "the read never came back";
  }
  void start() {
    session->start();
    settle();
  }
  void next_poll() {
    main.advance(AdobeSurfaceSession::kInterval);
    settle();
  }
  // Another application in front, as when the user works in the Finder.
  void finder_in_front() { apps->bring_to_front(apps->launch("com.apple.finder")); }

  const ShelfSurfaceState& last() const { return states.back(); }
  std::vector<KeyStroke> strokes_to(std::int64_t pid) const {
    std::vector<KeyStroke> strokes;
    for (const auto& [to, stroke] : apps->key_strokes()) {
      if (to == pid) strokes.push_back(stroke);
    }
    return strokes;
  }

  base::ManualExecutor main;
  FixedClock clock;
  base::DiagnosticsLog log{clock, base::DiagnosticsLog::silent()};
  std::shared_ptr<sim::SimulatedApplications> apps =
      std::make_shared<sim::SimulatedApplications>([this] { return main.now(); });
  sim::SimulatedAdobeApplications adobe = sim::install_simulated_adobe(*apps);
  std::shared_ptr<Trust> trust = std::make_shared<Trust>();
  prefs::MemoryPreferenceStore prefs;
  AdobeToolGridStore grids{prefs};
  std::vector<ShelfSurfaceState> states;
  std::unique_ptr<AdobeSurfaceSession> session;
};

std::vector<std::optional<AdobeToolID>> default_cells(AdobeApp app) {
  const auto grid = default_adobe_tool_grid(app);
  return {grid.begin(), grid.end()};
}

TEST(AdobeSurfaceSession, SaysWhyItCannotBeUsedAndStillSendsItsGrid) {
  struct Case {
    const char* name;
    AdobeApp app;
    std::function<void(AdobeBench&)> arrange;
    std::string unavailable;
  };
  const Case cases[] = {
      {"Photoshop not open", AdobeApp::photoshop, [](AdobeBench&) {}, "Open Photoshop on your Mac"},
      {"Premiere Pro not open", AdobeApp::premiere, [](AdobeBench&) {}, "Open Premiere Pro on your Mac"},
      {"Photoshop may not be controlled", AdobeApp::photoshop,
       [](AdobeBench& b) {
         b.apps->launch("com.adobe.Photoshop");
         b.apps->set_automation_allowed("com.adobe.Photoshop", false);
       },
       "Allow Kolvo to control Photoshop in System Settings \xE2\x80\xBA Privacy & Security \xE2\x80\xBA Automation."},
      {"Illustrator may not be controlled", AdobeApp::illustrator,
       [](AdobeBench& b) {
         b.apps->launch("com.adobe.illustrator");
         b.apps->set_automation_allowed("com.adobe.illustrator", false);
       },
       "Allow Kolvo to control Illustrator in System Settings \xE2\x80\xBA Privacy & Security \xE2\x80\xBA Automation."},
      {"Photoshop busy from the start", AdobeApp::photoshop,
       [](AdobeBench& b) {
         b.apps->launch("com.adobe.Photoshop");
         b.apps->set_script_error("com.adobe.Photoshop", -1712);
       },
       "Photoshop did not respond"},
      {"After Effects may not write files", AdobeApp::afterEffects,
       [](AdobeBench& b) {
         b.apps->launch("com.adobe.AfterEffects");
         b.adobe.after_effects->set_scripts_may_write_files(false);
       },
       "Turn on \xE2\x80\x9C" "Allow Scripts to Write Files and Access Network\xE2\x80\x9D in After Effects \xE2\x80\xBA "
       "Settings \xE2\x80\xBA Scripting & Expressions."},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    AdobeBench bench(c.app);
    c.arrange(bench);
    bench.start();
    ASSERT_EQ(bench.states.size(), 1u);
    const auto& state = bench.last();
    EXPECT_EQ(state.identity, adobe_identity(c.app));
    EXPECT_FALSE(state.available);
    EXPECT_EQ(state.unavailable, c.unavailable);
    EXPECT_EQ(state.title, std::string(adobe_app_name(c.app)));
    EXPECT_EQ(state.tool_grid, default_cells(c.app));
    EXPECT_EQ(state.active_tool, std::nullopt);
  }
}

TEST(AdobeSurfaceSession, ShowsPhotoshopsToolByItsGroupAndSendsOnlyChanges) {
  AdobeBench bench(AdobeApp::photoshop);
  bench.apps->launch("com.adobe.Photoshop");
  bench.start();
  ASSERT_EQ(bench.states.size(), 1u);
  EXPECT_TRUE(bench.last().available);
  EXPECT_EQ(bench.last().unavailable, std::nullopt);
  EXPECT_EQ(bench.last().active_tool, T::psMove);

  struct Step {
    const char* in_photoshop;
    std::optional<AdobeToolID> shown;
  };
  const Step steps[] = {
      {"magicWandTool", T::psObjectSelect},
      {"quickSelectTool", T::psObjectSelect},  // the same group: nothing new
      {"perspectiveCropTool", T::psCrop},
      {"penTool", std::nullopt},  // no button for it
      {"typeVerticalCreateOrEditTool", T::psType},
  };
  std::size_t sent = 1;
  for (const Step& step : steps) {
    SCOPED_TRACE(step.in_photoshop);
    const auto shown_before = bench.last().active_tool;
    bench.adobe.photoshop->set_active_tool(step.in_photoshop);
    bench.next_poll();
    if (step.shown != shown_before) ++sent;
    ASSERT_EQ(bench.states.size(), sent);
    EXPECT_EQ(bench.last().active_tool, step.shown);
  }
  // The read is one fixed script, compiled once for the whole session.
  EXPECT_EQ(bench.apps->compilations_by_key(),
            (std::map<std::string, int>{{"com.adobe.Photoshop|3|app.currentTool", 1}}));
}

TEST(AdobeSurfaceSession, ReadsAfterEffectsToolThroughItsRunningIdentifier) {
  AdobeBench bench(AdobeApp::afterEffects);
  bench.apps->launch("com.adobe.AfterEffects", "com.adobe.AfterEffects.application");
  bench.adobe.after_effects->set_active_tool("Tool_CameraOrbit");
  bench.start();
  ASSERT_EQ(bench.states.size(), 1u);
  EXPECT_TRUE(bench.last().available);
  EXPECT_EQ(bench.last().active_tool, T::cube);
  EXPECT_NE(bench.apps->scripts_run().back().find("tell application id \"com.adobe.AfterEffects.application\" to DoScript"),
            std::string::npos);

  bench.adobe.after_effects->set_active_tool("Tool_Oval");
  bench.next_poll();
  EXPECT_EQ(bench.last().active_tool, T::shape);

  // The preference turned off: the widget names it; on again, it works again.
  bench.adobe.after_effects->set_scripts_may_write_files(false);
  bench.next_poll();
  EXPECT_FALSE(bench.last().available);
  EXPECT_EQ(bench.last().unavailable, std::string(AdobeSurfaceSession::kAfterEffectsFilesText));
  bench.adobe.after_effects->set_scripts_may_write_files(true);
  bench.next_poll();
  EXPECT_TRUE(bench.last().available);
  EXPECT_EQ(bench.last().active_tool, T::shape);
}

TEST(AdobeSurfaceSession, OneMissedReadIsForgivenTheSecondIsShown) {
  AdobeBench bench(AdobeApp::photoshop);
  bench.apps->launch("com.adobe.Photoshop");
  bench.start();
  ASSERT_TRUE(bench.last().available);

  bench.apps->set_script_error("com.adobe.Photoshop", -1712);
  bench.next_poll();
  EXPECT_EQ(bench.states.size(), 1u);
  bench.next_poll();
  ASSERT_EQ(bench.states.size(), 2u);
  EXPECT_EQ(bench.last().unavailable, "Photoshop did not respond");
  EXPECT_EQ(bench.last().tool_grid, default_cells(AdobeApp::photoshop));

  bench.apps->set_script_error("com.adobe.Photoshop", std::nullopt);
  bench.next_poll();
  ASSERT_EQ(bench.states.size(), 3u);
  EXPECT_TRUE(bench.last().available);

  // Quitting is no failure to forgive: it shows at once.
  bench.apps->quit("com.adobe.Photoshop");
  bench.next_poll();
  ASSERT_EQ(bench.states.size(), 4u);
  EXPECT_EQ(bench.last().unavailable, "Open Photoshop on your Mac");
}

TEST(AdobeSurfaceSession, AToolChosenInTheBackgroundIsSentOnceTheApplicationIsInFrontOrAfterOneSecond) {
  struct Case {
    const char* name;
    std::chrono::milliseconds activation;
    std::chrono::milliseconds sent_after;
  };
  const Case cases[] = {
      {"already quick", 0ms, 0ms},
      {"in front after half a second", 500ms, 500ms},
      {"in front only after one and a half seconds", 1500ms, 1000ms},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    AdobeBench bench(AdobeApp::photoshop);
    const auto photoshop = bench.apps->launch("com.adobe.Photoshop");
    bench.finder_in_front();
    bench.apps->set_activation_latency(c.activation);
    bench.start();

    bench.session->select_tool("ps.brush");
    // The phone sees its choice at once, before the keystroke.
    EXPECT_EQ(bench.last().active_tool, T::psBrush);
    std::optional<std::chrono::milliseconds> sent_at;
    if (!bench.strokes_to(photoshop).empty()) sent_at = 0ms;
    for (auto elapsed = 20ms; elapsed <= 1900ms; elapsed += 20ms) {
      bench.main.advance(20ms);
      if (!sent_at && !bench.strokes_to(photoshop).empty()) sent_at = elapsed;
    }
    EXPECT_EQ(sent_at, c.sent_after);
    EXPECT_EQ(bench.strokes_to(photoshop), (std::vector{KeyStroke{*ansi_key_code('b'), 0}}));
    EXPECT_EQ(bench.apps->frontmost_pid(), photoshop);
    EXPECT_FALSE(bench.session->is_activating());
    EXPECT_EQ(bench.adobe.photoshop->active_tool(), "paintbrushTool");

    // The next read confirms the choice; then the user picks another tool in Photoshop itself.
    bench.main.advance(100ms);
    bench.settle();
    EXPECT_EQ(bench.last().active_tool, T::psBrush);
    bench.adobe.photoshop->set_active_tool("eraserTool");
    bench.next_poll();
    EXPECT_EQ(bench.last().active_tool, T::psEraser);
  }
}

TEST(AdobeSurfaceSession, NothingIsSentWithoutAccessibilityOrForAToolNotTheApplications) {
  struct Case {
    const char* name;
    bool trusted;
    std::string tool;
  };
  const Case cases[] = {
      {"no Accessibility access", false, "ps.brush"},
      {"Illustrator's pen", true, "ai.pen"},
      {"After Effects' brush", true, "brush"},
      {"an unknown tool", true, "ps.healingBrush"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    AdobeBench bench(AdobeApp::photoshop);
    bench.apps->launch("com.adobe.Photoshop");
    bench.finder_in_front();
    const auto finder = bench.apps->frontmost_pid();
    bench.trust->trusted = c.trusted;
    bench.start();
    bench.session->select_tool(c.tool);
    bench.main.advance(1500ms);
    EXPECT_TRUE(bench.apps->key_strokes().empty());
    EXPECT_EQ(bench.apps->frontmost_pid(), finder) << "brought forward for nothing";
    EXPECT_EQ(bench.states.size(), 1u);
    EXPECT_EQ(bench.last().active_tool, T::psMove);
  }
}

TEST(AdobeSurfaceSession, ShortcutsFollowTheKeyboardLayout) {
  struct Case {
    const char* name;
    sim::SimulatedKeyboardLayout layout;
    AdobeApp app;
    const char* bundle_id;
    const char* tool;
    char key_at;  // where the key is on a US keyboard
    std::uint64_t flags;
  };
  using L = sim::SimulatedKeyboardLayout;
  const Case cases[] = {
      {"Premiere's slip on a German keyboard", L::german, AdobeApp::premiere, "com.adobe.PremierePro", "pr.slip", 'z', 0},
      {"Illustrator's zoom on a German keyboard", L::german, AdobeApp::illustrator, "com.adobe.illustrator", "ai.zoom",
       'y', 0},
      {"Premiere's slip when the layout cannot be read", L::unreadable, AdobeApp::premiere, "com.adobe.PremierePro",
       "pr.slip", 'y', 0},
      {"Shape Builder holds Shift", L::us, AdobeApp::illustrator, "com.adobe.illustrator", "ai.shapeBuilder", 'm',
       kShiftKeyFlag},
      {"After Effects' type holds Command", L::us, AdobeApp::afterEffects, "com.adobe.AfterEffects", "type", 't',
       kCommandKeyFlag},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    AdobeBench bench(c.app);
    bench.apps->set_keyboard_layout(c.layout);
    const auto pid = bench.apps->launch(c.bundle_id);
    bench.apps->bring_to_front(pid);
    bench.start();
    bench.session->select_tool(c.tool);
    EXPECT_EQ(bench.strokes_to(pid), (std::vector{KeyStroke{*ansi_key_code(c.key_at), c.flags}}));
  }
}

TEST(AdobeSurfaceSession, PremiereRunsUnderItsVersionedIdentifierAndKeepsTheChosenTool) {
  AdobeBench bench(AdobeApp::premiere);
  const auto premiere = bench.apps->launch("com.adobe.PremierePro", "com.adobe.PremierePro.25");
  bench.apps->bring_to_front(premiere);
  bench.start();
  ASSERT_EQ(bench.states.size(), 1u);
  EXPECT_TRUE(bench.last().available);
  EXPECT_EQ(bench.last().title, "Premiere Pro");
  EXPECT_EQ(bench.last().active_tool, std::nullopt);

  bench.session->select_tool("pr.razor");
  EXPECT_EQ(bench.strokes_to(premiere), (std::vector{KeyStroke{*ansi_key_code('c'), 0}}));
  EXPECT_EQ(bench.adobe.premiere->active_tool(), "pr.razor");
  EXPECT_EQ(bench.last().active_tool, T::prRazor);
  bench.next_poll();
  bench.next_poll();
  EXPECT_EQ(bench.last().active_tool, T::prRazor);
  // Premiere Pro is never sent a script: it has no command to run one.
  EXPECT_TRUE(bench.apps->scripts_run().empty());

  // A Premiere Pro started anew has its own tool, which nobody knows.
  bench.apps->quit("com.adobe.PremierePro");
  bench.next_poll();
  EXPECT_EQ(bench.last().unavailable, "Open Premiere Pro on your Mac");
  bench.apps->launch("com.adobe.PremierePro", "com.adobe.PremierePro.25");
  bench.next_poll();
  EXPECT_TRUE(bench.last().available);
  EXPECT_EQ(bench.last().active_tool, std::nullopt);
}

TEST(AdobeSurfaceSession, AnEditedGridIsPublishedAnewEvenUnchanged) {
  AdobeBench bench(AdobeApp::illustrator);
  bench.apps->launch("com.adobe.illustrator");
  bench.session->tool_grid_did_change();  // before it runs: nothing to publish
  EXPECT_TRUE(bench.states.empty());
  bench.start();
  ASSERT_EQ(bench.states.size(), 1u);

  bench.session->tool_grid_did_change();
  ASSERT_EQ(bench.states.size(), 2u);
  EXPECT_TRUE(bench.states[0].same_content(bench.states[1]));

  ASSERT_TRUE(bench.grids.set_cell(AdobeApp::illustrator, 0, std::nullopt));
  bench.session->tool_grid_did_change();
  ASSERT_EQ(bench.states.size(), 3u);
  ASSERT_TRUE(bench.last().tool_grid);
  EXPECT_EQ(bench.last().tool_grid->at(0), std::nullopt);
  EXPECT_EQ(bench.last().tool_grid->at(1), T::aiDirectSelection);

  // Refreshing sends the last state again; a stopped session sends nothing.
  bench.session->refresh();
  EXPECT_EQ(bench.states.size(), 4u);
  bench.session->stop();
  bench.session->refresh();
  bench.session->tool_grid_did_change();
  EXPECT_EQ(bench.states.size(), 4u);
}

TEST(AdobeSurfaceSession, AReadStillOutWhenStoppedIsDropped) {
  AdobeBench bench(AdobeApp::photoshop);
  bench.apps->launch("com.adobe.Photoshop");
  bench.adobe.photoshop->hold_replies();
  bench.session->start();
  for (int spin = 0; spin < 5000 && bench.adobe.photoshop->waiting() == 0; ++spin) std::this_thread::sleep_for(1ms);
  ASSERT_EQ(bench.adobe.photoshop->waiting(), 1);
  bench.session->stop();

  // Photoshop moves on; its late answer still names the Move tool.
  bench.adobe.photoshop->set_active_tool("lassoTool");
  bench.adobe.photoshop->release_replies();
  // Started again, the new read queues behind the old one and comes back after it.
  bench.session->start();
  bench.settle();
  ASSERT_EQ(bench.states.size(), 1u);
  EXPECT_EQ(bench.last().active_tool, T::psLasso);
}

TEST(AdobeSurfaceSession, AReadBegunBeforeAChoiceDoesNotUndoIt) {
  AdobeBench bench(AdobeApp::photoshop);
  bench.apps->bring_to_front(bench.apps->launch("com.adobe.Photoshop"));
  bench.start();
  ASSERT_EQ(bench.last().active_tool, T::psMove);

  // A read goes out and Photoshop answers it slowly, from before the choice.
  bench.adobe.photoshop->hold_replies();
  bench.main.advance(AdobeSurfaceSession::kInterval);
  for (int spin = 0; spin < 5000 && bench.adobe.photoshop->waiting() == 0; ++spin) std::this_thread::sleep_for(1ms);
  ASSERT_EQ(bench.adobe.photoshop->waiting(), 1);
  bench.session->select_tool("ps.brush");
  ASSERT_EQ(bench.states.size(), 2u);
  EXPECT_EQ(bench.last().active_tool, T::psBrush);
  bench.adobe.photoshop->release_replies();
  bench.settle();
  EXPECT_EQ(bench.states.size(), 2u) << "the late answer put the Move tool back";

  bench.next_poll();
  EXPECT_EQ(bench.states.size(), 2u);
  EXPECT_EQ(bench.last().active_tool, T::psBrush);
}

TEST(AdobeSurfaceSession, SomethingDoneInTheApplicationIsReadAQuarterSecondLater) {
  AdobeBench bench(AdobeApp::photoshop);
  bench.apps->launch("com.adobe.Photoshop");
  bench.start();
  const auto reads = [&] { return bench.adobe.photoshop->javascripts().size(); };
  ASSERT_EQ(reads(), 1u);

  bench.adobe.photoshop->set_active_tool("cropTool");
  bench.apps->interact("com.adobe.Photoshop");
  bench.main.run_pending();
  bench.main.advance(150ms);
  // Still busy: the quiet time starts again.
  bench.apps->interact("com.adobe.Photoshop");
  bench.main.run_pending();
  bench.main.advance(240ms);
  // A read begun too early would either still be out or, on a quick queue, already counted.
  EXPECT_FALSE(bench.session->is_polling());
  EXPECT_EQ(reads(), 1u);
  bench.main.advance(10ms);
  bench.settle();
  EXPECT_EQ(reads(), 2u);
  EXPECT_EQ(bench.last().active_tool, T::psCrop);

  // Once stopped, the application is no longer followed.
  bench.session->stop();
  bench.apps->interact("com.adobe.Photoshop");
  bench.main.run_pending();
  bench.main.advance(500ms);
  EXPECT_FALSE(bench.session->is_polling());
  EXPECT_EQ(reads(), 2u);
}

TEST(AdobeSurfaceSession, TheFactoryMakesOneOnlyWithAWayToTheApplications) {
  AdobeBench bench(AdobeApp::photoshop);
  const auto dependencies = [&](bool scripts, bool processes, bool grids) {
    return ShelfSessionDependencies{.main = bench.main,
                                    .clock = bench.clock,
                                    .log = bench.log,
                                    .timer = {},
                                    .agent_paths = {},
                                    .programs = nullptr,
                                    .watch_directory = {},
                                    .apple_events = scripts ? bench.apps : nullptr,
                                    .application_processes = processes ? bench.apps : nullptr,
                                    .downloader = nullptr,
                                    .thumbnailer = nullptr,
                                    .accessibility = bench.trust,
                                    .tool_grids = grids ? &bench.grids : nullptr,
                                    .blender = nullptr};
  };
  const auto made = make_shelf_session_factory(dependencies(true, true, true));
  for (const auto app : kAdobeApps) {
    auto session = made(adobe_identity(app));
    const auto* adobe = dynamic_cast<AdobeSurfaceControls*>(session.get());
    ASSERT_NE(adobe, nullptr);
    EXPECT_EQ(adobe->adobe_app(), app);
    EXPECT_EQ(session->identity(), adobe_identity(app));
  }
  // Spotify needs the same way to applications, but no tool grids.
  EXPECT_NE(made(ShelfSurfaceIdentity::spotify), nullptr);
  EXPECT_NE(make_shelf_session_factory(dependencies(true, true, false))(ShelfSurfaceIdentity::spotify), nullptr);
  EXPECT_EQ(make_shelf_session_factory(dependencies(false, true, true))(ShelfSurfaceIdentity::spotify), nullptr);
  EXPECT_EQ(make_shelf_session_factory(dependencies(false, true, true))(ShelfSurfaceIdentity::photoshop), nullptr);
  EXPECT_EQ(make_shelf_session_factory(dependencies(true, false, true))(ShelfSurfaceIdentity::photoshop), nullptr);
  EXPECT_EQ(make_shelf_session_factory(dependencies(true, true, false))(ShelfSurfaceIdentity::photoshop), nullptr);
}

}  // namespace
}  // namespace kolvo::shelf
