#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/executor.hpp"
#include "deck/server/dns_service_registrar.hpp"

namespace kolvo::platform {

// How one platform's dns_sd library is driven. The API is the same on the Mac (libSystem) and
// on Linux (Avahi's compatibility library); what differs is passed in here.
struct DnsSdDialect {
  // DNSServiceFlags for DNSServiceRegister.
  std::uint32_t register_flags = 0;
  // Whether kDNSServiceErr_Unknown means that no responder could be reached, as it does from
  // Avahi's library (no daemon, no bus, or the daemon went away).
  bool unknown_error_means_no_responder = false;
  // The computer's name as the user set it.
  std::function<std::optional<std::string>()> computer_name;
};

// One dns_sd registration, served by a thread of its own that waits on the library's socket and
// hands every answer to the main thread. DNSServiceRegister runs on that thread as well, so a
// slow responder never holds up the main loop.
class DnsSdRegistrar final : public deck::DnsServiceRegistrar {
 public:
  DnsSdRegistrar(base::Executor& main, DnsSdDialect dialect);
  ~DnsSdRegistrar() override;

  void register_service(const std::string& name, const std::string& type, std::uint16_t port, Done done) override;
  void unregister() override;
  std::optional<std::string> computer_name() const override;

 private:
  struct Registration;
  base::Executor& main_;
  DnsSdDialect dialect_;
  std::unique_ptr<Registration> current_;
};

}  // namespace kolvo::platform
