#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/executor.hpp"

// How the media and creative widgets reach other applications on the Mac: AppleScript run in
// this process (Apple events), the running applications, and keystrokes posted to one of them.
namespace kolvo::shelf {

// An Apple event reply, reduced to what the widgets read from it.
struct ScriptValue {
  // The value coerced to text, when it can be ("playing", "215000", a URL).
  std::optional<std::string> text;
  // The value as a number, when it is one.
  std::optional<double> number;
  // A list's items, in order; absent for anything that is not a list.
  std::optional<std::vector<ScriptValue>> list;

  friend bool operator==(const ScriptValue&, const ScriptValue&) = default;
};

struct ScriptRun {
  enum class Status { ran, did_not_compile, failed };
  Status status = Status::ran;
  // What the script returned, when it ran.
  ScriptValue result;
  // When it failed: the error number (0 when the error carried none) and message.
  std::int64_t error_number = 0;
  std::optional<std::string> error_message;

  static ScriptRun not_compiled() { return {Status::did_not_compile, {}, 0, std::nullopt}; }
  static ScriptRun returned(ScriptValue value) { return {Status::ran, std::move(value), 0, std::nullopt}; }
  static ScriptRun error(std::int64_t number, std::optional<std::string> message) {
    return {Status::failed, {}, number, std::move(message)};
  }
};

class ScriptRunner {
 public:
  virtual ~ScriptRunner() = default;
  // Compiles and runs `source`, blocking until the reply. With a `cache_key` the compiled
  // script is kept under that key for the whole process and reused, as compiling costs more
  // than running; without one it is compiled afresh. Called from serial queues, several at
  // once.
  virtual ScriptRun run_script(const std::string& source, const std::optional<std::string>& cache_key) = 0;
};

struct RunningProcess {
  std::string bundle_id;
  std::int64_t pid = 0;
  friend bool operator==(const RunningProcess&, const RunningProcess&) = default;
};

// A key with its modifier flags (CGEventFlags: Shift 0x20000, Option 0x80000, Command
// 0x100000).
struct KeyStroke {
  std::uint16_t key_code = 0;
  std::uint64_t flags = 0;
  friend bool operator==(const KeyStroke&, const KeyStroke&) = default;
};

// Watching one application while it lives; destroying it ends the watch, and no call follows.
// The key at `letter`'s place on a US (ANSI) keyboard, for a lower-case ASCII letter.
std::optional<std::uint16_t> ansi_key_code(char letter);

class InteractionObservation {
 public:
  virtual ~InteractionObservation() = default;
};

class ApplicationProcesses {
 public:
  virtual ~ApplicationProcesses() = default;
  // The running applications that have a bundle identifier. Any thread.
  virtual std::vector<RunningProcess> running() const = 0;
  // Any thread.
  virtual std::optional<std::int64_t> frontmost_pid() const = 0;
  // Asks the application to come to the front; it may take a moment to get there. False when
  // no such application runs.
  virtual bool activate(std::int64_t pid) = 0;
  // The key code that types `letter` (a lower-case ASCII letter) on the current keyboard
  // layout, so a shortcut lands on the same letter on a German or French keyboard; absent
  // when the layout cannot be read or has no such key.
  virtual std::optional<std::uint16_t> key_code_typing(char letter) const = 0;
  // Posts the key down and up of `stroke` to the process, from a fresh event source. False
  // when the events could not be made.
  virtual bool post_key_stroke(std::int64_t pid, KeyStroke stroke) = 0;
  // Calls `interacted` on `main` after each change the user makes in the application that its
  // accessibility notifications announce (focus, windows, values). Null when it cannot be
  // observed (no accessibility permission, or the process is gone).
  virtual std::unique_ptr<InteractionObservation> observe_interactions(std::int64_t pid, base::Executor& main,
                                                                       std::function<void()> interacted) = 0;
};

}  // namespace kolvo::shelf
