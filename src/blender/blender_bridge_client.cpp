#include "blender/blender_bridge_client.hpp"

#include <algorithm>
#include <array>
#include <deque>

#include <asio/connect.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/post.hpp>
#include <asio/write.hpp>

#include "blender/blender_bridge_protocol.hpp"

namespace kolvo::blender {

// One loopback connection to the add-on. The socket is only touched on the network context;
// everything it hears is handed to the main executor, and nothing is handed over once the
// client has let it go. The next read waits until the main thread has taken the last one in,
// so a flood from the peer is held by the kernel, not by us.
class BridgeConnection : public std::enable_shared_from_this<BridgeConnection> {
 public:
  struct Events {
    std::function<void()> ready;
    std::function<void(std::string_view bytes)> received;
    std::function<void()> lost;
  };

  BridgeConnection(asio::io_context& network, base::Executor& main, Events events)
      : main_(main), socket_(network), events_(std::move(events)) {}

  void open(std::uint16_t port) {
    asio::post(socket_.get_executor(), [self = shared_from_this(), port] {
      const asio::ip::tcp::endpoint bridge(asio::ip::address_v4::loopback(), port);
      self->socket_.async_connect(bridge, [self](const std::error_code& error) {
        if (self->shut_) return;
        if (error) return self->fail();
        self->main_.post([self] {
          if (self->released_) return;
          // A copy: the handler may let the connection go, and its events with it.
          const auto ready = self->events_.ready;
          ready();
          if (!self->released_) self->read();
        });
      });
    });
  }

  void send(std::string line) {
    if (released_) return;
    asio::post(socket_.get_executor(), [self = shared_from_this(), line = std::move(line)]() mutable {
      if (self->shut_) return;
      self->outbox_.push_back(std::move(line));
      if (self->outbox_.size() == 1) self->write_next();
    });
  }

  // No event follows, and the socket is closed.
  void release() {
    if (released_) return;
    released_ = true;
    events_ = {};
    asio::post(socket_.get_executor(), [self = shared_from_this()] { self->shut(); });
  }

 private:
  void read() {
    asio::post(socket_.get_executor(), [self = shared_from_this()] {
      if (self->shut_) return;
      self->socket_.async_read_some(asio::buffer(self->chunk_), [self](const std::error_code& error, std::size_t n) {
        if (self->shut_) return;
        if (error) return self->fail();
        self->main_.post([self, bytes = std::string(self->chunk_.data(), n)] {
          if (self->released_) return;
          const auto received = self->events_.received;
          received(bytes);
          if (!self->released_) self->read();
        });
      });
    });
  }

  void write_next() {
    asio::async_write(socket_, asio::buffer(outbox_.front()), [self = shared_from_this()](const std::error_code& error,
                                                                                          std::size_t) {
      if (self->shut_) return;
      if (error) return self->fail();
      self->outbox_.pop_front();
      if (!self->outbox_.empty()) self->write_next();
    });
  }

  void fail() {
    shut();
    main_.post([self = shared_from_this()] {
      if (self->released_) return;
      auto lost = std::move(self->events_.lost);
      self->release();
      lost();
    });
  }

  void shut() {
    if (shut_) return;
    shut_ = true;
    std::error_code ignored;
    socket_.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
    socket_.close(ignored);
    // Only once the socket is closed can no write still be reading the lines.
    outbox_.clear();
  }

  base::Executor& main_;
  asio::ip::tcp::socket socket_;
  Events events_;                  // main thread
  bool released_ = false;          // main thread
  bool shut_ = false;              // network context
  // A deque, because the write in progress points into its front line while more are added.
  std::deque<std::string> outbox_;  // network context
  std::array<char, 65536> chunk_{};  // network context
};

namespace {

bool contains(const std::vector<std::int32_t>& pids, std::int32_t pid) {
  return std::find(pids.begin(), pids.end(), pid) != pids.end();
}

std::optional<std::int64_t> integer_id(const nlohmann::json& message) {
  const auto id = message.find("id");
  if (id == message.end() || !id->is_number_integer()) return std::nullopt;
  if (id->is_number_unsigned() && id->get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX)) return std::nullopt;
  return id->get<std::int64_t>();
}

}  // namespace

