#include "platform/posix/process_launcher_posix.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <thread>

#include "base/utf8.hpp"

#if defined(__APPLE__)
#include <crt_externs.h>
#else
extern char** environ;
#endif

namespace kolvo::platform {
namespace {

using Clock = std::chrono::steady_clock;

char** current_environment() {
#if defined(__APPLE__)
  return *_NSGetEnviron();
#else
  return environ;
#endif
}

std::string system_reason(int error) { return std::strerror(error); }

// Both ends stay out of the child's other descriptors: the dup2 onto 1 and 2 is what it gets.
// Where the system allows, they are born close-on-exec, so a program another thread starts
// meanwhile cannot inherit the write end and hold the pipe open.
bool make_pipe(int (&ends)[2]) {
#if defined(__APPLE__)
  if (::pipe(ends) != 0) return false;
  for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
  return true;
#else
  return ::pipe2(ends, O_CLOEXEC) == 0;
#endif
}

// posix_spawn's two objects, destroyed whatever happens.
struct SpawnSetup {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  SpawnSetup() {
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
  }
  ~SpawnSetup() {
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
  }
  SpawnSetup(const SpawnSetup&) = delete;
  SpawnSetup& operator=(const SpawnSetup&) = delete;
};

void prepare(SpawnSetup& setup, const controls::ProcessRequest& request, int write_end) {
  posix_spawn_file_actions_addopen(&setup.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  if (request.output == controls::ProcessRequest::Output::joined) {
    posix_spawn_file_actions_adddup2(&setup.actions, write_end, STDOUT_FILENO);
  } else {
    posix_spawn_file_actions_addopen(&setup.actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  }
  posix_spawn_file_actions_adddup2(&setup.actions, write_end, STDERR_FILENO);
  // The calling thread's blocked signals and the host's ignored ones are no business of the
  // child's: a program started with SIGTERM blocked could not be stopped by the watchdog.
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&setup.attributes, &none);
  sigset_t defaults;
  sigemptyset(&defaults);
  for (const int signal : {SIGPIPE, SIGTERM, SIGINT, SIGHUP, SIGCHLD}) sigaddset(&defaults, signal);
  posix_spawnattr_setsigdefault(&setup.attributes, &defaults);
  posix_spawnattr_setpgroup(&setup.attributes, 0);
  posix_spawnattr_setflags(&setup.attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
}

// Ends the child's group in two steps: SIGTERM when the time is up, SIGKILL when the group
// has not gone within the grace. A pipe still open one grace after SIGKILL is held by a
// process that left the group, and is no longer waited for.
class Watchdog {
 public:
  Watchdog(pid_t group, std::optional<Clock::duration> limit, Clock::duration grace)
      : group_(group), grace_(grace), deadline_(limit ? std::optional(Clock::now() + *limit) : std::nullopt) {}

  // Milliseconds until the next step, for poll: -1 when there is none.
  int wait_ms() const {
    if (!deadline_) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline_ - Clock::now()).count();
    return static_cast<int>(std::max<decltype(left)>(left, 0));
  }
  bool due() const { return deadline_ && Clock::now() >= *deadline_; }

  // Takes the next step; false once there is nothing left to do but wait for the child itself.
  bool step() {
    switch (stage_) {
      case Stage::running:
        ::kill(-group_, SIGTERM);
        stage_ = Stage::terminated;
        deadline_ = Clock::now() + grace_;
        return true;
      case Stage::terminated:
        ::kill(-group_, SIGKILL);
        stage_ = Stage::killed;
        deadline_ = Clock::now() + grace_;
        return true;
      case Stage::killed: deadline_.reset(); return false;
    }
    return false;
  }
  bool terminated() const { return stage_ != Stage::running; }

 private:
  enum class Stage { running, terminated, killed };
  pid_t group_;
  Clock::duration grace_;
  std::optional<Clock::time_point> deadline_;
  Stage stage_ = Stage::running;
};

// Reads the pipe to its end, keeping the first part, while the watchdog keeps its time.
std::string drain(int read_end, Watchdog& watchdog) {
  std::string kept;
  char buffer[16 * 1024];
  for (;;) {
    pollfd wanted{read_end, POLLIN, 0};
    const int ready = ::poll(&wanted, 1, watchdog.wait_ms());
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0) break;
    if (ready == 0) {
      if (!watchdog.step()) break;
      continue;
    }
    const ssize_t n = ::read(read_end, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    const std::size_t room = controls::ProcessOutcome::kKeptOutputBytes - kept.size();
    kept.append(buffer, std::min(room, static_cast<std::size_t>(n)));
  }
  return kept;
}

// The child's exit status once it has gone. A child that closed its output and went on
// running is still held to the watchdog; once SIGKILL is sent, it is simply waited for.
int collect(pid_t child, Watchdog& watchdog) {
  int status = 0;
  for (;;) {
    const pid_t done = ::waitpid(child, &status, watchdog.wait_ms() < 0 ? 0 : WNOHANG);
    if (done == child) break;
    if (done < 0 && errno == EINTR) continue;
    if (done < 0) return -1;
    if (watchdog.due()) {
      watchdog.step();
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(std::min(watchdog.wait_ms(), 10)));
    }
  }
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

controls::ProcessOutcome PosixProcessLauncher::run_process(const controls::ProcessRequest& request) {
  const auto could_not_start = [&request](int error) {
    return controls::ProcessOutcome{
        .launch_error = "Could not start " + request.executable + ": " + system_reason(error) + "."};
  };
  int ends[2];
  if (!make_pipe(ends)) return could_not_start(errno);

  std::vector<std::string> words;
  words.reserve(request.arguments.size() + 1);
  words.push_back(request.executable);
  words.insert(words.end(), request.arguments.begin(), request.arguments.end());
  std::vector<char*> argv;
  for (auto& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  pid_t child = 0;
  int error = 0;
  {
    SpawnSetup setup;
    prepare(setup, request, ends[1]);
    error = ::posix_spawn(&child, request.executable.c_str(), &setup.actions, &setup.attributes, argv.data(),
                          current_environment());
  }
  ::close(ends[1]);
  if (error != 0) {
    ::close(ends[0]);
    return could_not_start(error);
  }

  Watchdog watchdog(child, request.watchdog, termination_grace_);
  const std::string kept = drain(ends[0], watchdog);
  ::close(ends[0]);
  const int status = collect(child, watchdog);
  return {.launched = true, .exit_status = status, .output = base::repaired_utf8(kept), .timed_out = watchdog.terminated()};
}

}  // namespace kolvo::platform
