// The phone link as a person tries it: `kolvo serve` in a temporary home, and the `kolvo deck`
// commands as the phone and as the Mac's user, over real sockets and the control socket.
#include <gtest/gtest.h>

#include <regex>

#include "support/kolvo_cli_fixture.hpp"

namespace kolvo::testing {
namespace {

class DeckCommand : public KolvoCli {
 protected:
  // Starts the host with the Deck on and returns its port.
  std::string serve_deck() {
    EXPECT_EQ(kolvo("prefs write com.kolvo.deckEnabled -bool true").exit_code, 0);
    start_serve("--port 0");
    std::smatch match;
    std::string log;
    EXPECT_TRUE(wait_for_log([&](const std::string& text) {
      log = text;
      return std::regex_search(log, match, std::regex("Kolvo Deck listening on port ([0-9]+)"));
    }));
    return "127.0.0.1:" + match[1].str();
  }
};

TEST_F(DeckCommand, APhoneIsApprovedFromAnotherTerminalThenDrivesTheMac) {
  const std::string address = serve_deck();
  // The phone waits in the background while the user answers with `kolvo deck approve`.
  const path pair_out = home_ / "pair.txt";
  const std::string command = environment() + " '" KOLVO_BINARY "' deck pair " + address +
                              " --device-id PHONE-1 --name 'Test Phone' --timeout 20 >'" + pair_out.string() +
                              "' 2>&1; echo $? >>'" + pair_out.string() + "'";
  FILE* pair = ::popen(command.c_str(), "r");
  ASSERT_TRUE(wait_for_log([](const std::string& log) { return log.find("kolvo deck approve PHONE-1") != std::string::npos; }))
      << read(serve_log());
  const auto waiting = kolvo("deck trusted --json");
  EXPECT_NE(waiting.out.find("\"waiting\":[{\"id\":\"PHONE-1\",\"name\":\"Test Phone\"}]"), std::string::npos) << waiting.out;
  EXPECT_EQ(kolvo("deck approve PHONE-1").exit_code, 0);
  ::pclose(pair);
  const std::string paired = read(pair_out);
  EXPECT_NE(paired.find("{\"type\":\"approval_required\"}"), std::string::npos) << paired;
  EXPECT_NE(paired.find("{\"type\":\"approved\"}\n0\n"), std::string::npos) << paired;
  EXPECT_NE(kolvo("deck trusted").out.find("PHONE-1  Test Phone"), std::string::npos);

  // Trusted now: a command goes straight through and the state shows it.
  const auto sent = kolvo("deck send " + address + " '{\"type\":\"setControl\",\"control\":\"volume\",\"value\":0.3}' "
                          "--device-id PHONE-1 --wait 0.5");
  EXPECT_EQ(sent.exit_code, 0) << sent.err;
  EXPECT_NE(sent.out.find("\"volume\":0.3,"), std::string::npos) << sent.out;
  EXPECT_NE(kolvo("control volume").out.find("volume 0.3"), std::string::npos);

  // Forgotten: the next hello asks again, and a refusal ends the phone's attempt.
  EXPECT_EQ(kolvo("deck forget PHONE-1").exit_code, 0);
  FILE* again = ::popen((environment() + " '" KOLVO_BINARY "' deck pair " + address +
                         " --device-id PHONE-1 --timeout 20 >/dev/null 2>&1; echo $?").c_str(), "r");
  ASSERT_TRUE(wait_for_log([](const std::string& log) { return count(log, "kolvo deck approve PHONE-1") == 2; }));
  EXPECT_EQ(kolvo("deck deny PHONE-1").exit_code, 0);
  char status[8] = {};
  ASSERT_TRUE(std::fgets(status, sizeof status, again));
  ::pclose(again);
  EXPECT_STREQ(status, "1\n");
}

TEST_F(DeckCommand, MistakesAreSentencesAndNothingIsSent) {
  const std::string address = serve_deck();
  struct Case {
    std::string arguments;
    int exit_code;
    std::string says;
  };
  const std::vector<Case> cases{
      {"deck send " + address + " '{\"type\":\"nonsense\"}'", 2, "not a Kolvo Deck message"},
      {"deck send " + address + " 'not json'", 2, "not a Kolvo Deck message"},
      {"deck pair localhost", 2, "is not HOST:PORT"},
      {"deck pair 127.0.0.1:70000", 2, "is not HOST:PORT"},
      {"deck pair 127.0.0.1:1 --timeout 2", 1, "Could not connect"},
      {"deck approve NOBODY", 1, "No iPhone with the id NOBODY is waiting"},
      {"deck forget NOBODY", 1, "No trusted iPhone has the id NOBODY"},
      {"deck frobnicate", 2, "'kolvo deck' takes"},
      {"launch", 2, "'kolvo launch' takes a bundle id"},
      {"launch com.example.none", 1, "No application with the bundle id"},
  };
  for (const auto& c : cases) {
    const auto result = kolvo(c.arguments);
    EXPECT_EQ(result.exit_code, c.exit_code) << c.arguments << "\n" << result.err;
    EXPECT_NE(result.err.find(c.says), std::string::npos) << c.arguments << "\n" << result.err;
  }
}

}  // namespace
}  // namespace kolvo::testing
