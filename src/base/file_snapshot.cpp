#include "base/file_snapshot.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace kolvo::base {
namespace {

WallTime modified_at(const struct stat& info) {
#if defined(__APPLE__)
  const auto& stamp = info.st_mtimespec;
#else
  const auto& stamp = info.st_mtim;
#endif
  return WallTime(std::chrono::duration_cast<WallTime::duration>(std::chrono::seconds(stamp.tv_sec) +
                                                                 std::chrono::nanoseconds(stamp.tv_nsec)));
}

}  // namespace

std::optional<FileSnapshot> read_file_snapshot(const std::filesystem::path& file, std::size_t max_bytes) {
  const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
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

std::optional<WallTime> modification_time(const std::filesystem::path& file) {
  struct stat info {};
  if (::stat(file.c_str(), &info) != 0) return std::nullopt;
  return modified_at(info);
}

}  // namespace kolvo::base
