#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kolvo::ui {

// The launch-at-login section of the General page.
struct LaunchAtLoginSection {
  static constexpr std::string_view kToggleTitle = "Launch Kolvo at login";
  static constexpr std::string_view kApprovalNote = "Kolvo needs approval in System Settings.";
  static constexpr std::string_view kApprovalButton = "Open Login Items Settings";

  bool toggle_on = false;
  // Shown with its button only while the system waits for the user's approval.
  std::optional<std::string_view> approval_note;
  std::optional<std::string> error;
};

LaunchAtLoginSection launch_at_login_section(bool is_enabled, bool needs_approval,
                                             const std::optional<std::string>& last_error);

}  // namespace kolvo::ui
