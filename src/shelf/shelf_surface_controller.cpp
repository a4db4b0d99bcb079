#include "shelf/shelf_surface_controller.hpp"

#include <algorithm>
#include <set>

namespace kolvo::shelf {

ShelfSurfaceController::~ShelfSurfaceController() {
  self_.reset();
  for (auto& [identity, session] : sessions_) session->stop();
}

void ShelfSurfaceController::configure(const std::vector<ShelfSurfaceIdentity>& widgets) {
  // A widget listed twice is one widget.
  configured_.clear();
  for (const auto identity : widgets) {
    if (std::find(configured_.begin(), configured_.end(), identity) == configured_.end()) configured_.push_back(identity);
  }
  const std::set<ShelfSurfaceIdentity> wanted(widgets.begin(), widgets.end());
  for (auto it = sessions_.begin(); it != sessions_.end();) {
    if (wanted.contains(it->first)) {
      ++it;
      continue;
    }
    // Detached first: a state the session emits while stopping reaches no phone.
    auto leaving = std::move(it->second);
    it = sessions_.erase(it);
    leaving->set_on_state(nullptr);
    leaving->stop();
  }
  for (const auto identity : widgets) {
    if (sessions_.contains(identity)) continue;
    auto session = factory_ ? factory_(identity) : nullptr;
    if (!session) continue;
    std::weak_ptr<ShelfSurfaceController*> weak = self_;
    session->set_on_state([weak](const ShelfSurfaceState& state) {
      if (const auto self = weak.lock(); self && (*self)->on_state_) (*self)->on_state_(state);
    });
    auto& placed = sessions_[identity] = std::move(session);
    placed->start();
  }
}

void ShelfSurfaceController::refreshAll() {
  // A copy: a phone's handler may reconfigure while states go out.
  for (const auto identity : std::vector(configured_)) {
    if (auto* s = session(identity)) s->refresh();
  }
}

void ShelfSurfaceController::toolGridDidChange(AdobeApp app) {
  for (auto& [identity, session] : sessions_) {
    auto* adobe = dynamic_cast<AdobeSurfaceControls*>(session.get());
    if (adobe && adobe->adobe_app() == app) adobe->tool_grid_did_change();
  }
}

ShelfSurfaceSession* ShelfSurfaceController::session(ShelfSurfaceIdentity identity) const {
  const auto found = sessions_.find(identity);
  return found == sessions_.end() ? nullptr : found->second.get();
}

void ShelfSurfaceController::route(ShelfSurfaceIdentity identity, const ShelfCommand& command) {
  auto* target = session(identity);
  if (!target) return;
  auto* adobe = dynamic_cast<AdobeSurfaceControls*>(target);
  auto* blender = dynamic_cast<BlenderSurfaceControls*>(target);
  switch (command.command) {
    case ShelfSurfaceCommand::selectTool:
      if (adobe && command.tool_id) adobe->select_tool(*command.tool_id);
      return;
    case ShelfSurfaceCommand::blenderAction:
      if (blender && command.blender_tool) blender->perform_action(*command.blender_tool);
      return;
    case ShelfSurfaceCommand::setColor:
      if (adobe && command.color_hex) adobe->set_color(*command.color_hex, command.color_picker_id);
      return;
    case ShelfSurfaceCommand::applyColor:
    case ShelfSurfaceCommand::cancelColor:
      if (adobe) adobe->finish_color(command.command == ShelfSurfaceCommand::applyColor, command.color_picker_id);
      return;
    case ShelfSurfaceCommand::setContinuous:
    case ShelfSurfaceCommand::setContinuousAxis:
    case ShelfSurfaceCommand::setContinuousChoice:
    case ShelfSurfaceCommand::endContinuous:
      // The sliders belong to the creative widgets; the Timer's minutes are its own slider.
      if (blender) {
        blender->continuous(command);
      } else if (adobe) {
        adobe->continuous(command);
      } else {
        target->handle(command);
      }
      return;
    default: target->handle(command); return;
  }
}

}  // namespace kolvo::shelf
