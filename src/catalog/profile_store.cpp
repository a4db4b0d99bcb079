#include "catalog/profile_store.hpp"
#include "base/json_text.hpp"

#include <algorithm>

#include "base/json_reader.hpp"
#include "base/uuid.hpp"
#include "prefs/replaced_value.hpp"
#include "prefs/settings_keys.hpp"

namespace kolvo::catalog {
namespace {

constexpr std::array kCorners{prefs::Corner::topLeft, prefs::Corner::topRight, prefs::Corner::bottomLeft,
                              prefs::Corner::bottomRight};

}  // namespace

prefs::CornerControlMode KolvoProfile::corner(prefs::Corner c) const {
  const auto found = corners.find(std::string(prefs::to_string(c)));
  return found == corners.end() ? prefs::CornerControlMode::off : found->second;
}

nlohmann::ordered_json to_json(const KolvoProfile& p) {
  nlohmann::ordered_json json;
  json["id"] = p.id;
  json["bundleID"] = p.bundle_id;
  json["appName"] = p.app_name;
  json["overridesDockApps"] = p.overrides_dock_apps;
  auto apps = nlohmann::ordered_json::array();
  for (const auto& item : p.dock_apps) apps.push_back(to_json(item));
  json["dockApps"] = std::move(apps);
  json["overridesSliders"] = p.overrides_sliders;
  json["leftEdgeMode"] = std::string(prefs::to_string(p.left_edge_mode));
  json["rightEdgeMode"] = std::string(prefs::to_string(p.right_edge_mode));
  json["overridesDials"] = p.overrides_dials;
  auto corners = nlohmann::ordered_json::object();
  for (const auto& [name, mode] : p.corners) corners[name] = std::string(prefs::to_string(mode));
  json["corners"] = std::move(corners);
  return json;
}

std::optional<KolvoProfile> profile_from_json(const nlohmann::json& json, std::string* error) {
  base::JsonReader r(json, "KolvoProfile");
  KolvoProfile p;
  const std::string id = r.string("id");
  p.bundle_id = r.string("bundleID");
  p.app_name = r.string("appName");
  p.overrides_dock_apps = r.boolean("overridesDockApps");
  if (const auto* apps = r.value("dockApps"); apps && !apps->is_array()) {
    r.fail("dockApps", "expected an array");
  } else if (apps) {
    for (const auto& entry : *apps) {
      std::string inner;
      auto item = app_item_from_json(entry, &inner);
      if (!item) {
        r.fail("dockApps", inner);
        break;
      }
      p.dock_apps.push_back(std::move(*item));
    }
  }
  p.overrides_sliders = r.boolean("overridesSliders");
  p.left_edge_mode = r.enumeration("leftEdgeMode", prefs::kEdgeModeTable);
  p.right_edge_mode = r.enumeration("rightEdgeMode", prefs::kEdgeModeTable);
  p.overrides_dials = r.boolean("overridesDials");
  if (const auto* corners = r.value("corners"); corners && !corners->is_object()) {
    r.fail("corners", "expected an object");
  } else if (corners) {
    for (auto entry = corners->begin(); entry != corners->end(); ++entry) {
      std::optional<prefs::CornerControlMode> mode;
      if (entry->is_string()) mode = prefs::kCornerControlModeTable.parse(entry->get_ref<const std::string&>());
      if (!mode) {
        r.fail("corners." + entry.key(), "not a corner mode");
        break;
      }
      p.corners.emplace(entry.key(), *mode);
    }
  }
  if (r.ok()) {
    if (const auto canonical = base::canonical_uuid(id)) {
      p.id = *canonical;
    } else {
      r.fail("id", "not a UUID");
    }
  }
  if (!r.ok()) {
    if (error) *error = r.error();
    return std::nullopt;
  }
  return p;
}

ProfileStore::ProfileStore(prefs::PreferenceStore& prefs, base::DiagnosticsLog& log) : prefs_(prefs) {
  const auto data = prefs.read_data(prefs::keys::kAppProfiles);
  if (data.is_present()) {
    const auto json = base::parse_json(base::text_of(data.value));
    if (json.is_array()) {
      std::vector<KolvoProfile> profiles;
      for (const auto& entry : json) {
        auto profile = profile_from_json(entry);
        if (!profile) {
          profiles.clear();
          prefs::keep_before_replacing(prefs, prefs::keys::kAppProfiles, log);
          return;
        }
        profiles.push_back(std::move(*profile));
      }
      profiles_.set(std::move(profiles));
      return;
    }
  }
  prefs::keep_before_replacing(prefs, prefs::keys::kAppProfiles, log);
}

void ProfileStore::save() {
  auto json = nlohmann::ordered_json::array();
  for (const auto& profile : profiles_.get()) json.push_back(to_json(profile));
  const std::string text = json.dump();
  prefs_.set(prefs::keys::kAppProfiles, prefs::PreferenceData(text.begin(), text.end()));
}

const KolvoProfile& ProfileStore::add(const std::string& bundle_id, const std::string& app_name, prefs::EdgeMode left,
                                      prefs::EdgeMode right, const std::array<prefs::CornerControlMode, 4>& corners) {
  if (const KolvoProfile* existing = profile_for(bundle_id)) return *existing;
  KolvoProfile profile;
  profile.id = base::make_uuid();
  profile.bundle_id = bundle_id;
  profile.app_name = app_name;
  profile.left_edge_mode = left;
  profile.right_edge_mode = right;
  for (std::size_t i = 0; i < kCorners.size(); ++i) profile.corners[std::string(prefs::to_string(kCorners[i]))] = corners[i];
  auto profiles = profiles_.get();
  profiles.push_back(std::move(profile));
  profiles_.set(std::move(profiles));
  save();
  return profiles_.get().back();
}

void ProfileStore::update(const KolvoProfile& profile) {
  auto profiles = profiles_.get();
  const auto found = std::find_if(profiles.begin(), profiles.end(), [&](const auto& p) { return p.id == profile.id; });
  if (found == profiles.end()) return;
  *found = profile;
  profiles_.set(std::move(profiles));
  save();
}

void ProfileStore::remove(const std::string& id) {
  auto profiles = profiles_.get();
  const auto removed = std::erase_if(profiles, [&](const auto& p) { return p.id == id; });
  if (removed == 0) return;
  profiles_.set(std::move(profiles));
  save();
}

const KolvoProfile* ProfileStore::profile_with_id(const std::string& id) const {
  for (const auto& profile : profiles_.get()) {
    if (profile.id == id) return &profile;
  }
  return nullptr;
}

const KolvoProfile* ProfileStore::profile_for(const std::optional<std::string>& bundle_id) const {
  if (!bundle_id) return nullptr;
  for (const auto& profile : profiles_.get()) {
    if (profile.bundle_id == *bundle_id) return &profile;
  }
  return nullptr;
}

EffectiveLayout effective_layout(const KolvoProfile* profile, const std::vector<KolvoAppItem>& default_apps,
                                 prefs::EdgeMode default_left, prefs::EdgeMode default_right,
                                 const std::array<prefs::CornerControlMode, 4>& default_corners) {
  EffectiveLayout layout;
  layout.profile = profile;
  layout.dock_apps = profile && profile->overrides_dock_apps ? profile->dock_apps : default_apps;
  const bool sliders = profile && profile->overrides_sliders;
  layout.left_edge_mode = sliders ? profile->left_edge_mode : default_left;
  layout.right_edge_mode = sliders ? profile->right_edge_mode : default_right;
  for (std::size_t i = 0; i < kCorners.size(); ++i) {
    layout.corners[i] = profile && profile->overrides_dials ? profile->corner(kCorners[i]) : default_corners[i];
  }
  return layout;
}

}  // namespace kolvo::catalog
