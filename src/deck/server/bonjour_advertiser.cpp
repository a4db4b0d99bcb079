#include "deck/server/bonjour_advertiser.hpp"

#include <chrono>
#include <utility>

#include "base/utf8.hpp"

namespace kolvo::deck {

using Outcome = DnsServiceRegistrar::Outcome;

BonjourAdvertiser::BonjourAdvertiser(DnsServiceRegistrarFactory make_registrar, base::Executor& main,
                                     base::DiagnosticsLog& log)
    : make_registrar_(std::move(make_registrar)), main_(main), log_(log), retry_(main) {}

BonjourAdvertiser::~BonjourAdvertiser() {
  *alive_ = false;
  stop();
}

std::string BonjourAdvertiser::instance_name(std::string_view computer_name, int number) {
  const std::string suffix = number > 1 ? " (" + std::to_string(number) + ")" : "";
  // A name cut mid-character, or one the system handed over ill-formed, would be refused by
  // the responder; repair first, then cut only between characters.
  return base::truncated_utf8(computer_name, kMaxNameBytes - suffix.size()) + suffix;
}

void BonjourAdvertiser::start(std::uint16_t port) {
  if (!make_registrar_) return;  // no responder on this platform
  if (port_ == port) return;
  stop();
  registrar_ = make_registrar_(main_);
  if (!registrar_) return;
  port_ = port;
  restart();
}

void BonjourAdvertiser::stop() {
  retry_.cancel();
  ++attempt_;
  if (registrar_) registrar_->unregister();
  registrar_.reset();
  port_.reset();
  advertised_.reset();
  logged_problem_.reset();
}

// From the computer's current name: the user may have renamed the Mac while the responder was
// away, and the plain name may be free again.
void BonjourAdvertiser::restart() {
  const auto name = registrar_->computer_name();
  computer_name_ = name && !name->empty() ? *name : std::string(kFallbackName);
  number_ = 1;
  register_now();
}

void BonjourAdvertiser::register_now() {
  const std::uint64_t attempt = ++attempt_;
  registrar_->register_service(instance_name(computer_name_, number_), std::string(kServiceType), *port_,
                               [this, attempt](Outcome outcome, std::string detail) { handle(attempt, outcome, detail); });
}

void BonjourAdvertiser::handle(std::uint64_t attempt, Outcome outcome, const std::string& detail) {
  if (attempt != attempt_ || !registrar_) return;
  advertised_.reset();
  switch (outcome) {
    case Outcome::registered:
      advertised_ = instance_name(computer_name_, number_);
      logged_problem_.reset();
      log_.record(kLogTag, "Advertised as \"" + *advertised_ + "\" (" + std::string(kServiceType) + ", port " +
                               std::to_string(*port_) + ")");
      return;
    case Outcome::name_conflict: {
      const std::string taken = instance_name(computer_name_, number_);
      if (number_ >= kMaxNameNumber) {
        retry_later("Every name up to \"" + taken + "\" is taken on the network");
        number_ = 1;
        return;
      }
      ++number_;
      log_.record(kLogTag, "The name \"" + taken + "\" is taken on the network; trying \"" +
                               instance_name(computer_name_, number_) + "\"");
      // Posted rather than called: the answer may come from inside register_service.
      ++attempt_;
      main_.post([this, alive = std::weak_ptr<bool>(alive_), expected = attempt_] {
        if (alive.expired() || expected != attempt_ || !registrar_) return;
        register_now();
      });
      return;
    }
    case Outcome::daemon_unavailable:
      // The names a vanished responder refused say nothing about the next one: everything
      // starts over, from the computer's name, once a responder answers.
      number_ = 1;
      retry_later("No mDNS responder is running (" + detail + "); the Deck server is not advertised");
      return;
    case Outcome::failed:
      retry_later("Advertising the Deck server failed (" + detail + ")");
      return;
  }
}

void BonjourAdvertiser::retry_later(std::string_view problem) {
  if (logged_problem_ != problem) {
    const auto every = std::chrono::duration_cast<std::chrono::seconds>(kRetryInterval).count();
    log_.record(kLogTag, std::string(problem) + "; trying again every " + std::to_string(every) + " s");
    logged_problem_ = std::string(problem);
  }
  ++attempt_;
  retry_.start(kRetryInterval, [this] {
    if (!registrar_) return;
    if (number_ == 1) {
      restart();
    } else {
      register_now();
    }
  });
}

}  // namespace kolvo::deck
