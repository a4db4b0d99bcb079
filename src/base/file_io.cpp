#include "base/file_io.hpp"

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

std::string errno_text(int error) { return std::strerror(error); }

bool write_all(int fd, std::string_view text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

void sync_folder(const std::filesystem::path& folder) {
  const int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir >= 0) {
    ::fsync(dir);
    ::close(dir);
  }
}

// A temporary file beside `destination` holding `text` with the permission bits `mode`, flushed
// to disk and closed. Empty `temporary`, and the system's reason in `problem`, when it could not
// be made.
struct Staged {
  std::string temporary;
  std::string problem;
};

Staged stage(const std::filesystem::path& destination, std::string_view text, unsigned mode) {
  std::string name = destination.string() + ".kolvo-XXXXXX";
  const int fd = ::mkstemp(name.data());
  if (fd < 0) return {{}, errno_text(errno)};
  std::string problem;
  if (::fchmod(fd, static_cast<mode_t>(mode)) != 0 || !write_all(fd, text) || ::fsync(fd) != 0) {
    problem = errno_text(errno);
  }
  if (::close(fd) != 0 && problem.empty()) problem = errno_text(errno);
  if (!problem.empty()) {
    ::unlink(name.c_str());
    return {{}, problem};
  }
  return {name, {}};
}

}  // namespace

std::string write_file_atomically(const std::filesystem::path& file, std::string_view text, unsigned mode) {
  const Staged staged = stage(file, text, mode);
  if (!staged.problem.empty()) return staged.problem;
  if (::rename(staged.temporary.c_str(), file.c_str()) != 0) {
    const int error = errno;
    ::unlink(staged.temporary.c_str());
    return errno_text(error);
  }
  // The rename itself must survive a power cut.
  sync_folder(file.parent_path());
  return {};
}

std::string create_file_once(const std::filesystem::path& file, std::string_view text, unsigned mode) {
  const Staged staged = stage(file, text, mode);
  if (!staged.problem.empty()) return staged.problem;
  std::string problem;
  // A link fails where a file already is, so an existing one is never replaced.
  if (::link(staged.temporary.c_str(), file.c_str()) != 0 && errno != EEXIST) problem = errno_text(errno);
  ::unlink(staged.temporary.c_str());
  if (problem.empty()) sync_folder(file.parent_path());
  return problem;
}

std::optional<WallTime> file_modification_time(const std::filesystem::path& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return std::nullopt;
  return modified_at(info);
}

std::optional<FileIdentity> file_identity(const std::filesystem::path& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return std::nullopt;
  return FileIdentity{static_cast<std::uint64_t>(info.st_dev), static_cast<std::uint64_t>(info.st_ino)};
}

FileRead read_whole_file(const std::filesystem::path& file, std::size_t max_bytes) {
  FileRead read;
  const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) {
    if (errno != ENOENT) read.problem = "it could not be opened (" + errno_text(errno) + ")";
    return read;
  }
  read.exists = true;
  struct stat info {};
  if (::fstat(fd, &info) != 0) {
    read.problem = "it could not be examined (" + errno_text(errno) + ")";
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
        read.problem = "it could not be read (" + errno_text(errno) + ")";
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
