#include "base/file_time.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

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

FileRead read_whole_file(const std::filesystem::path& file, std::size_t max_bytes) {
  FileRead read;
  const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) {
    if (errno != ENOENT) read.problem = "it could not be opened (" + std::string(std::strerror(errno)) + ")";
    return read;
  }
  read.exists = true;
  struct stat info {};
  if (::fstat(fd, &info) != 0) {
    read.problem = "it could not be examined (" + std::string(std::strerror(errno)) + ")";
  } else if (!S_ISREG(info.st_mode)) {
    read.problem = "it is not a regular file";
  } else if (static_cast<std::uintmax_t>(info.st_size) > max_bytes) {
    read.problem = "it is larger than " + std::to_string(max_bytes >> 20) + " MiB";
  } else {
    read.mode = info.st_mode & 07777;
    read.modified = modified_at(info);
    read.text.resize(static_cast<std::size_t>(info.st_size));
    std::size_t done = 0;
    // The file may grow while it is read; what lies past the size it had is ignored, and a file
    // that shrank is read to its end.
    while (done < read.text.size()) {
      const ssize_t n = ::read(fd, read.text.data() + done, read.text.size() - done);
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) {
        read.problem = "it could not be read (" + std::string(std::strerror(errno)) + ")";
        break;
      }
      if (n == 0) break;
      done += static_cast<std::size_t>(n);
    }
    read.text.resize(done);
  }
  ::close(fd);
  return read;
}

}  // namespace kolvo::base
