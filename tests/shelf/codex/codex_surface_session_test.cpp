#include "shelf/codex/codex_surface_session.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <thread>
#include <vector>

#include "base/manual_executor.hpp"
#include "shelf/codex/rollout_lines.hpp"
#include "support/temp_root.hpp"

namespace kolvo::shelf {
namespace {

namespace fs = std::filesystem;
using testing::TempRoot;
using A = ShelfAgentActivity;
using namespace std::chrono_literals;

class FixedClock final : public base::WallClock {
 public:
  base::WallTime now() const override { return time; }
  base::WallTime time = base::from_seconds_since_2001(790'000'000);
};

// Answers whether Codex runs as the test says; can hold the answer back, as a slow probe would.
class ScriptedProbe final : public RunningProgramProbe {
 public:
  bool is_running(const ProgramIdentity& program) const override {
    std::unique_lock lock(mutex_);
    ++calls_;
    asked_ = program;
    released_.wait(lock, [this] { return !held_; });
    return running_;
  }
  void set_running(bool running) {
    std::lock_guard lock(mutex_);
    running_ = running;
  }
  void hold() {
    std::lock_guard lock(mutex_);
    held_ = true;
  }
  void release() {
    {
      std::lock_guard lock(mutex_);
      held_ = false;
    }
    released_.notify_all();
  }
  int calls() const {
    std::lock_guard lock(mutex_);
    return calls_;
  }
  ProgramIdentity asked() const {
    std::lock_guard lock(mutex_);
    return asked_;
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable released_;
  mutable int calls_ = 0;
  mutable ProgramIdentity asked_;
  bool running_ = true;
  bool held_ = false;
};

struct CodexFixture {
  TempRoot home{"codex-home"};
  base::ManualExecutor main;
  FixedClock clock;
  std::vector<std::string> log_lines;
  base::DiagnosticsLog log{clock, [this](std::string_view line) { log_lines.emplace_back(line); }};
  std::shared_ptr<ScriptedProbe> probe = std::make_shared<ScriptedProbe>();
  std::vector<ShelfSurfaceState> states;
  std::unique_ptr<CodexSurfaceSession> session = make(probe);

  std::unique_ptr<CodexSurfaceSession> make(std::shared_ptr<const RunningProgramProbe> programs) {
    auto made = std::make_unique<CodexSurfaceSession>(
        main, clock, log, AgentPaths{.home = home.path(), .application_support = home.path() / "support"},
        std::move(programs));
    made->set_on_state([this](const ShelfSurfaceState& state) { states.push_back(state); });
    return made;
  }

  fs::path sessions() const { return home.path() / ".codex" / "sessions"; }

  // Lets the poll on the queue finish and its answer reach the main thread.
  void settle() {
    for (int spin = 0; spin < 5000 && session->is_polling(); ++spin) {
      main.run_pending();
      if (session->is_polling()) std::this_thread::sleep_for(1ms);
    }
    ASSERT_FALSE(session->is_polling()) << "the poll never came back";
  }
  // The next timed poll, after `seconds` of the clocks' time.
  void next_poll(double seconds = 2.0) {
    clock.time += std::chrono::duration_cast<base::WallTime::duration>(std::chrono::duration<double>(seconds));
    main.advance_seconds(seconds);
    settle();
  }

  // Appends to a log and dates it `age` before the clock's now.
  fs::path write(const std::string& relative, const std::string& text, base::Duration age = 1s) {
    const fs::path file = sessions() / relative;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary | std::ios::app) << text;
    rollout::set_modified(file, clock.time - age);
    return file;
  }

