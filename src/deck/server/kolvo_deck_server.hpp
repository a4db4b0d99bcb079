#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <asio/io_context.hpp>

#include "base/diagnostics_log.hpp"
#include "base/executor.hpp"
#include "base/observable.hpp"
#include "base/timers.hpp"
#include "deck/server/deck_approval.hpp"
#include "deck/server/deck_connection.hpp"
#include "deck/server/deck_mac.hpp"
#include "deck/server/deck_service_control.hpp"
#include "deck/server/deck_session.hpp"
#include "deck/server/deck_trust_store.hpp"

namespace kolvo::deck {

struct DeckServerPorts {
  // Where the sockets live: the main loop's own context on the headless host, a network
  // thread's on the Mac. Everything else happens on `main`.
  asio::io_context& network;
  base::Executor& main;
  base::DiagnosticsLog& log;
  KolvoDeckTrustStore& trust;
  DeckApprovalPrompt& prompt;
  DeckMac& mac;
  // Advertise the listener on the local network, and withdraw it; unset where nothing does.
  std::function<void(std::uint16_t port)> advertise;
  std::function<void()> withdraw;
};

// The phone link: a TCP listener, one session per phone, approval of unknown phones, the
// mirrored state and the phones' commands. Everything runs on the main thread.
class KolvoDeckServer final : public DeckServiceControl {
 public:
  // Limits around the phone's fixed protocol, so that a flood of connections or a stalled
  // phone costs little and never starves an approved phone.
  static constexpr std::size_t kMaximumUnapprovedSessions = 16;
  static constexpr base::Duration kHelloTimeout = std::chrono::seconds(10);
  static constexpr base::Duration kBroadcastDelay = std::chrono::milliseconds(100);
  static constexpr base::Duration kPollInterval = std::chrono::seconds(1);
  static constexpr std::size_t kIconCacheCapacity = 256;
  static constexpr std::string_view kDefaultDeviceName = "iPhone";
  static constexpr std::size_t kMaximumDeviceIdBytes = 256;
  static constexpr std::size_t kMaximumDeviceNameBytes = 128;

  explicit KolvoDeckServer(DeckServerPorts ports);
  ~KolvoDeckServer() override;
  KolvoDeckServer(const KolvoDeckServer&) = delete;
  KolvoDeckServer& operator=(const KolvoDeckServer&) = delete;

  // The port to listen on at the next start; 0, the default, lets the system choose.
  void set_requested_port(std::uint16_t port) { requested_port_ = port; }

  void start() override;
  void stop() override;

  base::Observable<bool>& is_running() { return is_running_; }
  base::Observable<std::optional<std::uint16_t>>& listening_port() { return listening_port_; }
  base::Observable<std::optional<std::string>>& last_error() { return last_error_; }
  base::Observable<std::vector<std::string>>& connected_device_names() { return connected_device_names_; }

  // Phones waiting for the user's word, and the word given from elsewhere than the prompt
  // (the host's control socket). False when no phone with that key is waiting.
  std::vector<ApprovalRequest> pending_approvals() const { return approvals_.pending(); }
  bool answer_approval(const std::string& key, bool allow) { return approvals_.answer(key, allow); }
  // Forgets a trusted phone; its open sessions stay approved until they reconnect.
  bool forget(const std::string& device_id) { return ports_.trust.remove(device_id); }

  // Builds the state now and sends it to every approved phone if it differs from the last one
  // broadcast; also refreshes each phone's launch list and profile icon.
  void broadcast_now();
  // Replaces any pending broadcast with one 0.1 s from now.
  void schedule_broadcast();
  // Sends a message to every approved phone (the Shelf's states).
  void send_to_approved(const KolvoDeckMessage& message);

  std::size_t session_count() const { return sessions_.size(); }
  std::size_t approved_session_count() const;

 private:
  void accepted(std::shared_ptr<DeckConnection> connection);
  void handle(KolvoDeckSession& session, const KolvoDeckMessage& message);
  void hello(KolvoDeckSession& session, const HelloMessage& hello);
  void approve(KolvoDeckSession& session);
  void perform(KolvoDeckSession& session, const KolvoDeckMessage& message);
  void session_closed(KolvoDeckSession& session, const std::string& reason);
  void close_hello_laggard(std::uint64_t serial);
  void refresh_device_names();
  void send_extras(KolvoDeckSession& session);
  void send_extras(KolvoDeckSession& session, const std::vector<KolvoDeckLaunchItem>& items,
                   const std::optional<std::string>& frontmost);
  std::optional<std::string> icon_base64(const std::string& bundle_id);
  std::shared_ptr<KolvoDeckSession> find(std::uint64_t serial) const;

  DeckServerPorts ports_;
  ApprovalQueue approvals_;
  std::uint16_t requested_port_ = 0;
  base::Observable<bool> is_running_{false};
  base::Observable<std::optional<std::uint16_t>> listening_port_;
  base::Observable<std::optional<std::string>> last_error_;
  base::Observable<std::vector<std::string>> connected_device_names_;

  std::unique_ptr<DeckListener> listener_;
  std::vector<std::shared_ptr<KolvoDeckSession>> sessions_;
  std::uint64_t next_serial_ = 1;
  base::Subscription changes_;
  base::Timer broadcast_work_{ports_.main};
  base::RepeatingTimer value_poll_timer_{ports_.main};
  std::map<std::uint64_t, std::unique_ptr<base::Timer>> hello_deadlines_;
  std::optional<KolvoDeckState> last_broadcast_state_;
  std::map<std::string, std::optional<std::string>> icon_png_cache_;
  // Work posted for later holds the server weakly through this.
  std::shared_ptr<KolvoDeckServer*> self_ = std::make_shared<KolvoDeckServer*>(this);
};

}  // namespace kolvo::deck