BlenderBridgeClient::BlenderBridgeClient(Ports ports) : ports_(std::move(ports)) {}

BlenderBridgeClient::~BlenderBridgeClient() {
  *alive_ = false;
  timer_.reset();
  launches_.reset();
  if (connection_) connection_->release();
}

base::Subscription BlenderBridgeClient::add_observer(std::function<void()> observer) {
  const std::uint64_t id = next_observer_++;
  observers_->emplace(id, std::move(observer));
  std::weak_ptr<std::map<std::uint64_t, std::function<void()>>> weak = observers_;
  return base::Subscription([weak, id] {
    if (auto observers = weak.lock()) observers->erase(id);
  });
}

void BlenderBridgeClient::start() {
  if (active_) return;
  active_ = true;
  timer_ = std::make_unique<base::RepeatingTimer>(ports_.main);
  timer_->start(kRefreshInterval, [this] { refresh(); });
  if (ports_.blender) launches_ = ports_.blender->observe_launches(ports_.main, [this] { refresh(); });
  notify();
  refresh();
}

void BlenderBridgeClient::stop() {
  if (!active_) return;
  active_ = false;
  timer_.reset();
  launches_.reset();
  disconnect();
  // A stopped client knows nothing of Blender; started again, it begins where a new one does
  // rather than showing a connection that is gone.
  status_ = Status::blenderClosed;
  context_.reset();
  notify();
}

void BlenderBridgeClient::refresh() {
  if (!active_) return;
  const std::vector<std::int32_t> running = ports_.blender ? ports_.blender->running() : std::vector<std::int32_t>{};
  if (running.empty()) {
    if (connection_) disconnect();
    const bool installed = ports_.blender && ports_.blender->application().has_value();
    return publish(installed ? Status::blenderClosed : Status::blenderNotInstalled, std::nullopt);
  }
  if (connection_) {
    if (contains(running, connected_pid_)) return;
    disconnect();
  }
  const auto info = read_bridge_connection_info(ports_.info_file);
  // A file left by a Blender that has quit names a process that is not running: it is not
  // this Blender's bridge, whichever of several runs.
  if (!info || !contains(running, info->pid)) return publish(Status::bridgeNotRunning, std::nullopt);
  if (info->protocol_version != kBridgeProtocol) return publish(Status::incompatible, std::nullopt);
  connect(info->pid, info->port, info->token);
}

void BlenderBridgeClient::connect(std::int32_t pid, std::uint16_t port, const std::string& token) {
  connected_pid_ = pid;
  connection_ = std::make_shared<BridgeConnection>(
      ports_.network, ports_.main,
      BridgeConnection::Events{
          .ready =
              [this, token] {
                nlohmann::ordered_json hello;
                hello["type"] = "hello";
                hello["token"] = token;
                send_line(hello);
              },
          .received =
              [this](std::string_view bytes) {
                buffer_.append(bytes);
                // Each line may drop the connection, and with it the buffer.
                while (connection_) {
                  const auto line = buffer_.next_line();
                  if (!line) break;
                  received_line(*line);
                }
                if (connection_ && buffer_.overflowed()) {
                  ports_.log.record("Blender", "the bridge sent more than " + std::to_string(kMaxBuffer) +
                                                " bytes without a line break; disconnecting");
                  connection_lost();
                }
              },
          .lost = [this] { connection_lost(); },
      });
  publish(Status::connecting, std::nullopt);
  connection_->open(port);
}

void BlenderBridgeClient::connection_lost() {
  const bool was_talking = authenticated_;
  disconnect();
  publish(Status::bridgeNotRunning, std::nullopt);
  // A session that ends is most often Blender quitting; look again soon rather than show
  // "not running" until the next regular look.
  if (was_talking) {
    std::weak_ptr<bool> alive = alive_;
    ports_.main.post_after(kQuitLookDelay, [this, alive] {
      if (alive.lock() && *alive.lock()) refresh();
    });
  }
}

