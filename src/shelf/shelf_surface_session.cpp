#include "shelf/shelf_surface_session.hpp"

namespace kolvo::shelf {

std::optional<AdobeApp> adobe_app_for(ShelfSurfaceIdentity identity) {
  switch (identity) {
    case ShelfSurfaceIdentity::afterEffects: return AdobeApp::afterEffects;
    case ShelfSurfaceIdentity::illustrator: return AdobeApp::illustrator;
    case ShelfSurfaceIdentity::photoshop: return AdobeApp::photoshop;
    case ShelfSurfaceIdentity::premiere: return AdobeApp::premiere;
    default: return std::nullopt;
  }
}

void ShelfSurfaceSession::deliver(const ShelfSurfaceState& state, bool forced) {
  if (!forced && last_sent_ && same_as_last(*last_sent_, state)) return;
  last_sent_ = state;
  if (on_state_) on_state_(state);
}

void ShelfSurfaceSession::resend_last() {
  if (last_sent_ && on_state_) on_state_(*last_sent_);
}

}  // namespace kolvo::shelf
