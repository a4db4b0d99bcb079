#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

// Walking the processes of a Linux machine through /proc (or a folder laid out like it).
namespace kolvo::platform {

// Calls `visit` with the id and the folder of each process under `proc_root`, until it returns
// false. Entries that are not processes (self, sys, a number too large to be an id) are passed
// over, and so is a /proc that cannot be read.
void for_each_process(const std::filesystem::path& proc_root,
                      const std::function<bool(std::int64_t pid, const std::filesystem::path& folder)>& visit);

// A process's arguments, from its "cmdline"; never more than `max_bytes` of it are read (a
// process can make its own as long as it likes).
inline constexpr std::size_t kMaxCommandLineBytes = 64 * 1024;
std::vector<std::string> process_arguments(const std::filesystem::path& folder,
                                           std::size_t max_bytes = kMaxCommandLineBytes);

}  // namespace kolvo::platform
