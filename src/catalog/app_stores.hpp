#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "base/diagnostics_log.hpp"
#include "base/observable.hpp"
#include "catalog/app_item.hpp"
#include "prefs/preference_store.hpp"

namespace kolvo::catalog {

// The Hidden Dock's own apps: the Default list, which profiles may replace.
class KolvoAppStore {
 public:
  static constexpr std::size_t kMaximumApps = 8;

  KolvoAppStore(prefs::PreferenceStore& prefs, const ApplicationCatalog& catalog, base::DiagnosticsLog& log);

  const std::vector<KolvoAppItem>& apps() const { return apps_.get(); }
  base::Observable<std::vector<KolvoAppItem>>& observable() { return apps_; }

  // Each change is written at once. Lists longer than the limit are cut.
  void set_apps(std::vector<KolvoAppItem> apps);
  // False when the Dock is full or already holds the app.
  bool add(KolvoAppItem item);
  void replace(std::size_t index, KolvoAppItem item);
  void move(std::size_t from, std::size_t to);
  void remove(std::size_t index);

  // The first-run apps: those of Finder, Safari, Mail, Messages, Calendar and Notes installed.
  static std::vector<KolvoAppItem> defaults(const ApplicationCatalog& catalog);

 private:
  void save();

  prefs::PreferenceStore& prefs_;
  base::Observable<std::vector<KolvoAppItem>> apps_;
};

// One launcher slot as the grid shows it.
struct ResolvedSlot {
  std::optional<KolvoAppItem> item;
  bool installed = false;
};

// "Empty — click to choose an app", or the name with " — not installed" when it is gone.
std::string slot_text(const ResolvedSlot& slot);

// The 56 slots of the App Launcher, shared by every profile.
class AppLauncherStore {
 public:
  static constexpr std::size_t kSlotCount = 56;
  static constexpr std::int64_t kConfigurationVersion = 2;
  using Slots = std::array<std::optional<KolvoAppItem>, kSlotCount>;

  AppLauncherStore(prefs::PreferenceStore& prefs, const ApplicationCatalog& catalog, base::DiagnosticsLog& log);

  const Slots& slots() const { return slots_.get(); }
  base::Observable<Slots>& observable() { return slots_; }
  std::vector<ResolvedSlot> resolved_slots() const;

  void assign(std::size_t slot, KolvoAppItem item);
  void clear(std::size_t slot);
  // Dropping one slot onto another exchanges them.
  void swap(std::size_t a, std::size_t b);
  // Refills the launcher only; the Hidden Dock's apps are not touched.
  void restore_defaults();

  // The 57 candidates, in order; the installed ones fill the slots until 56 are placed.
  static const std::vector<std::string>& default_candidates();
  static Slots defaults(const ApplicationCatalog& catalog);

 private:
  void save();

  prefs::PreferenceStore& prefs_;
  const ApplicationCatalog& catalog_;
  base::Observable<Slots> slots_;
};

}  // namespace kolvo::catalog
