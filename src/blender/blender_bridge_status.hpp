#pragma once

#include "base/enum_table.hpp"

namespace kolvo::blender {

// Where the bridge client stands, in order from "no Blender at all" to "talking to it".
enum class BlenderBridgeStatus {
  blenderNotInstalled,
  blenderClosed,
  bridgeNotRunning,
  connecting,
  connected,
  busy,
  incompatible,
};
inline constexpr auto kBlenderBridgeStatusTable = base::make_enum_table<BlenderBridgeStatus>(
    {{BlenderBridgeStatus::blenderNotInstalled, "blenderNotInstalled"},
     {BlenderBridgeStatus::blenderClosed, "blenderClosed"},
     {BlenderBridgeStatus::bridgeNotRunning, "bridgeNotRunning"},
     {BlenderBridgeStatus::connecting, "connecting"},
     {BlenderBridgeStatus::connected, "connected"},
     {BlenderBridgeStatus::busy, "busy"},
     {BlenderBridgeStatus::incompatible, "incompatible"}});

// Connected or busy: Blender answers, if slowly.
inline bool is_linked(BlenderBridgeStatus status) {
  return status == BlenderBridgeStatus::connected || status == BlenderBridgeStatus::busy;
}

}  // namespace kolvo::blender
