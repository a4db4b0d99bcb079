#pragma once

#include <filesystem>
#include <optional>

#include "base/date_time.hpp"

namespace kolvo::base {

// When the file at `path` (a link is followed) last had its content changed, to the
// nanosecond where the file system keeps it. Absent when the file cannot be examined.
std::optional<WallTime> file_modification_time(const std::filesystem::path& path);

}  // namespace kolvo::base
