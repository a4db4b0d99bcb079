#include "app/request_handlers.hpp"

#include <algorithm>
#include <array>
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

Reply done(std::string output) { return {0, std::move(output) + "\n", {}, {}}; }
Reply failed(std::string sentence) { return {kExitFailure, {}, "kolvo: " + std::move(sentence) + "\n", {}}; }

using Outcome = deck::KolvoDeckLaunchOutcome;

bool succeeded(Outcome outcome) { return outcome == Outcome::launched || outcome == Outcome::focused; }

// Places the two windows of a pair as their applications come up: each attempt looks for the
// application's process and front window again, since a launching application has neither
// at first. Each window has its own five seconds.
class PairArrangement : public std::enable_shared_from_this<PairArrangement> {
 public:
  static constexpr base::Duration kWindowWait = std::chrono::seconds(5);
  static constexpr base::Duration kRetryInterval = std::chrono::milliseconds(100);

  PairArrangement(Runtime& runtime, std::array<std::string, 2> bundle_ids, std::function<void(int placed)> done)
      : runtime_(runtime), bundle_ids_(std::move(bundle_ids)), done_(std::move(done)),
        deadline_(runtime.main().now() + kWindowWait) {}

  void attempt() {
    const auto running = runtime_.ports().running->running_applications();
    for (std::size_t i = 0; i < placed_.size(); ++i) {
      if (placed_[i]) continue;
      const auto app = std::find_if(running.begin(), running.end(),
                                    [&](const auto& a) { return a.bundle_id == bundle_ids_[i]; });
      if (app == running.end()) continue;
      const auto layout = i == 0 ? controls::WindowLayout::leftHalf : controls::WindowLayout::rightHalf;
      if (runtime_.controls().window_snap().snap(layout, app->pid)) {
        placed_[i] = true;
        // The second window's wait starts once the first is placed.
        deadline_ = runtime_.main().now() + kWindowWait;
      }
    }
    const int placed = static_cast<int>(placed_[0]) + static_cast<int>(placed_[1]);
    if (placed == 2 || runtime_.main().now() >= deadline_) return done_(placed);
    runtime_.main().post_after(kRetryInterval, [self = shared_from_this()] { self->attempt(); });
  }

