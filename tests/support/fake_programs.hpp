#pragma once

// Stand-ins for the programs Kolvo runs: small shell scripts, written where a test says.
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace kolvo::testing {

// Writes an executable `#!/bin/sh` script.
inline void write_script(const std::filesystem::path& file, std::string_view body) {
  std::filesystem::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << "#!/bin/sh\n" << body;
  std::filesystem::permissions(file, std::filesystem::perms::owner_all | std::filesystem::perms::group_read |
                                         std::filesystem::perms::group_exec | std::filesystem::perms::others_read |
                                         std::filesystem::perms::others_exec);
}

}  // namespace kolvo::testing
