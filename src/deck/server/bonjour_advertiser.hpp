#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/diagnostics_log.hpp"
#include "base/executor.hpp"
#include "base/timers.hpp"
#include "deck/server/dns_service_registrar.hpp"

namespace kolvo::deck {

// Announces the Deck server on the local network, so the phone finds this Mac by its name.
// Advertising is a convenience on top of a server that works without it: with no mDNS
// responder the server keeps serving, and the advertiser keeps trying until one answers.
class BonjourAdvertiser {
 public:
  static constexpr std::string_view kServiceType = "_kolvo._tcp";
  static constexpr base::Duration kRetryInterval = base::seconds(5);
  // The name when the system gives none.
  static constexpr std::string_view kFallbackName = "Mac";
  // A DNS-SD instance name is one DNS label: at most 63 bytes of UTF-8.
  static constexpr std::size_t kMaxNameBytes = 63;
  // Renaming stops at "Name (99)"; past it the advertiser waits kRetryInterval and starts again
  // from the plain name, rather than spinning through names on a network that refuses them all.
  static constexpr int kMaxNameNumber = 99;
  static constexpr std::string_view kLogTag = "Deck";

  BonjourAdvertiser(DnsServiceRegistrarFactory make_registrar, base::Executor& main, base::DiagnosticsLog& log);
  ~BonjourAdvertiser();
  BonjourAdvertiser(const BonjourAdvertiser&) = delete;
  BonjourAdvertiser& operator=(const BonjourAdvertiser&) = delete;

  // Advertises `port` under the computer's name ("Mac" when the system gives none). Starting
  // again on another port starts over; on the same port it does nothing.
  void start(std::uint16_t port);
  // Withdraws the service; no retry fires afterwards.
  void stop();

  // The name the responder accepted; absent while nothing is advertised.
  std::optional<std::string> advertised_name() const { return advertised_; }

  // "Name" for the first try, "Name (2)" for the second and on, cut at a character boundary so
  // that the whole fits in kMaxNameBytes.
  static std::string instance_name(std::string_view computer_name, int number);

 private:
  void restart();
  void register_now();
  void handle(std::uint64_t attempt, DnsServiceRegistrar::Outcome outcome, const std::string& detail);
  void retry_later(std::string_view problem);

  DnsServiceRegistrarFactory make_registrar_;
  base::Executor& main_;
  base::DiagnosticsLog& log_;
  std::unique_ptr<DnsServiceRegistrar> registrar_;
  base::Timer retry_;
  std::optional<std::uint16_t> port_;
  std::string computer_name_;
  int number_ = 1;
  std::optional<std::string> advertised_;
  // Which registration an answer belongs to: an answer for an earlier one is dropped.
  std::uint64_t attempt_ = 0;
  // The problem last written to the log, so a retry that fails the same way stays quiet.
  std::optional<std::string> logged_problem_;
  // Cleared on destruction, for the renaming task posted to the main loop.
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace kolvo::deck
