#pragma once

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "shelf/shelf_surface_session.hpp"

namespace kolvo::shelf {

// Makes the session for a widget; null for a widget this Mac cannot feed.
using ShelfSessionFactory = std::function<std::unique_ptr<ShelfSurfaceSession>(ShelfSurfaceIdentity)>;

// Keeps one running session per configured widget and addresses the phone's commands to them.
// Main thread only.
class ShelfSurfaceController {
 public:
  explicit ShelfSurfaceController(ShelfSessionFactory factory) : factory_(std::move(factory)) {}
  ~ShelfSurfaceController();
  ShelfSurfaceController(const ShelfSurfaceController&) = delete;
  ShelfSurfaceController& operator=(const ShelfSurfaceController&) = delete;

  // Where every session's states go, unchanged and in the order they were emitted.
  void set_on_state(ShelfSurfaceSession::StateHandler handler) { on_state_ = std::move(handler); }

  // Makes the sessions match `widgets`: stops those that left, leaves those that stay running
  // untouched, and starts those that are new. A widget listed twice gets one session.
  void configure(const std::vector<ShelfSurfaceIdentity>& widgets);
  const std::vector<ShelfSurfaceIdentity>& configured() const { return configured_; }

  // Every configured widget delivers its state again, in widget order.
  void refreshAll();
  // The user edited an Adobe application's tool grid: its widgets publish it anew.
  void toolGridDidChange(AdobeApp app);
  // A phone's command, addressed by the widget it names; nothing happens for a widget without
  // a session, or a command of a kind the session is not.
  void route(ShelfSurfaceIdentity identity, const ShelfCommand& command);

  // The running session of a widget; null without one.
  ShelfSurfaceSession* session(ShelfSurfaceIdentity identity) const;

 private:
  ShelfSessionFactory factory_;
  ShelfSurfaceSession::StateHandler on_state_;
  std::vector<ShelfSurfaceIdentity> configured_;
  // Keyed by identity, so iteration follows the identities' declared order.
  std::map<ShelfSurfaceIdentity, std::unique_ptr<ShelfSurfaceSession>> sessions_;
  // Sessions' callbacks hold the controller through this, weakly.
  std::shared_ptr<ShelfSurfaceController*> self_ = std::make_shared<ShelfSurfaceController*>(this);
};

}  // namespace kolvo::shelf
