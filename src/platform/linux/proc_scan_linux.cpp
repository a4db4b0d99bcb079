#include "platform/linux/proc_scan_linux.hpp"

#include <charconv>
#include <fstream>

namespace kolvo::platform {
namespace fs = std::filesystem;

void for_each_process(const fs::path& proc_root,
                      const std::function<bool(std::int64_t pid, const fs::path& folder)>& visit) {
  std::error_code error;
  fs::directory_iterator entries(proc_root, error);
  for (const fs::directory_iterator end; !error && entries != end; entries.increment(error)) {
    const std::string name = entries->path().filename().string();
    std::int64_t pid = 0;
    const auto [rest, parsed] = std::from_chars(name.data(), name.data() + name.size(), pid);
    if (name.empty() || parsed != std::errc() || rest != name.data() + name.size() || name.front() == '-') continue;
    if (!visit(pid, entries->path())) return;
  }
}

std::vector<std::string> process_arguments(const fs::path& folder, std::size_t max_bytes) {
  std::ifstream in(folder / "cmdline", std::ios::binary);
  std::string bytes(max_bytes, '\0');
  in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(in.gcount()));
  std::vector<std::string> arguments;
  std::size_t start = 0;
  while (start < bytes.size()) {
    const auto end = bytes.find('\0', start);
    arguments.push_back(bytes.substr(start, end == std::string::npos ? std::string::npos : end - start));
    if (end == std::string::npos) break;
    start = end + 1;
  }
  return arguments;
}

}  // namespace kolvo::platform
