#pragma once

#include <functional>
#include <optional>
#include <string>

#include "deck/protocol/shelf_vocabulary.hpp"

// What every Shelf widget's session on the Mac is: it watches one outside application, turns
// what it sees into states for the phone, and carries out the phone's commands.
namespace kolvo::shelf {

using deck::ShelfSurfaceCommand;
using deck::ShelfSurfaceIdentity;
using deck::ShelfSurfaceState;

// The Adobe applications a creative widget can drive, in identity order.
enum class AdobeApp { afterEffects, illustrator, photoshop, premiere };
inline constexpr auto kAdobeAppTable = base::make_enum_table<AdobeApp>(
    {{AdobeApp::afterEffects, "afterEffects"}, {AdobeApp::illustrator, "illustrator"},
     {AdobeApp::photoshop, "photoshop"}, {AdobeApp::premiere, "premiere"}});
// The Adobe application behind a creative identity; absent for every other widget.
std::optional<AdobeApp> adobe_app_for(ShelfSurfaceIdentity identity);

// One command of the phone with every argument that travelled beside it, so a session can read
// the strings that the creative sliders and tools need as well as the number.
struct ShelfCommand {
  ShelfSurfaceCommand command = ShelfSurfaceCommand::playPause;
  std::optional<double> value = std::nullopt;
  std::optional<std::string> tool_id = std::nullopt;
  std::optional<deck::BlenderToolID> blender_tool = std::nullopt;
  std::optional<std::string> color_hex = std::nullopt;
  std::optional<std::string> color_picker_id = std::nullopt;
  std::optional<std::string> control_id = std::nullopt;
  std::optional<std::string> control_axis = std::nullopt;
  std::optional<std::string> control_choice = std::nullopt;
};

// One live widget's session. States are delivered on the main thread; a session sends a state
// only when it differs from the one it sent last, by its own rule, unless the send is forced.
class ShelfSurfaceSession {
 public:
  using StateHandler = std::function<void(const ShelfSurfaceState&)>;

  virtual ~ShelfSurfaceSession() = default;

  virtual ShelfSurfaceIdentity identity() const = 0;
  // Set before `start`.
  void set_on_state(StateHandler handler) { on_state_ = std::move(handler); }

  // Begins watching; a second start does nothing. A fresh start always delivers its first state.
  virtual void start() = 0;
  // Stops every timer and watcher and forgets the last state and caches; idempotent.
  virtual void stop() = 0;
  // Delivers the current state again, even if unchanged, while running.
  virtual void refresh() = 0;
  // Carries out a command; one that does not concern this session is ignored.
  virtual void handle(const ShelfCommand& command) = 0;

 protected:
  // Sends `state` when it differs from the last one sent (by `same_as_last`), or always when
  // `forced`.
  void deliver(const ShelfSurfaceState& state, bool forced = false);
  // Sends the last state again, if there is one.
  void resend_last();
  const std::optional<ShelfSurfaceState>& last_sent() const { return last_sent_; }
  void forget_last_sent() { last_sent_.reset(); }
  // Whether `next` would tell the phone nothing new after `last`; the time stamp is left out
  // unless a surface says otherwise.
  virtual bool same_as_last(const ShelfSurfaceState& last, const ShelfSurfaceState& next) const {
    return last.same_content(next);
  }

 private:
  StateHandler on_state_;
  std::optional<ShelfSurfaceState> last_sent_;
};

// The slider commands of a creative widget, each with its control's id and argument.
class CreativeSurfaceControls {
 public:
  virtual ~CreativeSurfaceControls() = default;
  // `setContinuous`, `setContinuousAxis`, `setContinuousChoice` and `endContinuous`.
  virtual void continuous(const ShelfCommand& command) = 0;
};

// What only an Adobe widget does: tools, colours and its editable tool grid.
class AdobeSurfaceControls : public CreativeSurfaceControls {
 public:
  virtual AdobeApp adobe_app() const = 0;
  virtual void select_tool(const std::string& tool_id) = 0;
  virtual void set_color(const std::string& hex, const std::optional<std::string>& picker_id) = 0;
  // Applies or cancels the open colour picker; ignored unless `picker_id` names the open one.
  virtual void finish_color(bool apply, const std::optional<std::string>& picker_id) = 0;
  // The user edited the grid: publish it anew.
  virtual void tool_grid_did_change() = 0;
};

// What only the Blender widget does: the bridge's actions.
class BlenderSurfaceControls : public CreativeSurfaceControls {
 public:
  virtual void perform_action(deck::BlenderToolID tool) = 0;
};

}  // namespace kolvo::shelf
