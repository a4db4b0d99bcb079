#include "deck/server/bonjour_advertiser.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include "base/manual_executor.hpp"
#include "support/settings_fixture.hpp"

namespace kolvo::deck {
namespace {

using Outcome = DnsServiceRegistrar::Outcome;

// What the responder was asked, and the answers the test gives back. It stands in for
// mDNSResponder and avahi-daemon because the advertiser's rules (naming, retries) are what is
// tested here; the real registrar is tested against a real avahi-daemon.
struct ScriptedResponder {
  struct Registration {
    std::string name;
    std::string type;
    std::uint16_t port;
    DnsServiceRegistrar::Done done;
  };
  std::vector<Registration> registrations;
  std::optional<std::string> computer_name = "Studio";
  int unregistered = 0;
  int made = 0;

  std::vector<std::string> names() const {
    std::vector<std::string> out;
    for (const auto& r : registrations) out.push_back(r.name);
    return out;
  }
  void answer(Outcome outcome, std::string detail = "") { registrations.back().done(outcome, std::move(detail)); }
};

class ScriptedRegistrar final : public DnsServiceRegistrar {
 public:
  explicit ScriptedRegistrar(ScriptedResponder& responder) : responder_(responder) {}
  void register_service(const std::string& name, const std::string& type, std::uint16_t port, Done done) override {
    responder_.registrations.push_back({name, type, port, std::move(done)});
  }
  void unregister() override { ++responder_.unregistered; }
  std::optional<std::string> computer_name() const override { return responder_.computer_name; }

 private:
  ScriptedResponder& responder_;
};

struct AdvertiserTest : ::testing::Test {
  ScriptedResponder responder;
  base::ManualExecutor main;
  testing::FixedWallClock wall;
  std::vector<std::string> mirrored;
  base::DiagnosticsLog log{wall, [this](std::string_view line) { mirrored.emplace_back(line); }};
  std::unique_ptr<BonjourAdvertiser> advertiser = make();

