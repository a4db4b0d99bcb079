// The Shelf as a person uses it on the headless host: `kolvo serve` in a temporary home with the
// Claude Code and Codex widgets, a phone over a real socket, Claude Code's installed hook run by
// the shell with Claude Code's own hook input, and a Codex session log that grows.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <regex>

#include <nlohmann/json.hpp>

#include "shelf/codex/rollout_lines.hpp"
#include "support/kolvo_cli_fixture.hpp"
#include "support/phone_client.hpp"

namespace kolvo::testing {
namespace {

using deck::KolvoDeckMessageType;
using deck::ShelfAgentActivity;
using deck::ShelfSurfaceIdentity;
using deck::ShelfSurfaceState;
namespace rollout = shelf::rollout;

class ShelfServe : public KolvoCli {
 protected:
  void TearDown() override {
    stop_codex();
    KolvoCli::TearDown();
  }

  // A program named `codex` running on this machine, as the Codex widget looks for it.
  void start_codex() {
    const path program = home_ / "bin" / "codex";
    std::filesystem::create_directories(program.parent_path());
    std::filesystem::copy_file("/bin/sleep", program, std::filesystem::copy_options::overwrite_existing);
    codex_pid_ = ::fork();
    if (codex_pid_ == 0) {
      ::execl(program.c_str(), "codex", "300", static_cast<char*>(nullptr));
      ::_exit(127);
    }
  }
  void stop_codex() {
    if (codex_pid_ <= 0) return;
    ::kill(codex_pid_, SIGKILL);
    ::waitpid(codex_pid_, nullptr, 0);
    codex_pid_ = 0;
  }

  std::uint16_t serve_deck() {
    start_serve("--port 0");
    std::smatch match;
    std::string log;
    EXPECT_TRUE(wait_for_log([&](const std::string& text) {
      log = text;
      return std::regex_search(log, match, std::regex("Kolvo Deck listening on port ([0-9]+)"));
    }));
    return static_cast<std::uint16_t>(std::stoi(match[1].str()));
  }

  // The last state the phone holds for a widget.
  static std::optional<ShelfSurfaceState> last_state(Phone& phone, ShelfSurfaceIdentity identity) {
    for (auto m = phone.received().rbegin(); m != phone.received().rend(); ++m) {
      const auto* state = m->get_if<deck::ShelfSurfaceStateMessage>();
      if (state && state->surface_identity == identity) return *state->surface_state;
    }
    return std::nullopt;
  }
  bool wait_for(Phone& phone, ShelfSurfaceIdentity identity, const std::function<bool(const ShelfSurfaceState&)>& holds) {
    return pump_until(idle_, {&phone}, [&] {
      const auto state = last_state(phone, identity);
      return state && holds(*state);
    }, std::chrono::milliseconds(10000));
  }

  // Runs the command Claude Code would run for `event`, as Claude Code runs it: by the shell,
  // with the hook's JSON input on standard input.
  void run_hook(const std::string& event, const std::string& input) {
    std::ifstream in(user_home() / ".claude" / "settings.json");
    const auto settings = nlohmann::json::parse(in);
    const std::string command = settings["hooks"][event].back()["hooks"][0]["command"];
    const path script = home_ / "hook.sh";
    const path stdin_file = home_ / "hook-input.json";
    std::ofstream(script) << command;
    std::ofstream(stdin_file) << input;
    const std::string shell = "/bin/sh '" + script.string() + "' <'" + stdin_file.string() + "'";
    ASSERT_EQ(std::system(shell.c_str()), 0);
  }

