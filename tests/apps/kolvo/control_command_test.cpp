// `kolvo control` and `kolvo timer` against the simulated Mac of a running `kolvo serve`,
// and the control socket they travel over.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <thread>

#include <nlohmann/json.hpp>

#include "base/date_time.hpp"
#include "control_socket.hpp"
#include "support/kolvo_cli_fixture.hpp"

namespace kolvo::host {
namespace {

using testing::CommandResult;
using testing::KolvoCli;

class KolvoControl : public KolvoCli {
 protected:
  std::string output_of(const std::string& arguments) {
    const CommandResult run = kolvo(arguments);
    EXPECT_EQ(run.exit_code, 0) << arguments << ": " << run.err;
    return run.out;
  }
};

TEST_F(KolvoControl, DrivesTheSimulatedMacOfTheRunningHost) {
  start_serve();
  const std::pair<const char*, const char*> steps[] = {
      {"control volume 0.3", "volume 0.3\n"},
      {"control volume", "volume 0.3\n"},  // the host kept it: the request went there
      {"control volume 0.00005", "volume 5e-05 (muted)\n"},
      {"control volume 40%", "volume 0.4\n"},
      {"control output", "* 73 MacBook Pro Speakers\n  60 External Headphones\n"},
      {"control output 60", "output 60 External Headphones\n"},
      {"control brightness 0.25", "brightness 0.25\n"},
      {"control backlight", "backlight 0.4\n"},
      {"control dark on", "dark mode on\n"},
      {"control dark", "dark mode on\n"},
      {"control desktop", "desktop shown\n"},
      {"control desktop", "desktop hidden\n"},
      {"control space right", "space right sent\n"},
      {"control tab 1", "next tab\n"},
      {"control tab -3", "previous tab\n"},
      {"control tab -1", "previous tab\n"},
      {"control snap leftHalf", "snapped leftHalf\n"},
      {"control snap center", "snapped center\n"},
      {"control playpause", "play/pause sent\n"},
  };
  for (const auto& [arguments, expected] : steps) EXPECT_EQ(output_of(arguments), expected) << arguments;

  ASSERT_TRUE(wait_for_log([](const std::string& log) { return log.find("[Mac] media playing") != std::string::npos; }));
  const std::string log = read(serve_log());
  for (const char* line : {"[Mac] volume 0.3 on MacBook Pro Speakers", "[Mac] muted MacBook Pro Speakers",
                           "[Mac] unmuted MacBook Pro Speakers", "[Mac] output External Headphones",
                           "[Mac] brightness 0.25", "[Mac] dark mode on", "[Mac] space 2 of 3",
                           "[Mac] tab 2 of 5 in com.apple.Safari", "[Mac] tab 1 of 5 in com.apple.Safari",
                           "[Mac] tab 5 of 5 in com.apple.Safari", "[Mac] window \"Apple\" at (0.0, 37.0, 756.0, 875.0)",
                           "[Mac] window \"Apple\" at (200.0, 120.0, 1000.0, 700.0)"}) {
    EXPECT_NE(log.find(line), std::string::npos) << line << "\n" << log;
  }
}

TEST_F(KolvoControl, RefusesBadRequestsWithASentence) {
  start_serve();
  const std::pair<const char*, int> cases[] = {
      {"control volume loud", 2},  {"control volume 1.5", 2},  {"control volume -0.1", 2},
      {"control snap diagonal", 2}, {"control snap", 2},        {"control tab", 2},
      {"control tab x", 2},         {"control space up", 2},    {"control dark maybe", 2},
      {"control desktop now", 2},   {"control output 81", 1},   {"control output 9999", 1},
      {"control nothing", 2},       {"control", 2},             {"timer set 61", 2},
      {"timer set -1", 2},          {"timer fly", 2},           {"timer stop", 1},
      {"control tab 0", 1},        {"control snap leftHalf --pid 4294967398", 2},
      {"control snap leftHalf --pid 0", 2},         {"control snap leftHalf --pid", 2},
  };
  for (const auto& [arguments, code] : cases) {
    const CommandResult run = kolvo(arguments);
    EXPECT_EQ(run.exit_code, code) << arguments;
    EXPECT_TRUE(run.out.empty()) << arguments;
    EXPECT_TRUE(run.err.starts_with("kolvo: ") && run.err.ends_with(".\n")) << arguments << ": " << run.err;
  }
  EXPECT_EQ(output_of("control volume"), "volume 0.5\n") << "a refused request changes nothing";
}

TEST_F(KolvoControl, TheTimerKeepsItsEndAcrossARestartOfTheHost) {
  start_serve();
  EXPECT_EQ(output_of("timer"), "stopped, 10 MIN\n");
  EXPECT_EQ(output_of("timer set 25"), "stopped, 25 MIN\n");
  EXPECT_TRUE(output_of("timer start").starts_with("running, 25:00 left, ends "));
  const auto first = nlohmann::json::parse(output_of("timer status --json"));
  EXPECT_EQ(first["running"], true);
  EXPECT_EQ(first["selectedMinutes"], 25);
  const CommandResult again = kolvo("timer set 5");
  EXPECT_EQ(again.exit_code, 1);
  stop_serve();

  // With no host running, the command reads the same stored timer itself, and only reads.
  const std::string stored = read(prefs_file());
  const auto between = nlohmann::json::parse(output_of("timer status --json"));
  EXPECT_EQ(read(prefs_file()), stored);
  EXPECT_EQ(between["endDate"], first["endDate"]);
  EXPECT_EQ(between["running"], true);

  start_serve();
  const auto second = nlohmann::json::parse(output_of("timer status --json"));
  EXPECT_EQ(second["running"], true);
  EXPECT_EQ(second["endDate"], first["endDate"]);
  EXPECT_LE(second["remainingSeconds"].get<int>(), first["remainingSeconds"].get<int>());
  EXPECT_GT(second["remainingSeconds"].get<int>(), 1500 - 30);
  EXPECT_EQ(output_of("timer stop"), "stopped, 25 MIN\n");
  EXPECT_EQ(read(serve_log()).find("[Timer] done"), std::string::npos);
}

TEST_F(KolvoControl, ATimerThatEndedWhileNothingRanIsDroppedWithoutAChime) {
  const double ended = base::seconds_since_1970(std::chrono::system_clock::now()) - 30;
  std::ofstream(prefs_file()) << R"({"com.kolvo.timer.running": true, "com.kolvo.timer.selectedMinutes": 7,
                                     "com.kolvo.timer.endDate": )"
                              << std::to_string(ended) << "}";
  start_serve();
  EXPECT_EQ(output_of("timer"), "stopped, 7 MIN\n");
  const auto stored = nlohmann::json::parse(read(prefs_file()));
  EXPECT_EQ(stored["com.kolvo.timer.running"], false);
  EXPECT_FALSE(stored.contains("com.kolvo.timer.endDate"));
  EXPECT_EQ(read(serve_log()).find("[Mac] sound timer"), std::string::npos);
}

TEST_F(KolvoControl, ATimerEndingUnderTheHostChimesAndRevealsItsControl) {
  const double soon = base::seconds_since_1970(std::chrono::system_clock::now()) + 2.5;
  std::ofstream(prefs_file()) << R"({"com.kolvo.timer.running": true, "com.kolvo.timer.endDate": )"
                              << std::to_string(soon) << "}";
  start_serve();
  ASSERT_TRUE(wait_for_log([](const std::string& log) { return log.find("[Overlay] reveal timer") != std::string::npos; }))
      << read(serve_log());
  const std::string log = read(serve_log());
  const auto resumed = log.find("[Timer] resumed, 00:0");
  const auto chime = log.find("[Mac] sound timer at ");
  const auto done = log.find("[Timer] done");
  ASSERT_NE(resumed, std::string::npos) << log;
  EXPECT_LT(resumed, chime);
  EXPECT_LT(chime, done);
  EXPECT_EQ(log.find("[Timer] stopped"), std::string::npos) << "a completion is not a stop:\n" << log;
  EXPECT_EQ(output_of("timer"), "stopped, 10 MIN\n");
}

TEST_F(KolvoControl, WithoutAHostEachControlRunsOnAFreshSimulatedMac) {
  EXPECT_EQ(output_of("timer"), "stopped, 10 MIN\n");
  EXPECT_FALSE(std::filesystem::exists(prefs_file())) << "looking at the timer wrote the preferences";
  const CommandResult set = kolvo("control volume 0.3");
  EXPECT_EQ(set.out, "volume 0.3\n");
  EXPECT_NE(set.err.find("fresh simulated Mac"), std::string::npos);
  EXPECT_EQ(kolvo("control volume").out, "volume 0.5\n");
  const CommandResult space = kolvo("control space left");
  EXPECT_EQ(space.exit_code, 0) << space.err;
  EXPECT_EQ(space.out, "space left sent\n");
}

// The server on a real Unix socket in this process, fed what a careless client might send.
class ControlSocket : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = std::filesystem::temp_directory_path() / ("kolvo-sock-" + std::to_string(::getpid()) + "-" +
                                                     std::to_string(reinterpret_cast<std::uintptr_t>(this) % 100000));
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }

  // Sends raw bytes and reads the reply to the end.
  std::string exchange(const std::filesystem::path& path, const std::string& bytes) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
      ::close(fd);
      return "<no connection>";
    }
    std::size_t sent = 0;
    while (sent < bytes.size()) {
      const auto n = ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (n <= 0) break;
      sent += static_cast<std::size_t>(n);
    }
    ::shutdown(fd, SHUT_WR);
    std::string reply;
    char buffer[4096];
    for (ssize_t n; (n = ::recv(fd, buffer, sizeof buffer, 0)) > 0;) reply.append(buffer, static_cast<std::size_t>(n));
    ::close(fd);
    return reply;
  }

  std::filesystem::path dir_;
};

