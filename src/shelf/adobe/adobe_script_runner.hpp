#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "shelf/apple_events.hpp"

namespace kolvo::shelf {

// Runs JavaScript inside an Adobe application through an Apple event and says what came of it.
// Blocks until the application answers or the timeout passes, so it belongs on a serial queue;
// it holds no state of its own and may be used from several queues at once.
class AdobeScriptRunner {
 public:
  // The script ran; its result as text, if it gave one.
  struct Success {
    std::optional<std::string> text;
    friend bool operator==(const Success&, const Success&) = default;
  };
  // Anything else went wrong; the message says what.
  struct Failed {
    std::string message;
    friend bool operator==(const Failed&, const Failed&) = default;
  };
  // The user has not allowed Kolvo to send the application Apple events.
  struct AutomationDenied {
    friend bool operator==(const AutomationDenied&, const AutomationDenied&) = default;
  };
  struct NotRunning {
    friend bool operator==(const NotRunning&, const NotRunning&) = default;
  };
  using Outcome = std::variant<Success, Failed, AutomationDenied, NotRunning>;

  // A read answers quickly or the application is busy; a write may wait on the application's
  // own work (a redraw, an undo step).
  static constexpr int kReadTimeoutSeconds = 3;
  static constexpr int kWriteTimeoutSeconds = 10;

  static constexpr std::string_view kCouldNotCompile = "could not compile";
  static constexpr std::string_view kUnusableTempPath = "unusable temp path";
  static constexpr std::string_view kNoResultFile = "After Effects wrote no result file";
  // After Effects' scripts write their results to a file whose name begins so.
  static constexpr std::string_view kResultFilePrefix = "kolvo-ae";

  // Whether a script's text is the same at every run, so that its compiled form is worth
  // keeping, or carries values (a colour, a slider's position) that make each text new.
  enum class Text { fixed, carries_values };

  // `temp_directory` is where After Effects writes its results; the system's temporary folder
  // when empty.
  explicit AdobeScriptRunner(std::shared_ptr<ScriptRunner> apple_events, std::filesystem::path temp_directory = {});

  // Runs `javascript` with `do javascript` in the application with `bundle_id` (the running
  // instance's own identifier).
  Outcome run(std::string_view bundle_id, std::string_view javascript, int timeout_seconds, Text text) const;

  // Runs `javascript` in After Effects, whose `DoScript` returns nothing useful: the script
  // collects its result lines in an array `L`, which is written to a temporary file and read
  // back. Success carries the lines joined by line feeds.
  Outcome run_in_after_effects(std::string_view bundle_id, std::string_view javascript, int timeout_seconds) const;

  // The JavaScript as the inside of an AppleScript string literal.
  static std::string escape(std::string_view javascript);
  // The AppleScript that hands `javascript` to the application with `command` ("do
  // javascript" or "DoScript").
  static std::string apple_script(std::string_view bundle_id, std::string_view command, std::string_view javascript,
                                  int timeout_seconds);
  // What a compiled script is kept under: the request, so that two applications, or one
  // script with two timeouts, never share a compiled form.
  static std::string cache_key(std::string_view bundle_id, int timeout_seconds, std::string_view javascript);
  // An Apple event reply as an outcome.
  static Outcome outcome_of(const ScriptRun& run);
  // The JavaScript that After Effects runs for `body`, with its result written to `path`.
  static std::string after_effects_script(const std::filesystem::path& path, std::string_view body);

 private:
  std::optional<std::filesystem::path> result_path() const;

  std::shared_ptr<ScriptRunner> apple_events_;
  std::filesystem::path temp_directory_;
};

// The outcome as a line for the diagnostics log and for test failures.
std::string describe(const AdobeScriptRunner::Outcome& outcome);

}  // namespace kolvo::shelf
