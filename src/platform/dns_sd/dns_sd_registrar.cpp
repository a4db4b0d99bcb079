#include "platform/dns_sd/dns_sd_registrar.hpp"

#include <arpa/inet.h>
#include <dns_sd.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <thread>
#include <utility>

namespace kolvo::platform {

using Outcome = deck::DnsServiceRegistrar::Outcome;

namespace {

// What the registration's thread and the answers it posts share with the main thread.
struct Shared {
  base::Executor* main = nullptr;
  bool unknown_error_means_no_responder = false;
  deck::DnsServiceRegistrar::Done done;
  // Cleared on the main thread by unregister; answers already posted check it before they run.
  std::atomic<bool> live{true};
};

// kDNSServiceErr_ServiceNotRunning, what the Mac's library answers while mDNSResponder is
// down. Avahi's header predates it.
constexpr DNSServiceErrorType kServiceNotRunning = -65563;

Outcome outcome_of(DNSServiceErrorType error, const Shared& shared) {
  switch (error) {
    case kDNSServiceErr_NoError:
      return Outcome::registered;
    case kDNSServiceErr_NameConflict:
      return Outcome::name_conflict;
    case kServiceNotRunning:
      return Outcome::daemon_unavailable;
    case kDNSServiceErr_Unknown:
      return shared.unknown_error_means_no_responder ? Outcome::daemon_unavailable : Outcome::failed;
    default:
      return Outcome::failed;
  }
}

void post_answer(const std::shared_ptr<Shared>& shared, DNSServiceErrorType error) {
  const Outcome outcome = outcome_of(error, *shared);
  std::string detail = error == kDNSServiceErr_NoError ? "" : "dns_sd error " + std::to_string(error);
  shared->main->post([shared, outcome, detail = std::move(detail)] {
    if (shared->live) shared->done(outcome, detail);
  });
}

void DNSSD_API registered(DNSServiceRef, DNSServiceFlags, DNSServiceErrorType error, const char*, const char*,
                          const char*, void* context) {
  post_answer(*static_cast<std::shared_ptr<Shared>*>(context), error);
}

void serve(std::shared_ptr<Shared> shared, int wake, DNSServiceFlags flags, std::string name, std::string type,
           std::uint16_t port) {
  DNSServiceRef service = nullptr;
  const DNSServiceErrorType error = DNSServiceRegister(&service, flags, 0, name.c_str(), type.c_str(), nullptr,
                                                       nullptr, htons(port), 0, nullptr, registered, &shared);
  if (error != kDNSServiceErr_NoError) {
    post_answer(shared, error);
    return;
  }
  while (shared->live) {
    pollfd watched[2] = {{DNSServiceRefSockFD(service), POLLIN, 0}, {wake, POLLIN, 0}};
    if (::poll(watched, 2, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    if (watched[1].revents != 0) break;
    if (watched[0].revents == 0) continue;
    // A failure here means the connection to the responder is gone; the registration with it.
    const DNSServiceErrorType result = DNSServiceProcessResult(service);
    if (result != kDNSServiceErr_NoError) {
      post_answer(shared, result);
      break;
    }
  }
  DNSServiceRefDeallocate(service);
}

}  // namespace

// The thread owns the DNSServiceRef, from registration to deallocation.
struct DnsSdRegistrar::Registration {
  std::shared_ptr<Shared> shared = std::make_shared<Shared>();
  // Written once to wake the thread out of poll() when the registration is withdrawn.
  int wake[2] = {-1, -1};
  std::thread thread;

  ~Registration() {
    shared->live = false;
    if (wake[1] >= 0) {
      const char byte = 0;
      [[maybe_unused]] const auto written = ::write(wake[1], &byte, 1);
    }
    if (thread.joinable()) thread.join();
    for (const int fd : wake) {
      if (fd >= 0) ::close(fd);
    }
  }
};

DnsSdRegistrar::DnsSdRegistrar(base::Executor& main, DnsSdDialect dialect) : main_(main), dialect_(std::move(dialect)) {}

DnsSdRegistrar::~DnsSdRegistrar() { unregister(); }

void DnsSdRegistrar::register_service(const std::string& name, const std::string& type, std::uint16_t port,
                                      Done done) {
  unregister();
  auto registration = std::make_unique<Registration>();
  registration->shared->main = &main_;
  registration->shared->unknown_error_means_no_responder = dialect_.unknown_error_means_no_responder;
  registration->shared->done = std::move(done);
  if (::pipe(registration->wake) != 0) {
    registration->shared->main->post([shared = registration->shared] {
      if (shared->live) shared->done(Outcome::failed, "no pipe for the registration's thread");
    });
    current_ = std::move(registration);
    return;
  }
  for (const int fd : registration->wake) ::fcntl(fd, F_SETFD, FD_CLOEXEC);
  registration->thread = std::thread(serve, registration->shared, registration->wake[0],
                                     static_cast<DNSServiceFlags>(dialect_.register_flags), name, type, port);
  current_ = std::move(registration);
}

void DnsSdRegistrar::unregister() { current_.reset(); }

std::optional<std::string> DnsSdRegistrar::computer_name() const {
  return dialect_.computer_name ? dialect_.computer_name() : std::nullopt;
}

}  // namespace kolvo::platform