  std::unique_ptr<BonjourAdvertiser> make() {
    return std::make_unique<BonjourAdvertiser>(
        [this](base::Executor& on) -> std::unique_ptr<DnsServiceRegistrar> {
          EXPECT_EQ(&on, &main);
          ++responder.made;
          return std::make_unique<ScriptedRegistrar>(responder);
        },
        main, log);
  }
  std::size_t logged(std::string_view fragment) const {
    return static_cast<std::size_t>(std::count_if(mirrored.begin(), mirrored.end(), [&](const std::string& line) {
      return line.find(fragment) != std::string::npos;
    }));
  }
};

TEST(BonjourAdvertiserNames, AreTheComputersNameNumberedAndCutToOneLabel) {
  const std::string long_ascii(70, 'a');
  const std::string e_acute = "\xC3\xA9";
  struct Case {
    std::string computer;
    int number;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {"Anna's MacBook Pro", 1, "Anna's MacBook Pro"},
      {"Anna's MacBook Pro", 2, "Anna's MacBook Pro (2)"},
      {"Anna's MacBook Pro", 12, "Anna's MacBook Pro (12)"},
      {long_ascii, 1, std::string(63, 'a')},
      {long_ascii, 2, std::string(59, 'a') + " (2)"},
      {long_ascii, 10, std::string(58, 'a') + " (10)"},
      // A two-byte character that would end past the limit goes whole.
      {std::string(62, 'a') + e_acute, 1, std::string(62, 'a')},
      {std::string(61, 'a') + e_acute, 1, std::string(61, 'a') + e_acute},
      {std::string(58, 'a') + e_acute + "b", 2, std::string(58, 'a') + " (2)"},
      // Bytes that are no UTF-8 are replaced rather than sent to the responder.
      {"Lab \xFF PC", 1, "Lab \xEF\xBF\xBD PC"},
  };
  for (const auto& c : cases) {
    const std::string name = BonjourAdvertiser::instance_name(c.computer, c.number);
    EXPECT_EQ(name, c.expected) << c.computer << " #" << c.number;
    EXPECT_LE(name.size(), BonjourAdvertiser::kMaxNameBytes);
  }
}

TEST_F(AdvertiserTest, RegistersTheComputersNameOrMacAndReportsWhatWasAccepted) {
  struct Case {
    std::optional<std::string> computer;
    std::string advertised;
  };
  for (const auto& c : std::vector<Case>{{"Studio", "Studio"}, {std::nullopt, "Mac"}, {"", "Mac"}}) {
    advertiser.reset();
    responder = {};
    responder.computer_name = c.computer;
    advertiser = make();
    advertiser->start(52100);
    ASSERT_EQ(responder.registrations.size(), 1u);
    EXPECT_EQ(responder.registrations[0].name, c.advertised);
    EXPECT_EQ(responder.registrations[0].type, "_kolvo._tcp");
    EXPECT_EQ(responder.registrations[0].port, 52100);
    EXPECT_FALSE(advertiser->advertised_name());  // not before the responder says so
    responder.answer(Outcome::registered);
    EXPECT_EQ(advertiser->advertised_name(), c.advertised);
  }
  EXPECT_EQ(logged("[Deck] Advertised as \"Studio\" (_kolvo._tcp, port 52100)"), 1u);
}

TEST_F(AdvertiserTest, ATakenNameIsRetriedAtOnceWithTheNextNumber) {
  advertiser->start(4000);
  responder.answer(Outcome::name_conflict);
  main.run_pending();
  responder.answer(Outcome::name_conflict);
  main.run_pending();
  responder.answer(Outcome::registered);
  EXPECT_EQ(responder.names(), (std::vector<std::string>{"Studio", "Studio (2)", "Studio (3)"}));
  EXPECT_EQ(advertiser->advertised_name(), "Studio (3)");
  EXPECT_EQ(responder.made, 1);

  // A conflict found later, by another Mac that came onto the network, renames again.
  responder.answer(Outcome::name_conflict);
  EXPECT_FALSE(advertiser->advertised_name());
  main.run_pending();
  EXPECT_EQ(responder.names().back(), "Studio (4)");
}

TEST_F(AdvertiserTest, WithoutAResponderItLogsOnceAndRetriesOnTheTimerUntilOneAnswers) {
  advertiser->start(4000);
  for (int attempt = 1; attempt <= 3; ++attempt) {
    responder.answer(Outcome::daemon_unavailable, "dns_sd error -65537");
    main.advance(BonjourAdvertiser::kRetryInterval - base::seconds(0.001));
    EXPECT_EQ(responder.registrations.size(), static_cast<std::size_t>(attempt)) << attempt;
    main.advance(base::seconds(0.001));
    ASSERT_EQ(responder.registrations.size(), static_cast<std::size_t>(attempt + 1)) << attempt;
    EXPECT_EQ(responder.registrations.back().name, "Studio");
  }
  EXPECT_EQ(logged("[Deck] No mDNS responder is running (dns_sd error -65537)"), 1u);
  EXPECT_FALSE(advertiser->advertised_name());
  responder.answer(Outcome::registered);
  EXPECT_EQ(advertiser->advertised_name(), "Studio");
  main.advance(BonjourAdvertiser::kRetryInterval * 3);
  EXPECT_EQ(responder.registrations.size(), 4u);  // no retry once registered
}

TEST_F(AdvertiserTest, LosingTheResponderStartsOverFromTheComputersCurrentName) {
  advertiser->start(4000);
  responder.answer(Outcome::name_conflict);
  main.run_pending();
  responder.answer(Outcome::registered);
  ASSERT_EQ(advertiser->advertised_name(), "Studio (2)");

  responder.computer_name = "Studio Display Mac";
  responder.answer(Outcome::daemon_unavailable, "dns_sd error -65537");
  EXPECT_FALSE(advertiser->advertised_name());
  main.advance(BonjourAdvertiser::kRetryInterval);
  EXPECT_EQ(responder.names().back(), "Studio Display Mac");
}

TEST_F(AdvertiserTest, OtherFailuresAreRetriedOnTheTimerAndLoggedOncePerProblem) {
  advertiser->start(4000);
  responder.answer(Outcome::failed, "dns_sd error -65540");
  main.advance(BonjourAdvertiser::kRetryInterval);
  responder.answer(Outcome::failed, "dns_sd error -65540");
  main.advance(BonjourAdvertiser::kRetryInterval);
  responder.answer(Outcome::daemon_unavailable, "dns_sd error -65537");
  main.advance(BonjourAdvertiser::kRetryInterval);
  EXPECT_EQ(responder.registrations.size(), 4u);
  EXPECT_EQ(logged("failed (dns_sd error -65540); trying again every 5 s"), 1u);
  EXPECT_EQ(logged("No mDNS responder"), 1u);
}

TEST_F(AdvertiserTest, StopWithdrawsAndNothingFiresAfterwards) {
  struct Case {
    const char* name;
    Outcome pending;
  };
  for (const auto& c : {Case{"retry timer pending", Outcome::daemon_unavailable},
                        Case{"rename pending", Outcome::name_conflict}, Case{"registered", Outcome::registered}}) {
    advertiser.reset();
    responder = {};
    advertiser = make();
    advertiser->start(4000);
    responder.answer(c.pending);
    advertiser->stop();
    EXPECT_EQ(responder.unregistered, 1) << c.name;
    EXPECT_FALSE(advertiser->advertised_name()) << c.name;
    main.advance(BonjourAdvertiser::kRetryInterval * 2);
    // An answer the responder had already queued arrives after the stop.
    responder.answer(Outcome::registered);
    EXPECT_EQ(responder.registrations.size(), 1u) << c.name;
    EXPECT_FALSE(advertiser->advertised_name()) << c.name;
  }
}

TEST_F(AdvertiserTest, AnAnswerForAnEarlierNameIsIgnored) {
  advertiser->start(4000);
  auto first = responder.registrations[0].done;
  responder.answer(Outcome::name_conflict);
  main.run_pending();
  first(Outcome::registered, "");  // late news about "Studio"
  EXPECT_FALSE(advertiser->advertised_name());
  responder.answer(Outcome::registered);
  EXPECT_EQ(advertiser->advertised_name(), "Studio (2)");
}

TEST_F(AdvertiserTest, ANetworkThatRefusesEveryNameIsRetriedOnTheTimerFromThePlainName) {
  advertiser->start(4000);
  for (int number = 1; number < BonjourAdvertiser::kMaxNameNumber; ++number) {
    responder.answer(Outcome::name_conflict);
    main.run_pending();
  }
  ASSERT_EQ(responder.names().back(), "Studio (99)");
  responder.answer(Outcome::name_conflict);
  main.run_pending();
  EXPECT_EQ(responder.registrations.size(), 99u);
  main.advance(BonjourAdvertiser::kRetryInterval);
  EXPECT_EQ(responder.names().back(), "Studio");
}

TEST_F(AdvertiserTest, StartingTwiceOnOnePortRegistersOnceAndAnotherPortStartsOver) {
  advertiser->start(4000);
  advertiser->start(4000);
  EXPECT_EQ(responder.registrations.size(), 1u);
  advertiser->start(4001);
  EXPECT_EQ(responder.registrations.size(), 2u);
  EXPECT_EQ(responder.registrations.back().port, 4001);
  EXPECT_EQ(responder.registrations.back().name, "Studio");
}

TEST_F(AdvertiserTest, ARenameQueuedWhenTheAdvertiserGoesIsDropped) {
  advertiser->start(4000);
  responder.answer(Outcome::name_conflict);
  advertiser.reset();
  main.run_pending();
  EXPECT_EQ(responder.registrations.size(), 1u);
}

TEST(BonjourAdvertiserWithoutResponder, DoesNothingWhereThePlatformHasNone) {
  base::ManualExecutor main;
  testing::FixedWallClock wall;
  base::DiagnosticsLog log{wall, base::DiagnosticsLog::silent()};
  for (const DnsServiceRegistrarFactory& factory :
       {DnsServiceRegistrarFactory{}, DnsServiceRegistrarFactory{[](base::Executor&) { return nullptr; }}}) {
    BonjourAdvertiser advertiser(factory, main, log);
    advertiser.start(4000);
    main.advance(BonjourAdvertiser::kRetryInterval * 2);
    EXPECT_FALSE(advertiser.advertised_name());
    EXPECT_EQ(main.pending_count(), 0u);
    advertiser.stop();
  }
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace kolvo::deck
