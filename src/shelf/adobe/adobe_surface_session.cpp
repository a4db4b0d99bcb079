#include "shelf/adobe/adobe_surface_session.hpp"

#include <utility>

namespace kolvo::shelf {
namespace {

constexpr std::string_view kLogTag = "Adobe";

// Which tool Photoshop has active: the name it uses inside ("paintbrushTool").
constexpr std::string_view kPhotoshopToolScript = "app.currentTool";
// Illustrator says nothing of its tools to scripts. Its name costs it nothing to give, and
// asking tells whether it answers and whether Kolvo may ask.
constexpr std::string_view kIllustratorProbeScript = "app.name";

std::string after_effects_tool_script() {
  // `toolType` is a number of the `ToolType` enumeration; its name is found by comparing it
  // with the values of the names the phone knows. A name an older After Effects lacks reads
  // as undefined and matches nothing.
  std::string names;
  for (const auto name : after_effects_tool_type_names()) {
    names += names.empty() ? "'" : ",'";
    names += name;
    names += "'";
  }
  return "var L=[];try{var t=app.project.toolType;var N=[" + names +
         "];for(var i=0;i<N.length;i++){var v=ToolType[N[i]];if(v!==undefined&&v==t){L.push(N[i]);break;}}}"
         "catch(e){}";
}

std::string_view trimmed(std::string_view text) {
  const auto space = [](char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; };
  while (!text.empty() && space(text.front())) text.remove_prefix(1);
  while (!text.empty() && space(text.back())) text.remove_suffix(1);
  return text;
}

std::string tool_name(AdobeToolID tool) { return std::string(deck::kAdobeToolIDTable.to_string(tool)); }

}  // namespace

AdobeSurfaceSession::AdobeSurfaceSession(AdobeApp app, Ports ports)
    : app_(app),
      main_(ports.main),
      clock_(ports.clock),
      log_(ports.log),
      processes_(std::move(ports.processes)),
      accessibility_(std::move(ports.accessibility)),
      grids_(ports.grids),
      runner_(std::make_shared<const AdobeScriptRunner>(std::move(ports.apple_events))),
      poll_timer_(main_),
      interaction_debounce_(main_, kInteractionDebounce),
      activation_(main_),
      color_queue_(kColorQueueLabel, main_, base::SerialQueue::Priority::user_initiated),
      control_queue_(kControlQueueLabel, main_, base::SerialQueue::Priority::user_initiated) {}

AdobeSurfaceSession::~AdobeSurfaceSession() = default;

std::string AdobeSurfaceSession::poll_script(AdobeApp app) {
  switch (app) {
    case AdobeApp::photoshop: return std::string(kPhotoshopToolScript);
    case AdobeApp::illustrator: return std::string(kIllustratorProbeScript);
    case AdobeApp::afterEffects: return after_effects_tool_script();
    case AdobeApp::premiere: return {};
  }
  return {};
}

std::string AdobeSurfaceSession::not_running_text(AdobeApp app) {
  return "Open " + std::string(adobe_app_name(app)) + " on your Mac";
}

std::string AdobeSurfaceSession::not_responding_text(AdobeApp app) {
  return std::string(adobe_app_name(app)) + " did not respond";
}

std::string AdobeSurfaceSession::automation_denied_text(AdobeApp app) {
  return "Allow Kolvo to control " + std::string(adobe_app_name(app)) +
         " in System Settings \xE2\x80\xBA Privacy & Security \xE2\x80\xBA Automation.";
}

void AdobeSurfaceSession::start() {
  if (running_) return;
  running_ = true;
  ++generation_;
  forget_last_sent();
  poll();
  poll_timer_.start(kInterval, [this] { poll(); });
}

void AdobeSurfaceSession::stop() {
  running_ = false;
  poll_timer_.stop();
  interaction_debounce_.cancel();
  activation_.stop();
  pending_.reset();
  // A read still out comes back to a later generation and is dropped.
  ++generation_;
  polling_ = false;
  poll_again_ = false;
  observation_.reset();
  observed_pid_.reset();
  observed_trusted_ = false;
  forget_last_sent();
  shown_.reset();
  failed_reads_ = 0;
  chosen_tool_.reset();
  instance_pid_.reset();
}

void AdobeSurfaceSession::refresh() {
  if (running_) resend_last();
}

void AdobeSurfaceSession::tool_grid_did_change() {
  if (!running_) return;
  forget_last_sent();
  publish();
}

void AdobeSurfaceSession::poll() {
  if (!running_) return;
  // One conversation with the application at a time; a read asked for meanwhile follows it.
  if (polling_) {
    poll_again_ = true;
    return;
  }
  polling_ = true;
  control_queue_.async(
      [app = app_, runner = runner_, processes = processes_] {
        return processes ? read(app, *runner, *processes) : Reading{};
      },
      [this, generation = generation_, selections = selections_](Reading reading) {
        finish(generation, selections, std::move(reading));
      });
}

AdobeSurfaceSession::Reading AdobeSurfaceSession::read(AdobeApp app, const AdobeScriptRunner& runner,
                                                       const ApplicationProcesses& processes) {
  Reading reading;
  reading.instance = find_adobe_instance(app, processes.running(), processes.frontmost_pid());
  if (!reading.instance) return reading;
  // Scripts go to the running instance's own identifier, which may carry a version.
  const std::string& bundle_id = reading.instance->bundle_id;
  constexpr int kTimeout = AdobeScriptRunner::kReadTimeoutSeconds;
  switch (app) {
    case AdobeApp::photoshop:
    case AdobeApp::illustrator:
      reading.outcome = runner.run(bundle_id, poll_script(app), kTimeout, AdobeScriptRunner::Text::fixed);
      break;
    case AdobeApp::afterEffects: reading.outcome = runner.run_in_after_effects(bundle_id, poll_script(app), kTimeout); break;
    case AdobeApp::premiere: break;
  }
  return reading;
}

void AdobeSurfaceSession::finish(std::uint64_t generation, std::uint64_t selections, Reading reading) {
  if (generation != generation_) return;
  polling_ = false;
  const auto pid = reading.instance ? std::optional(reading.instance->pid) : std::nullopt;
  const bool says_its_tool = app_ == AdobeApp::photoshop || app_ == AdobeApp::afterEffects;
  if (pid != instance_pid_) {
    // A new instance starts with its own tool, which an application that cannot say is not
    // known to have.
    instance_pid_ = pid;
    if (!says_its_tool) chosen_tool_.reset();
  }
  follow_interactions(reading.instance);

  using R = AdobeScriptRunner;
  Shown next;
  std::string detail;
  const auto* failed = reading.outcome ? std::get_if<R::Failed>(&*reading.outcome) : nullptr;
  if (!reading.instance || (reading.outcome && std::holds_alternative<R::NotRunning>(*reading.outcome))) {
    next.unavailable = not_running_text(app_);
  } else if (reading.outcome && std::holds_alternative<R::AutomationDenied>(*reading.outcome)) {
    next.unavailable = automation_denied_text(app_);
  } else if (failed && app_ == AdobeApp::afterEffects && failed->message == R::kNoResultFile) {
    next.unavailable = std::string(kAfterEffectsFilesText);
  } else if (failed) {
    detail = failed->message;
    // A busy application misses one read now and then (a long filter, a modal dialog closing);
    // the widget stays as it was until a second read in a row fails.
    if (++failed_reads_ == 1 && shown_ && !shown_->unavailable) {
      if (poll_again_) {
        poll_again_ = false;
        poll();
      }
      return;
    }
    next.unavailable = not_responding_text(app_);
  } else {
    next.tool = chosen_tool_;
    const auto* success = reading.outcome ? std::get_if<R::Success>(&*reading.outcome) : nullptr;
    // A read begun before the latest choice, or answered while its shortcut waits to be sent,
    // knows nothing of it.
    if (says_its_tool && success && selections == selections_ && !pending_) {
      next.tool = success->text ? adobe_tool_named(app_, trimmed(*success->text)) : std::nullopt;
      chosen_tool_.reset();
    }
  }
  if (!failed) failed_reads_ = 0;

  if (!shown_ || shown_->unavailable != next.unavailable) {
    const std::string name(adobe_app_name(app_));
    log_.record(kLogTag, name + ": " + next.unavailable.value_or("answering") + (detail.empty() ? "" : " (" + detail + ")"));
  }
  shown_ = std::move(next);
  publish();
  if (poll_again_) {
    poll_again_ = false;
    poll();
  }
}

void AdobeSurfaceSession::follow_interactions(const std::optional<RunningProcess>& instance) {
  const auto pid = instance ? std::optional(instance->pid) : std::nullopt;
  const bool trusted_now = trusted();
  bool attempt = false;
  if (pid != observed_pid_) {
    observation_.reset();
    observed_pid_ = pid;
    attempt = true;
  } else if (!observation_ && trusted_now && !observed_trusted_) {
    // Accessibility was granted since the last try.
    attempt = true;
  }
  observed_trusted_ = trusted_now;
  if (!attempt || !pid || !processes_) return;
  observation_ = processes_->observe_interactions(*pid, main_, [this] { interacted(); });
}

void AdobeSurfaceSession::interacted() {
  interaction_debounce_.submit([this] { poll(); });
}

void AdobeSurfaceSession::select_tool(const std::string& tool_id) {
  if (!running_) return;
  const std::string name(adobe_app_name(app_));
  const auto tool = deck::kAdobeToolIDTable.parse(tool_id);
  if (!tool || adobe_app_of(*tool) != app_) {
    log_.record(kLogTag, name + ": no tool \"" + tool_id + "\"");
    return;
  }
  // Keystrokes posted to another application need the Accessibility permission; without it
  // they would vanish, and the widget would claim a tool that was never chosen.
  if (!trusted()) {
    log_.record(kLogTag, name + ": " + tool_id + " not sent, Kolvo has no Accessibility access");
    return;
  }
  if (!processes_) return;
  const auto instance = find_adobe_instance(app_, processes_->running(), processes_->frontmost_pid());
  if (!instance) {
    // The widget may not know yet that the application has quit.
    poll();
    return;
  }
  const auto stroke = adobe_key_stroke(*tool, *processes_);
  if (!stroke) return;

  ++selections_;
  chosen_tool_ = *tool;
  if (shown_ && !shown_->unavailable) {
    shown_->tool = *tool;
    publish();
  }
  // A newer choice replaces one still waiting for the application to come forward.
  activation_.stop();
  pending_ = PendingShortcut{.pid = instance->pid, .stroke = *stroke, .tool = *tool, .asked_at = main_.now()};
  if (processes_->frontmost_pid() == instance->pid) {
    send_shortcut();
    return;
  }
  // A shortcut reaches only the application in front. Activation takes a moment, and the main
  // thread must not wait for it: the front is checked on a timer.
  if (!processes_->activate(instance->pid)) {
    pending_.reset();
    poll();
    return;
  }
  if (processes_->frontmost_pid() == instance->pid) {
    send_shortcut();
    return;
  }
  activation_.start(kActivationPoll, [this] { check_front(); });
}

void AdobeSurfaceSession::check_front() {
  if (!pending_) {
    activation_.stop();
    return;
  }
  const bool in_front = processes_->frontmost_pid() == pending_->pid;
  // Sent even when the application never came forward: it often takes the keystroke anyway
  // (another window of ours was in front), and a tap that does nothing is worse.
  if (in_front || main_.now() - pending_->asked_at >= kActivationTimeout) {
    activation_.stop();
    send_shortcut();
  }
}

void AdobeSurfaceSession::send_shortcut() {
  if (!pending_) return;
  const PendingShortcut pending = *std::exchange(pending_, std::nullopt);
  // A read begun before the keystroke may still see the old tool.
  ++selections_;
  if (!processes_->post_key_stroke(pending.pid, pending.stroke)) {
    log_.record(kLogTag, std::string(adobe_app_name(app_)) + ": the keystroke for " + tool_name(pending.tool) +
                             " could not be made");
  }
}

void AdobeSurfaceSession::publish() {
  if (!shown_) return;
  deliver(state());
}

ShelfSurfaceState AdobeSurfaceSession::state() const {
  ShelfSurfaceState state;
  state.identity = identity();
  state.title = std::string(adobe_app_name(app_));
  state.timestamp = base::seconds_since_2001(clock_.now());
  // The grid goes with every state, so the phone can lay out the widget before the application
  // runs.
  state.tool_grid = grids_.cells(app_);
  if (shown_->unavailable) {
    state.available = false;
    state.unavailable = shown_->unavailable;
  } else {
    state.available = true;
    state.active_tool = shown_->tool;
  }
  return state;
}

}  // namespace kolvo::shelf
