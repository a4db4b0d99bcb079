#pragma once

#include <thread>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>

namespace kolvo::base {

// Sockets where the main loop is not an io_context (the Mac's main dispatch queue): an
// io_context run on a thread of its own, idle in the kernel until a socket has work. Whatever
// runs there hands its results to the main executor; the socket code is the same as on the
// host, whose main loop is itself an io_context.
class NetworkThread {
 public:
  NetworkThread();
  ~NetworkThread();
  NetworkThread(const NetworkThread&) = delete;
  NetworkThread& operator=(const NetworkThread&) = delete;

  asio::io_context& context() { return context_; }

 private:
  asio::io_context context_;
  asio::executor_work_guard<asio::io_context::executor_type> guard_;
  std::thread thread_;
};

}  // namespace kolvo::base
