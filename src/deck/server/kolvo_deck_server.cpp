#include "deck/server/kolvo_deck_server.hpp"

#include <algorithm>
#include <utility>

#include "base/base64.hpp"
#include "base/utf8.hpp"
#include "deck/protocol/deck_framing.hpp"

namespace kolvo::deck {
namespace {

bool is_command(KolvoDeckMessageType type) {
  using T = KolvoDeckMessageType;
  switch (type) {
    case T::requestState:
    case T::shelfSurfaceCommand:
    case T::setControl:
    case T::setAppearance:
    case T::setAudioOutput:
    case T::switchDesktopLeft:
    case T::switchDesktopRight:
    case T::mediaPlayPause:
    case T::toggleDesktopVisibility:
    case T::tabStep:
    case T::windowSnap:
    case T::launchApp:
    case T::launchPair: return true;
    default: return false;
  }
}

bool is_live_approved(const std::shared_ptr<KolvoDeckSession>& s) { return s->is_approved && !s->is_closed(); }

// The key a waiting question is filed under: the phone's id, or this connection alone.
std::string approval_key(const KolvoDeckSession& session) {
  return session.device_id ? *session.device_id : "connection-" + std::to_string(session.serial());
}

}  // namespace

KolvoDeckServer::KolvoDeckServer(DeckServerPorts ports) : ports_(ports), approvals_(ports.prompt) {}

KolvoDeckServer::~KolvoDeckServer() {
  self_.reset();
  stop();
}

void KolvoDeckServer::start() {
  if (listener_) return;
  last_error_.set(std::nullopt);
  auto listener = std::make_unique<DeckListener>(ports_.network, ports_.main);
  if (auto error = listener->open(requested_port_)) {
    ports_.log.record("Deck", *error);
    last_error_.set(std::move(error));
    return;
  }
  listener_ = std::move(listener);
  std::weak_ptr<KolvoDeckServer*> weak = self_;
  listener_->accept([weak](std::shared_ptr<DeckConnection> connection) {
    if (const auto self = weak.lock()) (*self)->accepted(std::move(connection));
  });
  const std::uint16_t port = listener_->port();
  ports_.log.record("Deck", "listening on port " + std::to_string(port));
  listening_port_.set(port);
  is_running_.set(true);
  if (ports_.advertise) ports_.advertise(port);
  changes_ = ports_.mac.observe_changes([weak] {
    if (const auto self = weak.lock()) (*self)->schedule_broadcast();
  });
  // Volume, brightness and backlight changed by other means announce nothing.
  value_poll_timer_.start(kPollInterval, [weak] {
    if (const auto self = weak.lock()) (*self)->broadcast_now();
  });
}

void KolvoDeckServer::stop() {
  if (!listener_) return;
  changes_.reset();
  value_poll_timer_.stop();
  broadcast_work_.cancel();
  if (ports_.withdraw) ports_.withdraw();
  approvals_.withdraw_all();
  listener_->close();
  listener_.reset();
  hello_deadlines_.clear();
  auto sessions = std::move(sessions_);
  sessions_.clear();
  for (const auto& session : sessions) session->close("the server stopped");
  last_broadcast_state_.reset();
  ports_.log.record("Deck", "stopped");
  is_running_.set(false);
  listening_port_.set(std::nullopt);
  refresh_device_names();
}

std::size_t KolvoDeckServer::approved_session_count() const {
  return static_cast<std::size_t>(
      std::count_if(sessions_.begin(), sessions_.end(), is_live_approved));
}

std::shared_ptr<KolvoDeckSession> KolvoDeckServer::find(std::uint64_t serial) const {
  const auto found = std::find_if(sessions_.begin(), sessions_.end(), [&](const auto& s) { return s->serial() == serial; });
  return found == sessions_.end() ? nullptr : *found;
}

void KolvoDeckServer::accepted(std::shared_ptr<DeckConnection> connection) {
  if (!listener_) return connection->close();
  // Phones that have not been approved cost memory and attention; past the limit the one that
  // has waited longest gives way, so a flood never locks the user's own phone out.
  // Those that never said hello go first, so a flood does not take down the question the user
  // is about to answer.
  std::vector<std::shared_ptr<KolvoDeckSession>> waiting;
  for (const auto& s : sessions_) {
    if (!s->is_approved && !s->is_closed()) waiting.push_back(s);
  }
  if (waiting.size() >= kMaximumUnapprovedSessions) {
    const auto silent = std::find_if(waiting.begin(), waiting.end(), [](const auto& s) { return !s->said_hello; });
    (silent != waiting.end() ? *silent : waiting.front())->close("too many unapproved connections; the oldest is closed");
  }
  const std::uint64_t serial = next_serial_++;
  auto session = std::make_shared<KolvoDeckSession>(std::move(connection), serial, ports_.main.now());
  sessions_.push_back(session);
  std::weak_ptr<KolvoDeckServer*> weak = self_;
  session->start({.message =
                      [weak](KolvoDeckSession& s, const KolvoDeckMessage& message) {
                        if (const auto self = weak.lock()) (*self)->handle(s, message);
                      },
                  .closed =
                      [weak](KolvoDeckSession& s, const std::string& reason) {
                        if (const auto self = weak.lock()) (*self)->session_closed(s, reason);
                      }});
  auto deadline = std::make_unique<base::Timer>(ports_.main);
  deadline->start(kHelloTimeout, [weak, serial] {
    if (const auto self = weak.lock()) (*self)->close_hello_laggard(serial);
  });
  hello_deadlines_[serial] = std::move(deadline);
  ports_.log.record("Deck", "connection from " + session->peer());
}

void KolvoDeckServer::close_hello_laggard(std::uint64_t serial) {
  hello_deadlines_.erase(serial);
  const auto session = find(serial);
  if (session && !session->said_hello && !session->is_approved) {
    session->close("no hello within " + std::to_string(std::chrono::duration_cast<std::chrono::seconds>(kHelloTimeout).count()) + " s");
  }
}

void KolvoDeckServer::handle(KolvoDeckSession& session, const KolvoDeckMessage& message) {
  switch (message.type()) {
    case KolvoDeckMessageType::hello: return hello(session, *message.get_if<HelloMessage>());
    case KolvoDeckMessageType::ping: return session.send(PongMessage{});
    default: break;
  }
  // Everything else is a command of an approved phone, or a message only the Mac sends.
  if (is_command(message.type()) && session.is_approved && !session.denied) perform(session, message);
}

void KolvoDeckServer::hello(KolvoDeckSession& session, const HelloMessage& hello) {
  // A refused phone is on its way out; one with a question open has asked enough.
  if (session.denied || session.asking_key) return;
  session.said_hello = true;
  hello_deadlines_.erase(session.serial());
  const bool named = hello.device_name && !hello.device_name->empty();
  // No phone's id or name comes near these; longer ones are not an identity to remember or a
  // name to put in an alert.
  if (hello.device_id && !hello.device_id->empty() && hello.device_id->size() <= kMaximumDeviceIdBytes) {
    session.device_id = hello.device_id;
  }
  if (named) {
    session.device_name = base::truncated_utf8(*hello.device_name, kMaximumDeviceNameBytes);
  } else if (!session.device_name) {
    // A trusted phone that sends no name keeps the one it was trusted under.
    const auto* trusted = session.device_id ? ports_.trust.device(*session.device_id) : nullptr;
    session.device_name = trusted ? trusted->name : std::string(kDefaultDeviceName);
  }
  if (session.is_approved) {
    // A phone that says hello again after approval is resynchronised, not asked again.
    session.send(ApprovedMessage{});
    session.send(StateUpdateMessage{ports_.mac.current_state()});
    return;
  }
  const std::string name = session.device_name.value_or(std::string(kDefaultDeviceName));
  if (session.device_id && ports_.trust.contains(*session.device_id)) {
    if (named) ports_.trust.add_or_update(*session.device_id, name);
    return approve(session);
  }
  const std::string key = approval_key(session);
  // Another connection of the same phone asked already; the answer covers this one too.
  if (approvals_.is_waiting(key)) return;
  session.send(ApprovalRequiredMessage{});
  session.asking_key = key;
  std::weak_ptr<KolvoDeckServer*> weak = self_;
  const std::uint64_t serial = session.serial();
  const std::optional<std::string> device_id = session.device_id;
  approvals_.ask({key, name}, [weak, serial, device_id, name](bool allow) {
    const auto self = weak.lock();
    if (!self) return;
    const auto asking = (*self)->find(serial);
    if (asking) asking->asking_key.reset();
    if (allow) {
      if (device_id) (*self)->ports_.trust.add_or_update(*device_id, name);
      (*self)->ports_.log.record("Deck", "approved " + name);
      // Every open connection of this phone that said hello: a phone that reconnected while
      // the question was up is the same phone.
      for (const auto& s : std::vector((*self)->sessions_)) {
        const bool same = s->serial() == serial || (device_id && s->device_id == device_id);
        if (same && s->said_hello && !s->is_approved && !s->is_closed()) (*self)->approve(*s);
      }
      return;
    }
    if (!asking || asking->is_closed()) return;
    (*self)->ports_.log.record("Deck", "denied " + name);
    asking->denied = true;
    std::weak_ptr<KolvoDeckSession> weak_session = asking;
    asking->send(DeniedMessage{}, [weak_session] {
      if (const auto s = weak_session.lock()) s->close("denied by the user");
    });
  });
}

void KolvoDeckServer::approve(KolvoDeckSession& session) {
  session.is_approved = true;
  refresh_device_names();
  session.send(ApprovedMessage{});
  // A newly approved phone gets the state whatever was broadcast last; this send is its own
  // and leaves the others' baseline alone.
  session.send(StateUpdateMessage{ports_.mac.current_state()});
  if (auto widgets = ports_.mac.shelf_widgets()) session.send(std::move(*widgets));
  ports_.mac.refresh_shelf();
  send_extras(session);
}

void KolvoDeckServer::perform(KolvoDeckSession& session, const KolvoDeckMessage& message) {
  if (message.type() == KolvoDeckMessageType::requestState) {
    session.send(StateUpdateMessage{ports_.mac.current_state()});
    ports_.mac.refresh_shelf();
    return;
  }
  if (const auto* launch = message.get_if<LaunchAppMessage>()) {
    if (launch->launch_request_id && !session.handled_launch_requests.insert(*launch->launch_request_id)) return;
  }
  if (const auto* pair = message.get_if<LaunchPairMessage>()) {
    if (pair->pair_request_id && !session.handled_pair_requests.insert(*pair->pair_request_id)) return;
  }
  std::weak_ptr<KolvoDeckServer*> weak = self_;
  const std::uint64_t serial = session.serial();
  ports_.mac.perform(message, [weak, serial](std::optional<KolvoDeckMessage> reply) {
    const auto self = weak.lock();
    if (!self) return;
    if (const auto asking = (*self)->find(serial); asking && reply) asking->send(*reply);
    // Volume and brightness post no notification; the phone should not wait for the poll.
    (*self)->schedule_broadcast();
  });
}

void KolvoDeckServer::session_closed(KolvoDeckSession& session, const std::string& reason) {
  const std::uint64_t serial = session.serial();
  hello_deadlines_.erase(serial);
  // Only the connection that asked takes its question down.
  if (session.asking_key) approvals_.withdraw(*std::exchange(session.asking_key, std::nullopt));
  ports_.log.record("Deck", session.peer() + " closed: " + reason);
  const auto found = std::find_if(sessions_.begin(), sessions_.end(), [&](const auto& s) { return s->serial() == serial; });
  if (found == sessions_.end()) return;
  const bool was_approved = session.is_approved;
  const auto keep = *found;  // the session stays alive until this returns
  sessions_.erase(found);
  if (was_approved) refresh_device_names();
}

void KolvoDeckServer::refresh_device_names() {
  std::vector<std::string> names;
  for (const auto& s : sessions_) {
    if (is_live_approved(s)) names.push_back(s->device_name.value_or(std::string(kDefaultDeviceName)));
  }
  if (names != connected_device_names_.get()) connected_device_names_.set(std::move(names));
}

void KolvoDeckServer::schedule_broadcast() {
  if (!listener_) return;
  std::weak_ptr<KolvoDeckServer*> weak = self_;
  broadcast_work_.start(kBroadcastDelay, [weak] {
    if (const auto self = weak.lock()) (*self)->broadcast_now();
  });
}

void KolvoDeckServer::broadcast_now() {
  std::vector<std::shared_ptr<KolvoDeckSession>> approved;
  for (const auto& s : sessions_) {
    if (is_live_approved(s)) approved.push_back(s);
  }
  if (approved.empty()) return;  // no phone to tell: nothing is read
  KolvoDeckState state = ports_.mac.current_state();
  if (!last_broadcast_state_ || *last_broadcast_state_ != state) {
    const auto frame =
        std::make_shared<const std::vector<std::uint8_t>>(framing::encode_frame(StateUpdateMessage{state}));
    last_broadcast_state_ = std::move(state);
    for (const auto& s : approved) s->send_frame(frame);
  }
  // Read once for all phones: with many phones this is most of a broadcast's cost.
  const auto items = ports_.mac.launch_items();
  const auto frontmost = ports_.mac.frontmost_bundle_id();
  for (const auto& s : approved) send_extras(*s, items, frontmost);
}

void KolvoDeckServer::send_to_approved(const KolvoDeckMessage& message) {
  SharedBytes frame;
  for (const auto& s : sessions_) {
    if (!is_live_approved(s)) continue;
    if (!frame) frame = std::make_shared<const std::vector<std::uint8_t>>(framing::encode_frame(message));
    s->send_frame(frame);
  }
}

void KolvoDeckServer::send_extras(KolvoDeckSession& session) {
  send_extras(session, ports_.mac.launch_items(), ports_.mac.frontmost_bundle_id());
}

void KolvoDeckServer::send_extras(KolvoDeckSession& session, const std::vector<KolvoDeckLaunchItem>& items,
                                  const std::optional<std::string>& frontmost) {
  if (!session.last_launch_items || *session.last_launch_items != items) {
    session.send(LaunchConfigMessage{items});
    for (const auto& item : items) {
      if (!session.sent_launch_icons.insert(item.bundle_id).second) continue;
      if (auto icon = icon_base64(item.bundle_id)) session.send(LaunchIconMessage{item.bundle_id, std::move(icon)});
    }
    session.last_launch_items = items;
  }
  if (frontmost && frontmost != session.last_icon_bundle_id) {
    session.last_icon_bundle_id = frontmost;
    if (auto icon = icon_base64(*frontmost)) session.send(ProfileIconMessage{*frontmost, std::move(icon)});
  }
}

std::optional<std::string> KolvoDeckServer::icon_base64(const std::string& bundle_id) {
  if (const auto found = icon_png_cache_.find(bundle_id); found != icon_png_cache_.end()) return found->second;
  std::optional<std::string> icon;
  if (const auto png = ports_.mac.application_icon_png(bundle_id)) icon = base::base64_encode(*png);
  if (icon_png_cache_.size() >= kIconCacheCapacity) icon_png_cache_.erase(icon_png_cache_.begin());
  icon_png_cache_.emplace(bundle_id, icon);
  return icon;
}

}  // namespace kolvo::deck
