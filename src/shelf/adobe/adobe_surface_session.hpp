#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/date_time.hpp"
#include "base/diagnostics_log.hpp"
#include "base/executor.hpp"
#include "base/serial_queue.hpp"
#include "base/timers.hpp"
#include "dock/accessibility_trust.hpp"
#include "shelf/adobe/adobe_script_runner.hpp"
#include "shelf/adobe/adobe_tool_grid_store.hpp"
#include "shelf/adobe/adobe_tools.hpp"
#include "shelf/apple_events.hpp"
#include "shelf/shelf_surface_session.hpp"

namespace kolvo::shelf {

// One Adobe application's widget: its tool grid, the tool active in the application, and the
// phone's tool buttons, which select tools by the application's own keyboard shortcuts.
//
// Every two seconds, and a quarter of a second after the user does something in the
// application, the session reads the application off the main thread: Photoshop and After
// Effects say which tool is active; Illustrator is only asked something cheap, to learn whether
// it answers and whether Kolvo may ask; Premiere Pro has no JavaScript for Apple events, so it
// is only looked for among the running applications. Where the application cannot say, the
// tool last chosen from the phone is shown.
class AdobeSurfaceSession final : public ShelfSurfaceSession, public AdobeSurfaceControls {
 public:
  // Period of the state poll.
  static constexpr base::Duration kInterval = std::chrono::seconds(2);
  // Period of the colour picker's poll while a picker is open.
  static constexpr base::Duration kColorInterval = std::chrono::milliseconds(350);
  // The longest wait for the application to come to the front before a shortcut is sent, and
  // how often the wait looks.
  static constexpr base::Duration kActivationTimeout = std::chrono::seconds(1);
  static constexpr base::Duration kActivationPoll = std::chrono::milliseconds(20);
  // Period of a creative slider's value read, and the read once more after its last write.
  static constexpr base::Duration kControlCheckInterval = std::chrono::seconds(1);
  static constexpr base::Duration kIdleReconcileDelay = std::chrono::seconds(3);
  // Quiet time after the user did something in the application before it is read again.
  static constexpr base::Duration kInteractionDebounce = std::chrono::milliseconds(250);

  static constexpr const char* kColorQueueLabel = "com.kolvo.adobe.color";
  static constexpr const char* kControlQueueLabel = "com.kolvo.adobe.control";

  // What the widget says when After Effects runs its scripts but may not write their results.
  static constexpr std::string_view kAfterEffectsFilesText =
      "Turn on \xE2\x80\x9C" "Allow Scripts to Write Files and Access Network\xE2\x80\x9D in After Effects "
      "\xE2\x80\xBA Settings \xE2\x80\xBA Scripting & Expressions.";

  struct Ports {
    base::Executor& main;
    const base::WallClock& clock;
    base::DiagnosticsLog& log;
    std::shared_ptr<ScriptRunner> apple_events;
    std::shared_ptr<ApplicationProcesses> processes;
    // Without trust no shortcut is sent; null counts as not trusted.
    std::shared_ptr<const dock::AccessibilityTrust> accessibility;
    AdobeToolGridStore& grids;
  };

  AdobeSurfaceSession(AdobeApp app, Ports ports);
  ~AdobeSurfaceSession() override;

  ShelfSurfaceIdentity identity() const override { return adobe_identity(app_); }
  void start() override;
  void stop() override;
  void refresh() override;
  // Payload-free commands do not concern a creative widget.
  void handle(const ShelfCommand&) override {}

  AdobeApp adobe_app() const override { return app_; }
  void select_tool(const std::string& tool_id) override;
  // The colour picker and the creative sliders are not driven from here yet: their commands
  // arrive and are ignored.
  void set_color(const std::string&, const std::optional<std::string>&) override {}
  void finish_color(bool, const std::optional<std::string>&) override {}
  void continuous(const ShelfCommand&) override {}
  void tool_grid_did_change() override;

  // Whether a read of the application is out on the queue.
  bool is_polling() const { return polling_; }
  // Whether a chosen tool's shortcut waits for the application to come to the front.
  bool is_activating() const { return activation_.is_running(); }

  // The JavaScript of the state read; empty for Premiere Pro, which is not asked.
  static std::string poll_script(AdobeApp app);

  // "Open Photoshop on your Mac" and the others, for the application's name.
  static std::string not_running_text(AdobeApp app);
  static std::string not_responding_text(AdobeApp app);
  static std::string automation_denied_text(AdobeApp app);

 private:
  // What one read of the application found.
  struct Reading {
    std::optional<RunningProcess> instance;
    // Absent where nothing was asked: the application is not running, or cannot be asked.
    std::optional<AdobeScriptRunner::Outcome> outcome;
  };
  // What the widget shows, short of the grid and the time stamp.
  struct Shown {
    std::optional<std::string> unavailable;
    std::optional<AdobeToolID> tool;
  };
  struct PendingShortcut {
    std::int64_t pid = 0;
    KeyStroke stroke;
    AdobeToolID tool{};
    base::TimePoint asked_at{};
  };

  void poll();
  static Reading read(AdobeApp app, const AdobeScriptRunner& runner, const ApplicationProcesses& processes);
  void finish(std::uint64_t generation, std::uint64_t selections, Reading reading);
  void follow_interactions(const std::optional<RunningProcess>& instance);
  void interacted();
  void publish();
  ShelfSurfaceState state() const;
  void check_front();
  void send_shortcut();
  bool trusted() const { return accessibility_ && accessibility_->is_process_trusted(); }

  const AdobeApp app_;
  base::Executor& main_;
  const base::WallClock& clock_;
  base::DiagnosticsLog& log_;
  std::shared_ptr<ApplicationProcesses> processes_;
  std::shared_ptr<const dock::AccessibilityTrust> accessibility_;
  AdobeToolGridStore& grids_;
  std::shared_ptr<const AdobeScriptRunner> runner_;

  bool running_ = false;
  base::RepeatingTimer poll_timer_;
  base::Debouncer interaction_debounce_;
  base::RepeatingTimer activation_;
  bool polling_ = false;
  // A read asked for while one was out: it is made as soon as that one is back.
  bool poll_again_ = false;
  // Counts starts and stops, so that a read from before them is dropped.
  std::uint64_t generation_ = 0;
  // Counts tools chosen from the phone, so that a read begun before a choice cannot undo it.
  std::uint64_t selections_ = 0;

  std::optional<Shown> shown_;
  // Reads in a row that failed: one is forgiven while the widget was working.
  int failed_reads_ = 0;
  // The tool chosen from the phone, shown until a read confirms or corrects it; the
  // applications that cannot be asked keep it.
  std::optional<AdobeToolID> chosen_tool_;
  std::optional<std::int64_t> instance_pid_;
  std::optional<PendingShortcut> pending_;

  std::unique_ptr<InteractionObservation> observation_;
  std::optional<std::int64_t> observed_pid_;
  bool observed_trusted_ = false;

  // Last, so that they are gone, their workers joined, before anything a completion touches.
  base::SerialQueue color_queue_;
  base::SerialQueue control_queue_;
};

}  // namespace kolvo::shelf
