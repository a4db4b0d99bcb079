#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/executor.hpp"
#include "shelf/apple_events.hpp"

// The applications of the simulated Mac that the Shelf's widgets talk to: a process table,
// AppleScript addressed to an application by its bundle identifier, keystrokes posted to a
// process and the keyboard layout that turns letters into key codes. Everything is reached
// from the widgets' serial queues as well as the main thread, so all of it is behind one lock.
namespace kolvo::sim {

// An application that answers the scripts sent to it.
class ScriptableApplication {
 public:
  virtual ~ScriptableApplication() = default;
  // The reply to `source`, a script already known to be addressed to this application while it
  // runs and lets Kolvo send it Apple events. Absent when the script is not one this
  // application's dictionary understands: it then does not compile, as on the Mac.
  virtual std::optional<shelf::ScriptRun> answer(const std::string& source) = 0;
  // A keystroke posted to the application's process.
  virtual void receive_key_stroke(const shelf::KeyStroke&) {}
};

// A US or a German keyboard: the two differ where a shortcut letter's key is (Y and Z swap).
enum class SimulatedKeyboardLayout { us, german, unreadable };

class SimulatedApplications final : public shelf::ScriptRunner, public shelf::ApplicationProcesses {
 public:
  // `clock` gives the time that activation takes to pass; the steady clock by default.
  explicit SimulatedApplications(std::function<base::TimePoint()> clock = nullptr);

  // Makes `application` answer the scripts for `bundle_id`; it does not run yet.
  void install(const std::string& bundle_id, std::shared_ptr<ScriptableApplication> application);
  // Starts an installed (or any) application under `bundle_id` and returns its pid; a running
  // one keeps its pid. `running_as` names the bundle identifier the process reports, for
  // applications whose running instance carries a versioned one.
  std::int64_t launch(const std::string& bundle_id, std::optional<std::string> running_as = std::nullopt);
  void quit(const std::string& bundle_id);
  bool is_running(const std::string& bundle_id) const;
  std::optional<std::int64_t> pid_of(const std::string& bundle_id) const;
  // Brings a process to the front at once, as a click on its window does.
  void bring_to_front(std::int64_t pid);
  // How long an application takes to come to the front once asked.
  void set_activation_latency(base::Duration latency);
  // Called on whichever thread made the change, after the frontmost application changed.
  void set_on_frontmost_changed(std::function<void(std::optional<std::string> bundle_id)> changed);

  // The user's answer to "Kolvo wants to control …": a denied application fails every script
  // with -1743.
  void set_automation_allowed(const std::string& bundle_id, bool allowed);
  // Every script to the application fails with this error number until cleared, as a busy or
  // broken application's do.
  void set_script_error(const std::string& bundle_id, std::optional<std::int64_t> error_number);
  // How many times each cache key was compiled, and how many scripts were compiled uncached.
  std::map<std::string, int> compilations_by_key() const;
  int uncached_compilations() const;
  std::vector<std::string> scripts_run() const;

  void set_keyboard_layout(SimulatedKeyboardLayout layout);
  void set_accessibility_observable(bool observable);
  // The user did something in the application: its observers hear of it.
  void interact(const std::string& bundle_id);
  std::vector<std::pair<std::int64_t, shelf::KeyStroke>> key_strokes() const;

  shelf::ScriptRun run_script(const std::string& source, const std::optional<std::string>& cache_key) override;
  std::vector<shelf::RunningProcess> running() const override;
  std::optional<std::int64_t> frontmost_pid() const override;
  bool activate(std::int64_t pid) override;
  std::optional<std::uint16_t> key_code_typing(char letter) const override;
  bool post_key_stroke(std::int64_t pid, shelf::KeyStroke stroke) override;
  std::unique_ptr<shelf::InteractionObservation> observe_interactions(std::int64_t pid, base::Executor& main,
                                                                      std::function<void()> interacted) override;

 private:
  struct Process {
    std::string bundle_id;  // as installed: what scripts address
    std::string running_as;
    std::int64_t pid = 0;
  };
  struct Observer;

  const Process* process_with_pid(std::int64_t pid) const;
  const Process* process_for(const std::string& bundle_id) const;
  void settle_activation() const;
  void announce_frontmost(std::unique_lock<std::mutex>& lock);

  std::function<base::TimePoint()> clock_;
  mutable std::mutex mutex_;
  std::map<std::string, std::shared_ptr<ScriptableApplication>> applications_;
  std::vector<Process> processes_;
  std::int64_t next_pid_ = 501;
  mutable std::optional<std::int64_t> frontmost_;
  mutable std::optional<std::pair<std::int64_t, base::TimePoint>> activating_;
  base::Duration activation_latency_{};
  std::function<void(std::optional<std::string>)> on_frontmost_changed_;
  std::set<std::string> automation_denied_;
  std::map<std::string, std::int64_t> script_errors_;
  std::map<std::string, int> compilations_;
  int uncached_compilations_ = 0;
  std::vector<std::string> scripts_run_;
  SimulatedKeyboardLayout layout_ = SimulatedKeyboardLayout::us;
  bool observable_ = true;
  std::vector<std::pair<std::int64_t, shelf::KeyStroke>> key_strokes_;
  std::vector<std::shared_ptr<Observer>> observers_;
};

}  // namespace kolvo::sim
