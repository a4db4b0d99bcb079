#include "app/request_handlers.hpp"

#include <algorithm>
#include <cmath>

#include <nlohmann/json.hpp>

#include "base/date_time.hpp"
#include "base/number_text.hpp"

namespace kolvo::app {
namespace {

using Respond = std::function<void(Reply)>;

constexpr std::string_view kNotTrusted =
    "Kolvo is not trusted for Accessibility, so it cannot press keys or move windows (System Settings > Privacy & "
    "Security > Accessibility).";

Reply done(std::string output) { return {0, std::move(output) + "\n", {}}; }
Reply failed(std::string sentence) { return {kExitFailure, {}, "kolvo: " + std::move(sentence) + "\n"}; }

std::string level_text(float value) {
  return base::shortest_real_text(std::round(static_cast<double>(value) * 1e6) / 1e6);
}

// Volume, brightness and backlight share their shape: read, or set and read back.
template <typename Read, typename Write>
Reply level_control(std::string_view name, const LevelRequest& request, Read read, Write write,
                    std::string_view unavailable) {
  if (request.set_to) {
    if (!read()) return failed(std::string(unavailable));
    write(*request.set_to);
  }
  const auto value = read();
  if (!value) return failed(std::string(unavailable));
  return done(std::string(name) + " " + level_text(*value));
}

class Handlers {
 public:
  Handlers(Runtime& runtime, const Respond& respond) : runtime_(runtime), services_(runtime.controls()), respond_(respond) {}

  void operator()(const LevelRequest& request) {
    switch (request.control) {
      case LevelControl::volume: return respond_(volume(request));
      case LevelControl::brightness: {
        auto& brightness = services_.brightness();
        return respond_(level_control(
            "brightness", request, [&] { return brightness.brightness(); },
            [&](float v) { brightness.set_brightness(v); }, "This display's brightness cannot be controlled."));
      }
      case LevelControl::backlight: {
        auto& backlight = services_.backlight();
        return respond_(level_control(
            "backlight", request, [&] { return backlight.brightness(); },
            [&](float v) { backlight.set_brightness(v); }, "This Mac has no keyboard backlight Kolvo can control."));
      }
    }
  }

  void operator()(const OutputRequest& request) {
    auto& outputs = services_.audio_output();
    const auto devices = outputs.output_devices();
    if (request.make_default) {
      const auto chosen = std::find_if(devices.begin(), devices.end(), [&](const auto& d) {
        return static_cast<std::int64_t>(d.id) == *request.make_default;
      });
      if (chosen == devices.end()) {
        return respond_(failed("There is no output device " + std::to_string(*request.make_default) +
                               "; 'kolvo control output' lists them."));
      }
      outputs.set_default_output_device(chosen->id);
      if (outputs.default_output_device_id() != chosen->id) {
        return respond_(failed("The system did not switch to " + chosen->name + "."));
      }
      return respond_(done("output " + std::to_string(chosen->id) + " " + chosen->name));
    }
    const auto current = outputs.default_output_device_id();
    std::string text;
    for (const auto& device : devices) {
      text += (current == device.id ? "* " : "  ") + std::to_string(device.id) + " " + device.name + "\n";
    }
    if (text.empty()) return respond_(failed("There are no output devices."));
    respond_({0, text, {}});
  }

  void operator()(const DarkModeRequest& request) {
    auto& appearance = services_.appearance();
    if (request.set_dark && !appearance.set_dark_mode(*request.set_dark)) {
      return respond_(failed(
          "System Events did not change the appearance; allow Kolvo to control it (System Settings > Privacy & "
          "Security > Automation)."));
    }
    respond_(done(std::string("dark mode ") + (appearance.is_dark_mode() ? "on" : "off")));
  }

  void operator()(const ShowDesktopRequest&) {
    auto& show_desktop = services_.show_desktop();
    if (!show_desktop.toggle()) return respond_(failed(std::string(kNotTrusted)));
    respond_(done(show_desktop.desktop_shown().get() ? "desktop shown" : "desktop hidden"));
  }

  void operator()(const SpaceRequest& request) {
    const std::string side = request.direction == controls::SpaceDirection::left ? "left" : "right";
    services_.desktop_space().switch_space(request.direction, [respond = respond_, side](bool switched) {
      if (switched) return respond(done("space " + side + " sent"));
      respond(failed("System Events did not send Control-" + side +
                     "; allow Kolvo to control it (System Settings > Privacy & Security > Automation)."));
    });
  }

  void operator()(const TabRequest& request) {
    if (services_.tabs().step(request.step)) return respond_(done(request.step > 0 ? "next tab" : "previous tab"));
    if (request.step == 0) return respond_(failed("A step of 0 moves no tab."));
    const auto frontmost = runtime_.frontmost_bundle_id();
    if (!controls::TabSwitchController::is_supported(frontmost)) {
      return respond_(failed("The frontmost application (" + frontmost.value_or("none") +
                             ") is not a browser Kolvo can switch tabs in."));
    }
    respond_(failed(std::string(kNotTrusted)));
  }

