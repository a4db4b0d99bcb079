#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "base/executor.hpp"
#include "shelf/shelf_ports.hpp"

namespace kolvo::platform {

// Watches a folder with inotify on a thread of its own, which waits on the inotify descriptor
// and posts `changed` to `main`; a burst of events that arrives before `changed` has run is
// one call. Null when the folder cannot be watched (missing, or out of inotify watches).
std::unique_ptr<shelf::DirectoryWatch> watch_directory_linux(const std::filesystem::path& folder, base::Executor& main,
                                                             std::function<void()> changed);

inline shelf::DirectoryWatchFactory linux_directory_watch_factory() { return &watch_directory_linux; }

}  // namespace kolvo::platform
