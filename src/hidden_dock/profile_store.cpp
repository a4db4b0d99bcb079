#include "hidden_dock/profile_store.hpp"

#include <algorithm>

#include "core/json_reader.hpp"
#include "core/replaced_value.hpp"
#include "core/settings_keys.hpp"
#include "core/uuid.hpp"

namespace kolvo::hidden_dock {
namespace {

constexpr std::array kCorners{core::Corner::topLeft, core::Corner::topRight, core::Corner::bottomLeft,
                              core::Corner::bottomRight};

}  // namespace

core::CornerControlMode KolvoProfile::corner(core::Corner c) const {
  const auto found = corners.find(std::string(core::to_string(c)));
  return found == corners.end() ? core::CornerControlMode::off : found->second;
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
  json["leftEdgeMode"] = std::string(core::to_string(p.left_edge_mode));
  json["rightEdgeMode"] = std::string(core::to_string(p.right_edge_mode));
  json["overridesDials"] = p.overrides_dials;
  auto corners = nlohmann::ordered_json::object();
  for (const auto& [name, mode] : p.corners) corners[name] = std::string(core::to_string(mode));
  json["corners"] = std::move(corners);
  return json;
}

std::optional<KolvoProfile> profile_from_json(const nlohmann::json& json, std::string* error) {
  core::JsonReader r(json, "KolvoProfile");
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
  p.left_edge_mode = r.enumeration("leftEdgeMode", core::kEdgeModeTable);
  p.right_edge_mode = r.enumeration("rightEdgeMode", core::kEdgeModeTable);
  p.overrides_dials = r.boolean("overridesDials");
  if (const auto* corners = r.value("corners"); corners && !corners->is_object()) {
    r.fail("corners", "expected an object");
  } else if (corners) {
    for (auto entry = corners->begin(); entry != corners->end(); ++entry) {
      std::optional<core::CornerControlMode> mode;
      if (entry->is_string()) mode = core::kCornerControlModeTable.parse(entry->get_ref<const std::string&>());
      if (!mode) {
        r.fail("corners." + entry.key(), "not a corner mode");
        break;
      }
      p.corners.emplace(entry.key(), *mode);
    }
  }
  if (r.ok()) {
    if (const auto canonical = core::canonical_uuid(id)) {
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

ProfileStore::ProfileStore(core::PreferenceStore& prefs, core::DiagnosticsLog& log) : prefs_(prefs) {
  const auto data = prefs.read_data(core::keys::kAppProfiles);
  if (data.is_present()) {
    const auto json = nlohmann::json::parse(data.value.begin(), data.value.end(), nullptr, false);
    if (json.is_array()) {
      std::vector<KolvoProfile> profiles;
      for (const auto& entry : json) {
        auto profile = profile_from_json(entry);
        if (!profile) {
          profiles.clear();
          core::keep_before_replacing(prefs, core::keys::kAppProfiles, log);
          return;
        }
        profiles.push_back(std::move(*profile));
      }
      profiles_.set(std::move(profiles));
      return;
    }
  }
  core::keep_before_replacing(prefs, core::keys::kAppProfiles, log);
}

void ProfileStore::save() {
  auto json = nlohmann::ordered_json::array();
  for (const auto& profile : profiles_.get()) json.push_back(to_json(profile));
  const std::string text = json.dump();
  prefs_.set(core::keys::kAppProfiles, core::PreferenceData(text.begin(), text.end()));
}

const KolvoProfile& ProfileStore::add(const std::string& bundle_id, const std::string& app_name, core::EdgeMode left,
                                      core::EdgeMode right, const std::array<core::CornerControlMode, 4>& corners) {
  if (const KolvoProfile* existing = profile_for(bundle_id)) return *existing;
  KolvoProfile profile;
  profile.id = core::make_uuid();
  profile.bundle_id = bundle_id;
  profile.app_name = app_name;
  profile.left_edge_mode = left;
  profile.right_edge_mode = right;
  for (std::size_t i = 0; i < kCorners.size(); ++i) profile.corners[std::string(core::to_string(kCorners[i]))] = corners[i];
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
                                 core::EdgeMode default_left, core::EdgeMode default_right,
                                 const std::array<core::CornerControlMode, 4>& default_corners) {
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

}  // namespace kolvo::hidden_dock
