#include "dock/multi_display_calibration_store.hpp"
#include "base/json_text.hpp"

#include <cmath>

#include "base/json_reader.hpp"
#include "prefs/replaced_value.hpp"
#include "prefs/settings_keys.hpp"

namespace kolvo::dock {
namespace {

constexpr double kScaleTolerance = 0.01;

std::optional<nlohmann::json> parse_data(const prefs::PreferenceData& data) {
  auto json = base::parse_json(base::text_of(data));
  if (json.is_discarded()) return std::nullopt;
  return json;
}

prefs::PreferenceData to_data(const nlohmann::ordered_json& json) {
  const std::string text = json.dump();
  return prefs::PreferenceData(text.begin(), text.end());
}

bool same_display(const KolvoDisplayIdentity& stored, const KolvoDisplayIdentity& identity) {
  if (stored.display_uuid && identity.display_uuid && *stored.display_uuid == *identity.display_uuid) return true;
  if (stored.cg_direct_display_id != 0 && stored.cg_direct_display_id == identity.cg_direct_display_id) return true;
  if (stored.localized_name == identity.localized_name &&
      std::fabs(stored.backing_scale_factor - identity.backing_scale_factor) < kScaleTolerance) {
    return true;
  }
  return matches(stored.screen_frame, identity.screen_frame);
}

// Decodes an object of records keyed by display; one bad record fails the whole map.
template <typename Record, typename Decode>
void decode_map(base::JsonReader& r, const char* key, bool required, Decode decode,
                std::map<std::string, Record>& out) {
  const auto* object = r.value(key, required);
  if (!object) return;
  if (!object->is_object()) {
    r.fail(key, "expected an object");
    return;
  }
  std::string inner;
  for (const auto& [name, value] : object->items()) {
    auto record = decode(value, &inner);
    if (!record) {
      r.fail(std::string(key) + "." + name, inner);
      return;
    }
    out.emplace(name, std::move(*record));
  }
}

}  // namespace

nlohmann::ordered_json to_json(const StoredCalibrations& stored) {
  nlohmann::ordered_json json;
  auto calibrations = nlohmann::ordered_json::object();
  for (const auto& [key, calibration] : stored.calibrations) calibrations[key] = to_json(calibration);
  json["calibrations"] = std::move(calibrations);
  json["displayMode"] = to_json(stored.display_mode);
  // Kept for earlier versions that read it; the mode is what counts.
  if (const auto* selected = std::get_if<SelectedDisplay>(&stored.display_mode)) json["selectedDisplayID"] = selected->key;
  auto identities = nlohmann::ordered_json::object();
  for (const auto& [key, identity] : stored.identities) identities[key] = to_json(identity);
  json["identities"] = std::move(identities);
  return json;
}

std::optional<StoredCalibrations> stored_calibrations_from_json(const nlohmann::json& json, std::string* error) {
  base::JsonReader r(json, "Stored");
  StoredCalibrations stored;
  std::string inner;
  if (const auto* mode = r.value("displayMode", false)) {
    if (auto parsed = display_mode_from_json(*mode, &inner)) {
      stored.display_mode = std::move(*parsed);
    } else {
      r.fail("displayMode", inner);
    }
  }
  r.optional_string("selectedDisplayID");
  decode_map(r, "calibrations", /*required=*/true, calibration_from_json, stored.calibrations);
  decode_map(r, "identities", /*required=*/false, identity_from_json, stored.identities);
  if (!r.ok()) {
    if (error) *error = r.error();
    return std::nullopt;
  }
  return stored;
}

MultiDisplayCalibrationStore::MultiDisplayCalibrationStore(prefs::PreferenceStore& prefs,
                                                           base::NotificationCenter& center,
                                                           const ScreensPort& screens, base::DiagnosticsLog& log)
    : prefs_(prefs), center_(center), screens_(screens), log_(log) {
  load();
}

void MultiDisplayCalibrationStore::load() {
  const auto data = prefs_.read_data(prefs::keys::kMultiDisplayCalibration);
  if (data.is_present()) {
    if (const auto json = parse_data(data.value)) {
      std::string error;
      if (auto stored = stored_calibrations_from_json(*json, &error)) {
        calibrations_.set(std::move(stored->calibrations));
        display_mode_.set(std::move(stored->display_mode));
        identities_ = std::move(stored->identities);
        return;
      }
      log_.record("Calibration", "stored calibrations do not decode: " + error);
    }
  }
  const auto legacy = legacy_calibration();
  if (!legacy) return;
  // The older single record is adopted by the display it was made on, if that one is here.
  for (const ScreenInfo& screen : screens_.screens()) {
    if (matches(screen.frame, legacy->screen_frame)) {
      const std::string key = primary_key(screen.identity);
      calibrations_.set({{key, *legacy}});
      identities_ = {{key, screen.identity}};
      break;
    }
  }
  // The new store is written when the program really starts (finish_migration), never by a
  // command that only looks or that came to change something else.
  migration_pending_ = true;
}

void MultiDisplayCalibrationStore::finish_migration() {
  if (migration_pending_) write();
}

std::optional<DockCalibration> MultiDisplayCalibrationStore::legacy_calibration() const {
  const auto data = prefs_.read_data(prefs::keys::kDockCalibration);
  if (!data.is_present()) return std::nullopt;
  const auto json = parse_data(data.value);
  if (!json) return std::nullopt;
  return calibration_from_json(*json);
}

void MultiDisplayCalibrationStore::write() {
  if (migration_pending_) {
    // What the migration replaces is kept first, however the first write comes about.
    migration_pending_ = false;
    prefs::keep_before_replacing(prefs_, prefs::keys::kMultiDisplayCalibration, log_);
  }
  prefs_.set(prefs::keys::kMultiDisplayCalibration,
             to_data(to_json(StoredCalibrations{calibrations_.get(), display_mode_.get(), identities_})));
}

std::optional<std::string> MultiDisplayCalibrationStore::calibration_key(const KolvoDisplayIdentity& identity) const {
  const Calibrations& calibrations = calibrations_.get();
  const std::string primary = primary_key(identity);
  if (calibrations.contains(primary)) return primary;
  const std::string number = std::to_string(identity.cg_direct_display_id);
  if (calibrations.contains(number)) return number;
  for (const auto& [key, stored] : identities_) {
    if (calibrations.contains(key) && same_display(stored, identity)) return key;
  }
  for (const auto& [key, calibration] : calibrations) {
    if (matches(calibration.screen_frame, identity.screen_frame)) return key;
  }
  return std::nullopt;
}

std::optional<ScreenInfo> MultiDisplayCalibrationStore::screen_for_key(const std::string& key,
                                                                       const std::vector<ScreenInfo>& screens) const {
  for (const ScreenInfo& screen : screens) {
    if (calibration_key(screen.identity) == key) return screen;
  }
  return std::nullopt;
}

std::optional<ScreenInfo> MultiDisplayCalibrationStore::screen_for_key(const std::string& key) const {
  return screen_for_key(key, screens_.screens());
}

std::optional<DockCalibration> MultiDisplayCalibrationStore::calibration_for_screen(const ScreenInfo& screen) const {
  const auto key = calibration_key(screen.identity);
  if (!key) return std::nullopt;
  return calibrations_.get().at(*key);
}

std::vector<ScreenInfo> MultiDisplayCalibrationStore::calibrated_screens() const {
  std::vector<ScreenInfo> calibrated;
  for (const ScreenInfo& screen : screens_.screens()) {
    if (has_calibration(screen)) calibrated.push_back(screen);
  }
  return calibrated;
}

bool MultiDisplayCalibrationStore::is_selected_display_missing() const {
  const auto* selected = std::get_if<SelectedDisplay>(&display_mode_.get());
  return selected && !screen_for_key(selected->key);
}

bool MultiDisplayCalibrationStore::is_own_key_of_another_display(const std::string& key,
                                                                 const ScreenInfo& screen) const {
  const std::string own = primary_key(screen.identity);
  for (const ScreenInfo& other : screens_.screens()) {
    const std::string other_key = primary_key(other.identity);
    if (other_key != own && other_key == key) return true;
  }
  return false;
}

void MultiDisplayCalibrationStore::save(const DockCalibration& calibration, const ScreenInfo& screen) {
  const std::string primary = primary_key(screen.identity);
  const auto existing = calibration_key(screen.identity);
  Calibrations calibrations = calibrations_.get();
  // A record found through a fallback rule moves to this display's key, unless it is another
  // connected display's own record (two mirrored displays share a frame).
  if (existing && *existing != primary && !is_own_key_of_another_display(*existing, screen)) {
    calibrations.erase(*existing);
    identities_.erase(*existing);
  }
  calibrations[primary] = calibration;
  identities_[primary] = screen.identity;
  calibrations_.set(std::move(calibrations));
  if (!std::holds_alternative<AllCalibratedDisplays>(display_mode_.get())) display_mode_.set(SelectedDisplay{primary});
  write();
  if (cache_) {
    cache_->invalidate();
    cache_->refresh(screen, "calibration-saved", /*force=*/true);
  }
  center_.post(prefs::notifications::kSelectedDisplayChanged);
}

void MultiDisplayCalibrationStore::reset_all() {
  prefs_.remove(prefs::keys::kDockCalibration);
  calibrations_.set({});
  identities_.clear();
  write();
  if (cache_) cache_->invalidate();
  center_.post(prefs::notifications::kSelectedDisplayChanged);
}

void MultiDisplayCalibrationStore::set_display_mode(KolvoDisplayMode mode) {
  display_mode_.set(std::move(mode));
  write();
}

void MultiDisplayCalibrationStore::screens_changed() {
  bool changed = false;
  Calibrations calibrations = calibrations_.get();
  KolvoDisplayMode mode = display_mode_.get();
  for (const ScreenInfo& screen : screens_.screens()) {
    const auto key = calibration_key(screen.identity);
    if (!key) continue;
    const std::string primary = primary_key(screen.identity);
    if (*key != primary && !is_own_key_of_another_display(*key, screen)) {
      calibrations[primary] = calibrations.at(*key);
      calibrations.erase(*key);
      identities_.erase(*key);
      if (auto* selected = std::get_if<SelectedDisplay>(&mode); selected && selected->key == *key) {
        selected->key = primary;
      }
      changed = true;
      calibrations_.set(calibrations);  // later screens resolve against the moved records
    }
    const auto stored = identities_.find(primary);
    if (stored == identities_.end() || !(stored->second == screen.identity)) {
      identities_[primary] = screen.identity;
      changed = true;
    }
  }
  if (!changed) return;
  calibrations_.set(std::move(calibrations));
  if (!(mode == display_mode_.get())) display_mode_.set(std::move(mode));
  write();
}

}  // namespace kolvo::dock
