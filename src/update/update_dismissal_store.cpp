#include "update/update_dismissal_store.hpp"

#include "prefs/settings_keys.hpp"

namespace kolvo::update {

UpdateDismissalStore::UpdateDismissalStore(prefs::PreferenceStore& prefs) : prefs_(prefs) {
  const auto stored = prefs_.read_string(prefs::keys::kUpdateDismissedVersion);
  if (stored.is_present()) dismissed_ = Version::parse(stored.value);
}

void UpdateDismissalStore::dismiss(const Version& version) {
  dismissed_ = version;
  prefs_.set(prefs::keys::kUpdateDismissedVersion, version.text());
}

}  // namespace kolvo::update
