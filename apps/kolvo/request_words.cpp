#include "request_words.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "base/number_text.hpp"
#include "controls/window_snap_controller.hpp"

namespace kolvo::host {
namespace {

using Parsed = std::variant<app::Request, app::Reply>;

app::Reply usage(std::string sentence) { return {app::kExitUsage, {}, "kolvo: " + std::move(sentence) + "\n", {}}; }

// "0.4", "40%": a level between 0 and 1 as the user may type it.
std::optional<float> parse_level(const std::string& text) {
  std::string_view digits = text;
  double scale = 1.0;
  if (digits.ends_with('%')) digits.remove_suffix(1), scale = 100.0;
  const auto value = base::parse_real(digits);
  if (!value || !std::isfinite(*value) || *value / scale < 0 || *value / scale > 1) return std::nullopt;
  return static_cast<float>(*value / scale);
}

Parsed level(app::LevelControl control, const std::vector<std::string>& words) {
  if (words.size() > 3) return usage("'kolvo control " + words[1] + "' takes at most one value.");
  app::LevelRequest request{.control = control, .set_to = std::nullopt};
  if (words.size() == 3) {
    request.set_to = parse_level(words[2]);
    if (!request.set_to) return usage("A level is a number from 0 to 1, or a percentage; '" + words[2] + "' is not.");
  }
  return request;
}

Parsed output(const std::vector<std::string>& words) {
  if (words.size() > 3) return usage("'kolvo control output' takes at most one device id.");
  if (words.size() < 3) return app::OutputRequest{};
  const auto id = base::parse_integer(words[2]);
  if (!id) return usage("'" + words[2] + "' is not an output device id; 'kolvo control output' lists them.");
  return app::OutputRequest{.make_default = *id};
}

Parsed dark(const std::vector<std::string>& words) {
  if (words.size() > 3 || (words.size() == 3 && words[2] != "on" && words[2] != "off")) {
    return usage("'kolvo control dark' takes on or off.");
  }
  if (words.size() < 3) return app::DarkModeRequest{};
  return app::DarkModeRequest{.set_dark = words[2] == "on"};
}

Parsed space(const std::vector<std::string>& words) {
  if (words.size() != 3 || (words[2] != "left" && words[2] != "right")) {
    return usage("'kolvo control space' takes left or right.");
  }
  return app::SpaceRequest{.direction = words[2] == "left" ? controls::SpaceDirection::left
                                                           : controls::SpaceDirection::right};
}

Parsed tab(const std::vector<std::string>& words) {
  const auto delta = words.size() == 3 ? base::parse_integer(words[2]) : std::nullopt;
  if (!delta || *delta < INT32_MIN || *delta > INT32_MAX) {
    return usage("'kolvo control tab' takes a step: 1 for the next tab, -1 for the previous.");
  }
  return app::TabRequest{.step = static_cast<std::int32_t>(*delta)};
}

Parsed snap(std::vector<std::string> words) {
  app::SnapRequest request;
  if (const auto flag = std::find(words.begin(), words.end(), "--pid"); flag != words.end()) {
    request.pid = flag + 1 == words.end() ? std::nullopt : base::parse_integer(*(flag + 1));
    if (!request.pid || *request.pid <= 0 || *request.pid > controls::WindowSnapController::kLargestProcessId) {
      return usage("--pid takes a process id from 1 to 2147483647.");
    }
    words.erase(flag, flag + 2);
  }
  const auto layout = words.size() == 3 ? controls::kWindowLayoutTable.parse(words[2]) : std::nullopt;
  if (!layout) {
    std::string names;
    for (const auto& [value, name] : controls::kWindowLayoutTable.entries) {
      names += (names.empty() ? "" : ", ") + std::string(name);
    }
    return usage("'kolvo control snap' takes a layout: " + names + ".");
  }
  request.layout = *layout;
  return request;
}

Parsed timer(std::vector<std::string> words) {
  app::TimerRequest request{.json = std::erase(words, "--json") > 0};
  const std::string verb = words.size() >= 2 ? words[1] : "status";
  using Action = app::TimerRequest::Action;
  if (verb == "status" && words.size() <= 2) return request;
  if ((verb == "start" || verb == "stop") && words.size() == 2) {
    request.action = verb == "start" ? Action::start : Action::stop;
    return request;
  }
  if (verb == "set" && words.size() == 3) {
    const auto minutes = base::parse_integer(words[2]);
    if (!minutes || *minutes < 0 || *minutes > 60) {
      return usage("The timer takes whole minutes from 0 to 60; '" + words[2] + "' is not.");
    }
    request.action = Action::set_minutes;
    request.minutes = static_cast<int>(*minutes);
    return request;
  }
  return usage("'kolvo timer' takes status, start, stop or set MINUTES.");
}

Parsed deck(std::vector<std::string> words) {
  const bool json = std::erase(words, "--json") > 0;
  const std::string verb = words.size() >= 2 ? words[1] : "";
  if ((verb == "approve" || verb == "deny") && words.size() == 3 && !words[2].empty()) {
    return app::DeckApprovalAnswer{.key = words[2], .allow = verb == "approve"};
  }
  if (verb == "trusted" && words.size() == 2) return app::DeckTrustedRequest{.json = json};
  if (verb == "forget" && words.size() == 3 && !words[2].empty()) return app::DeckForgetRequest{.device_id = words[2]};
  return usage("'kolvo deck' takes pair, watch, send, approve DEVICE_ID, deny DEVICE_ID, trusted or forget DEVICE_ID.");
}

Parsed launch(std::vector<std::string> words) {
  std::optional<std::string> second;
  if (const auto flag = std::find(words.begin(), words.end(), "--with"); flag != words.end()) {
    if (flag + 1 == words.end() || (flag + 1)->empty()) return usage("--with takes a bundle id.");
    second = *(flag + 1);
    words.erase(flag, flag + 2);
  }
  if (words.size() != 2 || words[1].empty()) {
    return usage("'kolvo launch' takes a bundle id, and --with BUNDLE_ID to place a second beside it.");
  }
  if (second) return app::LaunchPairRequest{.primary_bundle_id = words[1], .secondary_bundle_id = *second};
  return app::LaunchRequest{.bundle_id = words[1]};
}

}  // namespace

Parsed parse_request_words(std::vector<std::string> words) {
  if (!words.empty() && words[0] == "timer") return timer(std::move(words));
  if (!words.empty() && words[0] == "deck") return deck(std::move(words));
  if (!words.empty() && words[0] == "launch") return launch(std::move(words));
  if (words.size() < 2 || words[0] != "control") {
    return usage("'kolvo control' takes volume, brightness, backlight, output, dark, desktop, space, tab, snap or "
                 "playpause.");
  }
  const std::string& what = words[1];
  const auto no_value = [&](app::Request request) -> Parsed {
    if (words.size() == 2) return request;
    return usage("'kolvo control " + what + "' takes no value.");
  };
  if (what == "volume") return level(app::LevelControl::volume, words);
  if (what == "brightness") return level(app::LevelControl::brightness, words);
  if (what == "backlight") return level(app::LevelControl::backlight, words);
  if (what == "output") return output(words);
  if (what == "dark") return dark(words);
  if (what == "desktop") return no_value(app::ShowDesktopRequest{});
  if (what == "space") return space(words);
  if (what == "tab") return tab(words);
  if (what == "snap") return snap(std::move(words));
  if (what == "playpause") return no_value(app::PlayPauseRequest{});
  return usage("'" + what + "' is not a control; 'kolvo help' lists them.");
}

}  // namespace kolvo::host
