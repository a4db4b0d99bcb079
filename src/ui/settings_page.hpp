#pragma once

#include <string_view>

#include "base/enum_table.hpp"

namespace kolvo::ui {

// The settings window's pages, in the order the sidebar lists them. `corvane` is the
// creative-applications page.
enum class SettingsPage { general, controls, profiles, apps, deck, corvane, advanced };
inline constexpr auto kSettingsPageTable = base::make_enum_table<SettingsPage>(
    {{SettingsPage::general, "general"}, {SettingsPage::controls, "controls"}, {SettingsPage::profiles, "profiles"},
     {SettingsPage::apps, "apps"}, {SettingsPage::deck, "deck"}, {SettingsPage::corvane, "corvane"},
     {SettingsPage::advanced, "advanced"}});
constexpr std::string_view to_string(SettingsPage page) { return kSettingsPageTable.to_string(page); }

// The onboarding window: what the platform builds when it is first shown.
struct OnboardingWindowSpec {
  static constexpr double kWidth_pt = 620;
  static constexpr double kHeight_pt = 700;
  static constexpr std::string_view kTitle = "Welcome to Kolvo";
};

}  // namespace kolvo::ui