  void operator()(const SnapRequest& request) {
    auto pid = request.pid;
    const auto& focused = runtime_.ports().focused_application;
    if (!pid && focused) pid = focused->frontmost_pid();
    if (!pid) return respond_(failed("There is no frontmost application to snap."));
    if (services_.window_snap().snap(request.layout, *pid)) {
      return respond_(done("snapped " + std::string(controls::kWindowLayoutTable.to_string(request.layout))));
    }
    respond_(failed("The window of process " + std::to_string(*pid) +
                    " was not snapped: it has no ordinary window, is in full screen, would not move, or Kolvo is not "
                    "trusted for Accessibility."));
  }

  void operator()(const PlayPauseRequest&) {
    if (services_.media().play_pause()) return respond_(done("play/pause sent"));
    respond_(failed("Play/pause was not sent: pressed again within 0.3 s, or " + std::string(kNotTrusted)));
  }

  void operator()(const TimerRequest& request) {
    auto& timer = services_.timer();
    switch (request.action) {
      case TimerRequest::Action::status: break;
      case TimerRequest::Action::start:
        if (timer.is_running().get()) return respond_(failed("The timer is already running."));
        if (timer.selected_minutes().get() < 1) return respond_(failed("The timer is set to 0 minutes."));
        timer.start();
        break;
      case TimerRequest::Action::stop:
        if (!timer.is_running().get()) return respond_(failed("The timer is not running."));
        timer.stop();
        break;
      case TimerRequest::Action::set_minutes:
        if (timer.is_running().get()) return respond_(failed("The timer is running; stop it to change the minutes."));
        timer.set_minutes_from_dial(static_cast<double>(request.minutes) / 60.0);
        break;
    }
    respond_(timer_status(request.json));
  }

  void operator()(const CalibrateDockRequest& request) {
    auto& dock = runtime_.dock();
    std::optional<dock::ScreenInfo> screen;
    for (const auto& candidate : dock.screens()) {
      if (dock::primary_key(candidate.identity) == request.display_key ||
          std::to_string(candidate.identity.cg_direct_display_id) == request.display_key ||
          dock.store().calibration_key(candidate.identity) == request.display_key) {
        screen = candidate;
        break;
      }
    }
    if (!screen) {
      return respond_(failed("No connected display has the key " + request.display_key + "; 'kolvo dock' lists them."));
    }
    if (const auto problem = dock::calibration_rect_problem(screen->frame, request.dock_rect); !problem.empty()) {
      return respond_(failed("The Dock rectangle " + dock::describe(request.dock_rect) + " cannot calibrate '" +
                             screen->identity.localized_name + "': " + problem + ". Nothing was saved."));
    }
    dock.save_calibration(*screen, request.dock_rect, request.position);
    respond_(done("Saved calibration for '" + screen->identity.localized_name + "' under " +
                  dock::primary_key(screen->identity) + ": dock " + std::string(dock::to_string(request.position)) +
                  " " + dock::describe(request.dock_rect)));
  }

 private:
  Reply volume(const LevelRequest& request) {
    auto& volume = services_.volume();
    auto reply = level_control(
        "volume", request, [&] { return volume.volume(); }, [&](float v) { volume.set_volume(v); },
        "The default output device has no volume control.");
    const auto& audibility = runtime_.ports().audibility;
    if (reply.exit_code == 0 && audibility) {
      const auto device = audibility->default_output_device();
      if (device && audibility->mute(*device).value_or(false)) reply.output.insert(reply.output.size() - 1, " (muted)");
    }
    return reply;
  }

  Reply timer_status(bool json) {
    auto& timer = services_.timer();
    if (json) {
      nlohmann::ordered_json status{
          {"running", timer.is_running().get()},
          {"selectedMinutes", timer.selected_minutes().get()},
          {"remainingSeconds", timer.remaining_seconds().get()},
          {"dialLabel", timer.dial_label()},
          {"dialValue", timer.dial_value()},
          {"endDate", timer.end_date() ? nlohmann::ordered_json(base::format_iso8601(*timer.end_date()))
                                       : nlohmann::ordered_json(nullptr)}};
      return {0, status.dump() + "\n", {}};
    }
    if (!timer.is_running().get()) return done("stopped, " + timer.dial_label());
    return done("running, " + timer.dial_label() + " left, ends " + base::format_iso8601(*timer.end_date()));
  }

  Runtime& runtime_;
  controls::ControlServices& services_;
  const Respond& respond_;
};

}  // namespace

void RequestHandlers::handle(const Request& request, std::function<void(Reply)> reply) {
  Handlers handlers(runtime_, reply);
  std::visit(handlers, request);
}

}  // namespace kolvo::app
