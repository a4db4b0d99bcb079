#include "dock/dock_calibration.hpp"

#include <cmath>

#include "base/json_reader.hpp"

namespace kolvo::dock {
namespace {

void set_error(std::string* out, const std::string& error) {
  if (out) *out = error;
}

}  // namespace

nlohmann::ordered_json to_json(const DockCalibration& c) {
  nlohmann::ordered_json json;
  json["dockMinX"] = c.dock_rect.x;
  json["dockMinY"] = c.dock_rect.y;
  json["dockWidth"] = c.dock_rect.width;
  json["dockHeight"] = c.dock_rect.height;
  json["screenMinX"] = c.screen_frame.x;
  json["screenMinY"] = c.screen_frame.y;
  json["screenWidth"] = c.screen_frame.width;
  json["screenHeight"] = c.screen_frame.height;
  json["dockPosition"] = std::string(to_string(c.dock_position));
  json["createdAt"] = c.created_at;
  if (c.baseline_estimated_dock_width) json["baselineEstimatedDockWidth"] = *c.baseline_estimated_dock_width;
  if (c.baseline_persistent_item_count) json["baselinePersistentItemCount"] = *c.baseline_persistent_item_count;
  if (c.baseline_transient_running_app_count) {
    json["baselineTransientRunningAppCount"] = *c.baseline_transient_running_app_count;
  }
  if (c.baseline_tile_size) json["baselineTileSize"] = *c.baseline_tile_size;
  if (c.baseline_show_recents) json["baselineShowRecents"] = *c.baseline_show_recents;
  return json;
}

std::optional<DockCalibration> calibration_from_json(const nlohmann::json& json, std::string* error) {
  base::JsonReader r(json, "DockCalibration");
  DockCalibration c;
  c.dock_rect = {r.real("dockMinX"), r.real("dockMinY"), r.real("dockWidth"), r.real("dockHeight")};
  c.screen_frame = {r.real("screenMinX"), r.real("screenMinY"), r.real("screenWidth"), r.real("screenHeight")};
  c.dock_position = r.enumeration("dockPosition", kDockPositionTable);
  c.created_at = r.real("createdAt");
  c.baseline_estimated_dock_width = r.optional_real("baselineEstimatedDockWidth");
  c.baseline_persistent_item_count = r.optional_integer("baselinePersistentItemCount");
  c.baseline_transient_running_app_count = r.optional_integer("baselineTransientRunningAppCount");
  c.baseline_tile_size = r.optional_real("baselineTileSize");
  c.baseline_show_recents = r.optional_boolean("baselineShowRecents");
  if (!r.ok()) {
    set_error(error, r.error());
    return std::nullopt;
  }
  return c;
}

std::string primary_key(const KolvoDisplayIdentity& identity) {
  if (identity.display_uuid) return *identity.display_uuid;
  return std::to_string(identity.cg_direct_display_id);
}

nlohmann::ordered_json rect_to_json(const Rect& r) {
  return nlohmann::ordered_json::array({nlohmann::ordered_json::array({r.x, r.y}),
                                        nlohmann::ordered_json::array({r.width, r.height})});
}

std::optional<Rect> rect_from_json(const nlohmann::json& json) {
  auto pair = [](const nlohmann::json& p) -> std::optional<std::pair<double, double>> {
    if (!p.is_array() || p.size() != 2 || !p[0].is_number() || !p[1].is_number()) return std::nullopt;
    return std::pair{p[0].get<double>(), p[1].get<double>()};
  };
  if (!json.is_array() || json.size() != 2) return std::nullopt;
  const auto origin = pair(json[0]);
  const auto size = pair(json[1]);
  if (!origin || !size) return std::nullopt;
  return Rect{origin->first, origin->second, size->first, size->second};
}

nlohmann::ordered_json to_json(const KolvoDisplayIdentity& identity) {
  nlohmann::ordered_json json;
  json["cgDirectDisplayID"] = identity.cg_direct_display_id;
  json["localizedName"] = identity.localized_name;
  json["screenFrame"] = rect_to_json(identity.screen_frame);
  json["backingScaleFactor"] = identity.backing_scale_factor;
  if (identity.display_uuid) json["displayUUID"] = *identity.display_uuid;
  return json;
}

std::optional<KolvoDisplayIdentity> identity_from_json(const nlohmann::json& json, std::string* error) {
  base::JsonReader r(json, "KolvoDisplayIdentity");
  KolvoDisplayIdentity identity;
  identity.cg_direct_display_id = static_cast<std::uint32_t>(r.integer("cgDirectDisplayID", 0, UINT32_MAX));
  identity.localized_name = r.string("localizedName");
  if (const auto* frame = r.value("screenFrame")) {
    if (const auto rect = rect_from_json(*frame)) {
      identity.screen_frame = *rect;
    } else {
      r.fail("screenFrame", "expected [[x, y], [width, height]]");
    }
  }
  identity.backing_scale_factor = r.real("backingScaleFactor");
  identity.display_uuid = r.optional_string("displayUUID");
  if (!r.ok()) {
    set_error(error, r.error());
    return std::nullopt;
  }
  return identity;
}

nlohmann::ordered_json to_json(const KolvoDisplayMode& mode) {
  nlohmann::ordered_json json = nlohmann::ordered_json::object();
  if (const auto* selected = std::get_if<SelectedDisplay>(&mode)) {
    json["selectedDisplay"] = {{"_0", selected->key}};
  } else if (std::holds_alternative<AutomaticDisplay>(mode)) {
    json["automatic"] = nlohmann::ordered_json::object();
  } else {
    json["allCalibratedDisplays"] = nlohmann::ordered_json::object();
  }
  return json;
}

std::optional<KolvoDisplayMode> display_mode_from_json(const nlohmann::json& json, std::string* error) {
  if (!json.is_object()) {
    set_error(error, "KolvoDisplayMode: expected an object");
    return std::nullopt;
  }
  if (json.size() != 1) {
    set_error(error, "Invalid number of keys found, expected one.");
    return std::nullopt;
  }
  const std::string& name = json.begin().key();
  const nlohmann::json& payload = json.begin().value();
  if (!payload.is_object()) {
    set_error(error, "KolvoDisplayMode." + name + ": expected an object");
    return std::nullopt;
  }
  if (name == "automatic") return AutomaticDisplay{};
  if (name == "allCalibratedDisplays") return AllCalibratedDisplays{};
  if (name == "selectedDisplay") {
    base::JsonReader r(payload, "KolvoDisplayMode.selectedDisplay");
    std::string key = r.string("_0");
    if (!r.ok()) {
      set_error(error, r.error());
      return std::nullopt;
    }
    return SelectedDisplay{std::move(key)};
  }
  set_error(error, "KolvoDisplayMode: unknown case '" + name + "'");
  return std::nullopt;
}

std::string describe(const KolvoDisplayMode& mode) {
  if (const auto* selected = std::get_if<SelectedDisplay>(&mode)) return "selectedDisplay(" + selected->key + ")";
  if (std::holds_alternative<AutomaticDisplay>(mode)) return "automatic";
  return "allCalibratedDisplays";
}

std::string calibration_rect_problem(const Rect& display_frame, const Rect& dock_rect) {
  for (const double v : {dock_rect.x, dock_rect.y, dock_rect.width, dock_rect.height}) {
    if (!std::isfinite(v)) return "it is not made of finite numbers";
  }
  if (!(dock_rect.width > 0) || !(dock_rect.height > 0)) return "it has no size";
  if (!intersects(display_frame, dock_rect)) return "it does not touch the display " + describe(display_frame);
  return {};
}

}  // namespace kolvo::dock
