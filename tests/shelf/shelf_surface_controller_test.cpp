#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "prefs/preference_store.hpp"
#include "prefs/settings_keys.hpp"
#include "shelf/shelf_surface_controller.hpp"
#include "shelf/shelf_widget_settings_store.hpp"

namespace kolvo::shelf {
namespace {

using deck::BlenderToolID;
using I = ShelfSurfaceIdentity;
using C = ShelfSurfaceCommand;
using prefs::PreferenceValue;
namespace keys = prefs::keys;

// Every call a session receives, as one line, in one journal shared by all sessions.
struct Journal {
  std::vector<std::string> lines;
  void add(I identity, const std::string& what) {
    lines.push_back(std::string(deck::kShelfSurfaceIdentityTable.to_string(identity)) + " " + what);
  }
};

class RecordingSession : public ShelfSurfaceSession {
 public:
  RecordingSession(I identity, Journal& journal) : identity_(identity), journal_(journal) {}
  I identity() const override { return identity_; }
  void start() override {
    journal_.add(identity_, "start");
    ShelfSurfaceState state;
    state.identity = identity_;
    state.available = true;
    deliver(state);
  }
  void stop() override { journal_.add(identity_, "stop"); }
  void refresh() override {
    journal_.add(identity_, "refresh");
    resend_last();
  }
  void handle(const ShelfCommand& command) override {
    journal_.add(identity_, "handle " + std::string(deck::kShelfSurfaceCommandTable.to_string(command.command)));
  }

