#include "platform/linux/directory_watch_linux.hpp"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <thread>

namespace kolvo::platform {
namespace {

// What the watching thread and the posted calls share with the watch. It outlives the watch
// while a posted call still holds it; `alive` then tells that call not to run.
struct WatchState {
  explicit WatchState(std::function<void()> call) : changed(std::move(call)) {}
  std::function<void()> changed;
  std::atomic<bool> alive{true};
  // A call is posted and has not started yet: further events ride on it.
  std::atomic<bool> posted{false};
};

class InotifyDirectoryWatch final : public shelf::DirectoryWatch {
 public:
  InotifyDirectoryWatch(int inotify, int wake, base::Executor& main, std::function<void()> changed)
      : inotify_(inotify), wake_(wake), state_(std::make_shared<WatchState>(std::move(changed))) {
    thread_ = std::thread([this, &main] { run(main); });
  }

  ~InotifyDirectoryWatch() override {
    state_->alive = false;
    const std::uint64_t one = 1;
    while (::write(wake_, &one, sizeof one) < 0 && errno == EINTR) {
    }
    thread_.join();
    ::close(inotify_);
    ::close(wake_);
  }

 private:
  void run(base::Executor& main) {
    pthread_setname_np(pthread_self(), "kolvo.dirwatch");
    pollfd fds[2] = {{.fd = inotify_, .events = POLLIN, .revents = 0}, {.fd = wake_, .events = POLLIN, .revents = 0}};
    for (;;) {
      if (::poll(fds, 2, -1) < 0) {
        if (errno == EINTR) continue;
        return;
      }
      if (fds[1].revents != 0) return;
      if (fds[0].revents & (POLLERR | POLLHUP | POLLNVAL)) return;
      if ((fds[0].revents & POLLIN) == 0) continue;
      // Which files changed does not matter, only that something did: drain and post once.
      alignas(inotify_event) char buffer[4096];
      while (::read(inotify_, buffer, sizeof buffer) > 0) {
      }
      if (!state_->posted.exchange(true)) {
        main.post([state = state_] {
          state->posted = false;
          if (state->alive) state->changed();
        });
      }
    }
  }

  int inotify_;
  int wake_;
  std::shared_ptr<WatchState> state_;
  std::thread thread_;
};

}  // namespace

std::unique_ptr<shelf::DirectoryWatch> watch_directory_linux(const std::filesystem::path& folder, base::Executor& main,
                                                             std::function<void()> changed) {
  const int inotify = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (inotify < 0) return nullptr;
  // A file written and closed, renamed in or out, created or deleted; the folder itself removed
  // or moved away. A rename over an existing file, how a status file is replaced whole, is
  // a move into the folder.
  constexpr std::uint32_t kEvents =
      IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
  const int wake = ::eventfd(0, EFD_CLOEXEC);
  if (wake < 0 || ::inotify_add_watch(inotify, folder.c_str(), kEvents) < 0) {
    ::close(inotify);
    if (wake >= 0) ::close(wake);
    return nullptr;
  }
  return std::make_unique<InotifyDirectoryWatch>(inotify, wake, main, std::move(changed));
}

}  // namespace kolvo::platform
