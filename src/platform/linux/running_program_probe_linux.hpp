#pragma once

#include <filesystem>

#include "shelf/shelf_ports.hpp"

namespace kolvo::platform {

// Finds a program among this machine's processes by the name of its executable.
class LinuxRunningProgramProbe final : public shelf::RunningProgramProbe {
 public:
  explicit LinuxRunningProgramProbe(std::filesystem::path proc_root = "/proc");
  bool is_running(const shelf::ProgramIdentity& program) const override;

 private:
  std::filesystem::path proc_root_;
};

}  // namespace kolvo::platform
