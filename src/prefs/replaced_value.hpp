#pragma once

#include <string_view>

#include "base/diagnostics_log.hpp"
#include "prefs/preference_store.hpp"

namespace kolvo::prefs {

// Before a key whose stored value could not be read is written over with a default, keep what
// was there under "<key>.backup" and say so: whatever a person or an older version wrote
// stays recoverable.
void keep_before_replacing(PreferenceStore& prefs, std::string_view key, base::DiagnosticsLog& log);

}  // namespace kolvo::prefs