  const ShelfSurfaceState& last() const { return states.back(); }
  std::size_t count(std::string_view line) const {
    return static_cast<std::size_t>(std::count_if(log_lines.begin(), log_lines.end(), [line](const std::string& l) {
      return l.find(line) != std::string::npos;
    }));
  }
};

const std::string kToday = "2025/10/14/rollout-2025-10-14T09-12-01-0199e3a4.jsonl";
const std::string kCargo = R"(["bash","-lc","cargo test --workspace"])";

TEST(CodexSurfaceSession, UnavailableUntilCodexRuns) {
  CodexFixture f;
  f.probe->set_running(false);
  f.write(kToday, rollout::session_meta() + rollout::task_started());
  f.session->start();
  f.settle();
  ASSERT_EQ(f.states.size(), 1u);
  EXPECT_EQ(f.last().identity, ShelfSurfaceIdentity::codex);
  EXPECT_FALSE(f.last().available);
  EXPECT_EQ(f.last().unavailable, "Open Codex on your Mac");
  EXPECT_EQ(f.last().agent_activity, std::nullopt);
  EXPECT_EQ(f.probe->asked().bundle_id, "com.openai.codex");
  EXPECT_EQ(f.probe->asked().executable_name, "codex");

  f.probe->set_running(true);
  f.next_poll();
  ASSERT_EQ(f.states.size(), 2u);
  EXPECT_TRUE(f.last().available);
  EXPECT_EQ(f.last().unavailable, std::nullopt);
  EXPECT_EQ(f.last().title, "Codex");
  EXPECT_EQ(f.last().agent_activity, A::thinking);

  f.probe->set_running(false);
  f.next_poll();
  ASSERT_EQ(f.states.size(), 3u);
  EXPECT_FALSE(f.last().available);
  EXPECT_EQ(f.count("[Codex] running true"), 1u);
  EXPECT_EQ(f.count("[Codex] running false"), 2u);
}

TEST(CodexSurfaceSession, WithoutAProbeCodexNeverRuns) {
  CodexFixture f;
  f.session = f.make(nullptr);
  f.session->start();
  f.settle();
  ASSERT_EQ(f.states.size(), 1u);
  EXPECT_FALSE(f.last().available);
}

TEST(CodexSurfaceSession, IdleWhenNoLogIsRecent) {
  CodexFixture f;
  f.write("2025/10/13/rollout-old.jsonl", rollout::session_meta() + rollout::task_started(), 13h);
  f.session->start();
  f.settle();
  ASSERT_EQ(f.states.size(), 1u);
  EXPECT_TRUE(f.last().available);
  EXPECT_EQ(f.last().title, "Codex");
  EXPECT_EQ(f.last().agent_activity, A::idle);
  EXPECT_EQ(f.last().agent_detail, std::nullopt);
  EXPECT_EQ(f.last().timestamp, base::seconds_since_2001(f.clock.time));
  EXPECT_EQ(f.count("[Codex] following"), 0u);
}

TEST(CodexSurfaceSession, FollowsTheLogAsItGrowsAndSendsOnlyChanges) {
  CodexFixture f;
  f.write(kToday, rollout::session_meta() + rollout::user_message("run the tests"), 3s);
  f.session->start();
  f.settle();
  ASSERT_EQ(f.states.size(), 1u);
  EXPECT_EQ(f.last().agent_activity, A::idle);

  struct Step {
    const char* name;
    std::string appended;
    std::optional<A> activity;  // absent: nothing new is sent
    std::optional<std::string> detail;
  };
  const std::string command = rollout::command_completed(kCargo);
  const std::vector<Step> steps = {
      {"the task starts", rollout::turn_context() + rollout::task_started(), A::thinking, std::nullopt},
      {"the model's call says nothing", rollout::function_call(), std::nullopt, std::nullopt},
      {"half a line", command.substr(0, 60), std::nullopt, std::nullopt},
      {"its other half", command.substr(60), A::working, "Running cargo test --workspace"},
      {"output and garbage", rollout::function_call_output_quoting_an_event() + "\x01garbage\n", std::nullopt,
       std::nullopt},
      {"the same command again", command, std::nullopt, std::nullopt},
      {"a message", rollout::agent_message("Tests pass.") + rollout::item_completed("AgentMessage"), A::thinking,
       std::nullopt},
      {"the task completes", rollout::token_count() + rollout::task_complete(), A::done, std::nullopt},
  };
  for (const auto& step : steps) {
    const std::size_t before = f.states.size();
    f.write(kToday, step.appended);
    f.next_poll();
    if (!step.activity) {
      EXPECT_EQ(f.states.size(), before) << step.name;
      continue;
    }
    ASSERT_EQ(f.states.size(), before + 1) << step.name;
    EXPECT_EQ(f.last().agent_activity, step.activity) << step.name;
    EXPECT_EQ(f.last().agent_detail, step.detail) << step.name;
    EXPECT_EQ(f.last().timestamp, base::seconds_since_2001(f.clock.time)) << step.name;
  }
  EXPECT_EQ(f.count("[Codex] following rollout-2025-10-14T09-12-01-0199e3a4.jsonl"), 1u);
  EXPECT_EQ(f.count("[Codex] running true"), 1u);
  // Each append dated the log anew.
  EXPECT_EQ(f.count("[Codex] modified "), steps.size() + 1);
}

TEST(CodexSurfaceSession, ActivityFadesWhenTheLogFallsQuiet) {
  struct Case {
    const char* name;
    std::string last_event;
    base::Duration age;
    A activity;
    std::optional<std::string> detail;
  };
  const std::vector<Case> cases = {
      {"working, two minutes quiet", rollout::command_completed(kCargo), 120s, A::working,
       "Running cargo test --workspace"},
      {"working, a second longer", rollout::command_completed(kCargo), 121s, A::idle, std::nullopt},
      {"thinking, two minutes quiet", rollout::task_started(), 120s, A::thinking, std::nullopt},
      {"thinking, a second longer", rollout::task_started(), 121s, A::idle, std::nullopt},
      {"done, 45 seconds quiet", rollout::task_complete(), 45s, A::done, std::nullopt},
      {"done, a second longer", rollout::task_complete(), 46s, A::idle, std::nullopt},
  };
  for (const auto& c : cases) {
    CodexFixture f;
    f.write(kToday, rollout::session_meta() + c.last_event, c.age);
    f.session->start();
    f.settle();
    ASSERT_EQ(f.states.size(), 1u) << c.name;
    EXPECT_EQ(f.last().agent_activity, c.activity) << c.name;
    EXPECT_EQ(f.last().agent_detail, c.detail) << c.name;
  }
}

TEST(CodexSurfaceSession, DoneTurnsIdleOnceTheLingerIsOver) {
  CodexFixture f;
  f.write(kToday, rollout::session_meta() + rollout::task_complete(), 40s);
  f.session->start();
  f.settle();
  EXPECT_EQ(f.last().agent_activity, A::done);
  f.next_poll(4);  // 44 s
  EXPECT_EQ(f.states.size(), 1u);
  f.next_poll(2);  // 46 s
  ASSERT_EQ(f.states.size(), 2u);
  EXPECT_EQ(f.last().agent_activity, A::idle);
  f.next_poll();
  EXPECT_EQ(f.states.size(), 2u);
}

TEST(CodexSurfaceSession, ANewerLogIsReadFromItsStartWithNothingCarriedOver) {
  CodexFixture f;
  f.write(kToday, rollout::session_meta() + rollout::task_started() + rollout::command_completed(kCargo), 5s);
  f.session->start();
  f.settle();
  EXPECT_EQ(f.last().agent_activity, A::working);

  // The new session's log has not said anything yet: what the old one said no longer holds.
  f.write("2025/10/14/rollout-2025-10-14T10-00-00-0199e3b5.jsonl", rollout::session_meta(), 0s);
  f.next_poll();
  ASSERT_EQ(f.states.size(), 2u);
  EXPECT_EQ(f.last().agent_activity, A::idle);
  EXPECT_EQ(f.last().agent_detail, std::nullopt);
  EXPECT_EQ(f.count("[Codex] following rollout-2025-10-14T10-00-00-0199e3b5.jsonl"), 1u);

  f.write("2025/10/14/rollout-2025-10-14T10-00-00-0199e3b5.jsonl", rollout::task_started(), 0s);
  f.next_poll();
  EXPECT_EQ(f.last().agent_activity, A::thinking);
}

TEST(CodexSurfaceSession, ARewrittenLogIsReadAgainFromItsStart) {
  CodexFixture f;
  const fs::path file = f.write(kToday, rollout::session_meta() + rollout::task_started() + rollout::task_complete());
  f.session->start();
  f.settle();
  EXPECT_EQ(f.last().agent_activity, A::done);
  std::ofstream(file, std::ios::binary | std::ios::trunc) << rollout::command_completed(R"("make")");
  rollout::set_modified(file, f.clock.time);
  f.next_poll();
  EXPECT_EQ(f.last().agent_activity, A::working);
  EXPECT_EQ(f.last().agent_detail, "Running make");
}

TEST(CodexSurfaceSession, StartStopAndRefresh) {
  CodexFixture f;
  f.write(kToday, rollout::session_meta() + rollout::task_started());
  f.session->start();
  f.session->start();
  f.settle();
  EXPECT_EQ(f.probe->calls(), 1);
  ASSERT_EQ(f.states.size(), 1u);

  // A forced send, though nothing changed.
  f.session->refresh();
  ASSERT_EQ(f.states.size(), 2u);
  EXPECT_EQ(f.states[1], f.states[0]);

  // Stopped, it neither polls nor sends.
  f.session->stop();
  f.session->refresh();
  f.next_poll(10);
  EXPECT_EQ(f.probe->calls(), 1);
  EXPECT_EQ(f.states.size(), 2u);

  // A fresh start sends its first state even though it is the same, and reads the log anew.
  f.session->start();
  f.settle();
  ASSERT_EQ(f.states.size(), 3u);
  EXPECT_EQ(f.last().agent_activity, A::thinking);
  EXPECT_EQ(f.session->identity(), ShelfSurfaceIdentity::codex);
}

TEST(CodexSurfaceSession, AnAnswerThatComesBackAfterStopIsDropped) {
  CodexFixture f;
  f.write(kToday, rollout::session_meta() + rollout::task_started());
  f.probe->hold();
  f.session->start();
  // No poll piles up behind the one held.
  for (int i = 0; i < 3; ++i) f.main.advance_seconds(2);
  f.session->stop();
  EXPECT_FALSE(f.session->is_polling());
  f.probe->release();
  for (int spin = 0; spin < 100; ++spin) {
    f.main.run_pending();
    std::this_thread::sleep_for(1ms);
  }
  EXPECT_TRUE(f.states.empty());
  EXPECT_EQ(f.probe->calls(), 1);

  // Stopped and started again while a poll is out: only the new start's answer arrives.
  f.probe->hold();
  f.session->start();
  f.session->stop();
  f.session->start();
  f.probe->release();
  f.settle();
  for (int spin = 0; spin < 50; ++spin) {
    f.main.run_pending();
    std::this_thread::sleep_for(1ms);
  }
  ASSERT_EQ(f.states.size(), 1u);
  EXPECT_EQ(f.last().agent_activity, A::thinking);
}

}  // namespace
}  // namespace kolvo::shelf