void BlenderBridgeClient::disconnect() {
  if (connection_) std::exchange(connection_, nullptr)->release();
  connected_pid_ = 0;
  authenticated_ = false;
  pending_.clear();
  // Waiting callers are let go without an answer; they never hear from this connection again.
  completions_.clear();
  buffer_.clear();
}

void BlenderBridgeClient::received_line(std::string_view line) {
  const auto message = parse_bridge_message(line);
  if (!message) return;
  if (!authenticated_) {
    const auto type = message->find("type");
    if (type == message->end() || *type != "hello") return;
    const auto ok = message->find("ok");
    const auto protocol = message->find("protocol");
    if (ok == message->end() || *ok != true) {
      disconnect();
      return publish(Status::bridgeNotRunning, std::nullopt);
    }
    if (protocol == message->end() || !protocol->is_number_integer() || *protocol != kBridgeProtocol) {
      disconnect();
      return publish(Status::incompatible, std::nullopt);
    }
    authenticated_ = true;
    nlohmann::ordered_json subscribe;
    subscribe["type"] = "subscribe";
    subscribe["id"] = take_id();
    send_line(subscribe);
    return publish(Status::connected, context_);
  }
  const auto id = integer_id(*message);
  if (id) pending_.erase(*id);
  std::optional<BlenderContext> context = context_;
  const auto state = message->find("state");
  if (state != message->end()) {
    if (auto decoded = decode_blender_context(*state)) context = std::move(decoded);
  }
  publish(Status::connected, std::move(context));
  if (!id) return;
  const auto waiting = completions_.find(*id);
  if (waiting == completions_.end()) return;
  Completion completion = std::move(waiting->second);
  completions_.erase(waiting);
  const auto ok = message->find("ok");
  const auto error = message->find("error");
  completion(ok != message->end() && *ok == true,
             error != message->end() && error->is_string() ? std::optional<std::string>(error->get<std::string>())
                                                            : std::nullopt);
}

void BlenderBridgeClient::request_state() {
  if (!authenticated_ || !connection_) return;
  nlohmann::ordered_json request;
  request["type"] = "state";
  request["id"] = take_id();
  send_line(request);
}

void BlenderBridgeClient::send_action(const std::string& name) {
  nlohmann::ordered_json request;
  request["type"] = "action";
  request["name"] = name;
  send(std::move(request), nullptr);
}

bool BlenderBridgeClient::send(nlohmann::ordered_json fields, Completion completion) {
  if (!authenticated_ || !connection_) return false;
  const std::int64_t id = take_id();
  // The id follows the type, as the bridge's own replies have it.
  nlohmann::ordered_json request;
  const auto type = fields.find("type");
  if (type != fields.end()) request["type"] = *type;
  request["id"] = id;
  for (auto& [key, value] : fields.items()) {
    if (key != "type" && key != "id") request[key] = std::move(value);
  }
  pending_.insert(id);
  if (completion) completions_.emplace(id, std::move(completion));
  send_line(request);
  watch_for_busy(id);
  return true;
}

std::int64_t BlenderBridgeClient::take_id() { return next_id_++; }

void BlenderBridgeClient::send_line(const nlohmann::ordered_json& message) {
  if (connection_) connection_->send(encode_bridge_request(message));
}

void BlenderBridgeClient::watch_for_busy(std::int64_t id) {
  std::weak_ptr<bool> alive = alive_;
  ports_.main.post_after(kBusyTimeout, [this, alive, id] {
    const auto living = alive.lock();
    if (!living || !*living) return;
    if (authenticated_ && pending_.contains(id)) publish_status(Status::busy);
  });
}

void BlenderBridgeClient::publish(Status status, std::optional<BlenderContext> context) {
  if (status == status_ && context == context_) return;
  status_ = status;
  context_ = std::move(context);
  notify();
}

void BlenderBridgeClient::publish_status(Status status) { publish(status, context_); }

void BlenderBridgeClient::notify() {
  // An observer may add or cancel observers, or stop the client, while we call.
  const auto observers = *observers_;
  for (const auto& [id, observer] : observers) {
    if (observers_->contains(id)) observer();
  }
  if (on_change_) on_change_();
}

}  // namespace kolvo::blender
