#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/executor.hpp"

namespace kolvo::deck {

// One registration of a service with the machine's mDNS responder (dns_sd: built into macOS,
// Avahi's compatibility library on Linux).
class DnsServiceRegistrar {
 public:
  enum class Outcome {
    registered,          // the responder took the name
    name_conflict,       // another service on the network holds the name
    daemon_unavailable,  // no responder is running (yet)
    failed,              // anything else the responder reported
  };
  using Done = std::function<void(Outcome outcome, std::string detail)>;

  virtual ~DnsServiceRegistrar() = default;

  // Registers `name` of `type` ("_kolvo._tcp") on `port`, with no domain and no TXT record.
  // `done` runs on the main thread when the responder answers, and again whenever it later
  // reports a conflict or goes away. Registering again replaces the earlier registration.
  virtual void register_service(const std::string& name, const std::string& type, std::uint16_t port, Done done) = 0;
  // Withdraws the registration; no `done` runs after this returns.
  virtual void unregister() = 0;

  // The computer's name as the user set it, absent when the system gives none.
  virtual std::optional<std::string> computer_name() const = 0;
};

// Makes a registrar whose answers arrive on `main`.
using DnsServiceRegistrarFactory = std::function<std::unique_ptr<DnsServiceRegistrar>(base::Executor& main)>;

}  // namespace kolvo::deck
