#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "base/diagnostics_log.hpp"
#include "base/observable.hpp"
#include "catalog/app_stores.hpp"
#include "prefs/preference_store.hpp"
#include "prefs/settings_enums.hpp"

namespace kolvo::catalog {

// While its application is frontmost, a profile replaces any of three groups of the Default:
// the Dock apps, the edge modes and the corner dials.
struct KolvoProfile {
  std::string id;  // upper-case UUID
  std::string bundle_id;
  std::string app_name;
  bool overrides_dock_apps = false;
  std::vector<KolvoAppItem> dock_apps;
  bool overrides_sliders = false;
  prefs::EdgeMode left_edge_mode = prefs::EdgeMode::dock;
  prefs::EdgeMode right_edge_mode = prefs::EdgeMode::dock;
  bool overrides_dials = false;
  // Keyed by corner name; names this version does not know are kept as they were.
  std::map<std::string, prefs::CornerControlMode> corners;

  prefs::CornerControlMode corner(prefs::Corner corner) const;

  friend bool operator==(const KolvoProfile&, const KolvoProfile&) = default;
};

nlohmann::ordered_json to_json(const KolvoProfile& profile);
std::optional<KolvoProfile> profile_from_json(const nlohmann::json& json, std::string* error = nullptr);

// What a settings editor edits: the Default, or one profile.
struct DefaultProfile {
  friend bool operator==(const DefaultProfile&, const DefaultProfile&) = default;
};
struct ProfileTarget {
  std::string id;
  friend bool operator==(const ProfileTarget&, const ProfileTarget&) = default;
};
using LayoutTarget = std::variant<DefaultProfile, ProfileTarget>;

class ProfileStore {
 public:
  ProfileStore(prefs::PreferenceStore& prefs, base::DiagnosticsLog& log);

  const std::vector<KolvoProfile>& profiles() const { return profiles_.get(); }
  base::Observable<std::vector<KolvoProfile>>& observable() { return profiles_; }

  // A profile for an application, starting from the Default's current layout so turning an
  // override on changes nothing until the user edits it. Answers the existing one if any.
  const KolvoProfile& add(const std::string& bundle_id, const std::string& app_name, prefs::EdgeMode left,
                          prefs::EdgeMode right, const std::array<prefs::CornerControlMode, 4>& corners);
  void update(const KolvoProfile& profile);
  void remove(const std::string& id);

  const KolvoProfile* profile_with_id(const std::string& id) const;
  const KolvoProfile* profile_for(const std::optional<std::string>& frontmost_bundle_id) const;

 private:
  void save();

  prefs::PreferenceStore& prefs_;
  base::Observable<std::vector<KolvoProfile>> profiles_;
};

// Everything the Hidden Dock and the zones use, for the frontmost application.
struct EffectiveLayout {
  std::vector<KolvoAppItem> dock_apps;
  prefs::EdgeMode left_edge_mode = prefs::EdgeMode::dock;
  prefs::EdgeMode right_edge_mode = prefs::EdgeMode::dock;
  std::array<prefs::CornerControlMode, 4> corners{};  // topLeft, topRight, bottomLeft, bottomRight
  const KolvoProfile* profile = nullptr;              // the matching profile, if any

  prefs::CornerControlMode corner(prefs::Corner c) const { return corners[static_cast<std::size_t>(c)]; }
};

// Each group comes from the profile when it overrides it, otherwise from the Default.
EffectiveLayout effective_layout(const KolvoProfile* profile, const std::vector<KolvoAppItem>& default_apps,
                                 prefs::EdgeMode default_left, prefs::EdgeMode default_right,
                                 const std::array<prefs::CornerControlMode, 4>& default_corners);

}  // namespace kolvo::catalog
