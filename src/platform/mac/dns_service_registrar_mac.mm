#import <Foundation/Foundation.h>
#include <dns_sd.h>

#include "platform/dns_sd/dns_sd_registrar.hpp"
#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/objc_text.hpp"

namespace kolvo::platform {
namespace {

// The computer name from Sharing settings, the one Bonjour itself uses.
std::optional<std::string> computer_name() {
  @autoreleasepool {
    NSString* name = NSHost.currentHost.localizedName;
    if (name.length == 0) return std::nullopt;
    return utf8(name);
  }
}

}  // namespace

deck::DnsServiceRegistrarFactory mac_dns_service_registrar_factory() {
  return [](base::Executor& main) -> std::unique_ptr<deck::DnsServiceRegistrar> {
    return std::make_unique<DnsSdRegistrar>(main, DnsSdDialect{
                                                      // mDNSResponder would pick "Name (2)" by
                                                      // itself; the advertiser chooses instead,
                                                      // as it must on Linux, so both name alike.
                                                      .register_flags = kDNSServiceFlagsNoAutoRename,
                                                      .unknown_error_means_no_responder = false,
                                                      .computer_name = computer_name,
                                                  });
  };
}

}  // namespace kolvo::platform
