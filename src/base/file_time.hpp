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

// A small file's bytes with the modification time of the very file they were read from.
struct FileSnapshot {
  std::string bytes;
  WallTime modified;
};

// Absent when the file is missing, unreadable, not a regular file or larger than `max_bytes`:
// a file that size is not one this program wrote, and reading it whole would cost memory.
std::optional<FileSnapshot> read_file_snapshot(const std::filesystem::path& file, std::size_t max_bytes);

}  // namespace kolvo::base
