#include "platform/linux/agent_paths_linux.hpp"

#include <cstdlib>
#include <system_error>

namespace kolvo::platform {

shelf::AgentPaths linux_agent_paths() {
  namespace fs = std::filesystem;
  const char* home_variable = std::getenv("HOME");
  std::error_code no_folder;
  const fs::path home = home_variable && *home_variable ? fs::path(home_variable) : fs::current_path(no_folder);
  const char* data = std::getenv("XDG_DATA_HOME");
  // The XDG rule: a relative value is ignored.
  const fs::path support = data && *data && fs::path(data).is_absolute() ? fs::path(data) : home / ".local" / "share";
  return {.home = home, .application_support = support};
}

}  // namespace kolvo::platform
