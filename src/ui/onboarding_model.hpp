#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/enum_table.hpp"
#include "catalog/app_stores.hpp"
#include "overlay/activation_settings_stores.hpp"
#include "ui/page_content.hpp"
#include "ui/settings_pages.hpp"

// The first-run window: a few steps that leave Kolvo with apps to show and an edge to show them
// from, drawn as plain pages like the settings window's.
namespace kolvo::ui {

enum class OnboardingStep { welcome, apps, edges, calibration, done };

inline constexpr auto kOnboardingStepTable = base::make_enum_table<OnboardingStep>({
    {OnboardingStep::welcome, "welcome"},
    {OnboardingStep::apps, "apps"},
    {OnboardingStep::edges, "edges"},
    {OnboardingStep::calibration, "calibration"},
    {OnboardingStep::done, "done"},
});

inline constexpr std::string_view kOnboardingAppsPrompt =
    "Choose up to 8 apps for instant access from the edge of your screen.";
inline constexpr std::string_view kOnboardingNeedsAnApp = "Choose at least one app to continue.";

// The stores the steps show and edit.
struct OnboardingStores {
  catalog::KolvoAppStore& apps;
  const catalog::ApplicationCatalog& catalog;
  overlay::EdgeModeSettingsStore& edge_modes;
  overlay::KolvoActivationSettingsStore& activation;
};

// What the steps reach outside the stores; a step leaves out the control whose hook is missing.
struct OnboardingHooks {
  // Lets the user pick an application bundle; its location, or absent when cancelled.
  std::function<std::optional<std::string>()> choose_app_location = {};
  std::function<void()> calibrate = {};
  // Remembers that onboarding is done, so the next start does not show it again.
  std::function<void()> mark_completed = {};
  // Closes the window; the shell's own close handling takes over from there.
  std::function<void()> finished = {};
};

class OnboardingModel {
 public:
  OnboardingModel(OnboardingStores stores, OnboardingHooks hooks) : stores_(stores), hooks_(std::move(hooks)) {}

  OnboardingStep step() const { return step_; }
  bool is_finished() const { return finished_; }

  // The current step, or any step, as the window draws it.
  PageContent content() const { return content(step_); }
  PageContent content(OnboardingStep step) const;
  // A control of the current step; a control the step does not show is refused.
  EventOutcome handle(const ControlEvent& event);

 private:
  PageContent welcome() const;
  PageContent apps() const;
  PageContent edges() const;
  PageContent calibration() const;
  PageContent done() const;

  // Why the current step cannot be left forward, or absent when it can.
  std::optional<std::string> blocker() const;
  EventOutcome add_app();

  OnboardingStores stores_;
  OnboardingHooks hooks_;
  OnboardingStep step_ = OnboardingStep::welcome;
  bool finished_ = false;
};

std::string_view step_title(OnboardingStep step);

}  // namespace kolvo::ui
