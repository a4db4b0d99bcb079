#include "shelf/adobe/adobe_tool_grid_store.hpp"

#include <algorithm>
#include <string>

#include "prefs/settings_keys.hpp"

namespace kolvo::shelf {

AdobeToolGridStore::AdobeToolGridStore(prefs::PreferenceStore& prefs) : prefs_(prefs) {
  for (const AdobeApp app : kAdobeApps) {
    grids_[index(app)] = load(prefs_.value(key(app)), app).value_or(default_adobe_tool_grid(app));
  }
}

std::string_view AdobeToolGridStore::key(AdobeApp app) {
  switch (app) {
    case AdobeApp::afterEffects: return prefs::keys::kToolGridAfterEffects;
    case AdobeApp::illustrator: return prefs::keys::kToolGridIllustrator;
    case AdobeApp::photoshop: return prefs::keys::kToolGridPhotoshop;
    case AdobeApp::premiere: return prefs::keys::kToolGridPremiere;
  }
  return {};
}

std::optional<AdobeToolGrid> AdobeToolGridStore::load(const std::optional<prefs::PreferenceValue>& stored,
                                                      AdobeApp app) {
  const auto strings = prefs::as_string_array(stored);
  if (!strings.is_present() || strings.value.size() != kAdobeToolGridSize) return std::nullopt;
  AdobeToolGrid grid{};
  for (std::size_t i = 0; i < kAdobeToolGridSize; ++i) {
    const std::string& raw = strings.value[i];
    if (raw.empty()) continue;
    const auto tool = deck::kAdobeToolIDTable.parse(raw);
    // An unknown name or another application's tool means the grid is not one this version
    // wrote for this application: guessing at the rest would show the user a layout they never
    // made.
    if (!tool || adobe_app_of(*tool) != app) return std::nullopt;
    grid[i] = *tool;
  }
  return grid;
}

std::vector<std::optional<AdobeToolID>> AdobeToolGridStore::cells(AdobeApp app) const {
  const auto& grid = grids_[index(app)];
  return {grid.begin(), grid.end()};
}

std::vector<std::string> AdobeToolGridStore::stored_cells(AdobeApp app) const {
  std::vector<std::string> stored;
  for (const auto& cell : grids_[index(app)]) {
    stored.emplace_back(cell ? deck::kAdobeToolIDTable.to_string(*cell) : std::string_view());
  }
  return stored;
}

bool AdobeToolGridStore::set_cell(AdobeApp app, std::size_t cell, std::optional<AdobeToolID> tool) {
  if (cell >= kAdobeToolGridSize || (tool && adobe_app_of(*tool) != app)) return false;
  AdobeToolGrid next = grids_[index(app)];
  if (tool) {
    const auto elsewhere = std::find(next.begin(), next.end(), tool);
    if (elsewhere != next.end()) *elsewhere = next[cell];
  }
  next[cell] = tool;
  replace(app, next);
  return true;
}

void AdobeToolGridStore::reset(AdobeApp app) { replace(app, default_adobe_tool_grid(app)); }

void AdobeToolGridStore::replace(AdobeApp app, const AdobeToolGrid& grid) {
  if (grids_[index(app)] == grid) return;
  grids_[index(app)] = grid;
  prefs::PreferenceValue::Array stored;
  for (auto& raw : stored_cells(app)) stored.emplace_back(std::move(raw));
  prefs_.set(key(app), std::move(stored));
  if (on_change_) on_change_(app);
}

}  // namespace kolvo::shelf
