// The advertiser over the real dns_sd library and a real avahi-daemon, which scripts/test
// starts (scripts/start-avahi) before the suites run. What was registered is read back with
// avahi-browse, as any other machine's browser would find it.
#include "platform/linux/dns_service_registrar_linux.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <thread>

#include "base/manual_executor.hpp"
#include "deck/server/bonjour_advertiser.hpp"
#include "support/settings_fixture.hpp"
#include "support/temp_root.hpp"

namespace kolvo::platform {
namespace {

using deck::BonjourAdvertiser;
using testing::TempRoot;

TEST(LinuxComputerName, IsThePrettyHostnameElseTheHostName) {
  char host[256] = {};
  ASSERT_EQ(::gethostname(host, sizeof host - 1), 0);
  struct Case {
    const char* name;
    std::optional<std::string> machine_info;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {"double quotes", "PRETTY_HOSTNAME=\"Anna's Laptop\"\nCHASSIS=laptop\n", "Anna's Laptop"},
      {"single quotes", "CHASSIS=laptop\nPRETTY_HOSTNAME='Lab \"B\" PC'\n", "Lab \"B\" PC"},
      {"unquoted, with an escape", "PRETTY_HOSTNAME=Anna\\'s\\ Desk\n", "Anna's Desk"},
      {"an escaped quote inside quotes", "PRETTY_HOSTNAME=\"The \\\"Big\\\" One\"\n", "The \"Big\" One"},
      {"the last assignment", "PRETTY_HOSTNAME=First\nPRETTY_HOSTNAME=Second\n", "Second"},
      {"no line break at the end", "PRETTY_HOSTNAME=Studio", "Studio"},
      {"a key that only starts alike", "PRETTY_HOSTNAME_OLD=Old\n", host},
      {"an unterminated quote", "PRETTY_HOSTNAME=\"Half\n", host},
      {"an empty name", "PRETTY_HOSTNAME=\n", host},
      {"no such key", "CHASSIS=desktop\n", host},
      {"a file of one endless line", "PRETTY_HOSTNAME=" + std::string(100'000, 'x'), host},
      {"no file", std::nullopt, host},
  };
  for (const auto& c : cases) {
    TempRoot root("name");
    if (c.machine_info) root.write("etc/machine-info", *c.machine_info);
    EXPECT_EQ(linux_computer_name(root.path()), c.expected) << c.name;
  }
}

struct Browsed {
  std::string name;
  int port = 0;
};

// "Anna\032Desk" -> "Anna Desk": avahi-browse writes other bytes as \DDD and escapes '.' and '\'.
std::string unescaped(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size() + 0 && std::isdigit(static_cast<unsigned char>(text[i + 1])) &&
        std::isdigit(static_cast<unsigned char>(text[i + 2])) && std::isdigit(static_cast<unsigned char>(text[i + 3]))) {
      out += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 3))));
      i += 3;
    } else if (text[i] == '\\' && i + 1 < text.size()) {
      out += text[++i];
    } else {
      out += text[i];
    }
  }
  return out;
}

// The resolved "_kolvo._tcp" services: lines "=;lo;IPv4;NAME;_kolvo._tcp;local;HOST;ADDRESS;PORT;TXT".
std::vector<Browsed> browse() {
  std::vector<Browsed> found;
  FILE* pipe = ::popen("avahi-browse --resolve --parsable --terminate _kolvo._tcp 2>/dev/null", "r");
  if (pipe == nullptr) return found;
  std::array<char, 4096> line{};
  while (std::fgets(line.data(), line.size(), pipe) != nullptr) {
    std::vector<std::string> fields;
    std::string field;
    for (const char* c = line.data(); *c != '\0' && *c != '\n'; ++c) {
      if (*c == ';') {
        fields.push_back(field);
        field.clear();
      } else {
        field += *c;
      }
    }
    fields.push_back(field);
    if (fields.size() >= 9 && fields[0] == "=" && fields[4] == "_kolvo._tcp") {
      found.push_back({unescaped(fields[3]), std::atoi(fields[8].c_str())});
    }
  }
  ::pclose(pipe);
  return found;
}

bool browsed(const std::string& name, int port) {
  for (const auto& service : browse()) {
    if (service.name == name && service.port == port) return true;
  }
  return false;
}

// Whether a process here has already spoken to the system bus: libdbus keeps the first bus
// address it reads for the life of the process.
bool g_bus_used = false;

