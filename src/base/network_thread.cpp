#include "base/network_thread.hpp"

namespace kolvo::base {

NetworkThread::NetworkThread() : guard_(asio::make_work_guard(context_)), thread_([this] { context_.run(); }) {}

NetworkThread::~NetworkThread() {
  guard_.reset();
  context_.stop();
  thread_.join();
}

}  // namespace kolvo::base
