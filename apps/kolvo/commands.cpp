#include <iostream>

#include "app/diagnostics_report.hpp"
#include "app/settings.hpp"
#include "ui/page_content.hpp"
#include "cli.hpp"
#include "host_runtime.hpp"

namespace kolvo::host {

int run_settings(Arguments arguments) {
  const bool json = take_flag(arguments, "--json");
  auto runtime = open_runtime(arguments, HostRuntime::Mode::read_only);
  if (!runtime) return kExitFailure;
  if (!arguments.empty()) return fail(kExitUsage, "'kolvo settings' takes no arguments besides --json.");
  const auto values = runtime->runtime().effective_settings();
  if (json) {
    std::cout << values.dump(2) << '\n';
    return 0;
  }
  for (const auto& [key, value] : values.items()) std::cout << key << " = " << value.dump() << '\n';
  return 0;
}

int run_diagnostics(Arguments arguments) {
  auto runtime = open_runtime(arguments, HostRuntime::Mode::read_only);
  if (!runtime) return kExitFailure;
  if (!arguments.empty()) return fail(kExitUsage, "'kolvo diagnostics' takes no arguments besides --sim.");
  std::cout << app::diagnostics_report(runtime->runtime().diagnostics_input()) << '\n';
  return 0;
}

namespace {

// One step of the first-run window, the welcome when none is named. Printing never finishes it.
int print_onboarding(app::Runtime& runtime, const Arguments& arguments, bool json) {
  std::string steps;
  for (const auto& [step, name] : ui::kOnboardingStepTable.entries) steps += (steps.empty() ? "" : ", ") + std::string(name);
  const auto step = arguments.size() == 1   ? std::optional(ui::OnboardingStep::welcome)
                    : arguments.size() == 2 ? ui::kOnboardingStepTable.parse(arguments[1])
                                            : std::nullopt;
  if (!step) return fail(kExitUsage, "'kolvo ui onboarding' takes one step: " + steps + ".");
  const auto shown_only = [] {};
  const ui::PageContent content =
      runtime
          .onboarding(ui::OnboardingHooks{.choose_app_location = [] { return std::optional<std::string>(); },
                                          .calibrate = shown_only,
                                          .mark_completed = {},
                                          .finished = shown_only})
          .content(*step);
  std::cout << (json ? ui::to_json(content).dump(2) + "\n" : ui::to_text(content));
  return 0;
}

}  // namespace

int run_ui(Arguments arguments) {
  const bool json = take_flag(arguments, "--json");
  auto runtime = open_runtime(arguments, HostRuntime::Mode::read_only);
  if (!runtime) return kExitFailure;
  if (!arguments.empty() && arguments.front() == "onboarding") return print_onboarding(runtime->runtime(), arguments, json);
  std::string pages;
  for (const auto& [page, name] : ui::kSettingsPageTable.entries) pages += (pages.empty() ? "" : ", ") + std::string(name);
  const auto page = arguments.size() == 1 ? ui::kSettingsPageTable.parse(arguments.front()) : std::nullopt;
  if (!page) return fail(kExitUsage, "'kolvo ui' takes one page: " + pages + ".");
  // The Mac's window can calibrate, choose apps, ask before restoring and so on; these hooks
  // only let the page show those controls as it does there. Printing a page never acts.
  const auto shown_only = [] {};
  ui::SettingsPageHooks hooks{
      .open_login_items_settings = shown_only,
      .open_accessibility_settings = shown_only,
      .calibrate = shown_only,
      .replay_onboarding = shown_only,
      .copy_to_pasteboard = [](const std::string&) {},
      .choose_app_location = [] { return std::optional<std::string>(); },
      .confirm = [](const std::string&, const std::string&, const std::string&) { return false; },
  };
  const ui::PageContent content = runtime->runtime().settings_pages(std::move(hooks)).content(*page);
  std::cout << (json ? ui::to_json(content).dump(2) + "\n" : ui::to_text(content));
  return 0;
}

}  // namespace kolvo::host
