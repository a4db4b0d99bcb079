#include "catalog/app_stores.hpp"
#include "base/json_text.hpp"

#include <algorithm>
#include <set>

#include "prefs/replaced_value.hpp"
#include "prefs/settings_keys.hpp"

namespace kolvo::catalog {
namespace {

prefs::PreferenceData to_data(const nlohmann::ordered_json& json) {
  const std::string text = json.dump();
  return prefs::PreferenceData(text.begin(), text.end());
}

std::optional<nlohmann::json> stored_json(const prefs::PreferenceStore& prefs, std::string_view key) {
  const auto data = prefs.read_data(key);
  if (!data.is_present()) return std::nullopt;
  auto json = base::parse_json(base::text_of(data.value));
  if (json.is_discarded()) return std::nullopt;
  return json;
}

std::optional<std::vector<KolvoAppItem>> decode_items(const nlohmann::json& json) {
  if (!json.is_array()) return std::nullopt;
  std::vector<KolvoAppItem> items;
  for (const auto& entry : json) {
    auto item = app_item_from_json(entry);
    if (!item) return std::nullopt;
    items.push_back(std::move(*item));
  }
  return items;
}

std::optional<KolvoAppItem> item_for(const std::string& bundle_id, const ApplicationCatalog& catalog) {
  const auto application = catalog.application_with_bundle_id(bundle_id);
  if (!application) return std::nullopt;
  return make_app_item(*application);
}

std::vector<KolvoAppItem> load_apps(prefs::PreferenceStore& prefs, const ApplicationCatalog& catalog,
                                    base::DiagnosticsLog& log) {
  if (const auto json = stored_json(prefs, prefs::keys::kSelectedApps)) {
    if (auto items = decode_items(*json)) {
      if (items->size() > KolvoAppStore::kMaximumApps) items->resize(KolvoAppStore::kMaximumApps);
      return *items;
    }
  }
  prefs::keep_before_replacing(prefs, prefs::keys::kSelectedApps, log);
  return KolvoAppStore::defaults(catalog);
}

// Earlier versions stored fewer or more slots and could repeat an app.
AppLauncherStore::Slots migrate(const std::vector<std::optional<KolvoAppItem>>& stored) {
  AppLauncherStore::Slots slots;
  std::set<std::string> seen;
  for (std::size_t i = 0; i < std::min(stored.size(), slots.size()); ++i) {
    const auto& item = stored[i];
    if (!item) continue;
    if (item->bundle_identifier && !seen.insert(*item->bundle_identifier).second) continue;
    slots[i] = item;
  }
  return slots;
}

}  // namespace

KolvoAppStore::KolvoAppStore(prefs::PreferenceStore& prefs, const ApplicationCatalog& catalog, base::DiagnosticsLog& log)
    : prefs_(prefs), apps_(load_apps(prefs, catalog, log)) {}

std::vector<KolvoAppItem> KolvoAppStore::defaults(const ApplicationCatalog& catalog) {
  std::vector<KolvoAppItem> apps;
  for (const char* id : {"com.apple.finder", "com.apple.Safari", "com.apple.mail", "com.apple.MobileSMS",
                         "com.apple.iCal", "com.apple.Notes"}) {
    if (auto item = item_for(id, catalog)) apps.push_back(std::move(*item));
  }
  return apps;
}

void KolvoAppStore::save() {
  auto json = nlohmann::ordered_json::array();
  for (const auto& item : apps_.get()) json.push_back(to_json(item));
  prefs_.set(prefs::keys::kSelectedApps, to_data(json));
}

void KolvoAppStore::set_apps(std::vector<KolvoAppItem> apps) {
  if (apps.size() > kMaximumApps) apps.resize(kMaximumApps);
  apps_.set(std::move(apps));
  save();
}

bool KolvoAppStore::add(KolvoAppItem item) {
  auto apps = apps_.get();
  if (apps.size() >= kMaximumApps) return false;
  const bool duplicate = item.bundle_identifier && std::any_of(apps.begin(), apps.end(), [&](const auto& existing) {
                           return existing.bundle_identifier == item.bundle_identifier;
                         });
  if (duplicate) return false;
  apps.push_back(std::move(item));
  set_apps(std::move(apps));
  return true;
}

void KolvoAppStore::replace(std::size_t index, KolvoAppItem item) {
  auto apps = apps_.get();
  if (index >= apps.size()) return;
  apps[index] = std::move(item);
  set_apps(std::move(apps));
}

void KolvoAppStore::move(std::size_t from, std::size_t to) {
  auto apps = apps_.get();
  if (from >= apps.size() || to >= apps.size() || from == to) return;
  KolvoAppItem item = std::move(apps[from]);
  apps.erase(apps.begin() + static_cast<std::ptrdiff_t>(from));
  apps.insert(apps.begin() + static_cast<std::ptrdiff_t>(to), std::move(item));
  set_apps(std::move(apps));
}

void KolvoAppStore::remove(std::size_t index) {
  auto apps = apps_.get();
  if (index >= apps.size()) return;
  apps.erase(apps.begin() + static_cast<std::ptrdiff_t>(index));
  set_apps(std::move(apps));
}

std::string slot_text(const ResolvedSlot& slot) {
  if (!slot.item) return "Empty — click to choose an app";
  return slot.installed ? slot.item->name : slot.item->name + " — not installed";
}

const std::vector<std::string>& AppLauncherStore::default_candidates() {
  static const std::vector<std::string> candidates = [] {
    std::vector<std::string> ids;
    for (const char* tail :
         {"finder", "Safari", "mail", "MobileSMS", "iCal", "Maps", "Photos", "Music", "Notes", "reminders", "FaceTime",
          "AppStore", "systempreferences", "Preview", "TextEdit", "QuickTimePlayerX", "ActivityMonitor", "calculator",
          "clock", "Home", "iBooksX", "podcasts", "TV", "VoiceMemos", "shortcuts", "freeform", "iWork.Keynote",
          "iWork.Pages", "iWork.Numbers", "Terminal", "dt.Xcode", "Dictionary", "ScriptEditor2", "Console",
          "DiskUtility", "screenshot.launcher", "Image_Capture", "FontBook", "Stickies", "Chess", "stocks", "weather",
          "news", "findmy", "Passwords", "MigrateAssistant", "AirPortUtility", "audio.AudioMIDISetup", "grapher",
          "ColorSyncUtility", "bluetoothaudiod", "Automator", "VoiceOverUtility", "PhotoBooth", "mail.compose",
          "iChat", "Contacts"}) {
      ids.push_back(std::string("com.apple.") + tail);
    }
    return ids;
  }();
  return candidates;
}

AppLauncherStore::Slots AppLauncherStore::defaults(const ApplicationCatalog& catalog) {
  Slots slots;
  std::size_t next = 0;
  for (const std::string& id : default_candidates()) {
    if (next == kSlotCount) break;
    if (auto item = item_for(id, catalog)) slots[next++] = std::move(*item);
  }
  return slots;
}

AppLauncherStore::AppLauncherStore(prefs::PreferenceStore& prefs, const ApplicationCatalog& catalog,
                                   base::DiagnosticsLog& log)
    : prefs_(prefs), catalog_(catalog) {
  const auto json = stored_json(prefs, prefs::keys::kAppLauncherSlots);
  std::optional<std::vector<std::optional<KolvoAppItem>>> stored;
  if (json && json->is_array()) {
    stored.emplace();
    for (const auto& entry : *json) {
      if (entry.is_null()) {
        stored->push_back(std::nullopt);
        continue;
      }
      auto item = app_item_from_json(entry);
      if (!item) {
        stored.reset();
        break;
      }
      stored->push_back(std::move(*item));
    }
  }
  if (!stored) {
    prefs::keep_before_replacing(prefs, prefs::keys::kAppLauncherSlots, log);
    slots_.set(defaults(catalog));
    return;
  }
  const auto version = prefs.read_integer(prefs::keys::kAppLauncherConfigurationVersion).value_or(0);
  slots_.set(migrate(*stored));
  if (version < kConfigurationVersion || stored->size() != kSlotCount) save();
}

std::vector<ResolvedSlot> AppLauncherStore::resolved_slots() const {
  std::vector<ResolvedSlot> resolved;
  resolved.reserve(kSlotCount);
  for (const auto& slot : slots_.get()) {
    resolved.push_back({slot, slot && is_installed(*slot, catalog_)});
  }
  return resolved;
}

void AppLauncherStore::save() {
  auto json = nlohmann::ordered_json::array();
  for (const auto& slot : slots_.get()) json.push_back(slot ? nlohmann::ordered_json(to_json(*slot)) : nullptr);
  prefs_.set(prefs::keys::kAppLauncherSlots, to_data(json));
  prefs_.set(prefs::keys::kAppLauncherConfigurationVersion, kConfigurationVersion);
}

void AppLauncherStore::assign(std::size_t slot, KolvoAppItem item) {
  if (slot >= kSlotCount) return;
  Slots slots = slots_.get();
  slots[slot] = std::move(item);
  slots_.set(std::move(slots));
  save();
}

void AppLauncherStore::clear(std::size_t slot) {
  if (slot >= kSlotCount) return;
  Slots slots = slots_.get();
  slots[slot].reset();
  slots_.set(std::move(slots));
  save();
}

void AppLauncherStore::swap(std::size_t a, std::size_t b) {
  if (a >= kSlotCount || b >= kSlotCount || a == b) return;
  Slots slots = slots_.get();
  std::swap(slots[a], slots[b]);
  slots_.set(std::move(slots));
  save();
}

void AppLauncherStore::restore_defaults() {
  slots_.set(defaults(catalog_));
  save();
}

}  // namespace kolvo::catalog
