#import <AppKit/AppKit.h>
#include <dispatch/dispatch.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>

#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/objc_text.hpp"

// What the coding-agent widgets take from the Mac: whether an application runs, and notice of
// changes in a folder.
namespace kolvo::platform {

bool MacRunningProgramProbe::is_running(const shelf::ProgramIdentity& program) const {
  if (program.bundle_id.empty()) return false;
  @autoreleasepool {
    return [NSRunningApplication runningApplicationsWithBundleIdentifier:ns_string(program.bundle_id)].count > 0;
  }
}

namespace {

// Shared with the blocks that post to the main executor, which may outlive the watch.
struct WatchState {
  explicit WatchState(std::function<void()> call) : changed(std::move(call)) {}
  std::function<void()> changed;
  std::atomic<bool> alive{true};
  std::atomic<bool> posted{false};
};

class MacDirectoryWatch final : public shelf::DirectoryWatch {
 public:
  MacDirectoryWatch(dispatch_source_t source, std::shared_ptr<WatchState> state)
      : source_(source), state_(std::move(state)) {}
  ~MacDirectoryWatch() override {
    state_->alive = false;
    // The cancel handler closes the descriptor once the source lets go of it.
    dispatch_source_cancel(source_);
  }

 private:
  dispatch_source_t source_;
  std::shared_ptr<WatchState> state_;
};

dispatch_queue_t watch_queue() {
  static dispatch_queue_t queue = dispatch_queue_create("com.kolvo.directory-watch", DISPATCH_QUEUE_SERIAL);
  return queue;
}

std::unique_ptr<shelf::DirectoryWatch> watch_directory_mac(const std::filesystem::path& folder, base::Executor& main,
                                                           std::function<void()> changed) {
  const int fd = ::open(folder.c_str(), O_EVTONLY | O_CLOEXEC);
  if (fd < 0) return nullptr;
  dispatch_source_t source = dispatch_source_create(
      DISPATCH_SOURCE_TYPE_VNODE, static_cast<uintptr_t>(fd),
      DISPATCH_VNODE_WRITE | DISPATCH_VNODE_RENAME | DISPATCH_VNODE_DELETE, watch_queue());
  if (source == nil) {
    ::close(fd);
    return nullptr;
  }
  auto state = std::make_shared<WatchState>(std::move(changed));
  base::Executor* executor = &main;
  dispatch_source_set_event_handler(source, ^{
    // Events that arrive before the posted call has run ride on it.
    if (state->posted.exchange(true)) return;
    executor->post([state] {
      state->posted = false;
      if (state->alive) state->changed();
    });
  });
  dispatch_source_set_cancel_handler(source, ^{
    ::close(fd);
  });
  dispatch_resume(source);
  return std::make_unique<MacDirectoryWatch>(source, std::move(state));
}

}  // namespace

shelf::DirectoryWatchFactory mac_directory_watch_factory() { return &watch_directory_mac; }

}  // namespace kolvo::platform
