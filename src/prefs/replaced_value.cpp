#include "prefs/replaced_value.hpp"

#include <string>

namespace kolvo::prefs {

void keep_before_replacing(PreferenceStore& prefs, std::string_view key, base::DiagnosticsLog& log) {
  const auto previous = prefs.value(key);
  if (!previous) return;
  const std::string backup = std::string(key) + ".backup";
  prefs.set(backup, *previous);
  log.record("Preferences", "kept the unreadable value of " + std::string(key) + " as " + backup);
}

}  // namespace kolvo::prefs
