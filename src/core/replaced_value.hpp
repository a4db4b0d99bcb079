#pragma once

#include <string_view>

#include "core/diagnostics_log.hpp"
#include "core/preference_store.hpp"

namespace kolvo::core {

// Before a key whose stored value could not be read is written over with a default, keep what
// was there under "<key>.backup" and say so: whatever a person or an older version wrote
// stays recoverable.
void keep_before_replacing(PreferenceStore& prefs, std::string_view key, DiagnosticsLog& log);

}  // namespace kolvo::core
