#include "control_socket.hpp"

#include <sys/stat.h>

#include <asio/connect.hpp>
#include <asio/read.hpp>
#include <asio/read_until.hpp>
#include <asio/streambuf.hpp>
#include <asio/write.hpp>
#include <nlohmann/json.hpp>

#include "base/json_text.hpp"
#include "cli.hpp"

namespace kolvo::host {
namespace {

using asio::local::stream_protocol;
using nlohmann::json;

bool fits_socket_address(const std::filesystem::path& path) {
  return path.native().size() < sizeof(sockaddr_un{}.sun_path);
}

// Whether some process answers at the path: another host already serving this domain.
bool someone_listens(const std::filesystem::path& path) {
  asio::io_context context;
  stream_protocol::socket probe(context);
  std::error_code error;
  probe.connect(stream_protocol::endpoint(path.native()), error);
  return !error;
}

// One accepted connection: read a line, run it, write the reply, close.
class ControlSession : public std::enable_shared_from_this<ControlSession> {
 public:
  ControlSession(stream_protocol::socket socket, ControlSocketServer::Handler& handler, std::weak_ptr<bool> server)
      : socket_(std::move(socket)), handler_(handler), server_(std::move(server)),
        buffer_(ControlSocketServer::kMaximumRequest) {}

  void start() {
    auto self = shared_from_this();
    asio::async_read_until(socket_, buffer_, '\n', [self](const std::error_code& error, std::size_t length) {
      if (self->server_.expired()) return;
      if (error) return self->finish({kExitUsage, {}, "kolvo: the request was too long or incomplete.\n", {}});
      std::string line(asio::buffers_begin(self->buffer_.data()),
                       asio::buffers_begin(self->buffer_.data()) + static_cast<std::ptrdiff_t>(length));
      auto words = decode_control_request(line);
      if (!words) return self->finish({kExitUsage, {}, "kolvo: the request was not understood.\n", {}});
      self->handler_(std::move(*words), [self](app::Reply reply) { self->finish(std::move(reply)); });
    });
  }

 private:
  void finish(app::Reply reply) {
    if (replied_) return;
    replied_ = true;
    auto self = shared_from_this();
    auto text = std::make_shared<std::string>(encode_control_reply(reply));
    asio::async_write(socket_, asio::buffer(*text), [self, text](const std::error_code&, std::size_t) {
      std::error_code ignored;
      self->socket_.shutdown(stream_protocol::socket::shutdown_both, ignored);
      self->socket_.close(ignored);
    });
  }

  stream_protocol::socket socket_;
  ControlSocketServer::Handler& handler_;
  std::weak_ptr<bool> server_;
  asio::streambuf buffer_;
  bool replied_ = false;
};

}  // namespace

ControlSocketServer::ControlSocketServer(asio::io_context& context, std::filesystem::path path, Handler handler)
    : path_(std::move(path)), handler_(std::move(handler)), acceptor_(context) {
  if (!fits_socket_address(path_)) {
    problem_ = "the control socket path " + path_.string() + " is too long for a socket";
    return;
  }
  if (someone_listens(path_)) {
    problem_ = "another kolvo serve already takes commands at " + path_.string();
    return;
  }
  std::error_code error;
  std::filesystem::create_directories(path_.parent_path(), error);
  // Left behind by a host that did not stop cleanly: nobody answers on it.
  std::filesystem::remove(path_, error);
  const stream_protocol::endpoint endpoint(path_.native());
  // Only this user may send commands: the socket is made private before anyone can connect.
  const mode_t previous = ::umask(0077);
  acceptor_.open(endpoint.protocol(), error);
  if (!error) acceptor_.bind(endpoint, error);
  ::umask(previous);
  if (!error) acceptor_.listen(asio::socket_base::max_listen_connections, error);
  if (error) {
    problem_ = "the control socket " + path_.string() + " cannot be opened: " + error.message();
    acceptor_.close(error);
    return;
  }
  listening_ = true;
  accept();
}

ControlSocketServer::~ControlSocketServer() {
  *alive_ = false;
  if (!listening_) return;
  std::error_code ignored;
  acceptor_.close(ignored);
  std::filesystem::remove(path_, ignored);
}

void ControlSocketServer::accept() {
  std::weak_ptr<bool> alive = alive_;
  acceptor_.async_accept([this, alive](const std::error_code& error, stream_protocol::socket socket) {
    if (alive.expired() || !*alive.lock()) return;
    if (!error) std::make_shared<ControlSession>(std::move(socket), handler_, alive)->start();
    if (error == asio::error::operation_aborted) return;
    accept();
  });
}

std::optional<app::Reply> send_control_request(const std::filesystem::path& path,
                                                 const std::vector<std::string>& words) {
  if (!fits_socket_address(path)) return std::nullopt;
  asio::io_context context;
  stream_protocol::socket socket(context);
  std::error_code error;
  socket.connect(stream_protocol::endpoint(path.native()), error);
  if (error) return std::nullopt;
  asio::write(socket, asio::buffer(encode_control_request(words)), error);
  std::string answer;
  if (!error) asio::read(socket, asio::dynamic_buffer(answer), error);  // to the end: the host closes
  if (auto reply = decode_control_reply(answer)) return reply;
  return app::Reply{kExitFailure, {}, "kolvo: the running host did not answer the request.\n", {}};
}

std::string encode_control_request(const std::vector<std::string>& words) {
  return json{{"arguments", words}}.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

std::optional<std::vector<std::string>> decode_control_request(const std::string& line) {
  const json request = base::parse_json(line);
  if (!request.is_object() || !request.contains("arguments") || !request["arguments"].is_array()) return std::nullopt;
  std::vector<std::string> words;
  for (const auto& word : request["arguments"]) {
    if (!word.is_string()) return std::nullopt;
    words.push_back(word.get<std::string>());
  }
  return words;
}

std::string encode_control_reply(const app::Reply& reply) {
  return json{{"exitCode", reply.exit_code}, {"output", reply.output}, {"error", reply.error}}.dump(
             -1, ' ', false, json::error_handler_t::replace) +
         "\n";
}

std::optional<app::Reply> decode_control_reply(const std::string& line) {
  const json reply = base::parse_json(line);
  if (!reply.is_object() || !reply.contains("exitCode") || !reply["exitCode"].is_number_integer() ||
      !reply.value("output", json()).is_string() || !reply.value("error", json()).is_string()) {
    return std::nullopt;
  }
  return app::Reply{reply["exitCode"].get<int>(), reply["output"].get<std::string>(), reply["error"].get<std::string>(), {}};
}

}  // namespace kolvo::host
