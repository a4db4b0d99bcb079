#include "platform/linux/dns_service_registrar_linux.hpp"

#include <unistd.h>

#include <climits>
#include <cstdlib>

#include "platform/dns_sd/dns_sd_registrar.hpp"
#include "platform/linux/capped_file_linux.hpp"

namespace kolvo::platform {
namespace fs = std::filesystem;

namespace {

// /etc/machine-info holds a handful of short lines.
constexpr std::size_t kMaxMachineInfoBytes = 16 * 1024;

}  // namespace

std::optional<std::string> linux_computer_name(const fs::path& root) {
  if (const auto text = read_capped_lines(root / "etc/machine-info", kMaxMachineInfoBytes)) {
    const auto pretty = shell_style_value(*text, "PRETTY_HOSTNAME");
    if (pretty && !pretty->empty()) return pretty;
  }
  char host[HOST_NAME_MAX + 1] = {};
  if (::gethostname(host, sizeof host - 1) != 0 || host[0] == '\0') return std::nullopt;
  return std::string(host);
}

deck::DnsServiceRegistrarFactory linux_dns_service_registrar_factory(fs::path root) {
  // The compatibility library prints a banner on every registration unless told not to. Set
  // here, while the host is still building its ports on one thread.
  ::setenv("AVAHI_COMPAT_NOWARN", "1", 0);
  return [root = std::move(root)](base::Executor& main) -> std::unique_ptr<deck::DnsServiceRegistrar> {
    return std::make_unique<DnsSdRegistrar>(
        main, DnsSdDialect{
                  // Avahi's library refuses every registration flag, kDNSServiceFlagsNoAutoRename
                  // included, and never renames: a taken name comes back as a conflict, which is
                  // what the advertiser wants.
                  .register_flags = 0,
                  .unknown_error_means_no_responder = true,
                  .computer_name = [root] { return linux_computer_name(root); },
              });
  };
}

}  // namespace kolvo::platform
