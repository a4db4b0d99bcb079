#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "base/date_time.hpp"

namespace kolvo::base {

// When the file at `path` (a link is followed) last had its content changed, to the
// nanosecond where the file system keeps it. Absent when the file cannot be examined.
std::optional<WallTime> file_modification_time(const std::filesystem::path& path);

// Which file a path names: the same device and inode is the same file, even renamed.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};
// Absent when nothing is there.
std::optional<FileIdentity> file_identity(const std::filesystem::path& path);

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

// Makes `file` hold `text`, with the permission bits `mode`, in one step: a temporary file
// beside it is written, flushed and renamed over it, and the folder flushed, so a crash leaves
// the old file or the new, never half of one. Returns the system's reason on failure, and the
// file is then as it was.
std::string write_file_atomically(const std::filesystem::path& file, std::string_view text, unsigned mode);

// Makes `file` hold `text` unless it already exists, in which case it is kept as it is; it
// appears whole or not at all. Returns the system's reason on failure.
std::string create_file_once(const std::filesystem::path& file, std::string_view text, unsigned mode);

}  // namespace kolvo::base
