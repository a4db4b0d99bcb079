#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "base/date_time.hpp"

namespace kolvo::base {

// The program's running record of notable events ("recompute", "accessibility-granted",
// calibration steps): the last 500 lines with their UTC times, kept in memory for the settings
// pages, and mirrored to standard error as "[Tag] text" for anyone watching a console.
class DiagnosticsLog {
 public:
  static constexpr std::size_t kCapacity = 500;
  using Mirror = std::function<void(std::string_view line)>;

  explicit DiagnosticsLog(const WallClock& clock, Mirror mirror = stderr_mirror());

  void record(std::string_view tag, std::string_view text);
  // "2026-11-22T10:15:30Z [Tag] text", oldest first.
  std::vector<std::string> lines() const;

  static Mirror stderr_mirror();
  static Mirror silent() { return {}; }

 private:
  const WallClock& clock_;
  Mirror mirror_;
  mutable std::mutex mutex_;
  std::deque<std::string> lines_;
};

}  // namespace kolvo::base
