#include "base/file_time.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace kolvo::base {
namespace {

// POSIX stat, not std::filesystem::last_write_time: the file clock's epoch differs between
// the standard libraries, and the Mac's has no conversion to the system clock.
WallTime modified_at(const struct stat& info) {
#if defined(__APPLE__)
  const timespec& modified = info.st_mtimespec;
#else
  const timespec& modified = info.st_mtim;
#endif
  const auto since_1970 = std::chrono::seconds(modified.tv_sec) + std::chrono::nanoseconds(modified.tv_nsec);
  return WallTime(std::chrono::duration_cast<WallTime::duration>(since_1970));
}

}  // namespace

std::optional<WallTime> file_modification_time(const std::filesystem::path& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return std::nullopt;
  return modified_at(info);
}

std::optional<FileSnapshot> read_file_snapshot(const std::filesystem::path& file, std::size_t max_bytes) {
  // O_NONBLOCK: a pipe named like the file must not hang the reader; regular files ignore it.
  const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return std::nullopt;
  struct stat info {};
  std::optional<FileSnapshot> snapshot;
  if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && static_cast<std::size_t>(info.st_size) <= max_bytes) {
    FileSnapshot read{std::string(static_cast<std::size_t>(info.st_size), '\0'), modified_at(info)};
    std::size_t filled = 0;
    bool failed = false;
    while (filled < read.bytes.size()) {
      const ssize_t n = ::read(fd, read.bytes.data() + filled, read.bytes.size() - filled);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) {
        failed = n < 0;
        break;
      }
      filled += static_cast<std::size_t>(n);
    }
    // A file that shrank while being read is read as far as it went.
    read.bytes.resize(filled);
    if (!failed) snapshot = std::move(read);
  }
  ::close(fd);
  return snapshot;
}

}  // namespace kolvo::base
