#include "deck/server/deck_connection.hpp"

#include <atomic>

#include <asio/post.hpp>
#include <asio/ip/v6_only.hpp>
#include <asio/steady_timer.hpp>
#include <asio/write.hpp>

namespace kolvo::deck {
namespace {

std::string describe(const asio::ip::tcp::endpoint& endpoint) {
  const auto address = endpoint.address();
  const std::string text = address.is_v6() && address.to_v6().is_v4_mapped()
                               ? asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6()).to_string()
                               : address.to_string();
  return (address.is_v6() && !address.to_v6().is_v4_mapped() ? "[" + text + "]" : text) + ":" +
         std::to_string(endpoint.port());
}

}  // namespace

DeckConnection::DeckConnection(asio::ip::tcp::socket socket, base::Executor& main)
    : main_(main), socket_(std::move(socket)) {
  std::error_code ignored;
  const auto remote = socket_.remote_endpoint(ignored);
  peer_ = ignored ? std::string("unknown peer") : describe(remote);
}

DeckConnection::~DeckConnection() {
  std::error_code ignored;
  socket_.close(ignored);
}

void DeckConnection::start(Events events) {
  events_ = std::move(events);
  asio::post(socket_.get_executor(), [self = shared_from_this()] { self->read(); });
}

void DeckConnection::send(SharedBytes frame, std::function<void()> sent) {
  if (closed_ || !frame) return;
  asio::post(socket_.get_executor(), [self = shared_from_this(), frame = std::move(frame), sent = std::move(sent)]() mutable {
    if (self->shut_) return;
    self->queued_bytes_ += frame->size();
    if (self->queued_bytes_ > kMaximumQueuedBytes) {
      return self->fail("the iPhone stopped reading (" + std::to_string(self->queued_bytes_) + " bytes waiting)");
    }
    self->queue_.push_back({std::move(frame), std::move(sent)});
    if (!self->writing_) self->write_next();
  });
}

void DeckConnection::close() {
  if (closed_) return;
  closed_ = true;
  events_ = {};
  asio::post(socket_.get_executor(), [self = shared_from_this()] { self->shut(); });
}

void DeckConnection::read() {
  if (shut_) return;
  chunk_.resize(kReadChunk);
  socket_.async_read_some(asio::buffer(chunk_), [self = shared_from_this()](const std::error_code& error, std::size_t n) {
    if (self->shut_) return;
    if (error) return self->fail(error == asio::error::eof ? "the iPhone closed the connection" : error.message());
    std::vector<std::uint8_t> bytes(self->chunk_.begin(), self->chunk_.begin() + static_cast<std::ptrdiff_t>(n));
    self->main_.post([self, bytes = std::move(bytes)]() mutable {
      if (self->closed_) return;
      self->events_.received(std::move(bytes));
      if (self->closed_) return;
      asio::post(self->socket_.get_executor(), [self] { self->read(); });
    });
  });
}

void DeckConnection::write_next() {
  writing_ = true;
  const SharedBytes bytes = queue_.front().bytes;
  asio::async_write(socket_, asio::buffer(*bytes), [self = shared_from_this(), bytes](const std::error_code& error, std::size_t) {
    self->writing_ = false;
    if (self->shut_) return;
    if (error) return self->fail(error.message());
    Outgoing done = std::move(self->queue_.front());
    self->queue_.pop_front();
    self->queued_bytes_ -= done.bytes->size();
    if (done.sent) {
      self->main_.post([self, sent = std::move(done.sent)] {
        if (!self->closed_) sent();
      });
    }
    if (!self->queue_.empty()) self->write_next();
  });
}

void DeckConnection::fail(std::string reason) {
  shut();
  main_.post([self = shared_from_this(), reason = std::move(reason)]() mutable {
    if (self->closed_) return;
    self->closed_ = true;
    auto events = std::move(self->events_);
    self->events_ = {};
    if (events.closed) events.closed(std::move(reason));
  });
}

void DeckConnection::shut() {
  if (shut_) return;
  shut_ = true;
  queue_.clear();
  queued_bytes_ = 0;
  std::error_code ignored;
  socket_.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
  socket_.close(ignored);
}

struct DeckListener::State {
  explicit State(asio::io_context& network) : acceptor(network) {}
  asio::ip::tcp::acceptor acceptor;
  asio::steady_timer backoff{acceptor.get_executor()};
  // Set on the main thread, read on the network context.
  std::atomic<bool> closed = false;
};

DeckListener::DeckListener(asio::io_context& network, base::Executor& main)
    : network_(network), main_(main), state_(std::make_shared<State>(network)) {}

DeckListener::~DeckListener() { close(); }

std::optional<std::string> DeckListener::open(std::uint16_t port) {
  auto& acceptor = state_->acceptor;
  std::error_code error;
  // One socket for both families where the system allows it; IPv4 alone where it has no IPv6.
  for (const bool v6 : {true, false}) {
    error.clear();
    const asio::ip::tcp::endpoint endpoint(v6 ? asio::ip::tcp::v6() : asio::ip::tcp::v4(), port);
    acceptor.open(endpoint.protocol(), error);
    if (error) continue;
    if (v6) acceptor.set_option(asio::ip::v6_only(false), error);
    if (!error) acceptor.set_option(asio::ip::tcp::acceptor::reuse_address(true), error);
    if (!error) acceptor.bind(endpoint, error);
    if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
    if (!error) break;
    std::error_code ignored;
    acceptor.close(ignored);
  }
  if (error) return "Kolvo Deck could not listen on port " + std::to_string(port) + ": " + error.message() + ".";
  port_ = acceptor.local_endpoint(error).port();
  return std::nullopt;
}

void DeckListener::accept(Accepted accepted) {
  struct Loop {
    static void next(std::shared_ptr<State> state, asio::io_context& network, base::Executor& main,
                     std::shared_ptr<Accepted> accepted) {
      state->acceptor.async_accept(network, [state, &network, &main, accepted](const std::error_code& error,
                                                                             asio::ip::tcp::socket socket) {
        if (state->closed || error == asio::error::operation_aborted) return;
        if (!error) {
          std::error_code ignored;
          socket.set_option(asio::ip::tcp::no_delay(true), ignored);
          auto connection = std::make_shared<DeckConnection>(std::move(socket), main);
          main.post([state, accepted, connection] {
            if (!state->closed) (*accepted)(connection);
          });
        }
        if (!error) return next(state, network, main, accepted);
        // A failed accept (the process out of descriptors, say) must neither end listening nor
        // spin: try again a moment later.
        state->backoff.expires_after(std::chrono::milliseconds(100));
        state->backoff.async_wait([state, &network, &main, accepted](const std::error_code& waited) {
          if (!waited && !state->closed) next(state, network, main, accepted);
        });
      });
    }
  };
  asio::post(network_, [state = state_, &network = network_, &main = main_,
                        accepted = std::make_shared<Accepted>(std::move(accepted))] {
    Loop::next(state, network, main, accepted);
  });
}

void DeckListener::close() {
  if (state_->closed) return;
  state_->closed = true;
  asio::post(network_, [state = state_] {
    std::error_code ignored;
    state->backoff.cancel();
    state->acceptor.close(ignored);
  });
}

}  // namespace kolvo::deck
