#include "platform/linux/running_program_probe_linux.hpp"

#include <string>
#include <string_view>

#include "platform/linux/capped_file_linux.hpp"
#include "platform/linux/proc_scan_linux.hpp"

namespace kolvo::platform {
namespace fs = std::filesystem;

namespace {

// The kernel keeps a process's name in 16 bytes, its terminating zero included.
constexpr std::size_t kCommLength = 15;

std::string_view base_name(std::string_view path) {
  const auto slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

bool named(const fs::path& folder, const std::string& name) {
  const auto comm = read_capped_lines(folder / "comm", 64);
  if (!comm) return false;
  const std::string_view short_name = first_line(*comm);
  if (name.size() <= kCommLength) return short_name == name;
  // The name was cut: the executable, or the first argument, says whether it is the whole one.
  if (short_name != std::string_view(name).substr(0, kCommLength)) return false;
  std::error_code error;
  const fs::path executable = fs::read_symlink(folder / "exe", error);
  if (!error && executable.filename() == name) return true;
  const auto arguments = process_arguments(folder);
  return !arguments.empty() && base_name(arguments.front()) == name;
}

// An exited process that its parent has not yet collected keeps its name, but it runs no more.
bool exited(const fs::path& folder) {
  const auto stat = read_capped_lines(folder / "stat", 4096);
  if (!stat) return true;
  // "pid (name) S ...": the name may itself hold parentheses and blanks.
  const auto close = stat->rfind(')');
  if (close == std::string::npos || close + 2 >= stat->size()) return true;
  const char state = (*stat)[close + 2];
  return state == 'Z' || state == 'X';
}

}  // namespace

void for_each_process_named(const fs::path& proc_root, const std::string& name,
                            const std::function<bool(std::int64_t pid)>& visit) {
  if (name.empty()) return;
  for_each_process(proc_root, [&](std::int64_t pid, const fs::path& folder) {
    if (!named(folder, name) || exited(folder)) return true;
    return visit(pid);
  });
}

LinuxRunningProgramProbe::LinuxRunningProgramProbe(fs::path proc_root) : proc_root_(std::move(proc_root)) {}

bool LinuxRunningProgramProbe::is_running(const shelf::ProgramIdentity& program) const {
  bool found = false;
  for_each_process_named(proc_root_, program.executable_name, [&found](std::int64_t) {
    found = true;
    return false;
  });
  return found;
}

}  // namespace kolvo::platform
