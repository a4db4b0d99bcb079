#pragma once

#include <optional>
#include <string>
#include <vector>

#include "prefs/preference_value.hpp"

namespace kolvo::host {

// A value for `kolvo prefs write`, from the words after the key, with the type flags of the
// macOS `defaults` tool. Either the value or a sentence naming what is wrong.
struct ParsedPreferenceValue {
  std::optional<prefs::PreferenceValue> value;
  std::string error;
};

ParsedPreferenceValue parse_preference_value(const std::vector<std::string>& words);

}  // namespace kolvo::host
