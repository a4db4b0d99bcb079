#include "base/file_time.hpp"

#include <sys/stat.h>

namespace kolvo::base {

std::optional<WallTime> file_modification_time(const std::filesystem::path& path) {
  // POSIX stat, not std::filesystem::last_write_time: the file clock's epoch differs between
  // the standard libraries, and the Mac's has no conversion to the system clock.
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return std::nullopt;
#if defined(__APPLE__)
  const timespec& modified = info.st_mtimespec;
#else
  const timespec& modified = info.st_mtim;
#endif
  const auto since_1970 = std::chrono::seconds(modified.tv_sec) + std::chrono::nanoseconds(modified.tv_nsec);
  return WallTime(std::chrono::duration_cast<WallTime::duration>(since_1970));
}

}  // namespace kolvo::base