TEST_F(ControlSocket, AnswersEveryRequestAndNeverCrashesOnGarbage) {
  asio::io_context context;
  const auto path = dir_ / "control.sock";
  std::ofstream(path) << "left behind";  // a stale file where the socket goes
  std::vector<std::vector<std::string>> seen;
  ControlSocketServer server(context, path, [&](std::vector<std::string> words, std::function<void(app::Reply)> reply) {
    seen.push_back(words);
    reply({0, "ok " + std::to_string(words.size()) + "\n", {}, {}});
  });
  ASSERT_TRUE(server.is_listening()) << server.problem();
  EXPECT_EQ(std::filesystem::status(path).permissions() & std::filesystem::perms::others_all,
            std::filesystem::perms::none);
  auto guard = asio::make_work_guard(context);
  std::thread loop([&] { context.run(); });

  const std::pair<std::string, int> cases[] = {
      {encode_control_request({"control", "volume"}), 0},
      {"{\"arguments\":[\"timer\"]}\n", 0},
      {"not json\n", 2},
      {"{\"arguments\":\"control\"}\n", 2},
      {"{\"arguments\":[\"control\", 3]}\n", 2},
      {"{\"arguments\":[\"control\"]", 2},                                  // no end of line
      {std::string(ControlSocketServer::kMaximumRequest + 10, 'x') + "\n", 2},  // too long
  };
  for (const auto& [request, code] : cases) {
    const auto reply = decode_control_reply(exchange(path, request));
    ASSERT_TRUE(reply) << request.substr(0, 60);
    EXPECT_EQ(reply->exit_code, code) << request.substr(0, 60);
  }
  const auto reply = send_control_request(path, {"control", "tab", "1"});
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->output, "ok 3\n");

  ControlSocketServer second(context, path, [](auto, auto) {});
  EXPECT_FALSE(second.is_listening());
  EXPECT_NE(second.problem().find("another kolvo serve"), std::string::npos);

  guard.reset();
  context.stop();
  loop.join();
  EXPECT_EQ(seen.size(), 3u);
}

TEST_F(ControlSocket, NoHostMeansNoReply) {
  EXPECT_FALSE(send_control_request(dir_ / "nobody.sock", {"timer"}));
  EXPECT_FALSE(send_control_request(dir_ / std::string(200, 'a'), {"timer"}));
}

}  // namespace
}  // namespace kolvo::host
