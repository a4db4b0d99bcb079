#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/executor.hpp"
#include "deck/protocol/deck_message.hpp"
#include "deck/server/deck_connection.hpp"

namespace kolvo::deck {

// Request ids a phone already sent, so a repeated request is carried out once. Only the most
// recent are kept: a phone retries within seconds, and a hostile one cannot grow the set.
class RecentRequestIds {
 public:
  static constexpr std::size_t kCapacity = 512;
  // False when the id was seen already; otherwise remembers it.
  bool insert(const std::string& id);
  bool contains(const std::string& id) const { return ids_.contains(id); }

 private:
  std::set<std::string> ids_;
  std::deque<std::string> order_;
};

// One connected phone: its bytes cut into frames, its identity once it says hello, and what
// was last sent to it.
class KolvoDeckSession : public std::enable_shared_from_this<KolvoDeckSession> {
 public:
  // What a phone may have sent and not yet had cut into frames before it is approved: a hello
  // is a few hundred bytes, and a stranger should not make the Mac hold megabytes.
  static constexpr std::size_t kMaximumUnapprovedBuffer = 64 * 1024;

  struct Callbacks {
    std::function<void(KolvoDeckSession&, const KolvoDeckMessage&)> message;
    // The connection ended, whoever ended it. Called once.
    std::function<void(KolvoDeckSession&, const std::string& reason)> closed;
  };

  KolvoDeckSession(std::shared_ptr<DeckConnection> connection, std::uint64_t serial, base::TimePoint connected_at);

  void start(Callbacks callbacks);
  // Encodes and sends; a message whose frame would exceed the phone's limit is dropped.
  void send(const KolvoDeckMessage& message, std::function<void()> sent = {});
  // The same frame to many phones, encoded once.
  void send_frame(const SharedBytes& frame);
  // Ends the session and tells its owner.
  void close(const std::string& reason);

  std::uint64_t serial() const { return serial_; }
  base::TimePoint connected_at() const { return connected_at_; }
  const std::string& peer() const { return connection_->peer(); }
  bool is_closed() const { return closed_; }

  std::optional<std::string> device_id;
  std::optional<std::string> device_name;
  bool is_approved = false;
  bool said_hello = false;
  // The question this connection put to the user, while it is open.
  std::optional<std::string> asking_key;
  // Refused: only the close that follows the "denied" it was sent.
  bool denied = false;
  std::optional<std::string> last_icon_bundle_id;
  std::set<std::string> sent_launch_icons;
  std::optional<std::vector<KolvoDeckLaunchItem>> last_launch_items;
  RecentRequestIds handled_launch_requests;
  RecentRequestIds handled_pair_requests;

 private:
  void received(std::vector<std::uint8_t> bytes);

  std::shared_ptr<DeckConnection> connection_;
  std::uint64_t serial_;
  base::TimePoint connected_at_;
  Callbacks callbacks_;
  std::vector<std::uint8_t> buffer_;
  bool closed_ = false;
};

}  // namespace kolvo::deck
