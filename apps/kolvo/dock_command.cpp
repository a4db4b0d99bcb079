#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <sstream>

#include "app/request_handlers.hpp"
#include "base/number_text.hpp"
#include "cli.hpp"
#include "host_runtime.hpp"
#include "ui/zone_map_svg.hpp"

namespace kolvo::host {
namespace {

using dock::Rect;
using dock::Side;
using Json = nlohmann::ordered_json;

Json rect_json(const Rect& r) { return {{"x", r.x}, {"y", r.y}, {"width", r.width}, {"height", r.height}}; }

std::optional<Rect> parse_rect(const std::string& text) {
  std::vector<double> numbers;
  std::stringstream stream(text);
  std::string part;
  while (std::getline(stream, part, ',')) {
    const auto number = base::parse_real(part);
    if (!number) return std::nullopt;
    numbers.push_back(*number);
  }
  if (numbers.size() != 4 || !(numbers[2] > 0) || !(numbers[3] > 0)) return std::nullopt;
  return Rect{numbers[0], numbers[1], numbers[2], numbers[3]};
}

// Every display as `kolvo dock` reports it.
Json describe_displays(app::Runtime& runtime) {
  auto& dock = runtime.dock();
  const double offset = runtime.settings().alignment().alignment_edge_offset();
  // As at start-up: the display in use first, then each display bootstraps its own entry.
  dock.cache().refresh(std::nullopt, "startup", /*force=*/false);
  const auto target = dock.target_screen();

  Json displays = Json::array();
  for (const auto& screen : dock.screens()) {
    const auto key = dock.store().calibration_key(screen.identity);
    const auto geometry = dock.geometry_for(screen);
    Json display;
    display["name"] = screen.identity.localized_name;
    display["key"] = dock::primary_key(screen.identity);
    display["calibrationKey"] = key ? Json(*key) : Json(nullptr);
    display["calibration"] = key ? Json(dock::to_json(dock.store().calibrations().at(*key))) : Json(nullptr);
    display["isTarget"] = target && dock::primary_key(target->identity) == dock::primary_key(screen.identity);
    display["frame"] = rect_json(screen.frame);
    display["visibleFrame"] = rect_json(screen.visible_frame);
    display["detection"] = {{"dockRect", rect_json(geometry.detection.dock_rect)},
                            {"source", std::string(dock::to_string(geometry.detection.source))},
                            {"dockPosition", std::string(dock::to_string(geometry.detection.dock_position))}};
    display["leftTriggerRect"] = rect_json(geometry.left_trigger_rect);
    display["rightTriggerRect"] = rect_json(geometry.right_trigger_rect);
    display["triggerStrips"] = {{"left", rect_json(dock::trigger_strip(geometry, Side::left, offset))},
                                {"right", rect_json(dock::trigger_strip(geometry, Side::right, offset))}};
    display["hoverBands"] = {{"left", rect_json(dock::hover_band(geometry, Side::left, offset))},
                             {"right", rect_json(dock::hover_band(geometry, Side::right, offset))}};
    displays.push_back(std::move(display));
  }
  Json out;
  out["displayMode"] = dock::describe(dock.store().display_mode());
  out["liveFollow"] = dock.cache().live_follow();
  out["displays"] = std::move(displays);
  return out;
}

void print_text(const Json& report) {
  std::cout << "Display mode: " << report["displayMode"].get<std::string>()
            << "\nLive follow: " << (report["liveFollow"].get<bool>() ? "on" : "off") << '\n';
  auto rect = [](const Json& r) {
    return dock::describe({r["x"].get<double>(), r["y"].get<double>(), r["width"].get<double>(),
                               r["height"].get<double>()});
  };
  for (const auto& display : report["displays"]) {
    std::cout << '\n' << display["name"].get<std::string>() << (display["isTarget"].get<bool>() ? "  (Hidden Dock here)" : "")
              << "\n  key: " << display["key"].get<std::string>() << "\n  calibration: ";
    if (display["calibration"].is_null()) {
      std::cout << "none\n";
    } else {
      const auto& c = display["calibration"];
      std::cout << "[" << display["calibrationKey"].get<std::string>() << "] dock "
                << c["dockPosition"].get<std::string>() << " "
                << dock::describe({c["dockMinX"].get<double>(), c["dockMinY"].get<double>(),
                                       c["dockWidth"].get<double>(), c["dockHeight"].get<double>()})
                << '\n';
    }
    const auto& detection = display["detection"];
    std::cout << "  detection: " << rect(detection["dockRect"]) << " source " << detection["source"].get<std::string>()
              << " position " << detection["dockPosition"].get<std::string>() << '\n'
              << "  trigger rects: left " << rect(display["leftTriggerRect"]) << "  right "
              << rect(display["rightTriggerRect"]) << '\n'
              << "  trigger strips: left " << rect(display["triggerStrips"]["left"]) << "  right "
              << rect(display["triggerStrips"]["right"]) << '\n'
              << "  hover bands: left " << rect(display["hoverBands"]["left"]) << "  right "
              << rect(display["hoverBands"]["right"]) << '\n';
  }
}

std::optional<std::string> take_value(Arguments& arguments, std::string_view flag, bool& missing_value) {
  const auto found = std::find(arguments.begin(), arguments.end(), flag);
  if (found == arguments.end()) return std::nullopt;
  if (found + 1 == arguments.end()) {
    missing_value = true;
    arguments.erase(found);
    return std::nullopt;
  }
  std::string value = *(found + 1);
  arguments.erase(found, found + 2);
  return value;
}

// Writes `text` to `path` through a temporary file beside it, flushed to the disk before it
// takes the name, so a picture already there is replaced whole or not at all. Empty when
// written, otherwise why not.
std::string write_atomically(const std::filesystem::path& path, const std::string& text) {
  const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
  std::string temporary = (folder / ("." + path.filename().string() + ".XXXXXX")).string();
  const int fd = ::mkstemp(temporary.data());
  if (fd < 0) return std::strerror(errno);
  std::string error;
  for (std::size_t done = 0; done < text.size() && error.empty();) {
    const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      error = std::strerror(n < 0 ? errno : EIO);
    } else {
      done += static_cast<std::size_t>(n);
    }
  }
  // A picture others can read, as a file made by any other program would be.
  if (error.empty() && ::fchmod(fd, 0644) != 0) error = std::strerror(errno);
  if (error.empty() && ::fsync(fd) != 0) error = std::strerror(errno);
  if (::close(fd) != 0 && error.empty()) error = std::strerror(errno);
  if (error.empty() && ::rename(temporary.c_str(), path.c_str()) != 0) error = std::strerror(errno);
  if (!error.empty()) ::unlink(temporary.c_str());
  return error;
}

int write_zone_map(app::Runtime& runtime, const std::string& file) {
  // As at start-up: the display in use first, then each display bootstraps its own entry.
  runtime.dock().cache().refresh(std::nullopt, "startup", /*force=*/false);
  ui::ZoneMap map = runtime.zone_map(ui::kZoneMapOverlayLabelSize);
  if (map.displays.empty()) return fail(kExitFailure, "There is no display to draw the activation zones of.");
  // The picture is drawn smaller than a large desk, so its labels are set larger to stay readable.
  ui::place_labels(map, ui::zone_map_svg_label_size(map.bounds()));
  const std::string error = write_atomically(file, ui::zone_map_svg(map));
  if (!error.empty()) return fail(kExitFailure, "The zone map could not be written to '" + file + "': " + error + ".");
  std::size_t zones = 0;
  for (const auto& display : map.displays) zones += display.zones.size();
  std::cout << "Wrote the activation zones of " << map.displays.size()
            << (map.displays.size() == 1 ? " display" : " displays") << " (" << zones << " rectangles) to " << file
            << '\n';
  return 0;
}

int calibrate(Arguments arguments) {
  bool missing = false;
  const auto key = take_value(arguments, "--display", missing);
  const auto rect_text = take_value(arguments, "--rect", missing);
  const auto position_text = take_value(arguments, "--position", missing);
  auto runtime = open_runtime(arguments, HostRuntime::Mode::live);
  if (!runtime) return kExitFailure;
  if (missing || !key || !rect_text || !position_text || !arguments.empty()) {
    return fail(kExitUsage,
                "'kolvo dock calibrate' needs --display KEY --rect X,Y,W,H --position bottom|left|right, and nothing else.");
  }
  const auto rect = parse_rect(*rect_text);
  if (!rect) return fail(kExitUsage, "'" + *rect_text + "' is not a rectangle; write X,Y,W,H with a positive size.");
  const auto position = dock::kDockPositionTable.parse(*position_text);
  if (!position) return fail(kExitUsage, "'" + *position_text + "' is not a Dock position; use bottom, left or right.");

  app::RequestHandlers handlers(runtime->runtime());
  int code = kExitFailure;
  handlers.handle(app::CalibrateDockRequest{.display_key = *key, .dock_rect = *rect, .position = *position},
                  [&code](const app::Reply& reply) {
                    std::cout << reply.output;
                    std::cerr << reply.error;
                    code = reply.exit_code;
                  });
  return code;
}

}  // namespace

int run_dock(Arguments arguments) {
  if (!arguments.empty() && arguments.front() == "calibrate") {
    arguments.erase(arguments.begin());
    return calibrate(std::move(arguments));
  }
  const bool json = take_flag(arguments, "--json");
  bool missing_file = false;
  const auto svg = take_value(arguments, "--svg", missing_file);
  if (missing_file || (svg && svg->empty())) return fail(kExitUsage, "--svg needs the file to write the picture to.");
  if (svg && json) return fail(kExitUsage, "'kolvo dock --svg FILE' writes a picture; it takes no --json.");
  auto runtime = open_runtime(arguments, HostRuntime::Mode::read_only);
  if (!runtime) return kExitFailure;
  if (!arguments.empty()) {
    return fail(kExitUsage, "'kolvo dock' takes --json, --svg FILE, --sim FILE, or 'calibrate'.");
  }
  if (svg) return write_zone_map(runtime->runtime(), *svg);
  const Json report = describe_displays(runtime->runtime());
  if (json) {
    std::cout << report.dump(2) << '\n';
  } else {
    print_text(report);
  }
  return 0;
}

}  // namespace kolvo::host
