#pragma once

#include <functional>
#include <optional>

#include "dock/dock_calibration_session.hpp"
#include "dock/dock_geometry_client.hpp"
#include "overlay/activation_settings_stores.hpp"
#include "prefs/settings_enums.hpp"

namespace kolvo::overlay {

using DockSide = dock::Side;

// The panels at the screen's edges and corners, as the rest of the program drives them. The
// Mac draws them with AppKit; the headless host logs what it would show. Placement rules live
// in the core (the tray's rectangle, the zones); the panels only show what they are told.
class OverlayWindowManager : public dock::DockGeometryClient {
 public:
  // Pinned: it stays open until dismissed, instead of hiding when the pointer leaves.
  virtual void show_hidden_dock(DockSide side, bool pinned) = 0;
  virtual void hide_hidden_dock() = 0;
  virtual bool is_hidden_dock_visible() const = 0;
  virtual bool is_hidden_dock_pinned() const = 0;
  // The side the Hidden Dock was last open on.
  virtual DockSide last_open_side() const = 0;

  virtual void show_slider(DockSide side, prefs::EdgeMode mode) = 0;
  virtual void hide_slider() = 0;
  virtual void show_dial(prefs::Corner corner, prefs::CornerControlMode mode) = 0;
  virtual void hide_dial() = 0;
  // The small glass strip in a bottom corner while a pressure reveal is pending.
  virtual void set_pressure_cue_visible(bool visible, DockSide side) = 0;

  virtual void close_all_panels() = 0;
  // A finished timer draws the eye to its dial.
  virtual void reveal_timer_control() = 0;
  // Opens the calibration for the display in use; `completed` runs once when it closes.
  virtual void start_calibration(std::function<void()> completed) = 0;
};

// NSHapticFeedbackManager's default performer.
class HapticPerformer {
 public:
  virtual ~HapticPerformer() = default;
  // NSHapticFeedbackPatternAlignment at NSHapticFeedbackPerformanceTimeNow.
  virtual void perform_alignment() = 0;
};

}  // namespace kolvo::overlay
