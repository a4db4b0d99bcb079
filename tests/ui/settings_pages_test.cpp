#include <gtest/gtest.h>

#include "base/manual_executor.hpp"
#include "overlay/hidden_dock_services.hpp"
#include "platform/posix/process_launcher_posix.hpp"
#include "support/blender_fakes.hpp"
#include "support/dock_fixture.hpp"
#include "support/run_until.hpp"
#include "support/temp_root.hpp"
#include "ui/settings_pages.hpp"

namespace kolvo::ui {
namespace {

using prefs::CornerControlMode;
using prefs::EdgeMode;
using testing::external_right;
using testing::laptop_screen;

catalog::KolvoAppItem app_item(const std::string& name, const std::string& bundle_id) {
  return {"5A1F0000-0000-4000-8000-0000000000" + std::to_string(10 + name.size()), name, bundle_id,
          "file:///Applications/" + name + ".app/"};
}

sim::SimulatedLayout desk() {
  sim::SimulatedLayout layout = testing::layout_of({laptop_screen(), external_right()});
  layout.installed_applications.push_back({"/Applications/Blender.app", "org.blenderfoundation.blender", "Blender.app"});
  layout.installed_applications.push_back({"/Applications/Utilities/Script.app", std::nullopt, "Script.app"});
  return layout;
}

// The pages over a simulated desk: a laptop and a display to its right, every hook recorded.
struct PagesHarness {
  PagesHarness()
      : geometry(desk()),
        hidden(geometry.settings.prefs, geometry.desktop, geometry.settings.log,
               geometry.settings.settings->activation_settings(), *geometry.services,
               [] { return std::optional<std::string>(); }),
        pages(stores(), hooks()) {}

  SettingsPageStores stores() {
    auto& s = *geometry.settings.settings;
    return {s.corner_controls(), s.edge_modes(),  s.activation(),        s.pressure_zone(),
            s.alignment(),       geometry.services->store(), hidden.apps(), hidden.launcher(),
            hidden.profiles(),   geometry.desktop, s.control_appearance(), s.sound_effects(),
            s.deck(),            s.deck_stats(),       s.zone_map(),
            nullptr,             nullptr,              &s.shelf_widgets(),
            nullptr,             &s.adobe_tool_grids()};
  }

  SettingsPageHooks hooks() {
    return {.launch_at_login = [this] { return login; },
            .set_launch_at_login = [this](bool on) { calls.push_back(on ? "login on" : "login off"); },
            .open_login_items_settings = [this] { calls.push_back("login items"); },
            .open_accessibility_settings = [this] { calls.push_back("accessibility"); },
            .calibrate = [this] { calls.push_back("calibrate"); },
            .replay_onboarding = [this] { calls.push_back("onboarding"); },
            .diagnostics_report = [] { return std::string("Kolvo 1.0 (1)"); },
            .copy_to_pasteboard = [this](const std::string& text) { calls.push_back("copied " + text); },
            .choose_app_location = [this] { return chosen; },
            .confirm = [this](const std::string& title, const std::string&, const std::string& button) {
              calls.push_back("asked " + title + " / " + button);
              return confirms;
            }};
  }

  app::Settings& settings() { return *geometry.settings.settings; }
  EventOutcome send(SettingsPage page, std::string id, ControlValue value = std::monostate()) {
    return pages.handle(page, {std::move(id), std::move(value)});
  }
  const Row* row(SettingsPage page, std::string_view id) {
    shown = pages.content(page);
    return find_row(shown, id);
  }
  std::vector<std::string> texts(SettingsPage page) {
    std::vector<std::string> out;
    for (const auto& section : pages.content(page).sections) {
      for (const auto& r : section.rows) {
        if (const auto* t = std::get_if<TextRow>(&r)) out.push_back(t->text);
        if (const auto* c = std::get_if<ChoiceRow>(&r); c && c->note) out.push_back(*c->note);
      }
    }
    return out;
  }
  bool shows_text(SettingsPage page, std::string_view text) {
    const auto all = texts(page);
    return std::find(all.begin(), all.end(), text) != all.end();
  }

