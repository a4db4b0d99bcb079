#include "deck/server/deck_trust_store.hpp"

#include <algorithm>

#include "base/json_reader.hpp"
#include "base/json_text.hpp"
#include "base/json_writer.hpp"
#include "base/utf8.hpp"
#include "prefs/replaced_value.hpp"
#include "prefs/settings_keys.hpp"

namespace kolvo::deck {

KolvoDeckTrustStore::KolvoDeckTrustStore(prefs::PreferenceStore& prefs, base::DiagnosticsLog& log,
                                         const base::WallClock& clock)
    : prefs_(prefs), log_(log), clock_(clock) {
  const auto data = prefs.read_data(prefs::keys::kDeckTrustedDevices);
  if (data.status == prefs::LookupStatus::absent) return;
  std::string error;
  auto devices = data.is_present() ? decode(base::text_of(data.value), &error) : std::nullopt;
  if (!devices) {
    unreadable_ = true;
    log_.record("Deck", "the trusted iPhones could not be read" + (error.empty() ? std::string() : ": " + error) +
                            "; every iPhone asks again");
    return;
  }
  devices_.set(std::move(*devices));
}

bool KolvoDeckTrustStore::contains(const std::string& device_id) const { return device(device_id) != nullptr; }

const KolvoDeckTrustedDevice* KolvoDeckTrustStore::device(const std::string& device_id) const {
  const auto& list = devices_.get();
  const auto found = std::find_if(list.begin(), list.end(), [&](const auto& d) { return d.id == device_id; });
  return found == list.end() ? nullptr : &*found;
}

void KolvoDeckTrustStore::add_or_update(const std::string& device_id, const std::string& raw_name) {
  // Kept as it will read back: a name with broken bytes is stored with U+FFFD in their place.
  const std::string name = base::repaired_utf8(raw_name);
  auto list = devices_.get();
  const auto found = std::find_if(list.begin(), list.end(), [&](const auto& d) { return d.id == device_id; });
  if (found != list.end()) {
    if (found->name == name) return;
    found->name = name;
  } else {
    list.push_back({device_id, name, clock_.now()});
    if (list.size() > kMaximumDevices) {
      const auto oldest = std::min_element(list.begin(), list.end(),
                                           [](const auto& a, const auto& b) { return a.added_at < b.added_at; });
      list.erase(oldest);
    }
  }
  save(std::move(list));
}

bool KolvoDeckTrustStore::remove(const std::string& device_id) {
  auto list = devices_.get();
  if (std::erase_if(list, [&](const auto& d) { return d.id == device_id; }) == 0) return false;
  save(std::move(list));
  return true;
}

void KolvoDeckTrustStore::save(std::vector<KolvoDeckTrustedDevice> devices) {
  if (unreadable_) {
    prefs::keep_before_replacing(prefs_, prefs::keys::kDeckTrustedDevices, log_);
    unreadable_ = false;
  }
  const std::string text = encode(devices);
  prefs_.set(prefs::keys::kDeckTrustedDevices, prefs::PreferenceData(text.begin(), text.end()));
  devices_.set(std::move(devices));
}

std::string KolvoDeckTrustStore::encode(const std::vector<KolvoDeckTrustedDevice>& devices) {
  std::string out;
  base::JsonWriter w(out);
  w.begin_array();
  for (const auto& device : devices) {
    w.begin_object();
    w.key("id"), w.string(device.id);
    w.key("name"), w.string(device.name);
    w.key("addedAt"), w.real(base::seconds_since_2001(device.added_at));
    w.end_object();
  }
  w.end_array();
  return out;
}

std::optional<std::vector<KolvoDeckTrustedDevice>> KolvoDeckTrustStore::decode(std::string_view text,
                                                                                std::string* error) {
  const auto json = base::parse_json(text, error);
  if (!json.is_array()) {
    if (error && error->empty()) *error = "not a JSON array";
    return std::nullopt;
  }
  std::vector<KolvoDeckTrustedDevice> devices;
  for (const auto& entry : json) {
    if (!entry.is_object()) {
      if (error) *error = "an entry is not an object";
      return std::nullopt;
    }
    base::JsonReader r(entry, "trusted iPhone");
    KolvoDeckTrustedDevice device{r.string("id"), r.string("name"), {}};
    const double added = r.real("addedAt");
    if (!r.ok()) {
      if (error) *error = r.error();
      return std::nullopt;
    }
    device.added_at = base::from_seconds_since_2001(added);
    devices.push_back(std::move(device));
  }
  return devices;
}

}  // namespace kolvo::deck
