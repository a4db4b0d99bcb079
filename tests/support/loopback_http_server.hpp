#pragma once

// A tiny HTTP responder on a real loopback socket, for tests of what fetches the update feed:
// it answers every request with one fixed response (with its length declared, or with the end
// of the body told only by closing), or accepts connections and never answers.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace kolvo::testing {

class LoopbackHttpServer {
 public:
  enum class Mode { answer, answer_without_length, silent };

  LoopbackHttpServer(int status, std::string body, Mode mode = Mode::answer)
      : status_(status), body_(std::move(body)), mode_(mode) {
    listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    ::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::listen(listener_, 8);
    socklen_t length = sizeof address;
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    if (::pipe(wake_) != 0) wake_[0] = wake_[1] = -1;
    thread_ = std::thread([this] { serve(); });
  }

  ~LoopbackHttpServer() {
    if (wake_[1] >= 0) (void)::write(wake_[1], "x", 1);
    thread_.join();
    for (const int fd : held_) ::close(fd);
    ::close(listener_);
    ::close(wake_[0]);
    ::close(wake_[1]);
  }

  LoopbackHttpServer(const LoopbackHttpServer&) = delete;
  LoopbackHttpServer& operator=(const LoopbackHttpServer&) = delete;

  int port() const { return port_; }
  std::string url(const std::string& path = "/appcast.xml") const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
  }
  int requests() const { return requests_; }
  std::string last_request() const {
    std::lock_guard lock(mutex_);
    return last_request_;
  }

 private:
  void serve() {
    for (;;) {
      pollfd fds[2] = {{listener_, POLLIN, 0}, {wake_[0], POLLIN, 0}};
      if (::poll(fds, 2, -1) < 0) return;
      if (fds[1].revents != 0) return;
      const int client = ::accept(listener_, nullptr, nullptr);
      if (client < 0) continue;
      ++requests_;
      if (mode_ == Mode::silent) {
        held_.push_back(client);  // open and unanswered until the server goes
        continue;
      }
      answer(client);
      ::close(client);
    }
  }

  void answer(int client) {
    std::string request;
    char buffer[4096];
    while (request.find("\r\n\r\n") == std::string::npos) {
      pollfd fd{client, POLLIN, 0};
      if (::poll(&fd, 1, 5000) <= 0) return;
      const ssize_t n = ::recv(client, buffer, sizeof buffer, 0);
      if (n <= 0) return;
      request.append(buffer, static_cast<std::size_t>(n));
    }
    {
      std::lock_guard lock(mutex_);
      last_request_ = request;
    }
    const std::string length =
        mode_ == Mode::answer ? "Content-Length: " + std::to_string(body_.size()) + "\r\n" : std::string();
    const std::string response = "HTTP/1.1 " + std::to_string(status_) + " Status\r\nContent-Type: application/rss+xml\r\n" +
                                 length + "Connection: close\r\n\r\n" + body_;
    for (std::size_t sent = 0; sent < response.size();) {
      const ssize_t n = ::send(client, response.data() + sent, response.size() - sent, MSG_NOSIGNAL);
      if (n <= 0) return;  // the client hung up, as it does on a body it will not take
      sent += static_cast<std::size_t>(n);
    }
  }

  int status_;
  std::string body_;
  Mode mode_;
  int listener_ = -1;
  int wake_[2] = {-1, -1};
  int port_ = 0;
  std::atomic<int> requests_{0};
  mutable std::mutex mutex_;
  std::string last_request_;
  std::vector<int> held_;
  std::thread thread_;
};

}  // namespace kolvo::testing
