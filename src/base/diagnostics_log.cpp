#include "base/diagnostics_log.hpp"

#include <cstdio>

namespace kolvo::base {

DiagnosticsLog::DiagnosticsLog(const WallClock& clock, Mirror mirror) : clock_(clock), mirror_(std::move(mirror)) {}

DiagnosticsLog::Mirror DiagnosticsLog::stderr_mirror() {
  return [](std::string_view line) { std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data()); };
}

void DiagnosticsLog::record(std::string_view tag, std::string_view text) {
  std::string tagged = "[" + std::string(tag) + "] " + std::string(text);
  if (mirror_) mirror_(tagged);
  std::lock_guard lock(mutex_);
  lines_.push_back(format_iso8601(clock_.now()) + " " + std::move(tagged));
  while (lines_.size() > kCapacity) lines_.pop_front();
}

std::vector<std::string> DiagnosticsLog::lines() const {
  std::lock_guard lock(mutex_);
  return {lines_.begin(), lines_.end()};
}

}  // namespace kolvo::base
