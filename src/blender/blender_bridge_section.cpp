#include "blender/blender_bridge_section.hpp"

#include "blender/blender_bridge_client.hpp"
#include "blender/bridge_addon.hpp"

namespace kolvo::blender {

std::string_view bridge_status_line(const BridgeSectionFacts& facts) {
  using Status = BlenderBridgeStatus;
  if (!facts.blender_found) return "Blender is not installed";
  if (!facts.installed_version) return "Not installed";
  // An older extension would answer the client with another protocol, or worse, the same one
  // with older commands: say so before the client ever connects.
  if (*facts.installed_version != kBridgeVersion) return "Update needed — reinstall the bridge";
  if (!facts.client) return "Installed — add Blender to Shelf to connect";
  switch (*facts.client) {
    case Status::blenderClosed: return "Installed — open Blender to connect";
    case Status::bridgeNotRunning:
      if (facts.blender_running) {
        return "Installed, but not running in Blender — enable Kolvo Bridge in Blender’s Add-ons";
      }
      break;
    case Status::connecting: return "Connecting…";
    case Status::connected: return "Connected";
    case Status::busy: return "Connected — Blender is busy";
    case Status::incompatible: return "Update needed — reinstall the bridge";
    case Status::blenderNotInstalled: break;
  }
  // The client has not yet caught up with a Blender this section already sees, or with one
  // that has quit since: between its looks, Blender counts as closed.
  return "Installed — open Blender to connect";
}

BridgeSectionView bridge_section_view(const BridgeSectionFacts& facts, bool installing,
                                      const std::optional<std::string>& note) {
  BridgeSectionView view{.title = std::string(kSectionTitle),
                         .status_line = std::string(bridge_status_line(facts)),
                         .description = std::string(kSectionDescription),
                         .button_title = std::string(facts.installed_version ? kReinstallButtonTitle
                                                                             : kInstallButtonTitle),
                         .button_enabled = !installing && !facts.blender_running,
                         .note = note};
  if (facts.blender_running) view.hint = std::string(kQuitBlenderHint);
  return view;
}

BlenderBridgeSection::BlenderBridgeSection(BlenderBridgeInstallPorts ports, base::Executor& main,
                                           base::Duration watchdog)
    : bridge_(std::move(ports), main, watchdog) {
  launches_ = bridge_.ports().blender->observe_launches(main, [this] { bump(); });
}

BlenderBridgeSection::~BlenderBridgeSection() = default;

BridgeSectionFacts bridge_section_facts(const BlenderBridgeInstallPorts& ports, const BlenderBridgeClient* client) {
  BridgeSectionFacts facts;
  const auto blender = ports.blender->application();
  facts.blender_found = blender.has_value();
  facts.blender_running = facts.blender_found && !ports.blender->running().empty();
  if (blender) facts.installed_version = installed_version(ports.paths, *blender);
  if (client && client->is_active()) facts.client = client->status();
  return facts;
}

bool BlenderBridgeSection::install() {
  if (installing_) return false;
  installing_ = true;
  note_.reset();
  bump();
  bridge_.install({}, [this](InstallResult result) {
    installing_ = false;
    note_ = result.error ? result.error->text() : std::string(kInstalledNote);
    bump();
  });
  return true;
}

base::Subscription BlenderBridgeSection::observe(std::function<void()> changed) {
  return revision_.subscribe([changed = std::move(changed)](const std::uint64_t&) { changed(); });
}

}  // namespace kolvo::blender
