#include "app/instance_report.hpp"

namespace kolvo::app {

std::vector<std::string> instance_report(const ProcessEnvironment& process) {
  static constexpr std::string_view kTag = "[SHELF THROW] ";
  const std::string tag(kTag);
  const std::int64_t own_pid = process.pid();
  const std::string bundle_id = process.bundle_identifier();

  std::vector<std::string> lines;
  lines.push_back(tag + "BUILD WITH WINDOW THROW DEBUG ACTIVE");
  lines.push_back(tag + "pid=" + std::to_string(own_pid) + " path=" + process.bundle_path() + " bundle=" + bundle_id +
                  " config=RELEASE");
  bool found_other = false;
  for (const RunningInstance& instance : process.running_instances(bundle_id)) {
    if (instance.pid == own_pid) continue;
    found_other = true;
    lines.push_back(tag + "WARNING another Kolvo is running: pid=" + std::to_string(instance.pid) +
                    " path=" + instance.bundle_path);
  }
  if (found_other) {
    lines.push_back(tag +
                    "WARNING that copy may already own the Deck service and your phone session. Quit it before "
                    "testing this build.");
  } else {
    lines.push_back(tag + "no other Kolvo instance is running");
  }
  return lines;
}

}  // namespace kolvo::app
