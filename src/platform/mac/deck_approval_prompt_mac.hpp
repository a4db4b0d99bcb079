#pragma once

#include <functional>
#include <optional>
#include <string>

#include "deck/server/deck_approval.hpp"

#ifdef __OBJC__
@class KolvoDeckApprovalAlert;
#else
typedef struct objc_object KolvoDeckApprovalAlert;
#endif

namespace kolvo::platform {

// The approval question as a non-modal alert: a modal one would stall every phone and the
// pointer monitor while it waits. The core shows one at a time.
class MacDeckApprovalPrompt final : public deck::DeckApprovalPrompt {
 public:
  MacDeckApprovalPrompt();
  ~MacDeckApprovalPrompt() override;

  void present(const deck::ApprovalRequest& request, std::function<void(bool allow)> answer) override;
  void dismiss(const deck::ApprovalRequest& request) override;

 private:
  KolvoDeckApprovalAlert* alert_ = nullptr;
  std::optional<std::string> showing_key_;
};

}  // namespace kolvo::platform
