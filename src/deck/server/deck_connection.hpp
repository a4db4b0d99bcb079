#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>

#include "base/executor.hpp"

namespace kolvo::deck {

using SharedBytes = std::shared_ptr<const std::vector<std::uint8_t>>;

// One phone's TCP connection. The socket lives on the network context (the host's main loop on
// Linux, a network thread on the Mac); everything the owner sees happens on the main executor.
// Calls come from the main thread only, and every event is delivered there.
class DeckConnection : public std::enable_shared_from_this<DeckConnection> {
 public:
  // Bytes written but not yet taken by the phone. A phone that stops reading for this long is
  // closed rather than buffered for without end; a few full frames and many states fit.
  static constexpr std::size_t kMaximumQueuedBytes = 4 * 1024 * 1024 + 64;
  static constexpr std::size_t kReadChunk = 64 * 1024;

  struct Events {
    // A chunk of received bytes. The next chunk is read only after this returns, so a fast
    // sender never runs ahead of the main thread.
    std::function<void(std::vector<std::uint8_t> bytes)> received;
    // The phone closed, the network failed or the send queue overflowed; never after close().
    std::function<void(std::string reason)> closed;
  };

  DeckConnection(asio::ip::tcp::socket socket, base::Executor& main);
  ~DeckConnection();
  DeckConnection(const DeckConnection&) = delete;
  DeckConnection& operator=(const DeckConnection&) = delete;

  void start(Events events);
  // Queues one whole frame; `sent` runs on the main thread once the phone's TCP stack has
  // taken all of it. Nothing happens once the connection is closed.
  void send(SharedBytes frame, std::function<void()> sent = {});
  // Closes without calling `closed`. Frames already queued are dropped.
  void close();
  bool is_closed() const { return closed_; }
  // "address:port" of the phone, for the log.
  const std::string& peer() const { return peer_; }

 private:
  struct Outgoing {
    SharedBytes bytes;
    std::function<void()> sent;
  };
  // On the network context.
  void read();
  void write_next();
  void fail(std::string reason);
  void shut();

  base::Executor& main_;
  std::string peer_;
  // Main thread.
  Events events_;
  bool closed_ = false;
  // Network context.
  asio::ip::tcp::socket socket_;
  std::vector<std::uint8_t> chunk_;
  std::deque<Outgoing> queue_;
  std::size_t queued_bytes_ = 0;
  bool writing_ = false;
  bool shut_ = false;
};

// Accepts phones on a TCP port, on every address of the machine (IPv6 and IPv4 where the
// system has both).
class DeckListener {
 public:
  using Accepted = std::function<void(std::shared_ptr<DeckConnection>)>;

  DeckListener(asio::io_context& network, base::Executor& main);
  ~DeckListener();
  DeckListener(const DeckListener&) = delete;
  DeckListener& operator=(const DeckListener&) = delete;

  // Listens on `port` (0: a port the system chooses). The reason as a sentence when it cannot.
  std::optional<std::string> open(std::uint16_t port);
  std::uint16_t port() const { return port_; }
  // Starts taking connections; each arrives on the main thread with no-delay set.
  void accept(Accepted accepted);
  void close();

 private:
  struct State;
  asio::io_context& network_;
  base::Executor& main_;
  std::shared_ptr<State> state_;
  std::uint16_t port_ = 0;
};

}  // namespace kolvo::deck
