#include "platform/sim/simulated_applications.hpp"

#include <algorithm>
#include <regex>
#include <utility>

namespace kolvo::sim {
namespace {

// The target of `tell application id "…"`, which every script the widgets send begins with.
std::optional<std::string> addressed_bundle_id(const std::string& source) {
  static const std::regex kTell(R"re(tell application id "([^"]+)")re");
  std::smatch match;
  if (!std::regex_search(source, match, kTell)) return std::nullopt;
  return match[1].str();
}

shelf::ScriptRun failure(std::int64_t number, std::string message) {
  return shelf::ScriptRun::error(number, std::move(message));
}

}  // namespace

struct SimulatedApplications::Observer final {
  std::int64_t pid = 0;
  base::Executor* main = nullptr;
  std::function<void()> interacted;
  std::shared_ptr<bool> alive = std::make_shared<bool>(true);
};

namespace {

class Observation final : public shelf::InteractionObservation {
 public:
  explicit Observation(std::function<void()> end) : end_(std::move(end)) {}
  ~Observation() override { end_(); }

 private:
  std::function<void()> end_;
};

}  // namespace

SimulatedApplications::SimulatedApplications(std::function<base::TimePoint()> clock)
    : clock_(clock ? std::move(clock) : [] { return base::Clock::now(); }) {}

void SimulatedApplications::install(const std::string& bundle_id, std::shared_ptr<ScriptableApplication> application) {
  std::lock_guard lock(mutex_);
  applications_[bundle_id] = std::move(application);
}

std::int64_t SimulatedApplications::launch(const std::string& bundle_id, std::optional<std::string> running_as) {
  std::lock_guard lock(mutex_);
  if (const Process* running = process_for(bundle_id)) return running->pid;
  processes_.push_back({.bundle_id = bundle_id, .running_as = running_as.value_or(bundle_id), .pid = next_pid_++});
  return processes_.back().pid;
}

void SimulatedApplications::quit(const std::string& bundle_id) {
  std::unique_lock lock(mutex_);
  const Process* process = process_for(bundle_id);
  if (!process) return;
  const std::int64_t pid = process->pid;
  std::erase_if(processes_, [pid](const Process& p) { return p.pid == pid; });
  if (activating_ && activating_->first == pid) activating_.reset();
  if (frontmost_ == pid) {
    frontmost_.reset();
    announce_frontmost(lock);
  }
}

bool SimulatedApplications::is_running(const std::string& bundle_id) const {
  std::lock_guard lock(mutex_);
  return process_for(bundle_id) != nullptr;
}

std::optional<std::int64_t> SimulatedApplications::pid_of(const std::string& bundle_id) const {
  std::lock_guard lock(mutex_);
  const Process* process = process_for(bundle_id);
  return process ? std::optional(process->pid) : std::nullopt;
}

void SimulatedApplications::bring_to_front(std::int64_t pid) {
  std::unique_lock lock(mutex_);
  if (!process_with_pid(pid) || frontmost_ == pid) return;
  activating_.reset();
  frontmost_ = pid;
  announce_frontmost(lock);
}

void SimulatedApplications::set_activation_latency(base::Duration latency) {
  std::lock_guard lock(mutex_);
  activation_latency_ = latency;
}

void SimulatedApplications::set_on_frontmost_changed(std::function<void(std::optional<std::string>)> changed) {
  std::lock_guard lock(mutex_);
  on_frontmost_changed_ = std::move(changed);
}

void SimulatedApplications::set_automation_allowed(const std::string& bundle_id, bool allowed) {
  std::lock_guard lock(mutex_);
  if (allowed) {
    automation_denied_.erase(bundle_id);
  } else {
    automation_denied_.insert(bundle_id);
  }
}

void SimulatedApplications::set_script_error(const std::string& bundle_id, std::optional<std::int64_t> error_number) {
  std::lock_guard lock(mutex_);
  if (error_number) {
    script_errors_[bundle_id] = *error_number;
  } else {
    script_errors_.erase(bundle_id);
  }
}

std::map<std::string, int> SimulatedApplications::compilations_by_key() const {
  std::lock_guard lock(mutex_);
  return compilations_;
}

int SimulatedApplications::uncached_compilations() const {
  std::lock_guard lock(mutex_);
  return uncached_compilations_;
}

std::vector<std::string> SimulatedApplications::scripts_run() const {
  std::lock_guard lock(mutex_);
  return scripts_run_;
}

void SimulatedApplications::set_keyboard_layout(SimulatedKeyboardLayout layout) {
  std::lock_guard lock(mutex_);
  layout_ = layout;
}

void SimulatedApplications::set_accessibility_observable(bool observable) {
  std::lock_guard lock(mutex_);
  observable_ = observable;
}

void SimulatedApplications::interact(const std::string& bundle_id) {
  std::lock_guard lock(mutex_);
  const Process* process = process_for(bundle_id);
  if (!process) return;
  for (const auto& observer : observers_) {
    if (observer->pid != process->pid) continue;
    observer->main->post([alive = std::weak_ptr<bool>(observer->alive), interacted = observer->interacted] {
      if (alive.lock()) interacted();
    });
  }
}

std::vector<std::pair<std::int64_t, shelf::KeyStroke>> SimulatedApplications::key_strokes() const {
  std::lock_guard lock(mutex_);
  return key_strokes_;
}

shelf::ScriptRun SimulatedApplications::run_script(const std::string& source,
                                                   const std::optional<std::string>& cache_key) {
  std::shared_ptr<ScriptableApplication> application;
  {
    std::lock_guard lock(mutex_);
    scripts_run_.push_back(source);
    auto bundle_id = addressed_bundle_id(source);
    // A script addressed to a running instance's own identifier (a versioned one) reaches the
    // application installed under the canonical identifier, as it does on the Mac.
    if (bundle_id && !applications_.contains(*bundle_id)) {
      const auto instance = std::find_if(processes_.begin(), processes_.end(),
                                         [&](const Process& p) { return p.running_as == *bundle_id; });
      if (instance != processes_.end()) bundle_id = instance->bundle_id;
    }
    const auto installed = bundle_id ? applications_.find(*bundle_id) : applications_.end();
    // An application the Mac does not know cannot be compiled against.
    if (installed == applications_.end()) return shelf::ScriptRun::not_compiled();
    // Compiling consults the application's dictionary but does not need it running.
    const bool compiled_before = cache_key && compilations_.contains(*cache_key);
    if (!compiled_before) {
      if (cache_key) {
        ++compilations_[*cache_key];
      } else {
        ++uncached_compilations_;
      }
    }
    if (!process_for(*bundle_id)) return failure(-600, "Application isn’t running.");
    if (automation_denied_.contains(*bundle_id)) return failure(-1743, "Not authorized to send Apple events.");
    if (const auto error = script_errors_.find(*bundle_id); error != script_errors_.end()) {
      return failure(error->second, "The application could not answer.");
    }
    application = installed->second;
  }
  // Outside the lock: the application may ask the table about itself.
  if (auto reply = application->answer(source)) return *reply;
  std::lock_guard lock(mutex_);
  if (cache_key) compilations_.erase(*cache_key);  // nothing was kept
  return shelf::ScriptRun::not_compiled();
}

std::vector<shelf::RunningProcess> SimulatedApplications::running() const {
  std::lock_guard lock(mutex_);
  std::vector<shelf::RunningProcess> result;
  for (const Process& process : processes_) result.push_back({process.running_as, process.pid});
  return result;
}

std::optional<std::int64_t> SimulatedApplications::frontmost_pid() const {
  std::unique_lock lock(mutex_);
  const auto before = frontmost_;
  settle_activation();
  if (frontmost_ != before) const_cast<SimulatedApplications*>(this)->announce_frontmost(lock);
  if (!lock.owns_lock()) lock.lock();
  return frontmost_;
}

bool SimulatedApplications::activate(std::int64_t pid) {
  std::unique_lock lock(mutex_);
  if (!process_with_pid(pid)) return false;
  if (frontmost_ == pid) return true;
  if (activation_latency_ <= base::Duration::zero()) {
    activating_.reset();
    frontmost_ = pid;
    announce_frontmost(lock);
    return true;
  }
  activating_ = {pid, clock_() + activation_latency_};
  return true;
}

std::optional<std::uint16_t> SimulatedApplications::key_code_typing(char letter) const {
  std::lock_guard lock(mutex_);
  switch (layout_) {
    case SimulatedKeyboardLayout::unreadable: return std::nullopt;
    case SimulatedKeyboardLayout::german:
      // QWERTZ: the key where a US keyboard has Y types Z, and the other way round.
      if (letter == 'y') return shelf::ansi_key_code('z');
      if (letter == 'z') return shelf::ansi_key_code('y');
      return shelf::ansi_key_code(letter);
    case SimulatedKeyboardLayout::us: return shelf::ansi_key_code(letter);
  }
  return std::nullopt;
}

bool SimulatedApplications::post_key_stroke(std::int64_t pid, shelf::KeyStroke stroke) {
  std::shared_ptr<ScriptableApplication> receiver;
  {
    std::lock_guard lock(mutex_);
    const Process* process = process_with_pid(pid);
    if (!process) return true;  // events posted to a process that is gone vanish, as on the Mac
    key_strokes_.emplace_back(pid, stroke);
    if (const auto installed = applications_.find(process->bundle_id); installed != applications_.end()) {
      receiver = installed->second;
    }
  }
  if (receiver) receiver->receive_key_stroke(stroke);
  return true;
}

std::unique_ptr<shelf::InteractionObservation> SimulatedApplications::observe_interactions(
    std::int64_t pid, base::Executor& main, std::function<void()> interacted) {
  std::lock_guard lock(mutex_);
  if (!observable_ || !process_with_pid(pid)) return nullptr;
  auto observer = std::make_shared<Observer>();
  observer->pid = pid;
  observer->main = &main;
  observer->interacted = std::move(interacted);
  observers_.push_back(observer);
  return std::make_unique<Observation>([this, observer] {
    std::lock_guard ending(mutex_);
    *observer->alive = false;
    std::erase(observers_, observer);
  });
}

const SimulatedApplications::Process* SimulatedApplications::process_with_pid(std::int64_t pid) const {
  const auto found = std::find_if(processes_.begin(), processes_.end(), [pid](const Process& p) { return p.pid == pid; });
  return found == processes_.end() ? nullptr : &*found;
}

const SimulatedApplications::Process* SimulatedApplications::process_for(const std::string& bundle_id) const {
  const auto found = std::find_if(processes_.begin(), processes_.end(),
                                  [&bundle_id](const Process& p) { return p.bundle_id == bundle_id; });
  return found == processes_.end() ? nullptr : &*found;
}

void SimulatedApplications::settle_activation() const {
  if (!activating_ || clock_() < activating_->second) return;
  if (process_with_pid(activating_->first)) frontmost_ = activating_->first;
  activating_.reset();
}

void SimulatedApplications::announce_frontmost(std::unique_lock<std::mutex>& lock) {
  auto changed = on_frontmost_changed_;
  std::optional<std::string> bundle_id;
  if (frontmost_) {
    if (const Process* process = process_with_pid(*frontmost_)) bundle_id = process->running_as;
  }
  lock.unlock();
  if (changed) changed(std::move(bundle_id));
  lock.lock();
}

}  // namespace kolvo::sim