 protected:
  I identity_;
  Journal& journal_;
};

class RecordingAdobe final : public RecordingSession, public AdobeSurfaceControls {
 public:
  using RecordingSession::RecordingSession;
  AdobeApp adobe_app() const override { return *adobe_app_for(identity_); }
  void select_tool(const std::string& tool) override { journal_.add(identity_, "tool " + tool); }
  void set_color(const std::string& hex, const std::optional<std::string>& picker) override {
    journal_.add(identity_, "color " + hex + " " + picker.value_or("-"));
  }
  void finish_color(bool apply, const std::optional<std::string>& picker) override {
    journal_.add(identity_, std::string(apply ? "apply " : "cancel ") + picker.value_or("-"));
  }
  void tool_grid_did_change() override { journal_.add(identity_, "grid"); }
  void continuous(const ShelfCommand& c) override {
    journal_.add(identity_, "slider " + std::string(deck::kShelfSurfaceCommandTable.to_string(c.command)) + " " +
                                c.control_id.value_or("-") + " " + c.control_axis.value_or("-") + " " +
                                c.control_choice.value_or("-"));
  }
};

class RecordingBlender final : public RecordingSession, public BlenderSurfaceControls {
 public:
  using RecordingSession::RecordingSession;
  void perform_action(BlenderToolID tool) override {
    journal_.add(identity_, "action " + std::string(deck::kBlenderToolIDTable.to_string(tool)));
  }
  void continuous(const ShelfCommand& c) override {
    journal_.add(identity_, "slider " + std::string(deck::kShelfSurfaceCommandTable.to_string(c.command)) + " " +
                                c.control_id.value_or("-"));
  }
};

struct ControllerBench {
  Journal journal;
  std::vector<I> delivered;
  ShelfSurfaceController controller{[this](I identity) -> std::unique_ptr<ShelfSurfaceSession> {
    if (adobe_app_for(identity)) return std::make_unique<RecordingAdobe>(identity, journal);
    if (identity == I::blender) return std::make_unique<RecordingBlender>(identity, journal);
    return std::make_unique<RecordingSession>(identity, journal);
  }};
  ControllerBench() {
    controller.set_on_state([this](const ShelfSurfaceState& s) { delivered.push_back(s.identity); });
  }
  std::vector<std::string> take() { return std::exchange(journal.lines, {}); }
};

TEST(ShelfSurfaceController, ConfigureStopsWhatLeftKeepsWhatStaysAndStartsWhatIsNew) {
  ControllerBench bench;
  bench.controller.configure({I::spotify, I::codex});
  EXPECT_EQ(bench.take(), (std::vector<std::string>{"spotify start", "codex start"}));
  EXPECT_EQ(bench.delivered, (std::vector<I>{I::spotify, I::codex}));

  bench.controller.configure({I::codex});
  EXPECT_EQ(bench.take(), (std::vector<std::string>{"spotify stop"}));
  EXPECT_EQ(bench.controller.session(I::spotify), nullptr);

  // The same widget twice is one widget; the order of the list is the refresh order.
  bench.controller.configure({I::photoshop, I::codex, I::photoshop});
  EXPECT_EQ(bench.take(), (std::vector<std::string>{"photoshop start"}));
  EXPECT_EQ(bench.controller.configured(), (std::vector<I>{I::photoshop, I::codex}));
  bench.controller.refreshAll();
  EXPECT_EQ(bench.take(), (std::vector<std::string>{"photoshop refresh", "codex refresh"}));

  bench.controller.configure({});
  auto stopped = bench.take();
  std::sort(stopped.begin(), stopped.end());
  EXPECT_EQ(stopped, (std::vector<std::string>{"codex stop", "photoshop stop"}));
}

TEST(ShelfSurfaceController, ReAddingAWidgetStartsAFreshSession) {
  ControllerBench bench;
  bench.controller.configure({I::timer});
  ASSERT_NE(bench.controller.session(I::timer), nullptr);
  bench.take();
  bench.delivered.clear();
  bench.controller.configure({I::codex});
  bench.controller.configure({I::timer, I::codex});
  // A fresh session, not the one that was running before.
  EXPECT_EQ(bench.take(), (std::vector<std::string>{"timer stop", "codex start", "timer start"}));
  EXPECT_EQ(bench.delivered, (std::vector<I>{I::codex, I::timer}));
}

// A session that says something as it stops (its last state, say) is no longer on the Shelf.
TEST(ShelfSurfaceController, ARemovedSessionIsHeardNoMore) {
  struct ChattySession final : RecordingSession {
    using RecordingSession::RecordingSession;
    void stop() override {
      RecordingSession::stop();
      resend_last();
    }
  };
  Journal journal;
  std::vector<I> delivered;
  ShelfSurfaceController controller([&](I identity) { return std::make_unique<ChattySession>(identity, journal); });
  controller.set_on_state([&](const ShelfSurfaceState& s) { delivered.push_back(s.identity); });
  controller.configure({I::codex, I::timer});
  controller.configure({I::timer});
  EXPECT_EQ(delivered, (std::vector<I>{I::codex, I::timer}));
}

TEST(ShelfSurfaceController, CommandsReachOnlySessionsOfTheirKind) {
  ControllerBench bench;
  bench.controller.configure({I::photoshop, I::blender, I::timer});
  bench.take();
  struct Case {
    I identity;
    ShelfCommand command;
    std::vector<std::string> expected;
  };
  const Case cases[] = {
      {I::photoshop, {.command = C::selectTool, .tool_id = "ps.brush"}, {"photoshop tool ps.brush"}},
      {I::photoshop, {.command = C::selectTool}, {}},
      {I::blender, {.command = C::selectTool, .tool_id = "ps.brush"}, {}},
      {I::blender, {.command = C::blenderAction, .blender_tool = BlenderToolID::xray}, {"blender action bl.xray"}},
      {I::photoshop, {.command = C::blenderAction, .blender_tool = BlenderToolID::xray}, {}},
      {I::photoshop, {.command = C::setColor, .color_hex = "#FF0000", .color_picker_id = "fg"}, {"photoshop color #FF0000 fg"}},
      {I::timer, {.command = C::setColor, .color_hex = "#FF0000"}, {}},
      {I::photoshop, {.command = C::applyColor, .color_picker_id = "fg"}, {"photoshop apply fg"}},
      {I::photoshop, {.command = C::cancelColor}, {"photoshop cancel -"}},
      {I::blender, {.command = C::setContinuous, .value = 2, .control_id = "bl:Cube/lens"}, {"blender slider setContinuous bl:Cube/lens"}},
      {I::blender, {.command = C::endContinuous, .control_id = "x"}, {"blender slider endContinuous x"}},
      {I::photoshop, {.command = C::setContinuousAxis, .control_id = "rot", .control_axis = "Y"}, {"photoshop slider setContinuousAxis rot Y -"}},
      {I::photoshop, {.command = C::setContinuousChoice, .control_id = "b", .control_choice = "size"}, {"photoshop slider setContinuousChoice b - size"}},
      // The Timer's minutes slider is its own.
      {I::timer, {.command = C::setContinuous, .value = 5, .control_id = "timer.minutes"}, {"timer handle setContinuous"}},
      {I::timer, {.command = C::playPause}, {"timer handle playPause"}},
      {I::blender, {.command = C::seek, .value = 3}, {"blender handle seek"}},
      // Nothing runs for these widgets.
      {I::spotify, {.command = C::playPause}, {}},
      {I::illustrator, {.command = C::selectTool, .tool_id = "ai.pen"}, {}},
  };
  for (const auto& c : cases) {
    bench.controller.route(c.identity, c.command);
    EXPECT_EQ(bench.take(), c.expected) << deck::kShelfSurfaceIdentityTable.to_string(c.identity) << " "
                                        << deck::kShelfSurfaceCommandTable.to_string(c.command.command);
  }
}

TEST(ShelfSurfaceController, AnEditedToolGridReachesThatApplicationsWidgetOnly) {
  ControllerBench bench;
  bench.controller.configure({I::photoshop, I::illustrator});
  bench.take();
  bench.controller.toolGridDidChange(AdobeApp::illustrator);
  EXPECT_EQ(bench.take(), (std::vector<std::string>{"illustrator grid"}));
  bench.controller.toolGridDidChange(AdobeApp::premiere);
  EXPECT_TRUE(bench.take().empty());
}

// --- The widget settings ---

std::vector<std::optional<I>> slots_of(const ShelfWidgetSettingsStore& store) {
  return {store.slot(0), store.slot(1)};
}

TEST(ShelfWidgetSettingsStore, LoadsTwoSlotsFromWhateverWasStored) {
  using Stored = std::optional<PreferenceValue>;
  using S = PreferenceValue::Array;
  const std::pair<Stored, std::vector<std::optional<I>>> cases[] = {
      {std::nullopt, {std::nullopt, std::nullopt}},
      {PreferenceValue(S{}), {std::nullopt, std::nullopt}},
      {PreferenceValue(S{"spotify", "banana", "codex"}), {I::spotify, std::nullopt}},
      {PreferenceValue(S{"", "timer"}), {std::nullopt, I::timer}},
      {PreferenceValue(S{"blender"}), {I::blender, std::nullopt}},
      {PreferenceValue(S{"Spotify", "claudeCode"}), {std::nullopt, I::claudeCode}},
      {PreferenceValue("spotify"), {std::nullopt, std::nullopt}},
      {PreferenceValue(S{"spotify", 3}), {std::nullopt, std::nullopt}},
  };
  for (const auto& [stored, expected] : cases) {
    prefs::MemoryPreferenceStore prefs;
    if (stored) prefs.set(keys::kShelfWidgets, *stored);
    const ShelfWidgetSettingsStore store(prefs);
    EXPECT_EQ(slots_of(store), expected);
    EXPECT_EQ(store.slot(2), std::nullopt);
    // Loading writes nothing back.
    EXPECT_EQ(prefs.write_count(), stored ? 1 : 0);
  }
}

TEST(ShelfWidgetSettingsStore, BackgroundIsSolidOnlyWhenStoredSo) {
  const std::pair<std::optional<PreferenceValue>, ShelfWidgetBackground> cases[] = {
      {std::nullopt, ShelfWidgetBackground::liquidGlass},
      {PreferenceValue("solid"), ShelfWidgetBackground::solid},
      {PreferenceValue("Solid"), ShelfWidgetBackground::liquidGlass},
      {PreferenceValue(1), ShelfWidgetBackground::liquidGlass},
  };
  for (const auto& [stored, expected] : cases) {
    prefs::MemoryPreferenceStore prefs;
    if (stored) prefs.set(keys::kShelfBackground, *stored);
    EXPECT_EQ(ShelfWidgetSettingsStore(prefs).background().get(), expected);
  }
}

TEST(ShelfWidgetSettingsStore, SlotsHoldEachWidgetOnceAndAnnounceEveryChange) {
  prefs::MemoryPreferenceStore prefs;
  ShelfWidgetSettingsStore store(prefs);
  std::vector<std::vector<I>> announced;
  store.set_on_change([&](const std::vector<I>& widgets) { announced.push_back(widgets); });

  store.setSlot(0, I::spotify);
  store.setSlot(1, I::spotify);  // moves it
  EXPECT_EQ(slots_of(store), (std::vector<std::optional<I>>{std::nullopt, I::spotify}));
  EXPECT_EQ(prefs.value(keys::kShelfWidgets), PreferenceValue(PreferenceValue::Array{"", "spotify"}));
  EXPECT_EQ(announced, (std::vector<std::vector<I>>{{I::spotify}, {I::spotify}}));

  const int writes = prefs.write_count();
  store.setSlot(1, I::spotify);  // already there
  store.setSlot(2, I::codex);    // no such slot
  EXPECT_EQ(prefs.write_count(), writes);
  EXPECT_EQ(announced.size(), 2u);

  EXPECT_TRUE(store.add(I::codex));
  EXPECT_EQ(slots_of(store), (std::vector<std::optional<I>>{I::codex, I::spotify}));
  EXPECT_EQ(store.widgets(), (std::vector<I>{I::codex, I::spotify}));
  const auto before = prefs.write_count();
  EXPECT_TRUE(store.add(I::spotify));   // present: nothing changes
  EXPECT_FALSE(store.add(I::blender));  // full: nothing changes
  EXPECT_EQ(prefs.write_count(), before);
  EXPECT_EQ(slots_of(store), (std::vector<std::optional<I>>{I::codex, I::spotify}));

  store.setSlot(0, std::nullopt);
  EXPECT_EQ(prefs.value(keys::kShelfWidgets), PreferenceValue(PreferenceValue::Array{"", "spotify"}));
  EXPECT_EQ(announced.back(), (std::vector<I>{I::spotify}));
}

TEST(ShelfWidgetSettingsStore, TheBackgroundIsWrittenAndAnnouncedOnlyWhenItChanges) {
  prefs::MemoryPreferenceStore prefs;
  ShelfWidgetSettingsStore store(prefs);
  store.setSlot(0, I::timer);
  int announced = 0;
  store.set_on_change([&](const std::vector<I>& widgets) {
    ++announced;
    EXPECT_EQ(widgets, std::vector<I>{I::timer});
  });
  const int writes = prefs.write_count();
  store.set_background(ShelfWidgetBackground::liquidGlass);
  EXPECT_EQ(prefs.write_count(), writes);
  EXPECT_EQ(announced, 0);
  store.set_background(ShelfWidgetBackground::solid);
  EXPECT_EQ(prefs.value(keys::kShelfBackground), PreferenceValue("solid"));
  EXPECT_EQ(announced, 1);
}

}  // namespace
}  // namespace kolvo::shelf
