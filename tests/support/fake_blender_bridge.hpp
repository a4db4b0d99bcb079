#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/manual_executor.hpp"
#include "blender/blender_ports.hpp"
#include "support/temp_root.hpp"

namespace kolvo::testing {

// Stands in for the add-on on a real loopback socket: it takes one client at a time, records
// the lines it is sent and answers only as the test tells it.
class FakeBlenderBridge {
 public:
  FakeBlenderBridge() {
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::listen(listener_, 4);
    socklen_t length = sizeof address;
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
  }
  ~FakeBlenderBridge() {
    drop();
    ::close(listener_);
  }
  FakeBlenderBridge(const FakeBlenderBridge&) = delete;
  FakeBlenderBridge& operator=(const FakeBlenderBridge&) = delete;

  std::uint16_t port() const { return port_; }
  int accepted() const { return accepted_; }
  bool has_client() const { return client_ >= 0; }
  const std::vector<nlohmann::json>& requests() const { return requests_; }
  // The last request of a type, or null.
  const nlohmann::json* last(std::string_view type) const {
    for (auto it = requests_.rbegin(); it != requests_.rend(); ++it) {
      if ((*it)["type"] == type) return &*it;
    }
    return nullptr;
  }
  // Whether the client closed its end.
  bool client_gone() const { return gone_; }

  void send_raw(std::string_view bytes) {
    std::size_t sent = 0;
    while (client_ >= 0 && sent < bytes.size()) {
      const auto n = ::send(client_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (n > 0) {
        sent += static_cast<std::size_t>(n);
      } else if (n < 0 && errno == EAGAIN) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      } else {
        return;
      }
    }
  }
  void send(const nlohmann::json& message) { send_raw(message.dump() + "\n"); }
  // The bridge's answer to the last hello.
  void accept_hello(std::int64_t protocol = 1) {
    send({{"type", "hello"}, {"ok", true}, {"protocol", protocol}, {"version", "1.2.0"}});
  }
  void reply_state(const nlohmann::json& request, const nlohmann::json& state) {
    send({{"type", "state"}, {"id", request["id"]}, {"state", state}});
  }
  void reply_result(const nlohmann::json& request, bool ok, const nlohmann::json& error, const nlohmann::json& state) {
    send({{"type", "result"}, {"id", request["id"]}, {"ok", ok}, {"error", error}, {"state", state}});
  }
  void push(const nlohmann::json& state) { send({{"type", "context"}, {"state", state}}); }
  // Closes the client's connection, as a Blender that quits does.
  void drop() {
    if (client_ >= 0) ::close(client_);
    client_ = -1;
  }

  // Accepts and reads whatever has arrived.
  void poll() {
    if (client_ < 0) {
      const int fd = ::accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK);
      if (fd >= 0) {
        client_ = fd;
        ++accepted_;
        gone_ = false;
        buffer_.clear();
      }
    }
    if (client_ < 0) return;
    char chunk[65536];
    for (;;) {
      const auto n = ::recv(client_, chunk, sizeof chunk, 0);
      if (n == 0) {
        gone_ = true;
        drop();
        return;
      }
      if (n < 0) {
        if (errno != EAGAIN) {
          gone_ = true;
          drop();
        }
        return;
      }
      buffer_.append(chunk, static_cast<std::size_t>(n));
      for (auto end = buffer_.find('\n'); end != std::string::npos; end = buffer_.find('\n')) {
        requests_.push_back(nlohmann::json::parse(buffer_.substr(0, end)));
        buffer_.erase(0, end + 1);
      }
    }
  }

 private:
  int listener_ = -1;
  int client_ = -1;
  int accepted_ = 0;
  bool gone_ = false;
  std::uint16_t port_ = 0;
  std::string buffer_;
  std::vector<nlohmann::json> requests_;
};

// Which Blenders "run", as the test says.
class ScriptedBlenderProcesses final : public blender::BlenderProcesses {
 public:
  std::optional<blender::BlenderApplication> application() const override {
    if (!installed) return std::nullopt;
    return blender::BlenderApplication{"/Applications/Blender.app/Contents/MacOS/Blender", "4.2.3"};
  }
  std::vector<std::int32_t> running() const override { return pids; }
  std::unique_ptr<blender::BlenderLaunchObservation> observe_launches(base::Executor&, std::function<void()>) override {
    return nullptr;
  }

  bool installed = true;
  std::vector<std::int32_t> pids;
};

// The add-on's connection file, in a home of the test's own.
inline void write_bridge_info(const std::filesystem::path& file, std::uint16_t port, std::int32_t pid,
                              std::int64_t protocol = 1, std::string token = std::string(64, 'a')) {
  std::filesystem::create_directories(file.parent_path());
  const nlohmann::json info{{"port", port}, {"token", token}, {"pid", pid}, {"protocol", protocol},
                            {"version", "1.2.0"}, {"blender", "4.2.3"}};
  std::ofstream(file) << info.dump();
}

// Runs the main executor's due work and the bridge's reads until `done` holds, in real time up
// to a limit: the network thread needs real time to carry the bytes.
inline bool pump_bridge_until(base::ManualExecutor& main, FakeBlenderBridge& bridge, const std::function<bool()>& done,
                              std::chrono::milliseconds limit = std::chrono::milliseconds(3000)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    main.run_pending();
    bridge.poll();
    if (done()) return true;
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

}  // namespace kolvo::testing