  testing::GeometryFixture geometry;
  overlay::HiddenDockServices hidden;
  LaunchAtLoginState login;
  std::vector<std::string> calls;
  std::optional<std::string> chosen;
  bool confirms = false;
  SettingsPages pages;
  PageContent shown;
};

TEST(SettingsPages, StatusAndConflictTextsFollowTheSettings) {
  struct Case {
    const char* name;
    void (*arrange)(app::Settings&);
    SettingsPage page;
    const char* text;
  };
  const Case cases[] = {
      {"both edges on the Dock", [](app::Settings&) {}, SettingsPage::general,
       "Hidden Dock opens from both edges of your Dock."},
      {"no edge", [](app::Settings& s) { s.activation().set_activation_side(prefs::KolvoActivationSide::none); },
       SettingsPage::general, "No edge is turned on. Turn on an edge to use Hidden Dock."},
      {"left slider with a dial under it",
       [](app::Settings& s) {
         s.edge_modes().set_left_edge_mode(EdgeMode::volume);
         s.corner_controls().set_mode(prefs::Corner::bottomLeft, CornerControlMode::timer);
       },
       SettingsPage::controls, "Inactive: the volume control already uses this corner."},
      {"pressure point on both sides", [](app::Settings& s) { s.pressure_zone().set_use_pressure_zone(true); },
       SettingsPage::general,
       "Keep the bottom-left and bottom-right corners free. Pressure Point uses them to open Hidden Dock."},
      {"pressure point over a right dial",
       [](app::Settings& s) {
         s.pressure_zone().set_use_pressure_zone(true);
         s.corner_controls().set_mode(prefs::Corner::bottomRight, CornerControlMode::volume);
       },
       SettingsPage::controls, "Inactive: Hidden Dock's pressure point on the right already uses this corner."},
      {"the edge explanation", [](app::Settings&) {}, SettingsPage::controls,
       "Each edge shows either Hidden Dock or an Edge Slider. Setting an edge to a slider replaces Hidden Dock on that "
       "edge."},
      {"the launcher note", [](app::Settings&) {}, SettingsPage::apps, "Shared across every profile. Drag to move or swap."},
      {"the Shelf help", [](app::Settings&) {}, SettingsPage::corvane,
       "Choose up to two widgets to keep available on your iPhone. More apps will be supported over time."},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    PagesHarness h;
    c.arrange(h.settings());
    EXPECT_TRUE(h.shows_text(c.page, c.text)) << ::testing::PrintToString(h.texts(c.page));
  }
}

// Every control writes its store, and the next content shows the new state; a value the
// control does not offer is refused with a sentence and changes nothing.
TEST(SettingsPages, ControlsWriteTheirStoresAndRefuseWhatTheyDoNotOffer) {
  struct Case {
    const char* name;
    SettingsPage page;
    const char* id;
    ControlValue value;
    bool accepted;
    std::function<bool(app::Settings&)> holds;
  };
  const Case cases[] = {
      {"activation side", SettingsPage::general, "activationSide", std::string("rightOnly"), true,
       [](app::Settings& s) { return s.activation().activation_side() == prefs::KolvoActivationSide::rightOnly; }},
      {"activation side typo", SettingsPage::general, "activationSide", std::string("rightonly"), false,
       [](app::Settings& s) { return s.activation().activation_side() == prefs::KolvoActivationSide::both; }},
      {"pressure point", SettingsPage::general, "usePressureZone", true, true,
       [](app::Settings& s) { return s.pressure_zone().use_pressure_zone(); }},
      {"pressure point given text", SettingsPage::general, "usePressureZone", std::string("yes"), false,
       [](app::Settings& s) { return !s.pressure_zone().use_pressure_zone(); }},
      {"sounds off", SettingsPage::general, "soundEffects", false, true,
       [](app::Settings& s) { return !s.sound_effects().is_enabled(); }},
      {"right edge", SettingsPage::controls, "rightEdgeMode", std::string("brightness"), true,
       [](app::Settings& s) { return s.edge_modes().right_edge_mode() == EdgeMode::brightness; }},
      {"top-right dial", SettingsPage::controls, "corner.topRight", std::string("windowSnap"), true,
       [](app::Settings& s) { return s.corner_controls().mode(prefs::Corner::topRight) == CornerControlMode::windowSnap; }},
      {"a corner that does not exist", SettingsPage::controls, "corner.middle", std::string("timer"), false,
       [](app::Settings&) { return true; }},
      {"appearance", SettingsPage::controls, "controlAppearance", std::string("dark"), true,
       [](app::Settings& s) { return s.control_appearance().mode() == prefs::ControlAppearanceMode::dark; }},
      {"deck", SettingsPage::deck, "deckEnabled", true, true, [](app::Settings& s) { return s.deck().is_enabled(); }},
      {"a statistic", SettingsPage::deck, "stat.battery", true, true,
       [](app::Settings& s) {
         return s.deck_stats().enabled() == std::vector<prefs::KolvoDeckStatKind>{prefs::KolvoDeckStatKind::battery};
       }},
      {"activation zones shown", SettingsPage::advanced, "showActivationZones", true, true,
       [](app::Settings& s) { return s.zone_map().show_activation_zones(); }},
      {"edge offset clamps", SettingsPage::advanced, "alignmentEdgeOffset", 40.0, true,
       [](app::Settings& s) { return s.alignment().alignment_edge_offset() == 12.0; }},
      {"edge offset NaN", SettingsPage::advanced, "alignmentEdgeOffset", std::nan(""), false,
       [](app::Settings& s) { return s.alignment().alignment_edge_offset() == 0.0; }},
      {"following needs trust", SettingsPage::advanced, "followDockChanges", true, false,
       [](app::Settings& s) { return !s.alignment().follow_dock_changes_automatically(); }},
      {"a control on another page", SettingsPage::general, "rightEdgeMode", std::string("volume"), false,
       [](app::Settings& s) { return s.edge_modes().right_edge_mode() == EdgeMode::dock; }},
      {"second Shelf widget", SettingsPage::corvane, "shelfSlot.1", std::string("codex"), true,
       [](app::Settings& s) { return s.shelf_widgets().widgets() == std::vector{deck::ShelfSurfaceIdentity::codex}; }},
      {"an unknown widget", SettingsPage::corvane, "shelfSlot.0", std::string("winamp"), false,
       [](app::Settings& s) { return s.shelf_widgets().widgets().empty(); }},
      {"a third slot", SettingsPage::corvane, "shelfSlot.2", std::string("timer"), false,
       [](app::Settings& s) { return s.shelf_widgets().widgets().empty(); }},
      {"a widget added", SettingsPage::corvane, "addShelfWidget", std::string("timer"), true,
       [](app::Settings& s) { return s.shelf_widgets().slot(0) == deck::ShelfSurfaceIdentity::timer; }},
      {"solid widgets", SettingsPage::corvane, "shelfBackground", std::string("solid"), true,
       [](app::Settings& s) { return s.shelf_widgets().background().get() == deck::ShelfWidgetBackground::solid; }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    PagesHarness h;
    const EventOutcome outcome = h.send(c.page, c.id, c.value);
    EXPECT_EQ(outcome.done, c.accepted) << outcome.message;
    if (!c.accepted) {
      EXPECT_TRUE(outcome.message.ends_with(".")) << outcome.message;
    }
    EXPECT_TRUE(c.holds(h.settings()));
  }

  PagesHarness h;
  ASSERT_TRUE(h.send(SettingsPage::controls, "leftEdgeMode", std::string("appearance")).done);
  const auto* left = std::get_if<ChoiceRow>(h.row(SettingsPage::controls, "leftEdgeMode"));
  ASSERT_NE(left, nullptr);
  EXPECT_EQ(left->selected, "appearance");
  EXPECT_TRUE(h.shows_text(SettingsPage::general, "Hidden Dock opens from the right edge of your Dock."));
}

TEST(SettingsPages, TheShelfOffersWhatIsNotOnItAndSaysSoWhenBothWidgetsAreTaken) {
  PagesHarness h;
  ASSERT_TRUE(h.send(SettingsPage::corvane, "shelfSlot.0", std::string("spotify")).done);
  ASSERT_TRUE(h.send(SettingsPage::corvane, "addShelfWidget", std::string("timer")).done);
  // Each row is read from a page of its own: a page lives until the next is made.
  const auto selected = [&h](const char* slot) {
    const auto* row = std::get_if<ChoiceRow>(h.row(SettingsPage::corvane, slot));
    return row ? row->selected : std::string("(no row)");
  };
  EXPECT_EQ(selected("shelfSlot.0"), "spotify");
  EXPECT_EQ(selected("shelfSlot.1"), "timer");
  const auto* more = std::get_if<ListRow>(h.row(SettingsPage::corvane, "moreShelfWidgets"));
  ASSERT_NE(more, nullptr);
  EXPECT_EQ(more->items.size(), 7u);
  EXPECT_TRUE(std::none_of(more->items.begin(), more->items.end(),
                           [](const ListItem& item) { return item.id == "spotify" || item.id == "timer"; }));

  const EventOutcome full = h.send(SettingsPage::corvane, "addShelfWidget", std::string("blender"));
  EXPECT_FALSE(full.done);
  EXPECT_EQ(full.message, "Both Shelf widgets are in use. Replace one on the Corvane page.");
  EXPECT_EQ(h.settings().shelf_widgets().widgets(),
            (std::vector{deck::ShelfSurfaceIdentity::spotify, deck::ShelfSurfaceIdentity::timer}));

  // Choosing the Timer for the first slot moves it there; "None" empties a slot.
  ASSERT_TRUE(h.send(SettingsPage::corvane, "shelfSlot.0", std::string("timer")).done);
  EXPECT_EQ(selected("shelfSlot.1"), "none");
  ASSERT_TRUE(h.send(SettingsPage::corvane, "shelfSlot.0", std::string("none")).done);
  EXPECT_TRUE(h.settings().shelf_widgets().widgets().empty());
}

const Section* section_titled(const PageContent& page, std::string_view title) {
  for (const auto& section : page.sections) {
    if (section.title == title) return &section;
  }
  return nullptr;
}

TEST(SettingsPages, EachAdobeApplicationOffersItsNineCellsAndItsOwnToolsOnly) {
  PagesHarness h;
  const PageContent page = h.pages.content(SettingsPage::corvane);
  const std::string group_note =
      "Photoshop shares one shortcut across each group of tools, so these buttons select the group and Photoshop "
      "decides which member becomes active.";
  for (const auto app : shelf::kAdobeApps) {
    const std::string name(shelf::adobe_app_name(app));
    SCOPED_TRACE(name);
    const Section* section = section_titled(page, name + " tools");
    ASSERT_NE(section, nullptr);
    std::vector<std::string> texts;
    std::vector<const ChoiceRow*> cells;
    for (const auto& row : section->rows) {
      if (const auto* text = std::get_if<TextRow>(&row)) texts.push_back(text->text);
      if (const auto* choice = std::get_if<ChoiceRow>(&row)) cells.push_back(choice);
    }
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(texts[0], "The nine tools on your iPhone, in this order.");
    EXPECT_EQ(std::find(texts.begin(), texts.end(), group_note) != texts.end(), app == shelf::AdobeApp::photoshop);
    ASSERT_EQ(cells.size(), 9u);
    // Empty, then every tool of the application and of no other.
    EXPECT_EQ(cells[8]->options.front(), (ChoiceOption{"empty", "Empty"}));
    EXPECT_EQ(cells[8]->options.size(), shelf::adobe_tools(app).size() + 1);
    for (auto option = cells[8]->options.begin() + 1; option != cells[8]->options.end(); ++option) {
      EXPECT_EQ(shelf::adobe_app_of(*deck::kAdobeToolIDTable.parse(option->value)), app) << option->value;
    }
  }
  const auto* cell = std::get_if<ChoiceRow>(find_row(page, "toolGrid.photoshop.3"));
  ASSERT_NE(cell, nullptr);
  EXPECT_EQ(cell->title, "Tool 4");
  EXPECT_EQ(cell->selected, "ps.objectSelect");
  EXPECT_EQ(cell->options[4], (ChoiceOption{"ps.objectSelect", "Object Selection"}));
  const auto* reset = std::get_if<ButtonRow>(find_row(page, "resetToolGrid.afterEffects"));
  ASSERT_NE(reset, nullptr);
  EXPECT_EQ(reset->title, "Reset to Default Layout");
  EXPECT_FALSE(reset->enabled) << "nothing to reset";
}

TEST(SettingsPages, ToolCellsAreChosenFromThePageAndResetToTheDefaultLayout) {
  struct Case {
    const char* name;
    const char* id;
    ControlValue value;
    bool accepted;
    std::vector<std::string> photoshop;  // the stored cells after it
  };
  const std::vector<std::string> defaults{"ps.move",  "ps.marquee", "ps.lasso", "ps.objectSelect", "ps.brush",
                                          "ps.eraser", "ps.crop",   "ps.type",  "ps.hand"};
  const Case cases[] = {
      {"Brush to the first cell, Move to Brush's",
       "toolGrid.photoshop.0",
       std::string("ps.brush"),
       true,
       {"ps.brush", "ps.marquee", "ps.lasso", "ps.objectSelect", "ps.move", "ps.eraser", "ps.crop", "ps.type",
        "ps.hand"}},
      {"an empty cell",
       "toolGrid.photoshop.8",
       std::string("empty"),
       true,
       {"ps.move", "ps.marquee", "ps.lasso", "ps.objectSelect", "ps.brush", "ps.eraser", "ps.crop", "ps.type", ""}},
      {"Illustrator's pen", "toolGrid.photoshop.1", std::string("ai.pen"), false, defaults},
      {"a tool no application has", "toolGrid.photoshop.1", std::string("ps.healingBrush"), false, defaults},
      {"a tenth cell", "toolGrid.photoshop.9", std::string("ps.hand"), false, defaults},
      {"a number", "toolGrid.photoshop.2", 3.0, false, defaults},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    PagesHarness h;
    std::vector<shelf::AdobeApp> changed;
    h.settings().adobe_tool_grids().set_on_change([&](shelf::AdobeApp app) { changed.push_back(app); });
    const EventOutcome outcome = h.send(SettingsPage::corvane, c.id, c.value);
    EXPECT_EQ(outcome.done, c.accepted) << outcome.message;
    EXPECT_EQ(h.settings().adobe_tool_grids().stored_cells(shelf::AdobeApp::photoshop), c.photoshop);
    EXPECT_EQ(changed.size(), c.accepted ? 1u : 0u);
    const auto* reset = std::get_if<ButtonRow>(h.row(SettingsPage::corvane, "resetToolGrid.photoshop"));
    ASSERT_NE(reset, nullptr);
    EXPECT_EQ(reset->enabled, c.accepted);
    if (!c.accepted) continue;
    // The stored grid is the one written, and the reset brings back the defaults.
    EXPECT_TRUE(h.geometry.settings.prefs.value("com.kolvo.deck.shelf.toolGrid.photoshop"));
    ASSERT_TRUE(h.send(SettingsPage::corvane, "resetToolGrid.photoshop").done);
    EXPECT_EQ(h.settings().adobe_tool_grids().stored_cells(shelf::AdobeApp::photoshop), defaults);
    EXPECT_EQ(changed.size(), 2u);
  }
}

TEST(SettingsPages, AdobeToolsSayWhenTheyNeedAccessibility) {
  PagesHarness h;
  const auto warns = [&h](std::string_view app) {
    return h.shows_text(SettingsPage::corvane,
                        std::string(app) + " tool controls need Accessibility access \u2014 turn it on in Advanced.");
  };
  h.geometry.live_follow(true);
  EXPECT_FALSE(warns("Photoshop"));
  h.geometry.live_follow(false);
  for (const char* app : {"After Effects", "Illustrator", "Photoshop", "Premiere Pro"}) EXPECT_TRUE(warns(app)) << app;
  h.geometry.live_follow(true);
  EXPECT_FALSE(warns("Premiere Pro"));
}

TEST(SettingsPages, SettingUpClaudeCodeStatusShowsWhatItCameTo) {
  PagesHarness h;
  testing::TempRoot home("corvane-claude");
  const shelf::AgentPaths paths{home.path(), home.path() / "support"};
  SettingsPageStores stores = h.stores();
  stores.agent_paths = &paths;
  SettingsPages pages(stores, {});
  const auto shown = [&pages](std::string_view text) {
    const auto page = pages.content(SettingsPage::corvane);
    return to_text(page).find(text) != std::string::npos;
  };
  const auto button_enabled = [&pages] {
    const auto page = pages.content(SettingsPage::corvane);
    const auto* button = std::get_if<ButtonRow>(find_row(page, "setUpClaudeCode"));
    return button && button->enabled;
  };

  EXPECT_TRUE(shown("Claude Code was not found in your home folder."));
  EXPECT_FALSE(button_enabled());

  std::filesystem::create_directories(paths.claude_folder());
  EXPECT_TRUE(shown("Claude Code needs status hooks before it can report activity."));
  ASSERT_TRUE(button_enabled());
  ASSERT_TRUE(pages.handle(SettingsPage::corvane, {"setUpClaudeCode", {}}).done);
  EXPECT_TRUE(shown("Status hooks installed"));
  EXPECT_TRUE(std::filesystem::exists(paths.claude_settings()));

  // A settings file Kolvo would have to guess about is refused, said so, and left as it was.
  home.write(paths.claude_settings(), "[\"not\", \"settings\"]");
  const auto refused = pages.handle(SettingsPage::corvane, {"setUpClaudeCode", {}});
  EXPECT_FALSE(refused.done);
  EXPECT_FALSE(refused.message.empty());
  EXPECT_TRUE(shown(refused.message));
  EXPECT_TRUE(shown("cannot be read as settings"));
  std::ifstream in(paths.claude_settings());
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "[\"not\", \"settings\"]");
}

TEST(SettingsPages, TheBlenderSectionInstallsInTheBackgroundAndRedrawsWhenItEnds) {
  using namespace std::chrono_literals;
  PagesHarness h;
  EXPECT_EQ(to_text(h.pages.content(SettingsPage::corvane)).find("Blender Bridge"), std::string::npos)
      << "no section without the installer";

  testing::TempRoot root("corvane-blender");
  testing::FakeBlender blender{.folder = root.path() / "bin", .user_files = root.path() / "blender"};
  blender.write();
  auto processes = std::make_shared<testing::FakeBlenderProcesses>();
  processes->set_application(blender::BlenderApplication{blender.executable(), blender.version});
  base::ManualExecutor main;
  blender::BlenderBridgeSection bridge({.blender = processes,
                                        .command_line = std::make_shared<platform::PosixProcessLauncher>(),
                                        .paths = {.home = root.path() / "home",
                                                  .blender_user_files = root.path() / "blender",
                                                  .temporary = root.path()}},
                                       main, 30s);
  SettingsPageStores stores = h.stores();
  stores.blender_bridge = &bridge;
  SettingsPages pages(stores, {});
  int redraws = 0;
  const base::Subscription redrawing = pages.observe_changes([&redraws] { ++redraws; });
  const auto section = [&pages] {
    const auto page = pages.content(SettingsPage::corvane);
    const Section& last = page.sections.back();
    std::vector<std::string> rows;
    for (const auto& row : last.rows) {
      if (const auto* text = std::get_if<TextRow>(&row)) rows.push_back(text->text);
      if (const auto* button = std::get_if<ButtonRow>(&row)) {
        rows.push_back("[" + button->title + (button->enabled ? "]" : "] (disabled)"));
      }
    }
    return std::pair{last.title, rows};
  };
  const std::string description = std::string(blender::kSectionDescription);

  EXPECT_EQ(section(), (std::pair{std::string("Blender Bridge"),
                                  std::vector<std::string>{"Not installed", description, "[Install Blender Bridge]"}}));
  ASSERT_TRUE(pages.handle(SettingsPage::corvane, {"installBlenderBridge", {}}).done);
  EXPECT_EQ(section().second[2], "[Install Blender Bridge] (disabled)");
  EXPECT_FALSE(pages.handle(SettingsPage::corvane, {"installBlenderBridge", {}}).done);

  const int before = redraws;
  ASSERT_TRUE(testing::run_until(main, [&bridge] { return !bridge.is_installing(); }));
  EXPECT_EQ(redraws, before + 1) << "the shell hears that the install ended";
  EXPECT_EQ(section().second,
            (std::vector<std::string>{"Installed — add Blender to Shelf to connect", description,
                                      "[Reinstall Blender Bridge]", "Installed. Open Blender to connect."}));

  // While Blender runs the button waits, and says why.
  processes->set_running({99});
  EXPECT_EQ(section().second,
            (std::vector<std::string>{"Installed — add Blender to Shelf to connect", description,
                                      "[Reinstall Blender Bridge] (disabled)", "Quit Blender to install the bridge.",
                                      "Installed. Open Blender to connect."}));
}

TEST(SettingsPages, ProfilesInheritOrOverrideEachGroupAndShowTheirOwnConflicts) {
  PagesHarness h;
  h.settings().corner_controls().set_mode(prefs::Corner::bottomLeft, CornerControlMode::playPause);
  EXPECT_EQ(h.send(SettingsPage::profiles, "addProfile").done, true) << "cancelled chooser";
  EXPECT_TRUE(h.hidden.profiles().profiles().empty());

  h.chosen = "/Applications/Blender.app/";
  ASSERT_TRUE(h.send(SettingsPage::profiles, "addProfile").done);
  ASSERT_EQ(h.hidden.profiles().profiles().size(), 1u);
  const std::string id = h.hidden.profiles().profiles()[0].id;
  const std::string prefix = "profile." + id + ".";

  // Each group starts inherited; its controls appear only once it is custom.
  const auto* edges = std::get_if<ChoiceRow>(h.row(SettingsPage::profiles, prefix + "edges"));
  ASSERT_NE(edges, nullptr);
  EXPECT_EQ(edges->selected, "inherit");
  EXPECT_EQ(edges->options[0].title, "Inherit from Default");
  EXPECT_EQ(h.row(SettingsPage::profiles, prefix + "leftEdgeMode"), nullptr);
  EXPECT_FALSE(h.send(SettingsPage::profiles, prefix + "leftEdgeMode", std::string("volume")).done)
      << "an inherited group takes no value of its own";

  ASSERT_TRUE(h.send(SettingsPage::profiles, prefix + "edges", std::string("custom")).done);
  ASSERT_TRUE(h.send(SettingsPage::profiles, prefix + "leftEdgeMode", std::string("volume")).done);
  ASSERT_TRUE(h.send(SettingsPage::profiles, prefix + "dials", std::string("custom")).done);
  const catalog::KolvoProfile& profile = h.hidden.profiles().profiles()[0];
  EXPECT_EQ(profile.left_edge_mode, EdgeMode::volume);
  EXPECT_EQ(profile.right_edge_mode, EdgeMode::dock);
  EXPECT_EQ(profile.corner(prefs::Corner::bottomLeft), CornerControlMode::playPause) << "starts from the Default";
  EXPECT_EQ(h.settings().edge_modes().left_edge_mode(), EdgeMode::dock) << "the Default is untouched";

  // The profile's own slider blocks its own bottom-left dial; the Default's dial stays free.
  const auto* dial = std::get_if<ChoiceRow>(h.row(SettingsPage::profiles, prefix + "corner.bottomLeft"));
  ASSERT_NE(dial, nullptr);
  EXPECT_EQ(dial->note, "Inactive: the volume control already uses this corner.");
  const auto* default_dial = std::get_if<ChoiceRow>(h.row(SettingsPage::controls, "corner.bottomLeft"));
  ASSERT_NE(default_dial, nullptr);
  EXPECT_EQ(default_dial->note, std::nullopt);

  ASSERT_TRUE(h.send(SettingsPage::profiles, prefix + "dockApps", std::string("custom")).done);
  EXPECT_EQ(h.hidden.profiles().profiles()[0].dock_apps, h.hidden.apps().apps()) << "starts from the Default's apps";

  EXPECT_FALSE(h.send(SettingsPage::profiles, "profile.NOT-A-PROFILE.edges", std::string("custom")).done);
  EXPECT_FALSE(h.send(SettingsPage::profiles, "removeProfile", std::string("NOT-A-PROFILE")).done);
  ASSERT_TRUE(h.send(SettingsPage::profiles, "removeProfile", id).done);
  EXPECT_TRUE(h.hidden.profiles().profiles().empty());

  h.chosen = "/Applications/Utilities/Script.app";
  const EventOutcome no_bundle = h.send(SettingsPage::profiles, "addProfile");
  EXPECT_FALSE(no_bundle.done);
  EXPECT_EQ(no_bundle.message, "Script has no bundle identifier, so no profile can follow it.");
  h.chosen = "/Users/me/Documents/notes.txt";
  const EventOutcome not_an_app = h.send(SettingsPage::profiles, "addProfile");
  EXPECT_FALSE(not_an_app.done);
  EXPECT_EQ(not_an_app.message, "/Users/me/Documents/notes.txt is not an application Kolvo can open.");
  EXPECT_TRUE(h.hidden.profiles().profiles().empty());
}

TEST(SettingsPages, AppsPageListsTheDockAndEveryLauncherSlotAndAsksBeforeRestoring) {
  PagesHarness h;
  h.hidden.apps().set_apps({app_item("Gone", "com.example.gone")});
  h.hidden.launcher().clear(0);
  h.hidden.launcher().assign(1, app_item("Gone", "com.example.gone"));

  const auto* grid = std::get_if<ListRow>(h.row(SettingsPage::apps, "launcherSlots"));
  ASSERT_NE(grid, nullptr);
  ASSERT_EQ(grid->items.size(), 56u);
  EXPECT_EQ(grid->items[0].title, "Empty \xE2\x80\x94 click to choose an app");
  EXPECT_EQ(grid->items[1].title, "Gone \xE2\x80\x94 not installed");
  const auto* dock = std::get_if<ListRow>(h.row(SettingsPage::apps, "dockApps"));
  ASSERT_NE(dock, nullptr);
  ASSERT_EQ(dock->items.size(), 1u);
  EXPECT_EQ(dock->items[0].detail, "not installed");

  const auto before = h.hidden.launcher().slots();
  h.confirms = false;
  ASSERT_TRUE(h.send(SettingsPage::apps, "restoreLauncher").done);
  EXPECT_EQ(h.hidden.launcher().slots(), before) << "declined";
  ASSERT_EQ(h.calls.size(), 1u);
  EXPECT_EQ(h.calls[0], "asked Restore the default App Launcher apps? / Restore Defaults");
  h.confirms = true;
  ASSERT_TRUE(h.send(SettingsPage::apps, "restoreLauncher").done);
  EXPECT_NE(h.hidden.launcher().slots(), before);
  EXPECT_EQ(h.hidden.apps().apps().size(), 1u) << "the Hidden Dock's apps are not touched";

  for (const char* index : {"56", "-1", "1x", ""}) {
    EXPECT_FALSE(h.send(SettingsPage::apps, "clearLauncherSlot", std::string(index)).done) << index;
  }
  EXPECT_FALSE(h.send(SettingsPage::apps, "moveDockAppUp", std::string("0")).done);
  ASSERT_TRUE(h.send(SettingsPage::apps, "removeDockApp", std::string("0")).done);
  EXPECT_TRUE(h.hidden.apps().apps().empty());
}

TEST(SettingsPages, AControlWhoseHookIsMissingIsLeftOut) {
  PagesHarness h;
  SettingsPages bare(h.stores(), {});
  for (const auto page : {SettingsPage::general, SettingsPage::apps, SettingsPage::advanced, SettingsPage::profiles}) {
    const PageContent content = bare.content(page);
    for (const char* id : {"launchAtLogin", "calibrate", "replayOnboarding", "addDockApp", "restoreLauncher",
                           "copyDiagnostics", "addProfile", "openAccessibilitySettings"}) {
      EXPECT_EQ(find_row(content, id), nullptr) << id << " on " << to_string(page);
    }
  }
  // With the hooks, the same pages offer them and pressing one calls it.
  h.login.needs_approval = true;
  EXPECT_NE(h.row(SettingsPage::general, "openLoginItems"), nullptr);
  EXPECT_TRUE(h.shows_text(SettingsPage::general, "Kolvo needs approval in System Settings."));
  ASSERT_TRUE(h.send(SettingsPage::advanced, "copyDiagnostics").done);
  ASSERT_TRUE(h.send(SettingsPage::general, "launchAtLogin", true).done);
  EXPECT_EQ(h.calls, (std::vector<std::string>{"copied Kolvo 1.0 (1)", "login on"}));
}

TEST(SettingsPages, TheDisplayChoiceOffersEachCalibratedDisplayByName) {
  PagesHarness h;
  const dock::ScreenInfo studio = external_right();
  h.geometry.services->save_calibration(studio, {2500, -200, 600, 70}, dock::DockPosition::bottom);
  const auto* choice = std::get_if<ChoiceRow>(h.row(SettingsPage::advanced, "displayMode"));
  ASSERT_NE(choice, nullptr);
  EXPECT_EQ(choice->selected, "selectedDisplay:STUDIO-UUID") << "saving a calibration chooses its display";
  ASSERT_EQ(choice->options.size(), 3u);
  EXPECT_EQ(choice->options[2].title, "Only Studio Display");
  const std::string studio_value = choice->options[2].value;
  ASSERT_TRUE(h.send(SettingsPage::advanced, "displayMode", std::string("automatic")).done);
  EXPECT_EQ(h.geometry.services->store().display_mode(), dock::KolvoDisplayMode(dock::AutomaticDisplay{}));
  ASSERT_TRUE(h.send(SettingsPage::advanced, "displayMode", studio_value).done);
  EXPECT_EQ(h.geometry.services->store().display_mode(), dock::KolvoDisplayMode(dock::SelectedDisplay{"STUDIO-UUID"}));
  EXPECT_FALSE(h.send(SettingsPage::advanced, "displayMode", std::string("selectedDisplay:UNKNOWN")).done)
      << "only an offered display";
}

TEST(PageContent, TextAndJsonShowEveryRowKind) {
  const PageContent page{"demo",
                         "Demo",
                         {{"Section",
                           {TextRow{"Read me", TextStyle::warning}, ToggleRow{"t", "Toggle", true, false},
                            ChoiceRow{"c", "Choice", {{"a", "Alpha"}, {"b", "Beta"}}, "b", true, "why"},
                            SliderRow{"s", "Slider", -1, 1, 0.5, "+0.5"}, ButtonRow{"b", "Press"},
                            ListRow{"l", {{"1", "One", "first", {ButtonRow{"x", "Remove"}}}}, "None"},
                            ListRow{"e", {}, "Nothing here"}}}}};
  EXPECT_EQ(to_text(page),
            "Demo\n\nSection\n  ! Read me\n  [x] Toggle (unavailable)\n  Choice: Beta\n      why\n  Slider: +0.5\n"
            "  <Press>\n  - One (first) <Remove>\n  Nothing here\n");
  const auto json = to_json(page);
  EXPECT_EQ(json["sections"][0]["rows"][2]["selected"], "b");
  EXPECT_EQ(json["sections"][0]["rows"][2]["note"], "why");
  EXPECT_EQ(json["sections"][0]["rows"][1]["enabled"], false);
  EXPECT_EQ(json["sections"][0]["rows"][5]["items"][0]["actions"][0]["id"], "x");
  EXPECT_EQ(find_row(page, "s"), &page.sections[0].rows[3]);
  EXPECT_EQ(find_row(page, ""), nullptr);
}

}  // namespace
}  // namespace kolvo::ui
