#include "ui/general_page_model.hpp"

namespace kolvo::ui {

LaunchAtLoginSection launch_at_login_section(bool is_enabled, bool needs_approval,
                                             const std::optional<std::string>& last_error) {
  LaunchAtLoginSection section;
  section.toggle_on = is_enabled;
  if (needs_approval) section.approval_note = LaunchAtLoginSection::kApprovalNote;
  section.error = last_error;
  return section;
}

}  // namespace kolvo::ui