  base::ManualExecutor idle_;
  int codex_pid_ = 0;
};

TEST_F(ShelfServe, ClaudeCodeHooksAndACodexLogReachThePhone) {
  ASSERT_EQ(kolvo("prefs write com.kolvo.deckEnabled -bool true").exit_code, 0);
  ASSERT_EQ(kolvo("prefs write com.kolvo.deck.shelf.widgets -array claudeCode codex").exit_code, 0);
  std::filesystem::create_directories(user_home() / ".claude");
  const auto installed = kolvo("claude install-hooks");
  ASSERT_EQ(installed.exit_code, 0) << installed.err;

  const path log = user_home() / ".codex" / "sessions" / "2026" / "11" / "24" /
                   "rollout-2026-11-24T08-15-02-0199e3a4-5b1c-7d20-9f3e-2c41d8a7e6b0.jsonl";
  std::filesystem::create_directories(log.parent_path());
  std::ofstream(log) << rollout::session_meta() << rollout::turn_context();
  start_codex();

  Phone phone(serve_deck());
  ASSERT_TRUE(phone.connected());
  phone.send(deck::HelloMessage{"PHONE-1", "Test Phone", 3});
  ASSERT_TRUE(wait_for_log([](const std::string& text) { return text.find("kolvo deck approve PHONE-1") != std::string::npos; }));
  ASSERT_EQ(kolvo("deck approve PHONE-1").exit_code, 0);

  ASSERT_TRUE(pump_until(idle_, {&phone}, [&] { return phone.count(KolvoDeckMessageType::shelfWidgets) == 1; }));
  EXPECT_EQ(phone.last(KolvoDeckMessageType::shelfWidgets)->get_if<deck::ShelfWidgetsMessage>()->shelf_widgets,
            (std::vector{ShelfSurfaceIdentity::claudeCode, ShelfSurfaceIdentity::codex}));
  // No hook has run yet; Codex runs and its log says nothing yet.
  ASSERT_TRUE(wait_for(phone, ShelfSurfaceIdentity::claudeCode, [](const auto& s) {
    return !s.available && s.unavailable == "Open Claude Code on your Mac";
  }));
  ASSERT_TRUE(wait_for(phone, ShelfSurfaceIdentity::codex, [](const auto& s) {
    return s.available && s.agent_activity == ShelfAgentActivity::idle && s.title == "Codex";
  }));

  // Claude Code edits a file.
  run_hook("PreToolUse",
           R"({"session_id":"8f1d2c","transcript_path":"/home/ana/.claude/projects/-home-ana-kolvo/8f1d2c.jsonl",)"
           R"("cwd":"/home/ana/kolvo","permission_mode":"default","hook_event_name":"PreToolUse","tool_name":"Edit",)"
           R"("tool_input":{"file_path":"/home/ana/kolvo/src/main.cpp","old_string":"int a;","new_string":"int b;"}})");
  ASSERT_TRUE(wait_for(phone, ShelfSurfaceIdentity::claudeCode, [](const auto& s) {
    return s.available && s.agent_activity == ShelfAgentActivity::working && s.agent_detail == "Editing main.cpp" &&
           s.title == "kolvo";
  }));
  run_hook("Stop", R"({"session_id":"8f1d2c","transcript_path":"/t.jsonl","cwd":"/home/ana/kolvo",)"
                   R"("hook_event_name":"Stop","stop_hook_active":false})");
  ASSERT_TRUE(wait_for(phone, ShelfSurfaceIdentity::claudeCode,
                       [](const auto& s) { return s.agent_activity == ShelfAgentActivity::done; }));

  // Codex starts a turn and runs a command; the command's line arrives in two writes.
  std::ofstream(log, std::ios::app) << rollout::task_started();
  ASSERT_TRUE(wait_for(phone, ShelfSurfaceIdentity::codex,
                       [](const auto& s) { return s.agent_activity == ShelfAgentActivity::thinking; }));
  const std::string command = rollout::command_completed(R"(["bash","-lc","cargo test --workspace"])");
  std::ofstream(log, std::ios::app) << command.substr(0, 40) << std::flush;
  // A poll comes and goes while the line is half written: it waits for its newline.
  settle(idle_, {&phone}, std::chrono::milliseconds(2500));
  EXPECT_EQ(last_state(phone, ShelfSurfaceIdentity::codex)->agent_activity, ShelfAgentActivity::thinking);
  std::ofstream(log, std::ios::app) << command.substr(40);
  ASSERT_TRUE(wait_for(phone, ShelfSurfaceIdentity::codex, [](const auto& s) {
    return s.agent_activity == ShelfAgentActivity::working && s.agent_detail == "Running cargo test --workspace";
  }));

  // Codex quits.
  stop_codex();
  ASSERT_TRUE(wait_for(phone, ShelfSurfaceIdentity::codex,
                       [](const auto& s) { return !s.available && s.unavailable == "Open Codex on your Mac"; }));
}

// The simulated Mac's Spotify driven with `kolvo sim` while a phone watches and commands it:
// a track with its cover, seeking, the volume at its limits, and each reason it goes away.
TEST_F(ShelfServe, SpotifyFollowsTheSimulatedPlayerAndTakesThePhonesCommands) {
  ASSERT_EQ(kolvo("prefs write com.kolvo.deckEnabled -bool true").exit_code, 0);
  ASSERT_EQ(kolvo("prefs write com.kolvo.deck.shelf.widgets -array spotify").exit_code, 0);
  Phone phone(serve_deck());
  ASSERT_TRUE(phone.connected());
  phone.send(deck::HelloMessage{"PHONE-1", "Test Phone", 3});
  ASSERT_TRUE(wait_for_log([](const std::string& text) { return text.find("kolvo deck approve PHONE-1") != std::string::npos; }));
  ASSERT_EQ(kolvo("deck approve PHONE-1").exit_code, 0);

  // The first track, paused, then its cover: a JPEG no larger than 512 px a side.
  ASSERT_TRUE(wait_for(phone, ShelfSurfaceIdentity::spotify, [](const auto& s) { return s.artwork.has_value(); }));
  auto state = *last_state(phone, ShelfSurfaceIdentity::spotify);
  EXPECT_EQ(state.title, "Never Gonna Give You Up");
  EXPECT_FALSE(state.is_playing);
  ASSERT_GE(state.artwork->size(), 4u);
  EXPECT_EQ((*state.artwork)[0], 0xFF);
  EXPECT_EQ((*state.artwork)[1], 0xD8);

  const auto command = [&phone](deck::ShelfSurfaceCommand verb, std::optional<double> value = std::nullopt) {
    deck::ShelfSurfaceCommandMessage message;
    message.surface_command = verb;
    message.surface_identity = ShelfSurfaceIdentity::spotify;
    message.surface_value = value;
    phone.send(message);
  };
  command(deck::ShelfSurfaceCommand::playPause);
  ASSERT_TRUE(wait_for(phone, ShelfSurfaceIdentity::spotify, [](const auto& s) { return s.is_playing; }));
  command(deck::ShelfSurfaceCommand::setVolume, 130.4);
  ASSERT_TRUE(wait_for(phone, ShelfSurfaceIdentity::spotify, [](const auto& s) { return s.volume == 100; }));
  command(deck::ShelfSurfaceCommand::seek, -1);
  ASSERT_TRUE(wait_for(phone, ShelfSurfaceIdentity::spotify, [](const auto& s) { return s.position < 1.5; }));
  const auto status = kolvo("sim spotify status");
  EXPECT_NE(status.out.find("spotify playing \"Never Gonna Give You Up\""), std::string::npos) << status.out;
  EXPECT_NE(status.out.find("volume 100"), std::string::npos) << status.out;

  // Someone skips on the Mac: the new track, then its own cover.
  ASSERT_EQ(kolvo("sim spotify next").exit_code, 0);
  ASSERT_TRUE(wait_for(phone, ShelfSurfaceIdentity::spotify,
                       [](const auto& s) { return s.title == "Take On Me" && s.artwork.has_value(); }));
  // A jump on the Mac is drift the phone cannot extrapolate.
  ASSERT_EQ(kolvo("sim spotify seek 150").exit_code, 0);
  ASSERT_TRUE(wait_for(phone, ShelfSurfaceIdentity::spotify, [](const auto& s) { return s.position >= 150; }));

  const std::pair<std::string, std::string> outages[] = {
      {"sim spotify deny", "Allow Kolvo to control Spotify in System Settings, Privacy & Security, Automation."},
      {"sim spotify allow", ""},
      {"sim spotify error -2700", "Spotify did not respond"},
      {"sim spotify error none", ""},
      {"sim spotify quit", "Open Spotify on your Mac"},
      {"sim spotify open", ""},
  };
  for (const auto& [words, text] : outages) {
    ASSERT_EQ(kolvo(words).exit_code, 0) << words;
    ASSERT_TRUE(wait_for(phone, ShelfSurfaceIdentity::spotify, [&text](const auto& s) {
      return text.empty() ? s.available : s.unavailable == text;
    })) << words;
  }
  EXPECT_EQ(kolvo("sim spotify volume 101").exit_code, 2);
  EXPECT_EQ(kolvo("sim nosuchapp open").exit_code, 2);
}

}  // namespace
}  // namespace kolvo::testing
