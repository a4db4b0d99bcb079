#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

#include "base/date_time.hpp"

namespace kolvo::base {

// When the file at `path` (a link is followed) last had its content changed, to the
// nanosecond where the file system keeps it. Absent when the file cannot be examined.
std::optional<WallTime> file_modification_time(const std::filesystem::path& path);

// A whole file read at once, with the modification time and permission bits of the very file
// the bytes came from.
struct FileRead {
  bool exists = false;
  std::string text;
  // Why the file could not be read, as a clause ("it is not a regular file"); empty when it was
  // read or is missing.
  std::string problem;
  WallTime modified{};
  unsigned mode = 0;  // the permission bits

  bool ok() const { return exists && problem.empty(); }
};

// Reads the file when it is a regular file of at most `max_bytes`: a larger one is no file this
// program expects there, and reading it whole would cost memory. Links are followed; a pipe
// named like the file is refused rather than waited on.
FileRead read_whole_file(const std::filesystem::path& file, std::size_t max_bytes);

}  // namespace kolvo::base
