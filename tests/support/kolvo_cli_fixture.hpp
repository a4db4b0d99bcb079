#pragma once

// Runs the real `kolvo` program with its preferences in a temporary home.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <thread>

namespace kolvo::testing {

struct CommandResult {
  int exit_code;
  std::string out;
  std::string err;
};

class KolvoCli : public ::testing::Test {
 protected:
  using path = std::filesystem::path;

  void SetUp() override {
    std::random_device random;
    home_ = std::filesystem::temp_directory_path() / ("kolvo-cli-" + std::to_string(random()));
    std::filesystem::create_directories(home_ / "config" / "kolvo");
  }
  void TearDown() override {
    stop_serve();
    std::filesystem::remove_all(home_);
  }

  path prefs_file() const { return home_ / "config" / "kolvo" / "preferences.json"; }
  // The program's home folder and data folder, where it finds Claude Code's settings and keeps
  // the agents' status file; neither exists until a test makes it, and the tester's own are
  // never touched.
  path user_home() const { return home_ / "home"; }
  path data_home() const { return home_ / "data"; }

  // `arguments` as a shell would split them; standard input from `input` when given.
  CommandResult kolvo(const std::string& arguments, const std::optional<std::string>& input = std::nullopt) const {
    const path err = home_ / "stderr.txt";
    std::string command = environment() + " '" KOLVO_BINARY "' " + arguments + " 2>'" + err.string() + "'";
    if (input) {
      const path in = home_ / "stdin.txt";
      std::ofstream(in) << *input;
      command += " <'" + in.string() + "'";
    }
    FILE* pipe = ::popen(command.c_str(), "r");
    std::string out;
    std::array<char, 4096> buffer{};
    std::size_t n;
    while ((n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0) out.append(buffer.data(), n);
    const int status = ::pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out, read(err)};
  }

  // Starts `kolvo serve` in the background and waits until it serves; its output goes to
  // serve_log().
  void start_serve(const std::string& arguments = "") {
    const std::string command = environment() + " '" KOLVO_BINARY "' serve " + arguments + " >>'" +
                                serve_log().string() + "' 2>&1 & echo $!";
    FILE* pipe = ::popen(command.c_str(), "r");
    ASSERT_EQ(std::fscanf(pipe, "%d", &serve_pid_), 1);
    ::pclose(pipe);
    const std::size_t before = count(read(serve_log()), "serving on");
    ASSERT_TRUE(wait_for_log([&](const std::string& log) { return count(log, "serving on") > before; }))
        << read(serve_log());
  }

  // SIGTERM, then waits for the host to say it stopped.
  void stop_serve() {
    if (serve_pid_ == 0) return;
    const std::size_t before = count(read(serve_log()), "[Host] stopped");
    ::kill(serve_pid_, SIGTERM);
    wait_for_log([&](const std::string& log) { return count(log, "[Host] stopped") > before && !alive(serve_pid_); });
    serve_pid_ = 0;
  }

  path serve_log() const { return home_ / "serve.txt"; }

  template <typename Predicate>
  bool wait_for_log(Predicate done, std::chrono::seconds limit = std::chrono::seconds(10)) const {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < end) {
      if (done(read(serve_log()))) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return done(read(serve_log()));
  }

  static std::size_t count(const std::string& text, const std::string& needle) {
    std::size_t n = 0;
    for (auto at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) ++n;
    return n;
  }

  // A process that has exited but not been reaped (the shell that started it is gone) counts
  // as stopped.
  static bool alive(int pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string pid_text, name, state;
    if (!(stat >> pid_text >> name >> state)) return ::kill(pid, 0) == 0;
    return state != "Z" && state != "X";
  }

  static std::string read(const path& file) {
    std::ifstream in(file);
    std::stringstream buffer;
    buffer << in.rdbuf();
    return buffer.str();
  }

  // The update feed named by the environment is the test's own, or none.
  std::string environment() const {
    return "XDG_CONFIG_HOME='" + (home_ / "config").string() + "' HOME='" + user_home().string() + "' XDG_DATA_HOME='" +
           data_home().string() + "' KOLVO_UPDATE_FEED_URL='" + update_feed_ + "'" + extra_environment_;
  }

  path home_;
  std::string update_feed_;
  // More VARIABLE='value' words for the program's environment, each after a blank.
  std::string extra_environment_;
  int serve_pid_ = 0;
};

}  // namespace kolvo::testing
