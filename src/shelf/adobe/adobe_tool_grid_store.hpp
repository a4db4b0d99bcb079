#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "prefs/preference_store.hpp"
#include "shelf/adobe/adobe_tools.hpp"

namespace kolvo::shelf {

// The nine tools each Adobe widget shows on the phone, in cell order, as the user arranged them
// on the Corvane page. Main thread only.
class AdobeToolGridStore {
 public:
  static constexpr std::string_view kCaption = "The nine tools on your iPhone, in this order.";
  static constexpr std::string_view kResetTitle = "Reset to Default Layout";

  // Loads every application's grid. A stored grid that is not exactly nine strings, each an
  // empty string or one of that application's tools, gives the default layout; nothing is
  // written back, so the user's value stays until a grid is edited.
  explicit AdobeToolGridStore(prefs::PreferenceStore& prefs);

  const AdobeToolGrid& grid(AdobeApp app) const { return grids_[index(app)]; }
  // The grid as a state carries it.
  std::vector<std::optional<AdobeToolID>> cells(AdobeApp app) const;
  // The grid as it is stored: each tool's raw value, "" for an empty cell.
  std::vector<std::string> stored_cells(AdobeApp app) const;

  // Puts `tool` (or nothing) in a cell. A tool already elsewhere in the grid trades places with
  // the cell's old tool, so no tool is shown twice and none is lost. False, and nothing
  // changed, for a cell outside the grid or another application's tool.
  bool set_cell(AdobeApp app, std::size_t cell, std::optional<AdobeToolID> tool);
  // Back to the application's default layout.
  void reset(AdobeApp app);

  // Called with the application whose grid changed, after it was written.
  void set_on_change(std::function<void(AdobeApp)> on_change) { on_change_ = std::move(on_change); }

  static std::string_view key(AdobeApp app);

 private:
  static std::size_t index(AdobeApp app) { return static_cast<std::size_t>(app); }
  static std::optional<AdobeToolGrid> load(const std::optional<prefs::PreferenceValue>& stored, AdobeApp app);
  void replace(AdobeApp app, const AdobeToolGrid& grid);

  prefs::PreferenceStore& prefs_;
  std::array<AdobeToolGrid, kAdobeApps.size()> grids_{};
  std::function<void(AdobeApp)> on_change_;
};

}  // namespace kolvo::shelf