class AvahiAdvertising : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::system("avahi-daemon --check 2>/dev/null") != 0) {
      GTEST_SKIP() << "no avahi-daemon is running (scripts/start-avahi starts one; scripts/test runs it)";
    }
    if (std::system("command -v avahi-browse >/dev/null") != 0) {
      GTEST_SKIP() << "avahi-browse is not installed (scripts/setup installs avahi-utils)";
    }
    std::random_device random;
    computer_ = "Kolvo Test " + std::to_string(random() % 1'000'000);
    root_.write("etc/machine-info", "PRETTY_HOSTNAME=\"" + computer_ + "\"\n");
    port_ = static_cast<std::uint16_t>(20000 + random() % 20000);
  }

  std::unique_ptr<BonjourAdvertiser> advertiser() {
    g_bus_used = true;
    return std::make_unique<BonjourAdvertiser>(linux_dns_service_registrar_factory(root_.path()), main_, log_);
  }

  // Runs the main loop's tasks as the registrar's thread posts them, until `done` or 10 s.
  template <typename Predicate>
  bool pump_until(Predicate done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < deadline) {
      main_.run_pending();
      if (done()) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }

  std::size_t logged(std::string_view fragment) const {
    std::size_t count = 0;
    for (const auto& line : log_.lines()) count += line.find(fragment) != std::string::npos;
    return count;
  }

  TempRoot root_{"avahi"};
  std::string computer_;
  std::uint16_t port_ = 0;
  base::ManualExecutor main_;
  testing::FixedWallClock wall_;
  base::DiagnosticsLog log_{wall_, base::DiagnosticsLog::silent()};
};

TEST_F(AvahiAdvertising, TheServiceIsFoundByBrowsingWithItsPortAndGoesWhenStopped) {
  auto advertiser = this->advertiser();
  advertiser->start(port_);
  ASSERT_TRUE(pump_until([&] { return advertiser->advertised_name().has_value(); })) << ::testing::PrintToString(log_.lines());
  EXPECT_EQ(advertiser->advertised_name(), computer_);
  EXPECT_TRUE(pump_until([&] { return browsed(computer_, port_); })) << "avahi-browse did not list " << computer_;

  advertiser->stop();
  EXPECT_TRUE(pump_until([&] { return !browsed(computer_, port_); })) << computer_ << " was still listed";
}

TEST_F(AvahiAdvertising, ASecondServiceOfTheSameNameIsNumbered) {
  auto first = advertiser();
  auto second = advertiser();
  first->start(port_);
  ASSERT_TRUE(pump_until([&] { return first->advertised_name().has_value(); }));
  second->start(static_cast<std::uint16_t>(port_ + 1));
  ASSERT_TRUE(pump_until([&] { return second->advertised_name().has_value(); })) << ::testing::PrintToString(log_.lines());
  EXPECT_EQ(first->advertised_name(), computer_);
  EXPECT_EQ(second->advertised_name(), computer_ + " (2)");
  EXPECT_TRUE(pump_until([&] { return browsed(computer_, port_) && browsed(computer_ + " (2)", port_ + 1); }));
  EXPECT_EQ(logged("\"" + computer_ + "\" is taken on the network; trying \"" + computer_ + " (2)\""), 1u);
}

TEST_F(AvahiAdvertising, WithoutAReachableDaemonItRetriesOnTheTimerUntilOneAnswers) {
  if (g_bus_used) GTEST_SKIP() << "run this test in a process of its own, as ctest does";
  // The system bus is reached through a path that leads nowhere until the test links it to the
  // real bus: the daemon is missing, and then it is there, without stopping the shared one.
  const auto bus = root_.path() / "system_bus_socket";
  ASSERT_EQ(::setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + bus.string()).c_str(), 1), 0);
  struct RestoreBus {
    ~RestoreBus() { ::unsetenv("DBUS_SYSTEM_BUS_ADDRESS"); }
  } restore;

  auto advertiser = this->advertiser();
  advertiser->start(port_);
  ASSERT_TRUE(pump_until([&] { return logged("No mDNS responder") == 1; })) << ::testing::PrintToString(log_.lines());
  for (int retry = 0; retry < 2; ++retry) {
    main_.advance(BonjourAdvertiser::kRetryInterval);
    // Each retry fails the same way; the log says so once.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    main_.run_pending();
  }
  EXPECT_FALSE(advertiser->advertised_name());
  EXPECT_EQ(logged("No mDNS responder"), 1u);
  EXPECT_FALSE(browsed(computer_, port_));

  std::filesystem::create_symlink("/run/dbus/system_bus_socket", bus);
  main_.advance(BonjourAdvertiser::kRetryInterval);
  ASSERT_TRUE(pump_until([&] { return advertiser->advertised_name().has_value(); })) << ::testing::PrintToString(log_.lines());
  EXPECT_EQ(advertiser->advertised_name(), computer_);
  EXPECT_TRUE(pump_until([&] { return browsed(computer_, port_); }));
  EXPECT_EQ(logged("No mDNS responder"), 1u);
}

}  // namespace
}  // namespace kolvo::platform
