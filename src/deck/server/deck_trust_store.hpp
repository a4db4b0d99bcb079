#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/date_time.hpp"
#include "base/diagnostics_log.hpp"
#include "base/observable.hpp"
#include "prefs/preference_store.hpp"

namespace kolvo::deck {

// A phone the user allowed once; its hello is approved silently from then on.
struct KolvoDeckTrustedDevice {
  std::string id;
  std::string name;
  base::WallTime added_at{};
  friend bool operator==(const KolvoDeckTrustedDevice&, const KolvoDeckTrustedDevice&) = default;
};

// The trusted phones, kept as a JSON array of {"id","name","addedAt"} (seconds since 2001) in
// the data of "com.kolvo.deckTrustedDevices". Data that does not read leaves the list empty,
// so every phone asks again, and is kept under the backup key before it is next written.
class KolvoDeckTrustStore {
 public:
  // More phones than anyone pairs; past it the oldest is forgotten, so the list stays small.
  static constexpr std::size_t kMaximumDevices = 256;

  KolvoDeckTrustStore(prefs::PreferenceStore& prefs, base::DiagnosticsLog& log, const base::WallClock& clock);

  const std::vector<KolvoDeckTrustedDevice>& devices() const { return devices_.get(); }
  base::Observable<std::vector<KolvoDeckTrustedDevice>>& observable() { return devices_; }

  bool contains(const std::string& device_id) const;
  const KolvoDeckTrustedDevice* device(const std::string& device_id) const;
  // Adds the phone dated now, or renames it when it is already trusted. Writes only on a change.
  void add_or_update(const std::string& device_id, const std::string& name);
  // False when the phone was not trusted.
  bool remove(const std::string& device_id);

  static std::string encode(const std::vector<KolvoDeckTrustedDevice>& devices);
  static std::optional<std::vector<KolvoDeckTrustedDevice>> decode(std::string_view text, std::string* error = nullptr);

 private:
  void save(std::vector<KolvoDeckTrustedDevice> devices);

  prefs::PreferenceStore& prefs_;
  base::DiagnosticsLog& log_;
  const base::WallClock& clock_;
  bool unreadable_ = false;
  base::Observable<std::vector<KolvoDeckTrustedDevice>> devices_;
};

}  // namespace kolvo::deck
