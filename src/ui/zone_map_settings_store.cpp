#include "ui/zone_map_settings_store.hpp"

#include "prefs/settings_keys.hpp"

namespace kolvo::ui {

ZoneMapSettingsStore::ZoneMapSettingsStore(prefs::PreferenceStore& prefs)
    : show_(prefs, prefs::keys::kShowActivationZones, prefs.read_bool(prefs::keys::kShowActivationZones).value_or(false)) {}

}  // namespace kolvo::ui
