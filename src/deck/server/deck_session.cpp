#include "deck/server/deck_session.hpp"

#include "deck/protocol/deck_framing.hpp"

namespace kolvo::deck {

bool RecentRequestIds::insert(const std::string& id) {
  if (!ids_.insert(id).second) return false;
  order_.push_back(id);
  if (order_.size() > kCapacity) {
    ids_.erase(order_.front());
    order_.pop_front();
  }
  return true;
}

KolvoDeckSession::KolvoDeckSession(std::shared_ptr<DeckConnection> connection, std::uint64_t serial,
                                   base::TimePoint connected_at)
    : connection_(std::move(connection)), serial_(serial), connected_at_(connected_at) {}

void KolvoDeckSession::start(Callbacks callbacks) {
  callbacks_ = std::move(callbacks);
  std::weak_ptr<KolvoDeckSession> weak = shared_from_this();
  connection_->start({.received =
                          [weak](std::vector<std::uint8_t> bytes) {
                            if (const auto self = weak.lock()) self->received(std::move(bytes));
                          },
                      .closed =
                          [weak](std::string reason) {
                            const auto self = weak.lock();
                            if (!self || self->closed_) return;
                            self->closed_ = true;
                            if (self->callbacks_.closed) self->callbacks_.closed(*self, reason);
                          }});
}

void KolvoDeckSession::received(std::vector<std::uint8_t> bytes) {
  if (closed_) return;
  if (buffer_.empty()) {
    buffer_ = std::move(bytes);
  } else {
    buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
  }
  auto result = framing::decode_frames(buffer_);
  // A stream out of step cannot be trusted from its start: the frames cut before the fault in
  // this read go with the connection rather than being acted on.
  if (result.error) return close("framing error: " + result.error->description());
  if (!is_approved && buffer_.size() > kMaximumUnapprovedBuffer) {
    return close("more than " + std::to_string(kMaximumUnapprovedBuffer) + " bytes of one frame before approval");
  }
  const auto self = shared_from_this();  // a handler may close the session and drop its owner's reference
  for (const auto& frame : result.frames) {
    if (closed_) return;
    if (frame.message && callbacks_.message) callbacks_.message(*this, *frame.message);
  }
}

void KolvoDeckSession::send(const KolvoDeckMessage& message, std::function<void()> sent) {
  if (closed_) return;
  auto frame = framing::encode_frame(message);
  if (!framing::fits_outbound_limit(frame)) return;
  connection_->send(std::make_shared<const std::vector<std::uint8_t>>(std::move(frame)), std::move(sent));
}

void KolvoDeckSession::send_frame(const SharedBytes& frame) {
  if (closed_ || !frame || frame->size() > framing::kMaximumFrame) return;
  connection_->send(frame);
}

void KolvoDeckSession::close(const std::string& reason) {
  if (closed_) return;
  closed_ = true;
  connection_->close();
  buffer_.clear();
  buffer_.shrink_to_fit();
  if (callbacks_.closed) callbacks_.closed(*this, reason);
}

}  // namespace kolvo::deck
