#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>

#include "app/requests.hpp"

// A running host takes `kolvo control` and `kolvo timer` requests on a Unix-domain socket
// that only its user can open. One connection carries one request line and one reply line:
//   {"arguments":["control","volume","0.4"]}
//   {"exitCode":0,"output":"volume 0.4\n","error":""}
namespace kolvo::host {

class ControlSocketServer {
 public:
  using Handler = std::function<void(std::vector<std::string> words, std::function<void(app::Reply)> reply)>;

  // A request line longer than this is refused: no request needs more than a few words.
  static constexpr std::size_t kMaximumRequest = 16 * 1024;

  ControlSocketServer(asio::io_context& context, std::filesystem::path path, Handler handler);
  ~ControlSocketServer();
  ControlSocketServer(const ControlSocketServer&) = delete;
  ControlSocketServer& operator=(const ControlSocketServer&) = delete;

  bool is_listening() const { return listening_; }
  // Why it is not listening, as a sentence.
  const std::string& problem() const { return problem_; }
  const std::filesystem::path& path() const { return path_; }

 private:
  void accept();

  std::filesystem::path path_;
  Handler handler_;
  asio::local::stream_protocol::acceptor acceptor_;
  bool listening_ = false;
  std::string problem_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

// Sends one request to the host listening at `path`. Absent when no host listens there.
std::optional<app::Reply> send_control_request(const std::filesystem::path& path,
                                                 const std::vector<std::string>& words);

// The two lines of the exchange, for both ends and for tests.
std::string encode_control_request(const std::vector<std::string>& words);
std::optional<std::vector<std::string>> decode_control_request(const std::string& line);
std::string encode_control_reply(const app::Reply& reply);
std::optional<app::Reply> decode_control_reply(const std::string& line);

}  // namespace kolvo::host