 private:
  Runtime& runtime_;
  std::array<std::string, 2> bundle_ids_;
  std::function<void(int)> done_;
  base::TimePoint deadline_;
  std::array<bool, 2> placed_{};
};

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
    respond_({0, text, {}, {}});
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

  void operator()(const LaunchRequest& request) {
    const Outcome outcome = launch(request.bundle_id);
    Reply reply = outcome_reply(request.bundle_id, outcome);
    reply.launch = LaunchReport{.primary = outcome, .secondary = {}, .pair = {}, .layout = {}};
    respond_(std::move(reply));
  }

  void operator()(const LaunchPairRequest& request) {
    LaunchReport report;
    report.primary = launch(request.primary_bundle_id);
    report.secondary = launch(request.secondary_bundle_id);
    const bool first = succeeded(report.primary), second = succeeded(*report.secondary);
    // Copies the ids: the arrangement may answer long after the request is gone.
    const auto text = [primary = request.primary_bundle_id, secondary = request.secondary_bundle_id](const LaunchReport& r) {
      return primary + " " + std::string(deck::kLaunchOutcomeTable.to_string(r.primary)) + ", " + secondary + " " +
             std::string(deck::kLaunchOutcomeTable.to_string(*r.secondary)) + "; layout " +
             std::string(deck::kLaunchLayoutOutcomeTable.to_string(*r.layout));
    };
    using Pair = deck::KolvoDeckLaunchPairOutcome;
    using Layout = deck::KolvoDeckLaunchLayoutOutcome;
    if (!first || !second) {
      // Nothing is arranged around an application that did not open.
      report.layout = Layout::skipped;
      const bool any_failed = report.primary == Outcome::failed || *report.secondary == Outcome::failed;
      report.pair = first || second ? Pair::partiallyCompleted : any_failed ? Pair::failed : Pair::rejected;
      Reply reply = first || second ? done(text(report)) : failed(text(report));
      reply.launch = report;
      return respond_(std::move(reply));
    }
    if (!runtime_.ports().accessibility->is_process_trusted()) {
      report.layout = Layout::unavailable;
      report.pair = Pair::partiallyCompleted;
      Reply reply = done(text(report));
      reply.launch = report;
      return respond_(std::move(reply));
    }
    auto arrangement = std::make_shared<PairArrangement>(
        runtime_, std::array<std::string, 2>{request.primary_bundle_id, request.secondary_bundle_id},
        [report, text, respond = respond_](int placed) mutable {
          report.layout = placed == 2 ? Layout::applied : placed == 1 ? Layout::partial : Layout::unavailable;
          report.pair = placed == 2 ? Pair::completed : Pair::partiallyCompleted;
          Reply reply = done(text(report));
          reply.launch = report;
          respond(std::move(reply));
        });
    arrangement->attempt();
  }

  void operator()(const DeckApprovalAnswer& request) {
    auto* server = runtime_.deck_server();
    if (!server || !server->is_running().get()) return respond_(failed("Kolvo Deck is not running here."));
    if (!server->answer_approval(request.key, request.allow)) {
      return respond_(failed("No iPhone with the id " + request.key + " is waiting for approval; 'kolvo deck trusted' "
                             "lists those that are."));
    }
    respond_(done(std::string(request.allow ? "allowed " : "denied ") + request.key));
  }

  void operator()(const DeckTrustedRequest& request) {
    auto& trust = runtime_.deck_trust();
    const auto* server = runtime_.deck_server();
    const auto waiting = server ? server->pending_approvals() : std::vector<deck::ApprovalRequest>{};
    if (request.json) {
      auto trusted = nlohmann::ordered_json::array();
      for (const auto& d : trust.devices()) {
        trusted.push_back({{"id", d.id}, {"name", d.name}, {"addedAt", base::format_iso8601(d.added_at)}});
      }
      auto pending = nlohmann::ordered_json::array();
      for (const auto& w : waiting) pending.push_back({{"id", w.key}, {"name", w.device_name}});
      nlohmann::ordered_json out{{"trusted", std::move(trusted)}, {"waiting", std::move(pending)}};
      return respond_({0, out.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n", {}, {}});
    }
    std::string text;
    for (const auto& d : trust.devices()) {
      text += d.id + "  " + d.name + "  (trusted " + base::format_iso8601(d.added_at) + ")\n";
    }
    for (const auto& w : waiting) text += w.key + "  " + w.device_name + "  (waiting for approval)\n";
    if (text.empty()) text = "No iPhone is trusted.\n";
    respond_({0, text, {}, {}});
  }

  void operator()(const DeckForgetRequest& request) {
    auto* server = runtime_.deck_server();
    const bool removed = server ? server->forget(request.device_id) : runtime_.deck_trust().remove(request.device_id);
    if (!removed) return respond_(failed("No trusted iPhone has the id " + request.device_id + "."));
    respond_(done("forgot " + request.device_id + "; it asks again when it next connects"));
  }

  void operator()(const ShelfCommandRequest& request) {
    auto& shelf = runtime_.shelf();
    const auto widget = std::string(deck::kShelfSurfaceIdentityTable.to_string(request.identity));
    if (!shelf.session(request.identity)) {
      return respond_(failed("No " + widget + " widget is running: it is not on the Shelf, Kolvo Deck is not running, "
                             "or this Mac cannot feed that widget yet."));
    }
    shelf.route(request.identity, request.command);
    respond_(done(std::string(deck::kShelfSurfaceCommandTable.to_string(request.command.command)) + " sent to " + widget));
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
  // Resolves the application, then brings it forward or starts it.
  Outcome launch(const std::string& bundle_id) {
    if (!runtime_.settings().launch_beta_enabled() || bundle_id.empty()) return Outcome::rejected;
    const auto installed = runtime_.ports().applications->application_with_bundle_id(bundle_id);
    if (!installed) return Outcome::rejected;
    const auto running = runtime_.ports().running->running_applications();
    const bool was_running =
        std::any_of(running.begin(), running.end(), [&](const auto& app) { return app.bundle_id == bundle_id; });
    const auto& opener = runtime_.ports().opener;
    if (!opener || !opener->open_application(catalog::make_app_item(*installed))) return Outcome::failed;
    return was_running ? Outcome::focused : Outcome::launched;
  }

  Reply outcome_reply(const std::string& bundle_id, Outcome outcome) {
    switch (outcome) {
      case Outcome::launched: return done("launched " + bundle_id);
      case Outcome::focused: return done("brought " + bundle_id + " forward");
      case Outcome::rejected:
        if (!runtime_.settings().launch_beta_enabled()) {
          return failed("Launching from Kolvo Deck is switched off (com.kolvo.launchBetaEnabled).");
        }
        return failed("No application with the bundle id '" + bundle_id + "' is installed.");
      case Outcome::failed: break;
    }
    return failed("The system could not open " + bundle_id + ".");
  }

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
      return {0, status.dump() + "\n", {}, {}};
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
