#include <chrono>
#include <csignal>
#include <iostream>
#include <optional>
#include <string>

#include <asio/connect.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <asio/write.hpp>

#include "base/number_text.hpp"
#include "cli.hpp"
#include "control_command.hpp"
#include "deck/protocol/deck_framing.hpp"

// The phone's side of the link, so a person can try Kolvo Deck without an iPhone and the tests
// can drive the real server over real sockets: `pair`, `watch` and `send`. The other `kolvo
// deck` words (approve, deny, trusted, forget) go to the running host like `kolvo control`.
namespace kolvo::host {
namespace {

using asio::ip::tcp;
using deck::KolvoDeckMessage;
using deck::KolvoDeckMessageType;

struct Endpoint {
  std::string host;
  std::string port;
};

std::optional<Endpoint> parse_endpoint(const std::string& text) {
  const auto colon = text.rfind(':');
  if (colon == std::string::npos || colon == 0 || colon + 1 == text.size()) return std::nullopt;
  std::string host = text.substr(0, colon);
  if (host.size() >= 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  const auto port = base::parse_integer(text.substr(colon + 1));
  if (!port || *port < 1 || *port > 65535) return std::nullopt;
  return Endpoint{host, std::to_string(*port)};
}

// One phone connection driven by a small state machine on its own io_context: it says hello,
// prints what arrives, and ends when `finished` says so or the time runs out.
class PhoneClient {
 public:
  enum class Mode { pair, watch, send };

  PhoneClient(Mode mode, std::string device_id, std::optional<std::string> device_name, std::optional<KolvoDeckMessage> to_send,
              std::chrono::milliseconds timeout, std::chrono::milliseconds linger)
      : mode_(mode),
        device_id_(std::move(device_id)),
        device_name_(std::move(device_name)),
        to_send_(std::move(to_send)),
        timeout_(timeout),
        linger_(linger) {}

  int run(const Endpoint& endpoint) {
    std::error_code error;
    tcp::resolver resolver(context_);
    const auto results = resolver.resolve(endpoint.host, endpoint.port, error);
    if (!error) asio::connect(socket_, results, error);
    if (error) return fail(kExitFailure, "Could not connect to " + endpoint.host + ":" + endpoint.port + ": " + error.message() + ".");
    socket_.set_option(tcp::no_delay(true), error);
    send(deck::HelloMessage{device_id_, device_name_, std::nullopt});
    arm(timeout_);
    signals_.async_wait([this](const std::error_code& e, int) {
      if (!e) finish(0);
    });
    read();
    context_.run();
    return exit_code_;
  }

 private:
  void send(const KolvoDeckMessage& message) {
    const auto frame = deck::framing::encode_frame(message);
    std::error_code error;
    asio::write(socket_, asio::buffer(frame), error);
    if (error) finish(fail(kExitFailure, "The Mac closed the connection: " + error.message() + "."));
  }

  void arm(std::chrono::milliseconds after) {
    deadline_.expires_after(after);
    deadline_.async_wait([this](const std::error_code& error) {
      if (error) return;
      if (lingering_ || mode_ == Mode::watch) return finish(0);
      finish(fail(kExitFailure, approval_asked_ ? "No answer came from the Mac in time; approve this iPhone there."
                                                : "The Mac did not answer in time."));
    });
  }

  void read() {
    chunk_.resize(64 * 1024);
    socket_.async_read_some(asio::buffer(chunk_), [this](const std::error_code& error, std::size_t n) {
      if (error) {
        if (done_) return;
        if (lingering_ || (mode_ == Mode::watch && approved_)) return finish(0);
        return finish(fail(kExitFailure, denied_ ? "The Mac did not allow this iPhone."
                                                 : "The Mac closed the connection."));
      }
      buffer_.insert(buffer_.end(), chunk_.begin(), chunk_.begin() + static_cast<std::ptrdiff_t>(n));
      auto result = deck::framing::decode_frames(buffer_);
      for (const auto& frame : result.frames) {
        if (done_) return;
        if (frame.message) received(*frame.message);
      }
      if (result.error) return finish(fail(kExitFailure, "The stream from the Mac is out of step: " + result.error->description()));
      if (!done_) read();
    });
  }

  void received(const KolvoDeckMessage& message) {
    std::cout << deck::encode_json(message) << std::endl;
    switch (message.type()) {
      case KolvoDeckMessageType::approvalRequired:
        approval_asked_ = true;
        std::cerr << "kolvo: waiting for the Mac's user to allow \u201C" << device_name_.value_or("iPhone") << "\u201D"
                  << std::endl;
        break;
      case KolvoDeckMessageType::denied: denied_ = true; break;
      case KolvoDeckMessageType::approved:
        if (approved_) break;
        approved_ = true;
        if (mode_ == Mode::pair) return linger(std::chrono::milliseconds(0));
        if (mode_ == Mode::send) {
          send(*to_send_);
          linger(linger_);
        } else {
          deadline_.cancel();
        }
        break;
      default: break;
    }
  }

  // Prints what else arrives for a moment, then ends.
  void linger(std::chrono::milliseconds for_how_long) {
    lingering_ = true;
    if (for_how_long.count() == 0) return finish(0);
    arm(for_how_long);
  }

  void finish(int code) {
    if (done_) return;
    done_ = true;
    exit_code_ = code;
    std::error_code ignored;
    socket_.close(ignored);
    deadline_.cancel();
    signals_.cancel();
  }

  Mode mode_;
  std::string device_id_;
  std::optional<std::string> device_name_;
  std::optional<KolvoDeckMessage> to_send_;
  std::chrono::milliseconds timeout_;
  std::chrono::milliseconds linger_;
  asio::io_context context_;
  tcp::socket socket_{context_};
  asio::steady_timer deadline_{context_};
  asio::signal_set signals_{context_, SIGINT, SIGTERM};
  std::vector<std::uint8_t> chunk_;
  std::vector<std::uint8_t> buffer_;
  bool approval_asked_ = false;
  bool approved_ = false;
  bool denied_ = false;
  bool lingering_ = false;
  bool done_ = false;
  int exit_code_ = 0;
};

std::optional<std::chrono::milliseconds> seconds_option(Arguments& arguments, std::string_view flag, double fallback,
                                                        std::string& error) {
  std::optional<std::string> text;
  if (!take_value(arguments, flag, "a number of seconds", text, error)) return std::nullopt;
  double seconds = fallback;
  if (text) {
    const auto parsed = base::parse_real(*text);
    if (!parsed || !(*parsed >= 0) || *parsed > 86400) {
      error = std::string(flag) + " takes seconds from 0 to 86400; '" + *text + "' is not.";
      return std::nullopt;
    }
    seconds = *parsed;
  }
  return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

int run_phone(PhoneClient::Mode mode, Arguments arguments) {
  std::optional<std::string> device_id, name;
  std::string error;
  if (!take_value(arguments, "--device-id", "an id", device_id, error) ||
      !take_value(arguments, "--name", "a name", name, error)) {
    return fail(kExitUsage, error);
  }
  const double default_wait = mode == PhoneClient::Mode::watch ? 0 : 120;
  const auto timeout = seconds_option(arguments, "--timeout", default_wait, error);
  if (!timeout) return fail(kExitUsage, error);
  const auto linger = seconds_option(arguments, "--wait", 1.0, error);
  if (!linger) return fail(kExitUsage, error);
  const std::size_t expected = mode == PhoneClient::Mode::send ? 2 : 1;
  if (arguments.size() != expected) {
    return fail(kExitUsage, mode == PhoneClient::Mode::send ? "'kolvo deck send' takes HOST:PORT and one JSON message."
                                                            : "'kolvo deck' takes HOST:PORT.");
  }
  const auto endpoint = parse_endpoint(arguments[0]);
  if (!endpoint) return fail(kExitUsage, "'" + arguments[0] + "' is not HOST:PORT.");
  std::optional<KolvoDeckMessage> message;
  if (mode == PhoneClient::Mode::send) {
    std::string why;
    message = deck::decode_message_text(arguments[1], &why);
    if (!message) return fail(kExitUsage, "That is not a Kolvo Deck message: " + why + ".");
  }
  // A stable id by default, so a Mac that trusted this tool once approves it silently again.
  PhoneClient client(mode, device_id.value_or("kolvo-command-line"), std::move(name), std::move(message),
                     mode == PhoneClient::Mode::watch && timeout->count() == 0 ? std::chrono::hours(24 * 365) : *timeout,
                     *linger);
  return client.run(*endpoint);
}

}  // namespace

int run_deck(Arguments arguments) {
  const std::string verb = arguments.empty() ? "" : arguments.front();
  if (verb == "pair" || verb == "watch" || verb == "send") {
    arguments.erase(arguments.begin());
    const auto mode = verb == "pair" ? PhoneClient::Mode::pair : verb == "watch" ? PhoneClient::Mode::watch : PhoneClient::Mode::send;
    return run_phone(mode, std::move(arguments));
  }
  return run_request("deck", std::move(arguments));
}

int run_launch(Arguments arguments) { return run_request("launch", std::move(arguments)); }

}  // namespace kolvo::host
