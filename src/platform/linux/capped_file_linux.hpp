#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace kolvo::platform {

// The start of a text file from /proc, /sys or /etc, never more than `max_bytes` of it: those
// files are small, and one that is not (a broken driver, a planted file) must not make the
// agent read gigabytes. Only whole lines are returned, so a number cut at the limit is never
// read as a smaller one. Absent when the file cannot be opened or holds no whole line.
std::optional<std::string> read_capped_lines(const std::filesystem::path& file, std::size_t max_bytes);

// The first line of `text`, without its line break.
std::string_view first_line(std::string_view text);

// The value of KEY in a file of KEY=VALUE lines in the shell's quoting (/etc/os-release,
// /etc/machine-info): quotes removed and backslash escapes resolved. Absent when the key is
// missing or its quoting is unterminated.
std::optional<std::string> shell_style_value(std::string_view text, std::string_view key);

}  // namespace kolvo::platform
