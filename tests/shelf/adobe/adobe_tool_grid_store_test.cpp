#include "shelf/adobe/adobe_tool_grid_store.hpp"

#include <gtest/gtest.h>

namespace kolvo::shelf {
namespace {

using prefs::PreferenceValue;
using A = PreferenceValue::Array;
using T = AdobeToolID;

A stored(std::initializer_list<const char*> cells) {
  A array;
  for (const char* cell : cells) array.emplace_back(cell);
  return array;
}

TEST(AdobeToolGridStore, LoadsOnlyAGridOfNineOfTheApplicationsOwnTools) {
  const AdobeToolGrid photoshop = default_adobe_tool_grid(AdobeApp::photoshop);
  const AdobeToolGrid custom{T::psHand, std::nullopt, T::psBrush, std::nullopt, std::nullopt,
                             std::nullopt, std::nullopt, std::nullopt, T::psMove};
  struct Case {
    const char* name;
    std::optional<PreferenceValue> value;
    AdobeToolGrid loaded;
  };
  const Case cases[] = {
      {"nothing stored", std::nullopt, photoshop},
      {"a grid of its own", stored({"ps.hand", "", "ps.brush", "", "", "", "", "", "ps.move"}), custom},
      {"all empty", stored({"", "", "", "", "", "", "", "", ""}), AdobeToolGrid{}},
      {"eight cells", stored({"ps.hand", "", "", "", "", "", "", ""}), photoshop},
      {"ten cells", stored({"ps.hand", "", "", "", "", "", "", "", "", ""}), photoshop},
      {"a number among them", A{"ps.hand", 3, "", "", "", "", "", "", ""}, photoshop},
      {"null-like text", stored({"null", "", "", "", "", "", "", "", ""}), photoshop},
      {"another application's tool", stored({"ai.pen", "", "", "", "", "", "", "", ""}), photoshop},
      {"After Effects' bare names", stored({"brush", "", "", "", "", "", "", "", ""}), photoshop},
      {"a name in another case", stored({"PS.HAND", "", "", "", "", "", "", "", ""}), photoshop},
      {"not a list", PreferenceValue("ps.hand"), photoshop},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    prefs::MemoryPreferenceStore prefs;
    if (c.value) prefs.set("com.kolvo.deck.shelf.toolGrid.photoshop", *c.value);
    const int writes = prefs.write_count();
    const AdobeToolGridStore store(prefs);
    EXPECT_EQ(store.grid(AdobeApp::photoshop), c.loaded);
    // The others are untouched by Photoshop's value.
    EXPECT_EQ(store.grid(AdobeApp::illustrator), default_adobe_tool_grid(AdobeApp::illustrator));
    EXPECT_EQ(prefs.write_count(), writes) << "loading wrote";
  }
}

TEST(AdobeToolGridStore, EachApplicationIsStoredUnderItsOwnKeyAndLoadsBackAsWritten) {
  const std::pair<AdobeApp, const char*> keys[] = {{AdobeApp::afterEffects, "com.kolvo.deck.shelf.aeToolGrid"},
                                                   {AdobeApp::illustrator, "com.kolvo.deck.shelf.toolGrid.illustrator"},
                                                   {AdobeApp::photoshop, "com.kolvo.deck.shelf.toolGrid.photoshop"},
                                                   {AdobeApp::premiere, "com.kolvo.deck.shelf.toolGrid.premiere"}};
  for (const auto& [app, key] : keys) {
    SCOPED_TRACE(key);
    prefs::MemoryPreferenceStore prefs;
    AdobeToolGridStore store(prefs);
    ASSERT_TRUE(store.set_cell(app, 8, std::nullopt));
    EXPECT_EQ(prefs.all().size(), 1u);
    const auto written = prefs.read_string_array(key);
    ASSERT_TRUE(written.is_present());
    EXPECT_EQ(written.value, store.stored_cells(app));
    EXPECT_EQ(written.value.back(), "");
    EXPECT_EQ(AdobeToolGridStore(prefs).grid(app), store.grid(app));
  }
}

TEST(AdobeToolGridStore, AToolAlreadyInTheGridTradesPlacesAndOnlyChangesAreWritten) {
  prefs::MemoryPreferenceStore prefs;
  AdobeToolGridStore store(prefs);
  std::vector<AdobeApp> changed;
  store.set_on_change([&](AdobeApp app) { changed.push_back(app); });

  // Brush (cell 4) into cell 0, where Move was: Move goes to cell 4.
  ASSERT_TRUE(store.set_cell(AdobeApp::photoshop, 0, T::psBrush));
  EXPECT_EQ(store.grid(AdobeApp::photoshop),
            (AdobeToolGrid{T::psBrush, T::psMarquee, T::psLasso, T::psObjectSelect, T::psMove, T::psEraser, T::psCrop,
                           T::psType, T::psHand}));
  EXPECT_EQ(changed, std::vector{AdobeApp::photoshop});
  const int writes = prefs.write_count();

  struct Refused {
    const char* name;
    AdobeApp app;
    std::size_t cell;
    std::optional<AdobeToolID> tool;
    bool accepted;
  };
  const Refused unchanged[] = {
      {"the tool it holds", AdobeApp::photoshop, 0, T::psBrush, true},
      {"another application's tool", AdobeApp::photoshop, 2, T::aiPen, false},
      {"a tenth cell", AdobeApp::photoshop, 9, T::psHand, false},
  };
  for (const Refused& r : unchanged) {
    SCOPED_TRACE(r.name);
    EXPECT_EQ(store.set_cell(r.app, r.cell, r.tool), r.accepted);
  }
  EXPECT_EQ(prefs.write_count(), writes);
  EXPECT_EQ(changed.size(), 1u);

  // Emptied cells stay empty; the tool that was there is gone from the grid.
  ASSERT_TRUE(store.set_cell(AdobeApp::photoshop, 8, std::nullopt));
  ASSERT_TRUE(store.set_cell(AdobeApp::photoshop, 7, std::nullopt));
  EXPECT_EQ(store.stored_cells(AdobeApp::photoshop),
            (std::vector<std::string>{"ps.brush", "ps.marquee", "ps.lasso", "ps.objectSelect", "ps.move", "ps.eraser",
                                      "ps.crop", "", ""}));
  // Putting a tool in an empty cell takes it from where it was.
  ASSERT_TRUE(store.set_cell(AdobeApp::photoshop, 8, T::psMarquee));
  EXPECT_EQ(store.stored_cells(AdobeApp::photoshop),
            (std::vector<std::string>{"ps.brush", "", "ps.lasso", "ps.objectSelect", "ps.move", "ps.eraser", "ps.crop",
                                      "", "ps.marquee"}));

  store.reset(AdobeApp::photoshop);
  EXPECT_EQ(store.grid(AdobeApp::photoshop), default_adobe_tool_grid(AdobeApp::photoshop));
  EXPECT_EQ(changed.size(), 5u);
  const int after_reset = prefs.write_count();
  store.reset(AdobeApp::photoshop);
  EXPECT_EQ(prefs.write_count(), after_reset);
  EXPECT_EQ(changed.size(), 5u);
}

}  // namespace
}  // namespace kolvo::shelf
