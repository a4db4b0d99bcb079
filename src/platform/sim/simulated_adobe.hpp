#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/sim/simulated_applications.hpp"
#include "shelf/shelf_surface_session.hpp"

// Photoshop, Illustrator, After Effects and Premiere Pro on the simulated Mac: each holds an
// active tool, changes it when its shortcut is typed, and answers the JavaScript that Kolvo
// sends it as the real application would, and nothing else.
namespace kolvo::sim {

// An AppleScript that hands JavaScript to an application, read back as AppleScript would read
// it: "with timeout of N seconds", one `tell application id "…" to <command> <text>`, where
// the text is string literals (with AppleScript's escapes) joined by `&` to characters given as
// UTF-8 data.
struct HandedJavaScript {
  int timeout_seconds = 0;
  std::string bundle_id;
  std::string command;
  std::string javascript;
};
// Absent when the source is not such a script: it would not compile.
std::optional<HandedJavaScript> read_handed_javascript(const std::string& source);

class SimulatedAdobeApplication final : public ScriptableApplication {
 public:
  explicit SimulatedAdobeApplication(shelf::AdobeApp app);

  shelf::AdobeApp app() const { return app_; }
  // The active tool by the application's own name for it: Photoshop's `currentTool`
  // ("moveTool"), the name of After Effects' `ToolType` ("Tool_Arrow"); for Illustrator and
  // Premiere Pro, which do not tell, the phone's name of the tool.
  std::string active_tool() const;
  // The user picks a tool in the application.
  void set_active_tool(std::string name);
  // After Effects' "Allow Scripts to Write Files and Access Network" preference; on at first.
  void set_scripts_may_write_files(bool allowed);
  // Every JavaScript that reached the application, understood or not, in order.
  std::vector<std::string> javascripts() const;
  // Holds back each reply, answered as things stood when its script arrived, until released.
  void hold_replies();
  void release_replies();
  // How many scripts are waiting for their reply now.
  int waiting() const;

  std::optional<shelf::ScriptRun> answer(const std::string& source) override;
  void receive_key_stroke(const shelf::KeyStroke& stroke) override;

 private:
  std::optional<shelf::ScriptRun> answer_javascript(const HandedJavaScript& handed);
  std::optional<shelf::ScriptRun> run_after_effects(const std::string& javascript);

  const shelf::AdobeApp app_;
  mutable std::mutex mutex_;
  std::condition_variable released_;
  std::string active_tool_;
  bool may_write_files_ = true;
  bool held_ = false;
  int waiting_ = 0;
  std::vector<std::string> javascripts_;
};

struct SimulatedAdobeApplications {
  std::shared_ptr<SimulatedAdobeApplication> after_effects;
  std::shared_ptr<SimulatedAdobeApplication> illustrator;
  std::shared_ptr<SimulatedAdobeApplication> photoshop;
  std::shared_ptr<SimulatedAdobeApplication> premiere;

  std::shared_ptr<SimulatedAdobeApplication> operator[](shelf::AdobeApp app) const;
};

// Installs the four under their canonical bundle identifiers; none of them runs yet.
SimulatedAdobeApplications install_simulated_adobe(SimulatedApplications& applications);

}  // namespace kolvo::sim
