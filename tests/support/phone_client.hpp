#pragma once

// A phone over a real loopback socket, and the harness that runs the server's main executor
// on virtual time while its sockets live on a network thread, as on the Mac.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/manual_executor.hpp"
#include "base/network_thread.hpp"
#include "deck/protocol/deck_framing.hpp"

namespace kolvo::testing {

using NetworkThread = base::NetworkThread;

class Phone {
 public:
  explicit Phone(std::uint16_t port) {
    fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connected_ = ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::fcntl(fd_, F_SETFL, ::fcntl(fd_, F_GETFL) | O_NONBLOCK);
  }
  ~Phone() {
    if (fd_ >= 0) ::close(fd_);
  }
  Phone(const Phone&) = delete;
  Phone& operator=(const Phone&) = delete;

  bool connected() const { return connected_; }

  void send(const deck::KolvoDeckMessage& message) { send_bytes(deck::framing::encode_frame(message)); }
  void send_json(const std::string& json) {
    std::vector<std::uint8_t> frame;
    deck::framing::append_prefix(frame, static_cast<std::uint32_t>(json.size()));
    frame.insert(frame.end(), json.begin(), json.end());
    send_bytes(frame);
  }
  void send_bytes(const std::vector<std::uint8_t>& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
      const auto n = ::send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (n > 0) {
        sent += static_cast<std::size_t>(n);
      } else if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
        return;
      } else {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    }
  }

  // Takes whatever has arrived; false once the Mac closed the connection.
  bool poll() {
    std::uint8_t chunk[65536];
    for (;;) {
      const auto n = ::recv(fd_, chunk, sizeof chunk, 0);
      if (n > 0) {
        buffer_.insert(buffer_.end(), chunk, chunk + n);
        continue;
      }
      if (n == 0) closed_ = true;
      break;
    }
    auto result = deck::framing::decode_frames(buffer_);
    for (auto& frame : result.frames) {
      if (frame.message) received_.push_back(std::move(*frame.message));
    }
    return !closed_;
  }
  bool closed() const { return closed_; }

  std::deque<deck::KolvoDeckMessage>& received() { return received_; }
  std::size_t count(deck::KolvoDeckMessageType type) const {
    std::size_t n = 0;
    for (const auto& m : received_) n += m.type() == type;
    return n;
  }
  // The newest message of `type`, kept by the phone; null when none came.
  const deck::KolvoDeckMessage* last(deck::KolvoDeckMessageType type) const {
    for (auto m = received_.rbegin(); m != received_.rend(); ++m) {
      if (m->type() == type) return &*m;
    }
    return nullptr;
  }

 private:
  int fd_ = -1;
  bool connected_ = false;
  bool closed_ = false;
  std::vector<std::uint8_t> buffer_;
  std::deque<deck::KolvoDeckMessage> received_;
};

// Runs the main executor's due work and the phones' reads until `done` holds, in real time up
// to a limit: the network thread needs real time to carry the bytes.
inline bool pump_until(base::ManualExecutor& main, const std::vector<Phone*>& phones, const std::function<bool()>& done,
                       std::chrono::milliseconds limit = std::chrono::milliseconds(3000)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    main.run_pending();
    for (Phone* phone : phones) phone->poll();
    if (done()) return true;
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

// Lets the bytes in flight arrive without waiting for anything in particular: a check that
// something did not happen needs the time it would have taken.
inline void settle(base::ManualExecutor& main, const std::vector<Phone*>& phones,
                   std::chrono::milliseconds span = std::chrono::milliseconds(150)) {
  pump_until(main, phones, [] { return false; }, span);
}

}  // namespace kolvo::testing
