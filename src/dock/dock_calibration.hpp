#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include <nlohmann/json.hpp>

#include "base/enum_table.hpp"
#include "dock/rect.hpp"

namespace kolvo::dock {

// The edge the Dock sits on. The order breaks ties: bottom, then left, then right.
enum class DockPosition { bottom, left, right };
inline constexpr auto kDockPositionTable =
    base::make_enum_table<DockPosition>({{DockPosition::bottom, "bottom"}, {DockPosition::left, "left"},
                                         {DockPosition::right, "right"}});
constexpr std::string_view to_string(DockPosition p) { return kDockPositionTable.to_string(p); }

// What the user aligned once for a display: the Dock's rectangle, the display's frame at the
// time, and what the Dock held then, so that later changes can be recognised.
struct DockCalibration {
  Rect dock_rect;
  Rect screen_frame;
  DockPosition dock_position = DockPosition::bottom;
  double created_at = 0;  // seconds since 2001-01-01 UTC
  std::optional<double> baseline_estimated_dock_width;
  std::optional<std::int64_t> baseline_persistent_item_count;
  std::optional<std::int64_t> baseline_transient_running_app_count;
  std::optional<double> baseline_tile_size;
  std::optional<bool> baseline_show_recents;

  friend bool operator==(const DockCalibration&, const DockCalibration&) = default;
};

nlohmann::ordered_json to_json(const DockCalibration& calibration);
std::optional<DockCalibration> calibration_from_json(const nlohmann::json& json, std::string* error = nullptr);

// Who a display is, as far as the system will say.
struct KolvoDisplayIdentity {
  std::uint32_t cg_direct_display_id = 0;  // 0 when unknown
  std::string localized_name;
  Rect screen_frame;
  double backing_scale_factor = 1;
  std::optional<std::string> display_uuid;

  friend bool operator==(const KolvoDisplayIdentity&, const KolvoDisplayIdentity&) = default;
};

// The UUID when there is one, else the display number in decimal ("0" for neither).
std::string primary_key(const KolvoDisplayIdentity& identity);

// The rectangle as [[x, y], [width, height]], the form stored by earlier versions.
nlohmann::ordered_json rect_to_json(const Rect& rect);
std::optional<Rect> rect_from_json(const nlohmann::json& json);

nlohmann::ordered_json to_json(const KolvoDisplayIdentity& identity);
std::optional<KolvoDisplayIdentity> identity_from_json(const nlohmann::json& json, std::string* error = nullptr);

// Which display or displays the Hidden Dock lives on.
struct SelectedDisplay {
  std::string key;
  friend bool operator==(const SelectedDisplay&, const SelectedDisplay&) = default;
};
struct AutomaticDisplay {
  friend bool operator==(const AutomaticDisplay&, const AutomaticDisplay&) = default;
};
struct AllCalibratedDisplays {
  friend bool operator==(const AllCalibratedDisplays&, const AllCalibratedDisplays&) = default;
};
using KolvoDisplayMode = std::variant<SelectedDisplay, AutomaticDisplay, AllCalibratedDisplays>;

// {"selectedDisplay":{"_0":key}}, {"automatic":{}}, {"allCalibratedDisplays":{}}.
nlohmann::ordered_json to_json(const KolvoDisplayMode& mode);
// Fails with "Invalid number of keys found, expected one." unless the object has one member.
std::optional<KolvoDisplayMode> display_mode_from_json(const nlohmann::json& json, std::string* error = nullptr);
// "automatic", "allCalibratedDisplays", "selectedDisplay(<key>)".
std::string describe(const KolvoDisplayMode& mode);

// Why a Dock rectangle cannot be a calibration of a display with this frame: it has no size,
// is not made of finite numbers, or does not touch the display. Empty when it can.
std::string calibration_rect_problem(const Rect& display_frame, const Rect& dock_rect);

}  // namespace kolvo::dock
