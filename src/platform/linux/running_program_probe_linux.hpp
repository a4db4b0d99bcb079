#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "shelf/shelf_ports.hpp"

namespace kolvo::platform {

// Calls `visit` with the id of each live process under `proc_root` whose executable is named
// `name`, until it returns false. The kernel's short name decides, confirmed by the executable
// or the first argument when the name is too long to be kept whole; a process that has exited
// and not yet been collected is passed over.
void for_each_process_named(const std::filesystem::path& proc_root, const std::string& name,
                            const std::function<bool(std::int64_t pid)>& visit);

// Finds a program among this machine's processes by the name of its executable.
class LinuxRunningProgramProbe final : public shelf::RunningProgramProbe {
 public:
  explicit LinuxRunningProgramProbe(std::filesystem::path proc_root = "/proc");
  bool is_running(const shelf::ProgramIdentity& program) const override;

 private:
  std::filesystem::path proc_root_;
};

}  // namespace kolvo::platform
