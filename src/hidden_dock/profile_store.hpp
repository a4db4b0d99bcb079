#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "core/activation_settings_stores.hpp"
#include "core/diagnostics_log.hpp"
#include "core/observable.hpp"
#include "core/preference_store.hpp"
#include "hidden_dock/app_stores.hpp"

namespace kolvo::hidden_dock {

// While its application is frontmost, a profile replaces any of three groups of the Default:
// the Dock apps, the edge modes and the corner dials.
struct KolvoProfile {
  std::string id;  // upper-case UUID
  std::string bundle_id;
  std::string app_name;
  bool overrides_dock_apps = false;
  std::vector<KolvoAppItem> dock_apps;
  bool overrides_sliders = false;
  core::EdgeMode left_edge_mode = core::EdgeMode::dock;
  core::EdgeMode right_edge_mode = core::EdgeMode::dock;
  bool overrides_dials = false;
  // Keyed by corner name; names this version does not know are kept as they were.
  std::map<std::string, core::CornerControlMode> corners;

  core::CornerControlMode corner(core::Corner corner) const;

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
  ProfileStore(core::PreferenceStore& prefs, core::DiagnosticsLog& log);

  const std::vector<KolvoProfile>& profiles() const { return profiles_.get(); }
  core::Observable<std::vector<KolvoProfile>>& observable() { return profiles_; }

  // A profile for an application, starting from the Default's current layout so turning an
  // override on changes nothing until the user edits it. Answers the existing one if any.
  const KolvoProfile& add(const std::string& bundle_id, const std::string& app_name, core::EdgeMode left,
                          core::EdgeMode right, const std::array<core::CornerControlMode, 4>& corners);
  void update(const KolvoProfile& profile);
  void remove(const std::string& id);

  const KolvoProfile* profile_with_id(const std::string& id) const;
  const KolvoProfile* profile_for(const std::optional<std::string>& frontmost_bundle_id) const;

 private:
  void save();

  core::PreferenceStore& prefs_;
  core::Observable<std::vector<KolvoProfile>> profiles_;
};

// Everything the Hidden Dock and the zones use, for the frontmost application.
struct EffectiveLayout {
  std::vector<KolvoAppItem> dock_apps;
  core::EdgeMode left_edge_mode = core::EdgeMode::dock;
  core::EdgeMode right_edge_mode = core::EdgeMode::dock;
  std::array<core::CornerControlMode, 4> corners{};  // topLeft, topRight, bottomLeft, bottomRight
  const KolvoProfile* profile = nullptr;              // the matching profile, if any

  core::CornerControlMode corner(core::Corner c) const { return corners[static_cast<std::size_t>(c)]; }
};

// Each group comes from the profile when it overrides it, otherwise from the Default.
EffectiveLayout effective_layout(const KolvoProfile* profile, const std::vector<KolvoAppItem>& default_apps,
                                 core::EdgeMode default_left, core::EdgeMode default_right,
                                 const std::array<core::CornerControlMode, 4>& default_corners);

}  // namespace kolvo::hidden_dock
