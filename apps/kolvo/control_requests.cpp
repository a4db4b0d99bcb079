#include "control_requests.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include <nlohmann/json.hpp>

#include "base/date_time.hpp"
#include "base/number_text.hpp"
#include "cli.hpp"

namespace kolvo::host {
namespace {

using controls::ControlServices;
using Reply = std::function<void(ControlReply)>;

constexpr std::string_view kNotTrusted =
    "Kolvo is not trusted for Accessibility, so it cannot press keys or move windows (System Settings > Privacy & "
    "Security > Accessibility).";

ControlReply done(std::string output) { return {0, std::move(output) + "\n", {}}; }
ControlReply failed(int code, std::string sentence) { return {code, {}, "kolvo: " + std::move(sentence) + "\n"}; }

std::string level_text(float value) { return base::shortest_real_text(std::round(static_cast<double>(value) * 1e6) / 1e6); }

// "0.4", "40%": a level between 0 and 1 as the user may type it.
std::optional<float> parse_level(const std::string& text) {
  std::string_view digits = text;
  double scale = 1.0;
  if (digits.ends_with('%')) digits.remove_suffix(1), scale = 100.0;
  const auto value = base::parse_real(digits);
  if (!value || !std::isfinite(*value) || *value / scale < 0 || *value / scale > 1) return std::nullopt;
  return static_cast<float>(*value / scale);
}

// volume, brightness and backlight share their shape: read, or set and read back.
template <typename Read, typename Write>
ControlReply level_control(std::string_view name, const std::vector<std::string>& words, Read read, Write write,
                           std::string_view unavailable) {
  if (words.size() > 3) return failed(kExitUsage, "'kolvo control " + std::string(name) + "' takes at most one value.");
  if (words.size() == 3) {
    const auto level = parse_level(words[2]);
    if (!level) return failed(kExitUsage, "A level is a number from 0 to 1, or a percentage; '" + words[2] + "' is not.");
    if (!read()) return failed(kExitFailure, std::string(unavailable));
    write(*level);
  }
  const auto value = read();
  if (!value) return failed(kExitFailure, std::string(unavailable));
  return done(std::string(name) + " " + level_text(*value));
}

ControlReply volume(ControlContext& context, const std::vector<std::string>& words) {
  auto& volume = context.services.volume();
  auto reply = level_control(
      "volume", words, [&] { return volume.volume(); }, [&](float v) { volume.set_volume(v); },
      "The default output device has no volume control.");
  if (reply.exit_code == 0 && context.audibility) {
    const auto device = context.audibility->default_output_device();
    if (device && context.audibility->mute(*device).value_or(false)) reply.output.insert(reply.output.size() - 1, " (muted)");
  }
  return reply;
}

ControlReply output(ControlContext& context, const std::vector<std::string>& words) {
  auto& outputs = context.services.audio_output();
  if (words.size() > 3) return failed(kExitUsage, "'kolvo control output' takes at most one device id.");
  const auto devices = outputs.output_devices();
  if (words.size() == 3) {
    const auto id = base::parse_integer(words[2]);
    const auto chosen = std::find_if(devices.begin(), devices.end(),
                                     [&](const auto& d) { return id && static_cast<long long>(d.id) == *id; });
    if (chosen == devices.end()) {
      return failed(kExitFailure, "There is no output device " + words[2] + "; 'kolvo control output' lists them.");
    }
    outputs.set_default_output_device(chosen->id);
    if (outputs.default_output_device_id() != chosen->id) {
      return failed(kExitFailure, "The system did not switch to " + chosen->name + ".");
    }
    return done("output " + std::to_string(chosen->id) + " " + chosen->name);
  }
  const auto current = outputs.default_output_device_id();
  std::string text;
  for (const auto& device : devices) {
    text += (current == device.id ? "* " : "  ") + std::to_string(device.id) + " " + device.name + "\n";
  }
  if (text.empty()) return failed(kExitFailure, "There are no output devices.");
  return {0, text, {}};
}

ControlReply dark(ControlContext& context, const std::vector<std::string>& words) {
  auto& appearance = context.services.appearance();
  if (words.size() > 3 || (words.size() == 3 && words[2] != "on" && words[2] != "off")) {
    return failed(kExitUsage, "'kolvo control dark' takes on or off.");
  }
  if (words.size() == 3 && !appearance.set_dark_mode(words[2] == "on")) {
    return failed(kExitFailure,
                  "System Events did not change the appearance; allow Kolvo to control it (System Settings > Privacy & "
                  "Security > Automation).");
  }
  return done(std::string("dark mode ") + (appearance.is_dark_mode() ? "on" : "off"));
}

ControlReply desktop(ControlContext& context) {
  auto& show_desktop = context.services.show_desktop();
  if (!show_desktop.toggle()) return failed(kExitFailure, std::string(kNotTrusted));
  return done(show_desktop.desktop_shown().get() ? "desktop shown" : "desktop hidden");
}

void space(ControlContext& context, const std::vector<std::string>& words, const Reply& reply) {
  if (words.size() != 3 || (words[2] != "left" && words[2] != "right")) {
    return reply(failed(kExitUsage, "'kolvo control space' takes left or right."));
  }
  const auto direction = words[2] == "left" ? controls::SpaceDirection::left : controls::SpaceDirection::right;
  context.services.desktop_space().switch_space(direction, [reply, side = words[2]](bool switched) {
    if (switched) return reply(done("space " + side + " sent"));
    reply(failed(kExitFailure, "System Events did not send Control-" + side +
                                   "; allow Kolvo to control it (System Settings > Privacy & Security > Automation)."));
  });
}

ControlReply tab(ControlContext& context, const std::vector<std::string>& words) {
  const auto delta = words.size() == 3 ? base::parse_integer(words[2]) : std::nullopt;
  if (!delta || *delta < INT32_MIN || *delta > INT32_MAX) {
    return failed(kExitUsage, "'kolvo control tab' takes a step: 1 for the next tab, -1 for the previous.");
  }
  if (context.services.tabs().step(static_cast<int>(*delta))) {
    return done(std::string(*delta > 0 ? "next" : "previous") + " tab");
  }
  if (*delta == 0) return failed(kExitFailure, "A step of 0 moves no tab.");
  const auto frontmost = context.focused ? context.focused->frontmost_bundle_id() : std::nullopt;
  if (!controls::TabSwitchController::is_supported(frontmost)) {
    return failed(kExitFailure, "The frontmost application (" + frontmost.value_or("none") +
                                    ") is not a browser Kolvo can switch tabs in.");
  }
  return failed(kExitFailure, std::string(kNotTrusted));
}

ControlReply snap(ControlContext& context, std::vector<std::string> words) {
  std::optional<long long> pid;
  if (const auto flag = std::find(words.begin(), words.end(), "--pid"); flag != words.end()) {
    if (flag + 1 == words.end() || !(pid = base::parse_integer(*(flag + 1)))) {
      return failed(kExitUsage, "--pid needs a process id.");
    }
    words.erase(flag, flag + 2);
  }
  std::optional<controls::WindowLayout> layout;
  if (words.size() == 3) layout = controls::kWindowLayoutTable.parse(words[2]);
  if (!layout) {
    std::string names;
    for (const auto& [value, name] : controls::kWindowLayoutTable.entries) names += (names.empty() ? "" : ", ") + std::string(name);
    return failed(kExitUsage, "'kolvo control snap' takes a layout: " + names + ".");
  }
  if (!pid && context.focused) pid = context.focused->frontmost_pid();
  if (!pid) return failed(kExitFailure, "There is no frontmost application to snap.");
  if (context.services.window_snap().snap(*layout, *pid)) return done("snapped " + words[2]);
  return failed(kExitFailure, "The window of process " + std::to_string(*pid) +
                                  " was not snapped: it has no ordinary window, is in full screen, would not move, or "
                                  "Kolvo is not trusted for Accessibility.");
}

ControlReply play_pause(ControlContext& context) {
  auto& media = context.services.media();
  if (media.play_pause()) return done("play/pause sent");
  return failed(kExitFailure, "Play/pause was not sent: pressed again within 0.3 s, or " + std::string(kNotTrusted));
}

ControlReply timer_status(ControlContext& context, bool json) {
  auto& timer = context.services.timer();
  if (json) {
    nlohmann::ordered_json status{{"running", timer.is_running().get()},
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

ControlReply timer(ControlContext& context, std::vector<std::string> words) {
  const bool json = std::erase(words, "--json") > 0;
  auto& timer = context.services.timer();
  const std::string verb = words.size() >= 2 ? words[1] : "status";
  if (verb == "status" && words.size() <= 2) return timer_status(context, json);
  if (verb == "start" && words.size() == 2) {
    if (timer.is_running().get()) return failed(kExitFailure, "The timer is already running.");
    if (timer.selected_minutes().get() < 1) return failed(kExitFailure, "The timer is set to 0 minutes.");
    timer.start();
    return timer_status(context, json);
  }
  if (verb == "stop" && words.size() == 2) {
    if (!timer.is_running().get()) return failed(kExitFailure, "The timer is not running.");
    timer.stop();
    return timer_status(context, json);
  }
  if (verb == "set" && words.size() == 3) {
    const auto minutes = base::parse_integer(words[2]);
    if (!minutes || *minutes < 0 || *minutes > 60) {
      return failed(kExitUsage, "The timer takes whole minutes from 0 to 60; '" + words[2] + "' is not.");
    }
    if (timer.is_running().get()) return failed(kExitFailure, "The timer is running; stop it to change the minutes.");
    timer.set_minutes_from_dial(static_cast<double>(*minutes) / 60.0);
    return timer_status(context, json);
  }
  return failed(kExitUsage, "'kolvo timer' takes status, start, stop or set MINUTES.");
}

}  // namespace

void handle_control_request(ControlContext& context, std::vector<std::string> words, std::function<void(ControlReply)> reply) {
  if (!words.empty() && words[0] == "timer") return reply(timer(context, std::move(words)));
  if (words.size() < 2 || words[0] != "control") {
    return reply(failed(kExitUsage, "'kolvo control' takes volume, brightness, backlight, output, dark, desktop, space, "
                                    "tab, snap or playpause."));
  }
  const std::string& what = words[1];
  auto& services = context.services;
  auto no_more = [&](std::string_view name) -> std::optional<ControlReply> {
    if (words.size() == 2) return std::nullopt;
    return failed(kExitUsage, "'kolvo control " + std::string(name) + "' takes no value.");
  };
  if (what == "volume") return reply(volume(context, words));
  if (what == "brightness") {
    auto& brightness = services.brightness();
    return reply(level_control(
        "brightness", words, [&] { return brightness.brightness(); }, [&](float v) { brightness.set_brightness(v); },
        "This display's brightness cannot be controlled."));
  }
  if (what == "backlight") {
    auto& backlight = services.backlight();
    return reply(level_control(
        "backlight", words, [&] { return backlight.brightness(); }, [&](float v) { backlight.set_brightness(v); },
        "This Mac has no keyboard backlight Kolvo can control."));
  }
  if (what == "output") return reply(output(context, words));
  if (what == "dark") return reply(dark(context, words));
  if (what == "desktop") {
    if (auto usage = no_more("desktop")) return reply(*usage);
    return reply(desktop(context));
  }
  if (what == "space") return space(context, words, reply);
  if (what == "tab") return reply(tab(context, words));
  if (what == "snap") return reply(snap(context, words));
  if (what == "playpause") {
    if (auto usage = no_more("playpause")) return reply(*usage);
    return reply(play_pause(context));
  }
  return reply(failed(kExitUsage, "'" + what + "' is not a control; 'kolvo help' lists them."));
}

}  // namespace kolvo::host
