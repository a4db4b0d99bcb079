#include <gtest/gtest.h>

#include "base/uuid.hpp"
#include "catalog/app_stores.hpp"
#include "catalog/profile_store.hpp"
#include "platform/sim/simulated_desktop.hpp"
#include "prefs/settings_keys.hpp"
#include "support/settings_fixture.hpp"

namespace kolvo::catalog {
namespace {

sim::SimulatedDesktop desktop_with(std::vector<InstalledApplication> apps) {
  sim::SimulatedLayout layout = sim::SimulatedLayout::built_in();
  layout.installed_applications = std::move(apps);
  return sim::SimulatedDesktop(std::move(layout));
}

// Every launcher candidate installed, as on a Mac with Xcode and every Apple app.
std::vector<InstalledApplication> every_candidate() {
  std::vector<InstalledApplication> apps;
  for (const std::string& id : AppLauncherStore::default_candidates()) {
    apps.push_back({"/System/Applications/" + id.substr(10) + ".app", id, id.substr(10) + ".app"});
  }
  return apps;
}

prefs::PreferenceData data_of(const std::string& text) { return prefs::PreferenceData(text.begin(), text.end()); }

TEST(KolvoAppItem, JsonKeysUuidCaseAndFileUrls) {
  const auto item = app_item_from_json(nlohmann::json::parse(
      R"({"id":"5e1f3a2b-0c4d-4e5f-8a9b-0c1d2e3f4a5b","name":"Safari","bundleIdentifier":"com.apple.Safari",)"
      R"("appURL":"file:\/\/\/Applications\/Safari.app\/"})"));
  ASSERT_TRUE(item);
  EXPECT_EQ(item->id, "5E1F3A2B-0C4D-4E5F-8A9B-0C1D2E3F4A5B");
  EXPECT_EQ(item->path(), "/Applications/Safari.app");
  EXPECT_EQ(to_json(*item).dump(),
            R"({"id":"5E1F3A2B-0C4D-4E5F-8A9B-0C1D2E3F4A5B","name":"Safari","bundleIdentifier":"com.apple.Safari",)"
            R"("appURL":"file:///Applications/Safari.app/"})");
  for (const char* bad : {R"({"id":"nope","name":"a","appURL":"file:///a.app/"})",
                          R"({"id":"5E1F3A2B-0C4D-4E5F-8A9B-0C1D2E3F4A5B","name":"a","appURL":"https://a.app/"})",
                          R"({"id":"5E1F3A2B-0C4D-4E5F-8A9B-0C1D2E3F4A5B","name":"a"})"}) {
    EXPECT_FALSE(app_item_from_json(nlohmann::json::parse(bad))) << bad;
  }
}

TEST(KolvoAppItem, UrlsArePercentEncodedStandardisedAndReadBack) {
  struct Case {
    std::string path;
    std::string url;
  };
  const std::vector<Case> cases = {
      {"/Applications/Safari.app", "file:///Applications/Safari.app/"},
      {"/System/Applications/App Store.app", "file:///System/Applications/App%20Store.app/"},
      {"/Applications/../Applications/./Foo.app/", "file:///Applications/Foo.app/"},
      {"/Applications/Ünïcode 100%.app", "file:///Applications/%C3%9Cn%C3%AFcode%20100%25.app/"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(file_url(c.path), c.url) << c.path;
    EXPECT_EQ(path_of_file_url(c.url), standardized_path(c.path)) << c.url;
  }
  EXPECT_FALSE(path_of_file_url("file:///bad%2"));
  EXPECT_FALSE(path_of_file_url("/Applications/Foo.app"));
}

TEST(KolvoAppItem, MadeFromALocationIsNamedWithoutDotApp) {
  auto desktop = desktop_with({{"/Applications/Foo.app", "com.example.foo", "Foo.app"},
                               {"/Applications/Foo.app.app", std::nullopt, "Foo.app.app"}});
  const auto foo = make_app_item("/Applications/./Foo.app", desktop);
  ASSERT_TRUE(foo);
  EXPECT_EQ(foo->name, "Foo");
  EXPECT_EQ(foo->bundle_identifier, "com.example.foo");
  EXPECT_EQ(foo->app_url, "file:///Applications/Foo.app/");
  EXPECT_TRUE(base::canonical_uuid(foo->id));
  EXPECT_EQ(make_app_item("/Applications/Foo.app.app", desktop)->name, "Foo");
  EXPECT_NE(make_app_item("/Applications/Foo.app", desktop)->id, foo->id);  // a fresh id each time
  EXPECT_FALSE(make_app_item("/Applications/Missing.app", desktop));
}

TEST(AppLauncherStore, DefaultsFillInCandidateOrderSkippingMissingAppsAndStopAt56) {
  auto all = desktop_with(every_candidate());
  const auto full = AppLauncherStore::defaults(all);
  EXPECT_EQ(AppLauncherStore::default_candidates().size(), 57u);
  EXPECT_EQ(full[0]->bundle_identifier, "com.apple.finder");
  EXPECT_EQ(full[55]->bundle_identifier, "com.apple.iChat");  // Contacts, the 57th, does not fit

  auto some = every_candidate();
  std::erase_if(some, [](const auto& a) { return a.bundle_identifier == "com.apple.Safari"; });
  auto missing_safari = desktop_with(some);
  const auto skipped = AppLauncherStore::defaults(missing_safari);
  EXPECT_EQ(skipped[1]->bundle_identifier, "com.apple.mail");
  EXPECT_EQ(skipped[55]->bundle_identifier, "com.apple.Contacts");

  auto few = desktop_with({{"/Applications/Safari.app", "com.apple.Safari", "Safari.app"}});
  const auto sparse = AppLauncherStore::defaults(few);
  EXPECT_EQ(sparse[0]->name, "Safari");
  EXPECT_FALSE(sparse[1]);
}

TEST(AppLauncherStore, SwapRestoreAndTheTextsOfEachSlot) {
  testing::SettingsFixture f;
  auto desktop = desktop_with(every_candidate());
  KolvoAppStore dock(f.prefs, desktop, f.log);
  AppLauncherStore launcher(f.prefs, desktop, f.log);
  const auto third = launcher.slots()[3];
  const auto fortieth = launcher.slots()[40];
  launcher.swap(3, 40);
  EXPECT_EQ(launcher.slots()[3], fortieth);
  EXPECT_EQ(launcher.slots()[40], third);
  EXPECT_EQ(f.prefs.read_integer(prefs::keys::kAppLauncherConfigurationVersion).value, 2);

  dock.set_apps({dock.apps()[1]});
  const auto dock_before = f.prefs.value(prefs::keys::kSelectedApps);
  launcher.clear(0);
  launcher.assign(1, make_app_item(desktop.applications_in({"/System/Applications"})[5]));
  launcher.restore_defaults();
  EXPECT_EQ(launcher.slots()[3]->bundle_identifier, AppLauncherStore::defaults(desktop)[3]->bundle_identifier);
  EXPECT_EQ(f.prefs.value(prefs::keys::kSelectedApps), dock_before);  // the Hidden Dock is untouched

  auto gone = *launcher.slots()[0];
  gone.app_url = file_url("/Applications/Removed.app");
  gone.bundle_identifier = "com.example.removed";
  gone.name = "Removed";
  launcher.assign(0, gone);
  launcher.clear(2);
  const auto resolved = launcher.resolved_slots();
  EXPECT_EQ(slot_text(resolved[0]), "Removed — not installed");
  EXPECT_EQ(slot_text(resolved[1]), resolved[1].item->name);
  EXPECT_EQ(slot_text(resolved[2]), "Empty — click to choose an app");
}

TEST(AppLauncherStore, OlderConfigurationsArePaddedCutAndDeduplicatedThenMarkedVersion2) {
  const std::string item = R"({"id":"5E1F3A2B-0C4D-4E5F-8A9B-0C1D2E3F4A5B","name":"Safari","bundleIdentifier":)"
                           R"("com.apple.Safari","appURL":"file:///Applications/Safari.app/"})";
  const std::string other = R"({"id":"6E1F3A2B-0C4D-4E5F-8A9B-0C1D2E3F4A5B","name":"Mail","bundleIdentifier":)"
                            R"("com.apple.mail","appURL":"file:///System/Applications/Mail.app/"})";
  testing::SettingsFixture f({{"com.kolvo.appLauncher.slots", data_of("[" + item + ",null," + item + "," + other + "]")},
                              {"com.kolvo.appLauncher.configurationVersion", 1}});
  auto desktop = desktop_with(every_candidate());
  AppLauncherStore launcher(f.prefs, desktop, f.log);
  EXPECT_EQ(launcher.slots()[0]->name, "Safari");
  EXPECT_FALSE(launcher.slots()[2]);  // the repeat is dropped, not moved up
  EXPECT_EQ(launcher.slots()[3]->name, "Mail");
  EXPECT_FALSE(launcher.slots()[55]);
  EXPECT_EQ(f.prefs.read_integer(prefs::keys::kAppLauncherConfigurationVersion).value, 2);
  const auto stored = f.prefs.read_data(prefs::keys::kAppLauncherSlots).value;
  EXPECT_EQ(nlohmann::json::parse(stored.begin(), stored.end()).size(), 56u);
}

TEST(AppLauncherStore, UndecodableSlotsGiveTheDefaultsAndAreKeptAsABackup) {
  testing::SettingsFixture f({{"com.kolvo.appLauncher.slots", data_of("[{\"id\":3}]")}});
  auto desktop = desktop_with(every_candidate());
  AppLauncherStore launcher(f.prefs, desktop, f.log);
  EXPECT_EQ(launcher.slots()[0]->bundle_identifier, "com.apple.finder");
  EXPECT_EQ(f.prefs.value("com.kolvo.appLauncher.slots.backup"), prefs::PreferenceValue(data_of("[{\"id\":3}]")));
}

TEST(KolvoAppStore, FirstRunDefaultsAreTheInstalledOnesOfSixAndTheLimitIsEight) {
  testing::SettingsFixture f;
  auto desktop = desktop_with(every_candidate());
  KolvoAppStore store(f.prefs, desktop, f.log);
  std::vector<std::optional<std::string>> ids;
  for (const auto& app : store.apps()) ids.push_back(app.bundle_identifier);
  EXPECT_EQ(ids, (std::vector<std::optional<std::string>>{"com.apple.finder", "com.apple.Safari", "com.apple.mail",
                                                          "com.apple.MobileSMS", "com.apple.iCal", "com.apple.Notes"}));
  EXPECT_FALSE(store.add(store.apps()[0]));  // already there
  const auto launcher_defaults = AppLauncherStore::defaults(desktop);
  EXPECT_TRUE(store.add(*launcher_defaults[10]));
  EXPECT_TRUE(store.add(*launcher_defaults[11]));
  EXPECT_FALSE(store.add(*launcher_defaults[12]));  // the ninth
  store.move(7, 0);
  EXPECT_EQ(store.apps()[0], *launcher_defaults[11]);
  store.remove(0);
  EXPECT_EQ(store.apps().size(), 7u);
  KolvoAppStore reloaded(f.prefs, desktop, f.log);
  EXPECT_EQ(reloaded.apps(), store.apps());
}

TEST(ProfileStore, JsonOrderAndEffectiveLayoutPerOverrideGroup) {
  testing::SettingsFixture f;
  ProfileStore store(f.prefs, f.log);
  const std::array<prefs::CornerControlMode, 4> corners{prefs::CornerControlMode::volume, prefs::CornerControlMode::off,
                                                       prefs::CornerControlMode::timer, prefs::CornerControlMode::off};
  const KolvoProfile added = store.add("com.adobe.Photoshop", "Photoshop", prefs::EdgeMode::dock, prefs::EdgeMode::volume,
                                       corners);
  std::vector<std::string> keys;
  const auto added_json = to_json(added);
  for (const auto& [key, value] : added_json.items()) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::string>{"id", "bundleID", "appName", "overridesDockApps", "dockApps",
                                            "overridesSliders", "leftEdgeMode", "rightEdgeMode", "overridesDials",
                                            "corners"}));
  EXPECT_EQ(store.add("com.adobe.Photoshop", "Photoshop", prefs::EdgeMode::dock, prefs::EdgeMode::dock, corners).id,
            added.id);

  const std::vector<KolvoAppItem> default_apps = {
      {"5E1F3A2B-0C4D-4E5F-8A9B-0C1D2E3F4A5B", "Safari", "com.apple.Safari", "file:///Applications/Safari.app/"}};
  const std::array<prefs::CornerControlMode, 4> default_corners{};
  KolvoProfile profile = added;
  profile.left_edge_mode = prefs::EdgeMode::brightness;
  profile.dock_apps = {};
  struct Case {
    bool apps, sliders, dials;
  };
  for (const Case c : {Case{false, false, false}, Case{true, false, false}, Case{false, true, false},
                       Case{false, false, true}, Case{true, true, true}}) {
    profile.overrides_dock_apps = c.apps;
    profile.overrides_sliders = c.sliders;
    profile.overrides_dials = c.dials;
    const auto layout = effective_layout(&profile, default_apps, prefs::EdgeMode::volume, prefs::EdgeMode::dock,
                                         default_corners);
    EXPECT_EQ(layout.dock_apps.size(), c.apps ? 0u : 1u);
    EXPECT_EQ(layout.left_edge_mode, c.sliders ? prefs::EdgeMode::brightness : prefs::EdgeMode::volume);
    EXPECT_EQ(layout.corner(prefs::Corner::bottomLeft), c.dials ? prefs::CornerControlMode::timer : prefs::CornerControlMode::off);
  }
  profile.overrides_sliders = true;
  store.update(profile);
  ProfileStore reloaded(f.prefs, f.log);
  ASSERT_EQ(reloaded.profiles().size(), 1u);
  EXPECT_EQ(reloaded.profiles()[0], profile);
  EXPECT_EQ(reloaded.profile_for(std::string("com.adobe.Photoshop"))->id, profile.id);
  EXPECT_EQ(reloaded.profile_for(std::nullopt), nullptr);
  reloaded.remove(profile.id);
  EXPECT_TRUE(reloaded.profiles().empty());
}

TEST(ProfileStore, UnknownCornerNamesSurviveAndAnUnknownModeFailsTheRecord) {
  const std::string base = R"({"id":"5E1F3A2B-0C4D-4E5F-8A9B-0C1D2E3F4A5B","bundleID":"x","appName":"X",)"
                           R"("overridesDockApps":false,"dockApps":[],"overridesSliders":false,"leftEdgeMode":"dock",)"
                           R"("rightEdgeMode":"dock","overridesDials":true,"corners":)";
  const auto kept = profile_from_json(nlohmann::json::parse(base + R"({"topLeft":"volume","center":"timer"}})"));
  ASSERT_TRUE(kept);
  EXPECT_EQ(kept->corner(prefs::Corner::topLeft), prefs::CornerControlMode::volume);
  EXPECT_EQ(to_json(*kept)["corners"]["center"], "timer");
  EXPECT_FALSE(profile_from_json(nlohmann::json::parse(base + R"({"topLeft":"loudness"}})")));
}

}  // namespace
}  // namespace kolvo::catalog
