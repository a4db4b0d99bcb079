#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/executor.hpp"
#include "base/observable.hpp"
#include "blender/blender_bridge_install.hpp"
#include "blender/blender_bridge_status.hpp"

// The settings section that installs the Kolvo Bridge and says where the bridge stands, in one
// line built from what is installed and from the bridge client.
namespace kolvo::blender {

class BlenderBridgeClient;

inline constexpr std::string_view kSectionTitle = "Blender Bridge";
inline constexpr std::string_view kInstallButtonTitle = "Install Blender Bridge";
inline constexpr std::string_view kReinstallButtonTitle = "Reinstall Blender Bridge";
inline constexpr std::string_view kQuitBlenderHint = "Quit Blender to install the bridge.";
inline constexpr std::string_view kSectionDescription =
    "A small Blender extension that lets Kolvo Deck switch Blender’s tools and viewport. It listens only on "
    "this Mac, accepts only Kolvo’s fixed commands, and never runs code sent to it.";

// What the section's line is made from.
struct BridgeSectionFacts {
  bool blender_found = false;
  bool blender_running = false;
  // The extension's version in the found Blender's user folder; absent when not installed.
  std::optional<std::string> installed_version = std::nullopt;
  // The bridge client's status; absent while the client is not active (no Blender widget on
  // the Shelf).
  std::optional<BlenderBridgeStatus> client = std::nullopt;
};

// The section's status line.
std::string_view bridge_status_line(const BridgeSectionFacts& facts);

// The facts as the machine has them now, with `client` (null: not active).
BridgeSectionFacts bridge_section_facts(const BlenderBridgeInstallPorts& ports, const BlenderBridgeClient* client);

// Everything the section shows.
struct BridgeSectionView {
  std::string title;
  std::string status_line;
  std::string description;
  std::string button_title;
  bool button_enabled = true;
  // Under the button: why it is disabled.
  std::optional<std::string> hint = std::nullopt;
  // Under the button: what the last install came to.
  std::optional<std::string> note = std::nullopt;
  friend bool operator==(const BridgeSectionView&, const BridgeSectionView&) = default;
};

BridgeSectionView bridge_section_view(const BridgeSectionFacts& facts, bool installing,
                                      const std::optional<std::string>& note);

// The section's state over the installer: whether an install is under way and the note it left.
// Lives on the main thread, as long as the program; the windows that show it come and go.
class BlenderBridgeSection {
 public:
  BlenderBridgeSection(BlenderBridgeInstallPorts ports, base::Executor& main,
                       base::Duration watchdog = kBlenderWatchdog);
  ~BlenderBridgeSection();
  BlenderBridgeSection(const BlenderBridgeSection&) = delete;
  BlenderBridgeSection& operator=(const BlenderBridgeSection&) = delete;

  BridgeSectionFacts facts(const BlenderBridgeClient* client) const {
    return bridge_section_facts(bridge_.ports(), client);
  }
  BridgeSectionView view(const BlenderBridgeClient* client) const { return view(facts(client)); }
  BridgeSectionView view(const BridgeSectionFacts& facts) const {
    return bridge_section_view(facts, installing_, note_);
  }

  bool is_installing() const { return installing_; }
  const std::optional<std::string>& note() const { return note_; }

  // The button: starts an install unless one is under way (false then). Observers hear of the
  // start and of the end, when the note is set.
  bool install();

  // Called on main after anything the section shows may have changed: an install starting or
  // ending, Blender starting or quitting where the platform tells.
  [[nodiscard]] base::Subscription observe(std::function<void()> changed);

 private:
  void bump() { revision_.set(revision_.get() + 1); }

  BlenderBridge bridge_;
  bool installing_ = false;
  std::optional<std::string> note_;
  // Bumped on every change; the observers hear of it.
  base::Observable<std::uint64_t> revision_{0};
  std::unique_ptr<BlenderLaunchObservation> launches_;
};

}  // namespace kolvo::blender
