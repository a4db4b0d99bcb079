#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include <asio/io_context.hpp>
#include <nlohmann/json.hpp>

#include "base/diagnostics_log.hpp"
#include "base/executor.hpp"
#include "base/observable.hpp"
#include "base/timers.hpp"
#include "blender/blender_bridge_protocol.hpp"
#include "blender/blender_bridge_status.hpp"
#include "blender/blender_context.hpp"
#include "blender/blender_ports.hpp"

// Kolvo's side of the Blender bridge: it finds the running add-on through its connection file,
// connects over loopback, proves itself with the token, follows Blender's state and sends the
// Blender widget's actions and writes. It lives on the main thread; only the socket's waiting
// happens on the network context, and every result comes back to the main executor.
namespace kolvo::blender {

class BridgeConnection;

class BlenderBridgeClient {
 public:
  using Status = BlenderBridgeStatus;
  // Called once with the bridge's answer to one write; never called when the connection goes
  // away first.
  using Completion = std::function<void(bool ok, std::optional<std::string> error)>;

  // The longest stretch of bytes kept without a line break before the connection is dropped.
  static constexpr std::size_t kMaxBuffer = 1024 * 1024;
  // How long an action may go unanswered before Blender counts as busy.
  static constexpr base::Duration kBusyTimeout = std::chrono::milliseconds(1500);
  // How often the client looks again for Blender and its bridge.
  static constexpr base::Duration kRefreshInterval = std::chrono::seconds(2);
  // After a session ends, when to look whether Blender has quit.
  static constexpr base::Duration kQuitLookDelay = std::chrono::milliseconds(300);

  struct Ports {
    base::Executor& main;
    asio::io_context& network;
    std::shared_ptr<BlenderProcesses> blender;
    // The add-on's connection file.
    std::filesystem::path info_file;
    base::DiagnosticsLog& log;
  };

  explicit BlenderBridgeClient(Ports ports);
  ~BlenderBridgeClient();
  BlenderBridgeClient(const BlenderBridgeClient&) = delete;
  BlenderBridgeClient& operator=(const BlenderBridgeClient&) = delete;

  Status status() const { return status_; }
  const std::optional<BlenderContext>& context() const { return context_; }
  bool is_active() const { return active_; }
  bool is_authenticated() const { return authenticated_; }

  // Called after every change of status, context or activity, once both are stored.
  void set_on_change(std::function<void()> on_change) { on_change_ = std::move(on_change); }
  [[nodiscard]] base::Subscription add_observer(std::function<void()> observer);

  // Begins following Blender: a look every two seconds and at each launch or quit, and one now.
  void start();
  // Stops looking and drops the connection.
  void stop();
  // One step of finding, checking and connecting; nothing while stopped.
  void refresh();

  void request_state();
  // Sends one of the bridge's named actions; Blender counts as busy if no answer comes within
  // `kBusyTimeout`.
  void send_action(const std::string& name);
  // Sends a request made of `fields` (its "type" and arguments; the id is added) and calls
  // `completion` with the answer. Nothing is sent, and false returned, unless connected and
  // authenticated.
  bool send(nlohmann::ordered_json fields, Completion completion);

 private:
  void publish(Status status, std::optional<BlenderContext> context);
  void publish_status(Status status);
  void connect(std::int32_t pid, std::uint16_t port, const std::string& token);
  void disconnect();
  void received_line(std::string_view line);
  void connection_lost();
  std::int64_t take_id();
  void send_line(const nlohmann::ordered_json& message);
  void watch_for_busy(std::int64_t id);
  void notify();

  Ports ports_;
  Status status_ = Status::blenderClosed;
  std::optional<BlenderContext> context_;
  bool active_ = false;
  std::function<void()> on_change_;
  std::shared_ptr<std::map<std::uint64_t, std::function<void()>>> observers_ =
      std::make_shared<std::map<std::uint64_t, std::function<void()>>>();
  std::uint64_t next_observer_ = 1;

  std::shared_ptr<BridgeConnection> connection_;
  std::int32_t connected_pid_ = 0;
  bool authenticated_ = false;
  BridgeLineBuffer buffer_{kMaxBuffer};
  std::int64_t next_id_ = 1;
  std::set<std::int64_t> pending_;
  std::map<std::int64_t, Completion> completions_;

  std::unique_ptr<base::RepeatingTimer> timer_;
  std::unique_ptr<BlenderLaunchObservation> launches_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace kolvo::blender
