#pragma once

#include <optional>

#include "prefs/preference_store.hpp"
#include "update/version.hpp"

namespace kolvo::update {

// The version the user chose to skip, under "com.kolvo.updateDismissedVersion" (a string).
// That version and any earlier one are not offered again; a later one is. A stored value that
// is not a string holding a version reads as nothing skipped and is left as it is until the
// user skips another version.
class UpdateDismissalStore {
 public:
  explicit UpdateDismissalStore(prefs::PreferenceStore& prefs);

  const std::optional<Version>& dismissed_version() const { return dismissed_; }
  // Writes the key at once.
  void dismiss(const Version& version);

 private:
  prefs::PreferenceStore& prefs_;
  std::optional<Version> dismissed_;
};

}  // namespace kolvo::update
